// TSignalAnalyzer: time-domain transforms of one or two input signals (window, auto- and
// cross-correlation, DCT, cepstra) after optional integration, differentiation, mean removal
// and rotation; point searches on the result; its statistics report and its list.
#pragma once

#include <array>
#include <memory>
#include <string>
#include <vector>

#include "ondrix/OndrixTools/Collections.h"
#include "ondrix/OndrixTools/TSignal.h"
#include "ondrix/SignalAnalysis/AnalysisTypes.h"
#include "ondrix/framework/TPersistent.h"
#include "ondrix/sigcore/cepstrum.h"
#include "ondrix/sigcore/integrate.h"
#include "ondrix/sigcore/windows.h"
#include "ondrix/vec/TVecList.h"

namespace ondrix {

class TSignalReport;
class TStringList;

/// What TSignalAnalyzer computes from its pre-processed inputs.
enum TTimeTransform {
  ttWindow,        ///< input 0 times the window
  ttAutoCorr,      ///< autocorrelation of input 0, lags 0 .. CorrTaps1 − 1
  ttCrossCorr,     ///< cross-correlation of inputs 0 and 1, lags −CorrTaps2 .. CorrTaps1 − 1
  ttDct,           ///< DCT-II of input 0 (scipy.fft.dct)
  ttInverseDct,    ///< its inverse (scipy.fft.idct)
  ttRealCepstrum,  ///< real cepstrum of input 0 windowed by Window
  ttCplxCepstrum   ///< complex cepstrum of input 0
};

/// Autocorrelation estimator: the raw sum r[k], r[k]/N (biased) or r[k]/(N − k) (unbiased).
enum TAutoCorrType { ctNormal, ctBiased, ctUnbiased };

namespace detail {
const std::vector<std::string>& TimeTransformNames();
const std::vector<std::string>& AutoCorrTypeNames();
}  // namespace detail

/// Time-domain analysis of Inputs[0] (and Inputs[1] for the cross-correlation).
///
/// Each update pre-processes the first two inputs into Preprocessed(): the samples, the mean
/// removed (RemoveDC), integrated or differentiated by Integration with the rules of
/// ondrix/sigcore/integrate.h at the input's sample period (the mean removed again after each
/// integration when RemoveDC), then rotated circularly by Rotation samples (numpy.roll). The
/// integrators keep their state from update to update, one per input and stage, so a stream
/// of frames is integrated as one; ResetIntegrator (and a change of Integration) restarts
/// them. Each input is taken as one sequence (single-channel signals).
///
/// The result (Data) keeps the format of input 0 (sampling frequency, channel count) and is
/// scaled by ScaleFactor. Its time axis is StartTime + i·Dt, with StartTime the lag of element
/// 0: −CorrTaps2·Dt for the cross-correlation, 0 otherwise. Correlations follow
/// ondrix/vec/correlation.h: the cross-correlation's lag k is Σ conj(x0[n])·x1[n + k]. The
/// cepstra are those of ondrix/sigcore/cepstrum.h on the whole frame.
///
/// Updates of a frame size seen before allocate nothing.
class TSignalAnalyzer : public TSignal {
public:
  ONDRIX_CLASS_INFO()

  /// Channels (inputs) that have integrator and differentiator states.
  static constexpr int IntegratorChannels = 4;

  explicit TSignalAnalyzer(TComponent* AOwner);
  ~TSignalAnalyzer() override;

  // --- Published properties ------------------------------------------------------------------

