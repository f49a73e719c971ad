// TSpectrumAnalyzer: the frequency-analysis component: windowed FFT, autoregressive, chirp-z
// and cepstrum estimates, spectrum types, averaging, peaks, bands and report.
#pragma once

#include <memory>

#include "ondrix/OndrixTools/TSignal.h"
#include "ondrix/OndrixTools/TSpectrum.h"
#include "ondrix/SignalAnalysis/AnalysisTypes.h"
#include "ondrix/sigcore/ar.h"
#include "ondrix/sigcore/czt.h"
#include "ondrix/sigcore/phase.h"
#include "ondrix/sigcore/windows.h"
#include "ondrix/vec/TVec.h"

namespace ondrix {

class TSpectrumPeaksAnalyzer;
class TSpectrumBandsAnalyzer;
class TSpectrumStats;
class TSpectrumCZT;
class TSpectrumReport;

/// Spectrum of the frames of its Input (a TSignal), or, with a second input (Output), the
/// transfer function Output/Input or the cross spectrum Output·conj(Input).
///
/// Each update estimates the complex spectrum of the input frame by Method, scales it,
/// converts it to SpectrumType, integrates or differentiates it (Integration), averages it
/// over frames (Stats), finds peaks (Peaks) and band levels (Bands) on the linear result,
/// and finally converts to dB when Logarithmic.
///
/// Scale. For the FFT of an L-sample frame on N = LargestExp2(L)·ZeroPadding points the
/// amplitude scale is s = ScaleFactor·WindowScaleFactor/L, WindowScaleFactor being the
/// reciprocal of the window's mean (its coherent gain): a complex tone A·e^(2πift) at a line
/// reads A, a real tone A·sin(2πft) reads A/2 at +f (and at −f), whatever the window. The
/// chirp-z zoom has the same scale; the cepstrum reads the magnitude of the real cepstrum
/// (scale ScaleFactor/N). The autoregressive methods evaluate the model √errPower/A(z) on
/// the same N points as the FFT and scale it by ScaleFactor/√N, so that the powers of the N
/// lines sum to the model's power, as the lines of an unwindowed FFT amplitude spectrum sum
/// to the frame's mean power.
///
/// Layout. A real input gives N/2 lines from 0 Hz (bin N/2 is dropped). A complex input, or
/// ConjExtend on a real one, gives all N lines: with ConjFlip the axis is two-sided, from
/// −fs/2 to fs/2 − fs/N (zero at line N/2), else in FFT order from the input's BandWidthL.
/// For a real input with ConjExtend the analyzer marks itself complex (one line per
/// sample). The chirp-z zoom is one-sided: its lines run from CZT.StartFrequency (plus the
/// input's BandWidthL) in steps of (Stop − Start)/CZT.PointCount.
///
/// The hot path (FFT method, a frame size seen before) allocates nothing: the work vectors
/// and the window are kept, and FFT plans come from the vector layer's cache.
class TSpectrumAnalyzer : public TSpectrum {
public:
  ONDRIX_CLASS_INFO()

  explicit TSpectrumAnalyzer(TComponent* AOwner);
  ~TSpectrumAnalyzer() override;

  // --- Published properties ------------------------------------------------------------------

