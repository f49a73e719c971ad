#include "ondrix/SignalAnalysis/SpectrumCZT.h"

#include <algorithm>
#include <cmath>

#include "ondrix/SignalAnalysis/SpectrumAnalyzer.h"
#include "ondrix/framework/ClassBuilder.h"

namespace ondrix {

const TClassInfo& TSpectrumCZT::StaticClassInfo() {
  static const TClassInfo info =
      TClassBuilder<TSpectrumCZT, TPersistent>("TSpectrumCZT")
          .Prop("StartFrequency", &TSpectrumCZT::StartFrequency, &TSpectrumCZT::SetStartFrequency, 0.0)
          .Prop("FrequencyStep", &TSpectrumCZT::FrequencyStep, &TSpectrumCZT::SetFrequencyStep, 0.0078125)
          .Prop("StopFrequency", &TSpectrumCZT::StopFrequency, &TSpectrumCZT::SetStopFrequency, 0.5)
          .Prop("StartRadius", &TSpectrumCZT::StartRadius, &TSpectrumCZT::SetStartRadius, 1.0)
          .Prop("StopRadius", &TSpectrumCZT::StopRadius, &TSpectrumCZT::SetStopRadius, 1.0)
          .Build();
  return info;
}

TPersistent* TSpectrumCZT::GetOwner() const { return owner_; }

void TSpectrumCZT::SetStartFrequency(double Value) noexcept {
  startFrequency_ = Value;
  if (stopFrequency_ < Value) stopFrequency_ = Value;
}

void TSpectrumCZT::SetFrequencyStep(double Value) noexcept { frequencyStep_ = std::max(0.0, Value); }

void TSpectrumCZT::SetStopFrequency(double Value) noexcept {
  stopFrequency_ = Value;
  if (Value < startFrequency_) startFrequency_ = Value;
}

void TSpectrumCZT::SetStartRadius(double Value) noexcept { startRadius_ = std::max(Value, 0.0); }

int TSpectrumCZT::PointCount() const noexcept {
  const double q = (stopFrequency_ - startFrequency_) / frequencyStep_;
  if (std::isnan(q) || q < 1.0) return 1;  // 0/0: an empty band
  if (q >= kMaxPoints) return kMaxPoints;  // also a zero step
  return static_cast<int>(q);
}

}  // namespace ondrix