  TTimeTransform Transform() const noexcept { return transform_; }
  void SetTransform(TTimeTransform Value) noexcept { transform_ = Value; }
  /// Window of ttWindow and of the real cepstrum.
  TSignalWindowType Window() const noexcept { return window_; }
  /// Regenerates the window vector (at its current length).
  void SetWindow(TSignalWindowType Value);
  /// Sidelobe attenuation of the Kaiser and Chebyshev windows, dB.
  double SidelobeAtt() const noexcept { return sidelobeAtt_; }
  void SetSidelobeAtt(double Value);
  /// Parameter of the exponential window: the power at the end of the frame (0 .. 1].
  double ExpWindow() const noexcept { return expWindow_; }
  void SetExpWindow(double Value);
  /// Factor applied to the result.
  double ScaleFactor() const noexcept { return scaleFactor_; }
  void SetScaleFactor(double Value) noexcept { scaleFactor_ = Value; }
  /// Remove the mean of each input, and again after each integration.
  bool RemoveDC() const noexcept { return removeDC_; }
  void SetRemoveDC(bool Value) noexcept { removeDC_ = Value; }
  TIntegration Integration() const noexcept { return integration_; }
  /// A change restarts the integrators (a new quantity begins).
  void SetIntegration(TIntegration Value);
  TAutoCorrType AutoCorrType() const noexcept { return autoCorrType_; }
  void SetAutoCorrType(TAutoCorrType Value) noexcept { autoCorrType_ = Value; }
  /// Lags of the correlations (positive lags of the cross-correlation).
  int CorrTaps1() const noexcept { return corrTaps1_; }
  /// Stored as max(Value, 2); CorrTaps2 is then lowered to CorrTaps1 − 1 if not below it.
  void SetCorrTaps1(int Value);
  /// Negative lags of the cross-correlation.
  int CorrTaps2() const noexcept { return corrTaps2_; }
  /// Accepted only while the analyzer has exactly two inputs (or while settings load):
  /// stored as max(Value, 0), lowered to CorrTaps1 − 1 if not below CorrTaps1.
  void SetCorrTaps2(int Value);
  /// Circular rotation of each pre-processed input, samples.
  int Rotation() const noexcept { return rotation_; }
  void SetRotation(int Value) noexcept { rotation_ = Value; }
  /// The owned report; its setter does nothing (it exists so that the settings stream).
  TSignalReport* Report() const noexcept { return report_.get(); }
  void SetReport(TSignalReport*) noexcept {}

  // --- Operations ----------------------------------------------------------------------------

  /// Zeroes every integrator and differentiator state.
  void ResetIntegrator();
  TPipeState InternalUpdate() override;

  /// Moves Pos (seconds on the result's time axis) to the zero crossing of the result
  /// nearest to it and returns true; false, Pos unchanged, when there is none. A crossing
  /// lies between samples i and i + 1 when exactly one of them is positive; its position is
  /// linearly interpolated (a sample at exactly 0 between a positive and a negative one is
  /// the crossing). A complex result is searched on its real parts. Ties go to the earlier.
  bool ZeroCrossing(double& Pos) const;
  /// Moves Pos to the local maximum of the result nearest to it and returns the maximum's
  /// value; NaN, Pos unchanged, for an empty result. A local maximum is a sample above its
  /// left neighbour and not below its right one (the first sample of a flat top); the first
  /// sample counts when not below the second, the last when above the one before it. An
  /// interior maximum is refined by the parabola through it and its neighbours (position
  /// and value). A complex result is searched on its magnitudes. Ties go to the earlier.
  double NearestMaximum(double& Pos) const;
  /// As NearestMaximum, for local minima.
  double NearestMinimum(double& Pos) const;

  // --- State ---------------------------------------------------------------------------------

  /// The pre-processed inputs of the last update (at most two).
  const TVecList& Preprocessed() const noexcept { return pre_; }
  /// The window of the last ttWindow update.
  const TVec& WindowVector() const noexcept { return windowVec_; }
  /// Delay in samples removed by the last complex cepstrum (see CplxCepstrum).
  int CepstrumDelay() const noexcept { return cepstrumDelay_; }

private:
  void Preprocess();
  void EnsureWindow(int Len);
  void ApplyWindow();
  double Spacing() const;
  double NearestExtremum(double& Pos, double sign) const;

