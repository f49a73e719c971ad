// TSignalFilter: designs a filter from a band layout (or takes given taps) and filters its
// input block by block, with the delay line kept between blocks.
#pragma once

#include <string>
#include <vector>

#include "ondrix/OndrixTools/Collections.h"
#include "ondrix/OndrixTools/TSignal.h"
#include "ondrix/SignalProcessing/BandFilter.h"
#include "ondrix/sigcore/fir_state.h"
#include "ondrix/sigcore/iir_design.h"
#include "ondrix/sigcore/iir_state.h"
#include "ondrix/sigcore/iir_transform.h"
#include "ondrix/sigcore/median_state.h"
#include "ondrix/sigcore/wavelet_state.h"
#include "ondrix/sigcore/windows.h"
#include "ondrix/vec/TMtx.h"

namespace ondrix {

/// The kind of filter.
enum TResponseType {
  rstUnit,
  rstFIR,
  rstDifferentiator,
  rstDoubleDifferentiator,
  rstIntegrator,
  rstDoubleIntegrator,
  rstHilbert,
  rstIIR,
  rstSavGolay,
  rstMovingAverage,
  rstMedian,
  rstEnvelope,
  rstWavelet,
  rstIntegerDelay
};
/// FIR design method: windowed sinc or Parks-McClellan (equiripple).
enum TFirFilterMethod { fimWindow, fimParksMcClellan };
/// Form of an IIR design result.
enum TIirResultType { irtNumDen, irtZeroPole, irtStateSpace };

/// What a design achieved in one band, measured on a dense frequency grid.
struct TBandReport {
  double FreqStart = 0, FreqStop = 0, Gain = 0;
  double Specified = 0;  ///< the band's Ripple, dB
  /// Pass band: peak-to-peak ripple of the gain in dB. Stop band: attenuation in dB below
  /// the pass gain (the smallest over the band).
  double Achieved = 0;
  bool Met = false;
};

/// The outcome of the last design: per band what was achieved, and the FIR length or IIR
/// order used. A design that misses its bands still filters with what it got.
struct TDesignReport {
  bool Designed = false;
  TResponseType Response = rstUnit;
  int Length = 0;  ///< FIR taps, or the IIR order
  std::vector<TBandReport> Bands;
  bool AllMet() const;
  /// One line per band, aligned text.
  std::string ToString() const;
};

/// A filter component. Band edges are in units of NormalizedFrequency (2 by default, so the
/// Nyquist frequency is 1) or, with UseNormalizedFrequency false, in Hz of the filter's
/// SamplingFrequency. Setters other than Response only store their value: a changed
/// parameter takes effect at the next design, after Prepared has been cleared (by
/// SetPrepared(false), Assign or a parameter update).
class TSignalFilter : public TSignal {
public:
  ONDRIX_CLASS_INFO()

  explicit TSignalFilter(TComponent* AOwner);
  ~TSignalFilter() override;

  // --- Properties ----------------------------------------------------------------------------

  TFilterList* Filters() const noexcept { return filters_.get(); }
  /// The current band layout (Filters' template).
  TBandFilterList& Bands() const { return *filters_->Template(); }
  const TVec& Taps() const noexcept { return taps_; }
  TVec& Taps() noexcept { return taps_; }
  void SetTaps(const TVec& v) { taps_.Assign(v); }
  bool ExternalTaps() const noexcept { return externalTaps_; }
  void SetExternalTaps(bool v) noexcept { externalTaps_ = v; }
  int FirLength() const noexcept { return firLength_; }
  /// Clamped to 1..10000; made odd for rstSavGolay.
  void SetFirLength(int v);
  int UpSample() const noexcept { return upSample_; }
  /// Clamped at 0 (not 1); limits UpDelay to UpSample − 1.
  void SetUpSample(int v);
  int UpDelay() const noexcept { return upDelay_; }
  void SetUpDelay(int v);
  int DownSample() const noexcept { return downSample_; }
  void SetDownSample(int v);
  int DownDelay() const noexcept { return downDelay_; }
  void SetDownDelay(int v);
  TFirFilterMethod FirMethod() const noexcept { return firMethod_; }
  void SetFirMethod(TFirFilterMethod v) noexcept { firMethod_ = v; }
  TSignalWindowType Window() const noexcept { return window_; }
  void SetWindow(TSignalWindowType v) noexcept { window_ = v; }
  double Beta() const noexcept { return beta_; }
  void SetBeta(double v) noexcept { beta_ = v; }
  bool IgnoreAtt() const noexcept { return ignoreAtt_; }
  void SetIgnoreAtt(bool v) noexcept { ignoreAtt_ = v; }
  int GridDensity() const noexcept { return gridDensity_; }
  void SetGridDensity(int v) noexcept { gridDensity_ = v; }
  int Order() const noexcept { return order_; }
  /// Clamped to 1..50; for rstSavGolay to at most FirLength − 1.
  void SetOrder(int v);
  bool AutoFilterOrder() const noexcept { return autoFilterOrder_; }
  void SetAutoFilterOrder(bool v) noexcept { autoFilterOrder_ = v; }
  TIirMethod IirMethod() const noexcept { return iirMethod_; }
  void SetIirMethod(TIirMethod v) noexcept { iirMethod_ = v; }
  TIIRFrequencyTransform IIRFrequencyTransform() const noexcept { return transform_; }
  void SetIIRFrequencyTransform(TIIRFrequencyTransform v) noexcept { transform_ = v; }
  double NormalizedFrequency() const noexcept { return normalizedFrequency_; }
  void SetNormalizedFrequency(double v) noexcept { normalizedFrequency_ = v; }
  bool UseNormalizedFrequency() const noexcept { return useNormalizedFrequency_; }
  void SetUseNormalizedFrequency(bool v) noexcept { useNormalizedFrequency_ = v; }
  TResponseType Response() const noexcept { return response_; }
  /// On a change: stores it, clears Prepared, and for rstSavGolay re-applies FirLength.
  void SetResponse(TResponseType v);
  TWaveletType Wavelet() const noexcept { return wavelet_; }
  void SetWavelet(TWaveletType v) noexcept { wavelet_ = v; }
  int WaveletP1() const noexcept { return waveletP1_; }
  void SetWaveletP1(int v) noexcept { waveletP1_ = v; }
  int WaveletP2() const noexcept { return waveletP2_; }
  void SetWaveletP2(int v) noexcept { waveletP2_ = v; }
  TWaveletDecomp WaveletDecomp() const noexcept { return waveletDecomp_; }
  void SetWaveletDecomp(TWaveletDecomp v) noexcept { waveletDecomp_ = v; }
  bool Prepared() const noexcept { return prepared_; }
  void SetPrepared(bool v) noexcept { prepared_ = v; }