  TSpectrumMethod Method() const noexcept { return method_; }
  void SetMethod(TSpectrumMethod Value) noexcept { method_ = Value; }
  TSignalWindowType Window() const noexcept { return window_; }
  /// Regenerates the window vector (at its current length).
  void SetWindow(TSignalWindowType Value);
  /// Sidelobe attenuation of the Kaiser and Chebyshev windows, dB.
  double SidelobeAtt() const noexcept { return sidelobeAtt_; }
  void SetSidelobeAtt(double Value);
  /// Parameter of the exponential window: the power at the end of the frame (0 .. 1].
  double ExpWindow() const noexcept { return expWindow_; }
  void SetExpWindow(double Value);
  TSpectrumType SpectrumType() const noexcept { return spectrumType_; }
  /// Restarts averaging, marks dirty, recalculates when AutoCalculate.
  void SetSpectrumType(TSpectrumType Value);
  double ScaleFactor() const noexcept { return scaleFactor_; }
  /// If changed: marks dirty, recalculates when AutoCalculate.
  void SetScaleFactor(double Value);
  /// Remove the frame's mean before the estimate.
  bool DCDump() const noexcept { return dcDump_; }
  /// Marks dirty, restarts averaging, recalculates when AutoCalculate.
  void SetDCDump(bool Value);
  /// Convert the result to dB (10·log10 of the squared amplitude).
  bool Logarithmic() const noexcept { return logarithmic_; }
  /// Marks dirty, recalculates when AutoCalculate (averaging goes on: it is linear).
  void SetLogarithmic(bool Value);
  TLogType LogType() const noexcept { return logType_; }
  /// Marks dirty, recalculates when AutoCalculate; averaging is not reset.
  void SetLogType(TLogType Value);
  TLogSpan LogSpan() const noexcept { return logSpan_; }
  /// Sets the dB span, marks dirty, recalculates when AutoCalculate.
  void SetLogSpan(TLogSpan Value);
  /// The dB span of LogSpan.
  int LogSpanValue() const noexcept { return logSpanDb_; }
  TIntegration Integration() const noexcept { return integration_; }
  /// Restarts averaging, marks dirty.
  void SetIntegration(TIntegration Value);
  /// Model order of the autoregressive methods (limited to the frame length).
  int AROrder() const noexcept { return arOrder_; }
  void SetAROrder(int Value) noexcept { arOrder_ = Value; }
  bool AutoCalculate() const noexcept { return autoCalculate_; }
  void SetAutoCalculate(bool Value) noexcept { autoCalculate_ = Value; }
  /// With an output signal: cross spectrum (true) or transfer function (false).
  bool CrossSpectral() const noexcept { return crossSpectral_; }
  void SetCrossSpectral(bool Value) noexcept { crossSpectral_ = Value; }
  /// Unwrap the phase (pm360 only).
  bool UnwrapPhase() const noexcept { return unwrapPhase_; }
  void SetUnwrapPhase(bool Value) noexcept { unwrapPhase_ = Value; }
  TRunningPhase RunningPhase() const noexcept { return runningPhase_; }
  void SetRunningPhase(TRunningPhase Value) noexcept { runningPhase_ = Value; }
  TPhaseRange PhaseRange() const noexcept { return phaseRange_; }
  void SetPhaseRange(TPhaseRange Value) noexcept { phaseRange_ = Value; }
  bool RealCepstrum() const noexcept { return realCepstrum_; }
  /// Stores the flag and resets averaging (Stats.Reset).
  void SetRealCepstrum(bool Value);
  /// Circular rotation of the input frame before the estimate, samples (the input's own
  /// data is rotated back before the update ends).
  int Rotation() const noexcept { return rotation_; }
  void SetRotation(int Value) noexcept { rotation_ = Value; }

  /// Owned sub-objects; their setters do nothing (they exist so that the settings stream).
  TSpectrumPeaksAnalyzer* Peaks() const noexcept { return peaks_.get(); }
  void SetPeaks(TSpectrumPeaksAnalyzer*) noexcept {}
  TSpectrumBandsAnalyzer* Bands() const noexcept { return bands_.get(); }
  void SetBands(TSpectrumBandsAnalyzer*) noexcept {}
  TSpectrumStats* Stats() const noexcept { return stats_.get(); }
  void SetStats(TSpectrumStats*) noexcept {}
  TSpectrumCZT* CZT() const noexcept { return czt_.get(); }
  void SetCZT(TSpectrumCZT*) noexcept {}
  TSpectrumReport* Report() const noexcept { return report_.get(); }
  void SetReport(TSpectrumReport*) noexcept {}

  // --- Events --------------------------------------------------------------------------------

