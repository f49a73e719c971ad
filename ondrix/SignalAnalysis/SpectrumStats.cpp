#include "ondrix/SignalAnalysis/SpectrumStats.h"

#include <algorithm>
#include <cmath>

#include "ondrix/SignalAnalysis/SpectrumAnalyzer.h"
#include "ondrix/framework/ClassBuilder.h"
#include "ondrix/sigcore/averaging.h"
#include "ondrix/vec/calcbase.h"

namespace ondrix {

namespace {

constexpr double kMinConfidence = 1.0;
constexpr double kMaxConfidence = 99.99999;

}  // namespace

const TClassInfo& TSpectrumStats::StaticClassInfo() {
  static const TClassInfo info =
      TClassBuilder<TSpectrumStats, TPersistent>("TSpectrumStats")
          .Prop("CalcStdDev", &TSpectrumStats::CalcStdDev, &TSpectrumStats::SetCalcStdDev, false)
          .Prop("CalcLimits", &TSpectrumStats::CalcLimits, &TSpectrumStats::SetCalcLimits, false)
          .Prop("Averages", &TSpectrumStats::Averages, &TSpectrumStats::SetAverages, 30u)
          .Prop("ConfidenceInterval", &TSpectrumStats::ConfidenceInterval, &TSpectrumStats::SetConfidenceInterval,
                99.0)
          .Prop("ExpDecay", &TSpectrumStats::ExpDecay, &TSpectrumStats::SetExpDecay, 5)
          .Enum("Averaging", &TSpectrumStats::Averaging, &TSpectrumStats::SetAveraging, detail::AveragingNames(),
                avNone)
          .Build();
  return info;
}

// The fields are set directly: the confidence factor stays 0 until ConfidenceInterval is
// assigned, so limits computed before that equal the average.
TSpectrumStats::TSpectrumStats(TSpectrumAnalyzer* AOwner)
    : owner_(AOwner), averagedSpectrum_(std::make_unique<TSpectrum>(nullptr)) {
  averagedSpectrum_->SetName("AveragedSpectrum");
}

TSpectrumStats::~TSpectrumStats() = default;

TPersistent* TSpectrumStats::GetOwner() const { return owner_; }

void TSpectrumStats::CopyList(TVecList& Dst, const TVecList& Src) {
  Dst.SetCount(Src.Count());
  for (int i = 0; i < Src.Count(); ++i) Dst[i].Copy(Src[i]);
}

void TSpectrumStats::SetAveraging(TAveraging Value) {
  if (Value == averaging_) return;
  averaging_ = Value;
  averaged_ = 0;
}

void TSpectrumStats::SetExpDecay(int Value) {
  if (Value == expDecay_) return;
  expDecay_ = std::max(Value, 1);
  averaged_ = 0;
}

void TSpectrumStats::SetConfidenceInterval(double Value) {
  confidenceInterval_ = EnsureRange(kMinConfidence, Value, kMaxConfidence);
  confidenceFactor_ = std::fabs(NormalCDFInv((1.0 - confidenceInterval_ / 100.0) / 2.0));
}

void TSpectrumStats::SetCalcStdDev(bool Value) {
  if (Value == calcStdDev_) return;
  calcStdDev_ = Value;
  if (Value) averaged_ = 0;  // the sums of squares must start with the average
}

void TSpectrumStats::Reset() {
  averaged_ = 0;
  for (int i = 0; i < holdCounters_.Count(); ++i) holdCounters_[i].SetZero();
}

void TSpectrumStats::Update() {
  const TSpectrum& S = *owner_;
  TSpectrum& A = *averagedSpectrum_;
  A.SetPhaseMode(S.PhaseMode());
  A.SetPhaseUnits(S.PhaseUnits());
  const bool phase = S.PhaseMode() != pmIgnore && S.Phase().Length() == S.Amplt().Length();

  if (IsComplexAveraging(averaging_)) {
    // Averaged and the restart on a size change belong to the analyzer here; the averaged
    // spectrum mirrors its result so that copying it back changes nothing.
    A.SetComplex(S.Complex());
    A.SetZeroPadding(S.ZeroPadding());
    A.SetBandWidthL(S.BandWidthL());
    A.Copy(S);
    return;
  }

  if (A.Amplt().Length() != S.Amplt().Length()) averaged_ = 0;
  A.SetComplex(S.Complex());
  A.SetZeroPadding(S.ZeroPadding());
  A.SetBandWidthL(S.BandWidthL());
  if (A.SamplingFrequency() != S.SamplingFrequency()) {
    A.SetSamplingFrequency(S.SamplingFrequency());
    averaged_ = 0;
  }
  if (!calcStdDev_) {
    stdDev_.SetCount(0);
    lowerLimit_.SetCount(0);
    upperLimit_.SetCount(0);
  }

  switch (averaging_) {
    case avNone: averaged_ = 0; break;
    case avLinearInf:
    case avExponentInf:
    case avLinear:
      AverageMean(S, phase);
      Count();
      break;
    case avPeakHold:
    case avPeakHoldInf:
      PeakHold(S, phase);
      Count();
      break;
    case avPeakAndDecay:
      PeakAndDecay(S, phase);
      Count();
      break;
    default: break;
  }
}

void TSpectrumStats::AverageMean(const TSpectrum& S, bool phase) {
  TSpectrum& A = *averagedSpectrum_;
  if (averaged_ == 0) {
    A.Amplt().Copy(S.Amplt());
    if (phase) A.Phase().Copy(S.Phase());
    if (calcStdDev_) {
      m2Amplt_.Size(S.Amplt().Length(), false);
      m2Amplt_.SetZero();
      m2Phase_.Size(phase ? S.Phase().Length() : 0, false);
      m2Phase_.SetZero();
      sumW2_ = 1.0;
      stdDev_.SetCount(0);
      lowerLimit_.SetCount(0);
      upperLimit_.SetCount(0);
    }
    return;
  }
  const double n = averaging_ == avExponentInf ? static_cast<double>(expDecay_) : averaged_ + 1.0;
  const bool phaseStats = phase && m2Phase_.Length() == S.Phase().Length();
  if (calcStdDev_ && m2Amplt_.Length() == S.Amplt().Length()) {
    // Weighted second moment about the mean, before the mean moves (see the class comment):
    // M2 := (1 − w)·(M2 + w·(x − mean)²), w = 1/n.
    const double w = 1.0 / n;
    auto moment = [w](TVec& m2, const TVec& mean, const TVec& x) {
      double* m = m2.PValues();
      const double* a = mean.PValues();
      const double* v = x.PValues();
      for (int i = 0, len = m2.Length(); i < len; ++i) {
        const double d = v[i] - a[i];
        m[i] = (1.0 - w) * (m[i] + w * d * d);
      }
    };
    moment(m2Amplt_, A.Amplt(), S.Amplt());
    if (phaseStats) moment(m2Phase_, A.Phase(), S.Phase());
    sumW2_ = sumW2_ * (1.0 - w) * (1.0 - w) + w * w;
  }
  RunningAverage(A.Amplt(), S.Amplt(), averaged_, n);
  if (phase) RunningAverage(A.Phase(), S.Phase(), averaged_, n);
  if (calcStdDev_ && m2Amplt_.Length() == S.Amplt().Length()) UpdateDeviation(phaseStats && S.PhaseMode() != pmIgnore);
}

void TSpectrumStats::UpdateDeviation(bool phase) {
  const TSpectrum& A = *averagedSpectrum_;
  const int items = phase ? 2 : 1;
  stdDev_.SetCount(items);
  const double norm = 1.0 - sumW2_;
  for (int k = 0; k < items; ++k) {
    const TVec& m2 = k == 0 ? m2Amplt_ : m2Phase_;
    TVec& sd = stdDev_[k];
    sd.Size(m2.Length(), false);
    for (int i = 0; i < m2.Length(); ++i)
      sd.Values(i) = norm > 0.0 ? std::sqrt(std::max(m2.Values(i), 0.0) / norm) : 0.0;
  }
  if (!calcLimits_) return;
  lowerLimit_.SetCount(items);
  upperLimit_.SetCount(items);
  for (int k = 0; k < items; ++k) {
    const TVec& mean = k == 0 ? A.Amplt() : A.Phase();
    lowerLimit_[k].Copy(mean);
    upperLimit_[k].Copy(mean);
    for (int i = 0; i < mean.Length(); ++i) {
      const double d = confidenceFactor_ * stdDev_[k].Values(i);
      lowerLimit_[k].Values(i) -= d;
      upperLimit_[k].Values(i) += d;
    }
  }
}

void TSpectrumStats::PeakHold(const TSpectrum& S, bool phase) {
  TSpectrum& A = *averagedSpectrum_;
  holdCounters_.SetCount(2);
  if (averaged_ == 0) {
    A.Amplt().Copy(S.Amplt());
    if (phase) A.Phase().Copy(S.Phase());
    holdCounters_[0].Size(S.Amplt().Length(), false);
    holdCounters_[0].SetZero();
    holdCounters_[1].Size(phase ? S.Phase().Length() : 0, false);
    holdCounters_[1].SetZero();
  }
  auto hold = [this](TVec& held, const TVec& now, TVec& counter) {
    const int n = std::min({held.Length(), now.Length(), counter.Length()});
    for (int i = 0; i < n; ++i) {
      double& h = held.Values(i);
      double& c = counter.Values(i);
      const double x = now.Values(i);
      if (c > static_cast<double>(averages_)) {  // the hold time has run out
        h = x;
        c = 0.0;
      } else if (x <= h) {
        c += 1.0;
      } else {
        h = x;
        c = 0.0;
      }
    }
  };
  hold(A.Amplt(), S.Amplt(), holdCounters_[0]);
  if (phase) hold(A.Phase(), S.Phase(), holdCounters_[1]);
}

void TSpectrumStats::PeakAndDecay(const TSpectrum& S, bool phase) {
  TSpectrum& A = *averagedSpectrum_;
  if (averaged_ == 0) {
    A.Amplt().Size(S.Amplt().Length(), false);
    A.Amplt().SetZero();
    A.Phase().Size(phase ? S.Phase().Length() : 0, false);
    A.Phase().SetZero();
  }
  const double d = 1.0 - 1.0 / expDecay_;
  auto decay = [d](TVec& held, const TVec& now) {
    const int n = std::min(held.Length(), now.Length());
    for (int i = 0; i < n; ++i) {
      double& h = held.Values(i);
      const double x = now.Values(i);
      h = x <= h ? d * h : x;
    }
  };
  decay(A.Amplt(), S.Amplt());
  if (phase) decay(A.Phase(), S.Phase());
}

}  // namespace ondrix
