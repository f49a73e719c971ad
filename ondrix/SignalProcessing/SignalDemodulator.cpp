#include "ondrix/SignalProcessing/SignalDemodulator.h"

#include <algorithm>
#include <cmath>

#include "ondrix/framework/ClassBuilder.h"
#include "ondrix/vec/calcbase.h"
#include "ondrix/vec/exceptions.h"

namespace ondrix {

// --- TSignalDemodulator --------------------------------------------------------------------

const TClassInfo& TSignalDemodulator::StaticClassInfo() {
  static const TClassInfo info =
      TClassBuilder<TSignalDemodulator, TSignalDecimator>("TSignalDemodulator")
          .Prop("SubBandWidth", &TSignalDemodulator::SubBandWidth, &TSignalDemodulator::SetSubBandWidth, 0.0)
          .Prop("SubBandFrequency", &TSignalDemodulator::SubBandFrequency, &TSignalDemodulator::SetSubBandFrequency,
                0.0)
          // Follows the band (1 without one), so it is not stored.
          .Prop("Factor", &TSignalDemodulator::Factor, &TSignalDemodulator::SetFactor, 1)
          .Stored(false)
          .Build();
  return info;
}

TSignalDemodulator::TSignalDemodulator(TComponent* AOwner) : TSignalDecimator(AOwner), mix_(0, true) {
  // Without a band the demodulator passes blocks through, with its tones in a defined state.
  ComputeFactor();
}

TSignalDemodulator::~TSignalDemodulator() { BeginDestroy(); }

void TSignalDemodulator::SetSubBandWidth(double Value) {
  subBandWidth_ = EnsureRange(0.0, Value, 0.5);
  ComputeFactor();
}

void TSignalDemodulator::SetSubBandFrequency(double Value) {
  subBandFrequency_ = EnsureRange(0.0, Value, 0.5);
  ComputeFactor();
}

void TSignalDemodulator::ComputeFactor() {
  const double w = subBandWidth_;
  double r = 0;
  if (w > 0) {
    // Factors stop at 2^30 (the largest power of two an int holds).
    const int p = LargestExp2(static_cast<int>(std::min(0.5 / w, 536870912.0)));
    r = 0.5 / p;
    if (r < w) r *= 2;
  }
  if (subBandFrequency_ + r > 0.5) r = 0;
  if (r > 0) {
    TSignalDecimator::SetFactor(static_cast<int>(1.0 / r));
    ToneInit(r / 2 + subBandFrequency_, 0.0, 1.0, bandTone_, true);
  } else {
    TSignalDecimator::SetFactor(1);
    ToneInit(0.0, 0.0, 1.0, bandTone_, true);
  }
  ToneInit(0.25, 0.0, 1.0, quarterTone_, true);
}

void TSignalDemodulator::SetFactor(int) {}

void TSignalDemodulator::SetEnvelopeFactor(int) { envelopeFactor_ = 0; }

void TSignalDemodulator::InitFilters() {
  if (!externalTaps_) {
    HalfBandLowpass(halfBand_, ripple_, false);
    MultiRateLowpass(lastStage_, 0.45, 0.55, ripple_, false);
    lastStage_.Scale(2.0 * scaleFactor_);
  }
  if (OnGetFilterTaps) OnGetFilterTaps(this);
  firInitialized_ = true;
}

void TSignalDemodulator::AllocFirBuffers() {
  CascadeInit(cascade_, cmDecimateFilterLast, Stages(), halfBand_, lastStage_);
}

TPipeState TSignalDemodulator::InternalUpdate() {
  const TSignal& in = *Input();
  if (in.Length() % 2 != 0) ERaise("(Input.Length mod 2) <> 0");
  Initialize();
  if (factor_ <= 1) {
    Data().Copy(in.Data());
    return pipeOK;
  }
  const int n = in.Length();
  mix_.Size(n, true);
  Tone(mix_, bandTone_);
  mix_.Conj();
  product_.Size(n, true);
  const TVec& x = in.Data();
  for (int i = 0; i < n; ++i)
    product_.CValues(i) = mix_.CValues(i) * (x.Complex() ? x.CValues(i) : TCplx(x.Values(i), 0.0));
  ApplyDecimation(product_);
  mix_.Size(Data().Length(), true);
  Tone(mix_, quarterTone_);
  product_.Mul(Data(), mix_);
  Data().RealPart(product_);
  SetBandWidthL(in.SamplingFrequency() * subBandFrequency_);
  SetSamplingFrequency(in.SamplingFrequency() * 2.0 / factor_);
  return pipeOK;
}

// --- TSignalEnvelopeDetector ---------------------------------------------------------------

const TClassInfo& TSignalEnvelopeDetector::StaticClassInfo() {
  static const TClassInfo info =
      TClassBuilder<TSignalEnvelopeDetector, TSignalDecimator>("TSignalEnvelopeDetector")
          .Prop("HilbertRipple", &TSignalEnvelopeDetector::HilbertRipple, &TSignalEnvelopeDetector::SetHilbertRipple,
                0.001)
          .Prop("HilbertTransBW", &TSignalEnvelopeDetector::HilbertTransBW,
                &TSignalEnvelopeDetector::SetHilbertTransBW, 0.1)
          .Build();
  return info;
}

TSignalEnvelopeDetector::TSignalEnvelopeDetector(TComponent* AOwner) : TSignalDecimator(AOwner) {}

TSignalEnvelopeDetector::~TSignalEnvelopeDetector() { BeginDestroy(); }

void TSignalEnvelopeDetector::SetHilbertTransBW(double Value) {
  if (Value == hilbertTransBW_) return;
  hilbertTransBW_ = Value;
  firInitialized_ = false;
}

void TSignalEnvelopeDetector::InitFilters() {
  if (!externalTaps_) DesignTaps();
  if (OnGetFilterTaps) OnGetFilterTaps(this);
  HilbertTransformer(hilbert_, hilbertTransBW_, hilbertRipple_);
  envelopeFactor_ = 0;
  firInitialized_ = true;
}

void TSignalEnvelopeDetector::AllocFirBuffers() {
  TSignalDecimator::AllocFirBuffers();
  FirInit(hilbert_, hilbertState_);
  DelayInit(hilbert_.Length() / 2, delayState_);
}

double TSignalEnvelopeDetector::Delay() {
  const double cascade = TSignalDecimator::Delay();
  return hilbert_.Length() / 2 + cascade;
}

TPipeState TSignalEnvelopeDetector::InternalUpdate() {
  const TSignal& in = *Input();
  // The length is checked first, so that a refused block leaves the stream's state alone.
  if (in.Length() > 0 && in.Length() < factor_) ERaise("Input.Length < FActor");
  if (envelopeFactor_ != 0) {
    envelopeFactor_ = 0;
    initialized_ = false;
  }
  Initialize();
  SetSamplingFrequency(in.SamplingFrequency() / OutputStep());
  if (in.Length() == 0) {
    Data().SetLength(0);
    return pipeOK;
  }
  FirFilter(in.Data(), quadrature_, hilbertState_);
  DelayFilter(in.Data(), inPhase_, delayState_);
  analytic_.RealToCplx(quadrature_, inPhase_);
  magnitude_.Mag(analytic_);
  ApplyDecimation(magnitude_);
  return pipeOK;
}

// --- Lists ---------------------------------------------------------------------------------

const TClassInfo& TSignalDemodulatorList::StaticClassInfo() {
  static const TClassInfo info = TClassBuilder<TSignalDemodulatorList, TSignalList>("TSignalDemodulatorList").Build();
  return info;
}

std::unique_ptr<TKvxComponent> TSignalDemodulatorList::AddItem() {
  return std::make_unique<TSignalDemodulator>(nullptr);
}

const TClassInfo& TSignalEnvelopeDetectorList::StaticClassInfo() {
  static const TClassInfo info =
      TClassBuilder<TSignalEnvelopeDetectorList, TSignalList>("TSignalEnvelopeDetectorList").Build();
  return info;
}

std::unique_ptr<TKvxComponent> TSignalEnvelopeDetectorList::AddItem() {
  return std::make_unique<TSignalEnvelopeDetector>(nullptr);
}

}  // namespace ondrix