  TNotifyEvent OnAfterComplexSpectrum;  ///< the complex spectrum is estimated (ComplexSpectrum)
  TNotifyEvent OnBeforeSpectrumType;    ///< before the conversion by SpectrumType
  TNotifyEvent OnBeforeAverage;         ///< before Stats.Update
  TNotifyEvent OnAfterAverage;          ///< after averaging (Amplt holds the average)
  TNotifyEvent OnPeaksUpdate;           ///< when assigned, called instead of Peaks.Update
  TNotifyEvent OnBandsUpdate;           ///< when assigned, called instead of Bands.Update

  // --- Links ---------------------------------------------------------------------------------

  /// The second input (item 1 of Inputs), or nullptr.
  TSignal* GetOutput() const;
  TSignal* Output() const { return GetOutput(); }
  /// Adds items until there are two and links item 1; nullptr removes the second item.
  void SetOutput(TSignal* Signal);

  // --- The update ----------------------------------------------------------------------------

  TPipeState InternalUpdate() override;
  /// The inherited format step, then the frequency axis (zoom band, two-sided layout).
  void BeforeInternalUpdate() override;
  /// The inherited setter, then restarts averaging.
  void SetZeroPadding(int v) override;
  /// Loads settings, then restarts averaging and marks dirty.
  void LoadFromStream(TStream& Stream) override;

  /// Estimates the complex spectrum of the current input frame into Dst, or into the work
  /// vector (ComplexSpectrum) when Dst is nullptr, and sets AmpltScale. Raises
  /// "TargetLength < Input.Length" when TargetLength is below the frame length.
  virtual void ApplySpectrumMethod(int TargetLength, TVec* Dst);
  /// Multiplies samples Index .. Index + Len − 1 of the work vector by the window of Len
  /// points (regenerated when its type, length or parameter changed).
  void ApplyWindow(int Index, int Len);
  /// Amplitude correction of the window: the fixed table factor of the window type, or
  /// 1/mean for the cosine-tapered, Kaiser and Chebyshev windows; 1 for methods other than
  /// smFFT and smCZT.
  double WindowScaleFactor() const;
  /// Applies Integration to Amplt.
  void IntegrateSpectrum();
  /// Unwraps the phase (pm360 with UnwrapPhase).
  void ApplyPhaseSpectrum();
  /// pm360 with prZeroTwoPi: shifts the whole phase curve up by π (or 180°); not a wrap.
  virtual void ApplyPhaseRange();
  /// Stats.Reset.
  void ResetAveraging();

  /// Analyses a plain vector: copies Src into a helper signal (at SamplingFrequency Hz),
  /// makes it the Input and updates. Raises "Src = nil!" for a nullptr.
  virtual void ComputeSpectrum(const TVec* Src, double SamplingFrequency = 1.0);
  /// Two-vector form: Src is the input, Dst the output (transfer function or cross
  /// spectrum). Raises "Src = nil!" or "Dst = nil!".
  virtual void ComputeSpectrum(const TVec* Src, const TVec* Dst, double SamplingFrequency = 1.0);
  /// ComputeSpectrum(&Src), then FetchResult.
  virtual double Process(const TVec& Src, double SamplingFrequency = 1.0);
  /// The scalar result of Process; 0 in this class.
  virtual double FetchResult() { return 0.0; }

  // --- Estimates between the lines ---------------------------------------------------------

