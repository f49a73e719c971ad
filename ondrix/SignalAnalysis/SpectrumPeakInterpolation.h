// TSpectrumPeakInterpolation: how a found peak's frequency is refined between the lines.
#pragma once

#include "ondrix/SignalAnalysis/AnalysisTypes.h"
#include "ondrix/framework/TPersistent.h"

namespace ondrix {

/// Settings of the peak refinement of TSpectrumPeaksAnalyzer (its `Interpolation`); the
/// refinement itself is TSpectrumPeaksAnalyzer::Approximate.
class TSpectrumPeakInterpolation : public TPersistent {
public:
  ONDRIX_CLASS_INFO()

  explicit TSpectrumPeakInterpolation(TPersistent* AOwner = nullptr) : owner_(AOwner) {}

  TPersistent* GetOwner() const override { return owner_; }

  TInterpolationMethod Method() const noexcept { return method_; }
  void SetMethod(TInterpolationMethod Value) noexcept { method_ = Value; }
  TInterpolationPrecision Precision() const noexcept { return precision_; }
  void SetPrecision(TInterpolationPrecision Value) noexcept { precision_ = Value; }
  /// Refine the harmonics of the harmonic searches as well (else they sit on their lines).
  bool Harmonics() const noexcept { return harmonics_; }
  void SetHarmonics(bool Value) noexcept { harmonics_ = Value; }

  /// The divisor P of Precision: imNumeric stops once its step is at most HzRes / P
  /// (ip2 100, ip4 10⁴, ip6 10⁶, ip8 10⁸).
  double PrecisionDivisor() const noexcept;

private:
  TPersistent* owner_;
  TInterpolationMethod method_ = imNone;
  TInterpolationPrecision precision_ = ip6;
  bool harmonics_ = false;
};

}  // namespace ondrix