  TTimeTransform transform_ = ttWindow;
  TSignalWindowType window_ = wtRectangular;
  double sidelobeAtt_ = 40.0;
  double expWindow_ = 0.01;
  double scaleFactor_ = 1.0;
  bool removeDC_ = false;
  TIntegration integration_ = inNone;
  TAutoCorrType autoCorrType_ = ctNormal;
  int corrTaps1_ = 100;
  int corrTaps2_ = 0;
  int rotation_ = 0;
  std::unique_ptr<TSignalReport> report_;

  TVecList pre_;
  // Per input, one state per stage: inTwice and diffTwice chain two.
  std::array<std::array<TIntegrateState, 2>, IntegratorChannels> integ_{};
  std::array<std::array<TDiffState, 2>, IntegratorChannels> diff_{};
  TCepstrumState cepstrum_;
  int cepstrumDelay_ = 0;

  // The window and what it was generated for.
  TVec windowVec_;
  TSignalWindowType windowMade_ = wtRectangular;
  double windowAttMade_ = 0.0, windowExpMade_ = 0.0;
  bool windowValid_ = false;
};

/// Time-domain statistics of a block (see TSignalReport::Statistics).
struct TSignalStatistics {
  int Samples = 0;
  double Minimum = 0, Maximum = 0, PeakToPeak = 0;
  double Mean = 0;
  double RMS = 0;       ///< √(Σx²/N), the mean included
  double StdDev = 0;    ///< √(Σ(x − mean)²/N): the RMS of the fluctuation
  double Peak = 0;      ///< the largest |x − mean|
  double Crest = 0;     ///< Peak / RMS (0 for a silent block)
  double Skewness = 0;  ///< third standardised moment (0 when StdDev is 0)
  double Kurtosis = 0;  ///< fourth standardised moment, 3 for Gaussian noise (0 when StdDev is 0)
};

/// Statistics of v: of its values, or of the magnitudes of a complex v. All zeros when empty.
TSignalStatistics SignalStatistics(const TVec& v);

/// The text report of a TSignalAnalyzer (its `Report`): the transform, length, channels,
/// sampling frequency and duration of the result, then its statistics (TSignalStatistics),
/// one "label  value" line each, labels aligned to SignalTextColumnWidth and values written
/// with the FormatSample pattern ValueFormat.
class TSignalReport : public TPersistent {
public:
  ONDRIX_CLASS_INFO()

  explicit TSignalReport(TSignalAnalyzer* AOwner) : owner_(AOwner) {}

  TPersistent* GetOwner() const override;

  /// FormatSample pattern of the statistics.
  const std::string& ValueFormat() const noexcept { return valueFormat_; }
  void SetValueFormat(const std::string& Value) { valueFormat_ = Value; }
  /// FormatSample pattern of the sampling frequency and duration.
  const std::string& TimeFormat() const noexcept { return timeFormat_; }
  void SetTimeFormat(const std::string& Value) { timeFormat_ = Value; }

  /// Statistics of the analyzer's result.
  TSignalStatistics Statistics() const;
  /// Appends the report's lines to Dst.
  void ToStrings(TStringList& Dst) const;
  /// The report as text, lines ending in CR LF.
  std::string Text() const;

private:
  TSignalAnalyzer* owner_;
  std::string valueFormat_ = "0.00000E+00";
  std::string timeFormat_ = "0.######";
};

/// A bank of signal analyzers.
class TSignalAnalyzerList : public TSignalList {
public:
  ONDRIX_CLASS_INFO()
  explicit TSignalAnalyzerList(TComponent* AOwner) : TSignalList(AOwner) {}
  TSignalAnalyzer* Items(int i) const { return static_cast<TSignalAnalyzer*>(TAnalysisList::Items(i)); }

protected:
  std::unique_ptr<TKvxComponent> AddItem() override;
};

}  // namespace ondrix