  // --- Filtering -----------------------------------------------------------------------------

  /// Output rate = input rate × UpSample / DownSample, then Process(Input.Data, Data).
  TPipeState InternalUpdate() override;
  /// Prepares if needed, then filters Src into Dst by Response (a filter that cannot be
  /// prepared copies Src; rstWavelet leaves Dst untouched).
  void Process(const TVec& Src, TVec& Dst);
  /// One filtered sample through the single-sample FIR step (rstFIR with real taps only).
  double ProcessSample(double x);
  /// Designs (unless ExternalTaps) and initialises the filter state, when not Prepared.
  void Prepare();

  // --- Design --------------------------------------------------------------------------------

  /// Empties Taps and designs them by Response from the band layout.
  void ApplyChanges();
  /// The windowed design of one filter into Dst (see the class comment for FS); when Dst is
  /// not Taps, the result is added to Taps (grown to the longer length).
  void ComputeWindowFilter(double FS, double Delta, double Gain, const std::vector<double>& Edges,
                           TFilterType Type, TVec& Dst);
  /// The IIR design as numerator and denominator.
  void TransferFunIIR(TVec* Num, TVec* Den);
  /// The IIR design as zeros, poles (complex vectors) and gain.
  void ZeroPoleIIR(TVec* Zeros, TVec* Poles, double* Gain);
  /// The IIR design in state space.
  void StateSpaceIIR(TMtx* A, TMtx* B, TMtx* C, TMtx* D);
  /// What the last design achieved (measured when the design ran).
  const TDesignReport& DesignReport() const noexcept { return report_; }
  /// The frequency scale of the bands: NormalizedFrequency or the SamplingFrequency.
  double DesignFS() const;

  void Assign(const TPersistent& Source) override;
  void InternalParamUpdate(TObject* Sender) override;
  void SaveToStream(TStream& Stream) const override;
  void LoadFromStream(TStream& Stream) override;

  const TFirState& FirState() const noexcept { return firState_; }

private:
  bool Init();
  TFilterType TypeFromBands(bool iir) const;
  void DesignWindowed();
  void DesignEquiripple();
  void DesignSpecial();
  void ComputeIirFilter(TIirResultType Result, TVec* R0, TVec* R1, double* Gain, TMtx* A, TMtx* B, TMtx* C,
                        TMtx* D, bool toTaps);
  void Measure();
  TFloatArray TapsArray() const;
  void SetTapsArray(const TFloatArray& a);

  std::unique_ptr<TFilterList> filters_;
  TVec taps_;
  bool externalTaps_ = false;
  int firLength_ = 1;
  int upSample_ = 1, upDelay_ = 0, downSample_ = 1, downDelay_ = 0;
  TFirFilterMethod firMethod_ = fimWindow;
  TSignalWindowType window_ = wtKaiser;
  double beta_ = 4.0;
  bool ignoreAtt_ = false;
  int gridDensity_ = 16;
  int order_ = 4;
  bool autoFilterOrder_ = true;
  TIirMethod iirMethod_ = imButterworth;
  TIIRFrequencyTransform transform_ = iftBilinear;
  double normalizedFrequency_ = 2.0;
  bool useNormalizedFrequency_ = true;
  TResponseType response_ = rstUnit;
  TWaveletType wavelet_ = wvHaar;
  int waveletP1_ = 1, waveletP2_ = 1;
  TWaveletDecomp waveletDecomp_ = wdDecimated;
  bool prepared_ = false;
  TFirState firState_;
  TIirState iirState_;
  TMedianState medianState_;
  TWaveletState waveletState_;
  TDesignReport report_;
};

/// A bank of filters.
class TSignalFilterList : public TSignalList {
public:
  ONDRIX_CLASS_INFO()
  explicit TSignalFilterList(TComponent* AOwner) : TSignalList(AOwner) {}
  TSignalFilter* Items(int i) const { return static_cast<TSignalFilter*>(TAnalysisList::Items(i)); }
  /// Writes item i: copies Value's settings into it.
  void SetItems(int i, const TSignalFilter& Value) { Items(i)->Assign(Value); }

protected:
  std::unique_ptr<TKvxComponent> AddItem() override;
};

}  // namespace ondrix