  /// Complex value at frequency f (axis units), scaled as the lines: for the FFT and chirp-z
  /// methods the transform of the windowed frame evaluated at f, for the autoregressive
  /// methods the model's response at f; otherwise the nearest line of ComplexSpectrum.
  virtual TCplx ComplexEst(double f);
  /// Amplitude at f in the units of SpectrumType. While the result comes from the current
  /// frame (no averaging, spectrum not edited) it is read from ComplexEst, a smooth function
  /// of f; otherwise the strongest line within one line of f.
  double AmpltEst(double f) override;
  /// Phase at f in PhaseUnits (with the PhaseRange shift), under the same rule.
  double PhaseEst(double f) override;
  /// The peak frequency near f refined by Peaks.Approximate.
  double PeakApproximate(double f) override;
  /// The inherited notch of the peak at line Index; marks the complex spectrum invalid.
  void FilterPeak(int Index) override;
  /// Frequency of the local maximum of Amplt reached by climbing from the line of f.
  double ConvergeToMaximum(double f) const;
  /// As the inherited AmpltSpectrum; the magnitudes are √(re² + im²) (hypot only near
  /// underflow and overflow), which keeps the conversion a small part of an update.
  void AmpltSpectrum(const TVec& X) override;
  /// Group delay of the input (or of Output/Input), in samples, into Phase.
  void ComputeGroupDelay() override;
  /// Phase delay −φ/(2πf) into Phase (seconds), from the unwrapped phase.
  void ComputePhaseDelay() override;

  // --- State ---------------------------------------------------------------------------------

  /// Transform length over frame length of the last FFT, chirp-z or cepstrum estimate; 0
  /// until one has run (the autoregressive methods leave it).
  double ActualZeroPadding() const noexcept { return actualZeroPadding_; }
  void SetActualZeroPadding(double Value) noexcept { actualZeroPadding_ = Value; }
  /// Amplitude scale of the last estimate (1 after a two-input estimate).
  double AmpltScale() const noexcept { return amplScale_; }
  /// The work vector: the complex spectrum of the last estimate (after complex averaging),
  /// one value per line from index 0 (plus the Nyquist bin of a real FFT).
  const TVec& ComplexSpectrum() const noexcept { return work_; }
  /// False once Amplt no longer follows from ComplexSpectrum of the current frame
  /// (amplitude averaging, FilterPeak, dB conversion).
  bool ComplexSpectrumValid() const noexcept { return complexValid_; }
  /// The window vector of the last frame.
  const TVec& WindowVector() const noexcept { return windowVec_; }
  /// Length of the last transform result (N of the scale).
  int TransformLength() const noexcept { return transformLength_; }
  /// Equivalent noise bandwidth of the last estimate in lines: fs·Σw²/(Σw)² over the line
  /// spacing for the FFT and chirp-z methods (1.5·ZeroPadding for the Hann window, 1 for a
  /// rectangular one without padding), 1 for the other methods. A tone's Σ Amplt² over its
  /// main lobe is its squared line amplitude times this; so is a broadband noise's per line.
  double NoiseBandwidthLines() const;
  /// The largest linear amplitude before the last dB conversion.
  double LogReference() const noexcept { return logReference_; }
  /// The frequency axis of the last update, before any order scaling: sampling frequency,
  /// line spacing and frequency of line 0, Hz.
  double LastSamplingFrequency() const noexcept { return lastSamplingFrequency_; }
  double LastHzRes() const noexcept { return lastHzRes_; }
  double LastBandWidthL() const noexcept { return lastBandWidthL_; }
  /// When set, each transfer-function or cross-spectrum estimate is inverse-transformed into
  /// this vector (the impulse response; not owned, nullptr to stop).
  TVec* ImpulseResponse() const noexcept { return impulseResponse_; }
  void SetImpulseResponse(TVec* Value) noexcept { impulseResponse_ = Value; }

protected:
  void Notification(TComponent* AComponent, TOperation Operation) override;

private:
  enum TEstimateKind { ekNone, ekFrame, ekModel };

  void Changed(bool resetAveraging, bool recalc);
  TSignal* EstimateSource() const;
  void EnsureWindow(int Len);
  void EstimateFFT(int TargetLength, TVec& out);
  void EstimateAR(int TargetLength, TVec& out);
  void EstimateCZT(TVec& out);
  void EstimateCepstrum(int TargetLength, TVec& out);
  // frame_ := the source's samples, zero-padded to length, mean removed (DCDump) and,
  // when windowed, multiplied by the window.
  void CopyFrame(const TSignal& src, int length, bool windowed);
  // MinMax through the kernels of ondrix/vec/kernels.h.
  void UpdateExtremes();
  void EstimateTwoInputs(TSignal& in, TSignal& out);
  void AverageComplex();
  void ConvertSpectrumType();
  void LogConvert();
  void UpdatePeaksAndBands();
  double EstToHz(double f, double& lineHz) const;
  double TypeAmplitude(double magnitude, double lineHz) const;

