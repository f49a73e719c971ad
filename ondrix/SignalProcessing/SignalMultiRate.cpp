#include "ondrix/SignalProcessing/SignalMultiRate.h"

#include <algorithm>

#include "ondrix/framework/ClassBuilder.h"
#include "ondrix/vec/calcbase.h"
#include "ondrix/vec/exceptions.h"

namespace ondrix {

namespace {

// Settings files name the factor as the component stores it, so it is read back unchanged.
int RoundedFactor(int v) { return v < 2 ? 1 : LargestExp2(v); }

}  // namespace

// --- TSignalMultiRate ------------------------------------------------------------------------

const TClassInfo& TSignalMultiRate::StaticClassInfo() {
  static const TClassInfo info =
      TClassBuilder<TSignalMultiRate, TSignal>("TSignalMultiRate")
          .Prop("Input", &TSignalMultiRate::GetInput, &TSignalMultiRate::SetInput)
          .Stored(&TSignalMultiRate::InputsStored)
          .Prop("Factor", &TSignalMultiRate::Factor, &TSignalMultiRate::SetFactor, 2)
          .Prop("Ripple", &TSignalMultiRate::Ripple, &TSignalMultiRate::SetRipple, 0.0001)
          .Prop("TransBW", &TSignalMultiRate::TransBW, &TSignalMultiRate::SetTransBW, 0.1)
          .Prop("ScaleFactor", &TSignalMultiRate::ScaleFactor, &TSignalMultiRate::SetScaleFactor, 1.0)
          .Prop("ExternalTaps", &TSignalMultiRate::ExternalTaps, &TSignalMultiRate::SetExternalTaps, false)
          .Build();
  return info;
}

TSignalMultiRate::TSignalMultiRate(TComponent* AOwner) : TSignal(AOwner) { SetUsesInputs(true); }

TSignalMultiRate::~TSignalMultiRate() { BeginDestroy(); }

int TSignalMultiRate::Stages() const { return LargestLog2(factor_); }

void TSignalMultiRate::SetFactor(int Value) {
  Value = RoundedFactor(Value);
  if (Value == factor_) return;
  factor_ = Value;
  initialized_ = factor_ == 1;
}

void TSignalMultiRate::SetRipple(double Value) {
  if (Value == ripple_) return;
  ripple_ = Value;
  firInitialized_ = false;
}

void TSignalMultiRate::SetTransBW(double Value) {
  if (Value == transBW_) return;
  transBW_ = Value;
  firInitialized_ = false;
}

void TSignalMultiRate::SetScaleFactor(double Value) {
  if (Value == scaleFactor_) return;
  scaleFactor_ = Value;
  firInitialized_ = false;
}

void TSignalMultiRate::SetExternalTaps(bool Value) {
  if (Value == externalTaps_) return;
  externalTaps_ = Value;
  firInitialized_ = false;
}

void TSignalMultiRate::DesignTaps() {
  HalfBandLowpass(halfBand_, ripple_, true);
  const double pass = (1.0 - transBW_) * 0.5;
  MultiRateLowpass(lastStage_, pass, pass + transBW_, ripple_, true);
  lastStage_.Scale(scaleFactor_);
}

void TSignalMultiRate::InitFilters() {
  if (!externalTaps_) DesignTaps();
  if (OnGetFilterTaps) OnGetFilterTaps(this);
  firInitialized_ = true;
}

void TSignalMultiRate::FreeFirBuffers() { CascadeInit(cascade_, CascadeMode(), 0, halfBand_, lastStage_); }

void TSignalMultiRate::AllocFirBuffers() {
  CascadeInit(cascade_, CascadeMode(), Stages(), halfBand_, lastStage_, RectifyAt());
}

void TSignalMultiRate::Initialize() {
  TSignal* in = Input();
  if (in && in->ChannelCount() > 1) ERaise("MultiRate: Input.ChannelCount > 1 not supported!");
  if (!firInitialized_) {
    InitFilters();
    initialized_ = false;  // the stages must take the new taps
  }
  if (!initialized_) {
    FreeFirBuffers();
    AllocFirBuffers();
    initialized_ = true;
  }
}

void TSignalMultiRate::EnsureStages() {
  if (cascade_.Stages != Stages() || cascade_.Mode != CascadeMode() ||
      cascade_.RectifyAt != std::clamp(RectifyAt(), -1, Stages())) {
    FreeFirBuffers();
    AllocFirBuffers();
  }
}

double TSignalMultiRate::Delay() {
  if (!firInitialized_) {
    InitFilters();
    initialized_ = false;
  }
  return CascadeDelay(CascadeMode(), Stages(), halfBand_.Length(), lastStage_.Length());
}

void TSignalMultiRate::Process(const TVec& Src, TVec& Dst) {
  if (!processInput_) processInput_ = std::make_unique<TSignal>(nullptr);
  TSignal* const previous = Input();
  processInput_->SetData(Src);
  if (previous) processInput_->SetSamplingFrequency(previous->SamplingFrequency());
  SetInput(processInput_.get());
  try {
    Update();
  } catch (...) {
    SetInput(previous);
    throw;
  }
  SetInput(previous);
  Dst.Copy(Data());
}

// --- TSignalDecimator ----------------------------------------------------------------------

const TClassInfo& TSignalDecimator::StaticClassInfo() {
  static const TClassInfo info =
      TClassBuilder<TSignalDecimator, TSignalMultiRate>("TSignalDecimator")
          .Prop("EnvelopeFactor", &TSignalDecimator::EnvelopeFactor, &TSignalDecimator::SetEnvelopeFactor, 0)
          .Prop("LastStageFilterOnly", &TSignalDecimator::LastStageFilterOnly,
                &TSignalDecimator::SetLastStageFilterOnly, false)
          .Build();
  return info;
}

TSignalDecimator::TSignalDecimator(TComponent* AOwner) : TSignalMultiRate(AOwner) {}

TSignalDecimator::~TSignalDecimator() { BeginDestroy(); }

void TSignalDecimator::SetFactor(int Value) {
  if (RoundedFactor(Value) == factor_) return;
  TSignalMultiRate::SetFactor(Value);
  initialized_ = false;
  envelopeFactor_ = std::min(factor_, envelopeFactor_);
}

void TSignalDecimator::SetEnvelopeFactor(int Value) {
  envelopeFactor_ = Value >= 2 ? LargestExp2(Value) : std::max(Value, 0);
  TSignalDecimator::SetFactor(std::max(factor_, envelopeFactor_));
  initialized_ = false;
}

TCascadeMode TSignalDecimator::CascadeMode() const {
  return lastStageFilterOnly_ ? cmDecimateFilterLast : cmDecimate;
}

int TSignalDecimator::RectifyAt() const {
  return envelopeFactor_ >= 1 ? Stages() - LargestLog2(envelopeFactor_) : -1;
}

int TSignalDecimator::OutputStep() const {
  return lastStageFilterOnly_ && factor_ >= 2 ? factor_ / 2 : factor_;
}

void TSignalDecimator::ApplyDecimation(const TVec& Src) {
  EnsureStages();
  CascadeFilter(Src, Data(), cascade_);
}

TPipeState TSignalDecimator::InternalUpdate() {
  Initialize();
  ApplyDecimation(Input()->Data());
  SetSamplingFrequency(Input()->SamplingFrequency() / OutputStep());
  return pipeOK;
}

// --- TSignalInterpolator -------------------------------------------------------------------

const TClassInfo& TSignalInterpolator::StaticClassInfo() {
  static const TClassInfo info = TClassBuilder<TSignalInterpolator, TSignalMultiRate>("TSignalInterpolator").Build();
  return info;
}

TSignalInterpolator::TSignalInterpolator(TComponent* AOwner) : TSignalMultiRate(AOwner) {}

TSignalInterpolator::~TSignalInterpolator() { BeginDestroy(); }

TPipeState TSignalInterpolator::InternalUpdate() {
  Initialize();
  SetSamplingFrequency(Input()->SamplingFrequency() * factor_);
  EnsureStages();
  CascadeFilter(Input()->Data(), Data(), cascade_);
  return pipeOK;
}

// --- Lists ---------------------------------------------------------------------------------

const TClassInfo& TSignalDecimatorList::StaticClassInfo() {
  static const TClassInfo info = TClassBuilder<TSignalDecimatorList, TSignalList>("TSignalDecimatorList").Build();
  return info;
}

std::unique_ptr<TKvxComponent> TSignalDecimatorList::AddItem() { return std::make_unique<TSignalDecimator>(nullptr); }

const TClassInfo& TSignalInterpolatorList::StaticClassInfo() {
  static const TClassInfo info =
      TClassBuilder<TSignalInterpolatorList, TSignalList>("TSignalInterpolatorList").Build();
  return info;
}

std::unique_ptr<TKvxComponent> TSignalInterpolatorList::AddItem() {
  return std::make_unique<TSignalInterpolator>(nullptr);
}

}  // namespace ondrix
