#include "ondrix/SignalAnalysis/SpectrumPeakInterpolation.h"

#include "ondrix/framework/ClassBuilder.h"

namespace ondrix {

const TClassInfo& TSpectrumPeakInterpolation::StaticClassInfo() {
  static const TClassInfo info =
      TClassBuilder<TSpectrumPeakInterpolation, TPersistent>("TSpectrumPeakInterpolation")
          .Enum("Method", &TSpectrumPeakInterpolation::Method, &TSpectrumPeakInterpolation::SetMethod,
                detail::InterpolationMethodNames(), imNone)
          .Enum("Precision", &TSpectrumPeakInterpolation::Precision, &TSpectrumPeakInterpolation::SetPrecision,
                detail::InterpolationPrecisionNames(), ip6)
          .Prop("Harmonics", &TSpectrumPeakInterpolation::Harmonics, &TSpectrumPeakInterpolation::SetHarmonics, false)
          .Build();
  return info;
}

double TSpectrumPeakInterpolation::PrecisionDivisor() const noexcept {
  switch (precision_) {
    case ip2: return 100.0;
    case ip4: return 10000.0;
    case ip6: return 1000000.0;
    case ip8: return 100000000.0;
  }
  return 1000000.0;
}

}  // namespace ondrix