  TSpectrumMethod method_ = smFFT;
  TSignalWindowType window_ = wtRectangular;
  double sidelobeAtt_ = 40.0;
  double expWindow_ = 0.01;
  TSpectrumType spectrumType_ = stAmplitude;
  double scaleFactor_ = 1.0;
  bool dcDump_ = true;
  bool logarithmic_ = false;
  TLogType logType_ = ltAbsolute;
  TLogSpan logSpan_ = ls120;
  int logSpanDb_ = 120;
  TIntegration integration_ = inNone;
  int arOrder_ = 100;
  bool autoCalculate_ = false;
  bool crossSpectral_ = false;
  bool unwrapPhase_ = false;
  TRunningPhase runningPhase_ = rpRunning;
  TPhaseRange phaseRange_ = prPiPi;
  bool realCepstrum_ = false;
  int rotation_ = 0;

  std::unique_ptr<TSpectrumBandsAnalyzer> bands_;
  std::unique_ptr<TSpectrumPeaksAnalyzer> peaks_;
  std::unique_ptr<TSpectrumStats> stats_;
  std::unique_ptr<TSpectrumCZT> czt_;
  std::unique_ptr<TSpectrumReport> report_;

  TVec work_;           // the frame's complex spectrum
  TVec frame_;          // the DC-free, windowed, zero-padded frame (kept for ComplexEst)
  TVec windowVec_;      // the window, WindowVector()
  TVec crossX_;         // the input's spectrum of a two-input estimate
  TVec logMag_;         // log magnitude of the cepstrum
  std::unique_ptr<TVec> cplxAverage_;
  TArState arState_;
  TVec arCoeffs_;
  double arErr_ = 0.0;
  TCztState cztState_;
  TGroupDelayState gdState_;
  TVec gdInput_, gdOutput_;  // the frames as GroupDelay takes them

  // Window cache: what windowVec_ was generated for.
  TSignalWindowType windowMade_ = wtRectangular;
  double windowAttMade_ = 0.0, windowExpMade_ = 0.0;
  bool windowValid_ = false;
  double windowScale_ = 1.0;
  double windowEnbw_ = 1.0;  // L·Σw²/(Σw)², in bins of the frame

  // Chirp-z cache: what cztState_ was prepared for.
  double cztStart_ = 0.0, cztStep_ = 0.0, cztFs_ = 0.0, cztR0_ = 0.0, cztR1_ = 0.0;

  int transformLength_ = 0;  // M of the scale
  int lines_ = 0;            // lines of the result
  bool twoSided_ = false;    // all N lines (complex input or ConjExtend)
  bool flipped_ = false;     // rotated by N/2 for ConjFlip
  double actualZeroPadding_ = 0.0;
  double amplScale_ = 1.0;
  double logReference_ = 0.0;
  bool complexValid_ = false;

  // What ComplexEst evaluates: the kept frame or AR model, at fs, line 0 at lineZeroDtft_.
  TEstimateKind estKind_ = ekNone;
  int frameLength_ = 0;
  double frameFs_ = 1.0;
  double lineZeroDtft_ = 0.0;

  double lastSamplingFrequency_ = 0.0, lastHzRes_ = 0.0, lastBandWidthL_ = 0.0;
  TVec* impulseResponse_ = nullptr;

  TSignal* estimateSource_ = nullptr;  // the signal ApplySpectrumMethod reads (Input by default)
  TSignal* lastInput_ = nullptr;       // compared only, never dereferenced
  TSignal* lastOutput_ = nullptr;
  std::unique_ptr<TSignal> helperInput_, helperOutput_;
};

}  // namespace ondrix
