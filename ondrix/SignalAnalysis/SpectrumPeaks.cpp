#include "ondrix/SignalAnalysis/SpectrumPeaks.h"

#include <algorithm>
#include <cmath>

#include "ondrix/SignalAnalysis/SpectrumAnalyzer.h"
#include "ondrix/SignalAnalysis/SpectrumStats.h"
#include "ondrix/framework/ClassBuilder.h"
#include "ondrix/sigcore/peak_fit.h"

namespace ondrix {

namespace {

/// MainlobeWidth of the Kaiser and Chebyshev windows by SidelobeAtt: the width of the last
/// threshold that the attenuation exceeds (6 lines below the first).
struct TLobeStep {
  double AboveDb;
  int Width;
};
constexpr TLobeStep kLobeSteps[] = {{55, 8},   {90, 9},   {100, 10}, {115, 12}, {130, 14}, {145, 16},
                                    {160, 17}, {175, 18}, {190, 19}, {205, 21}, {230, 23}};
constexpr int kDefaultMainlobeWidth = 6;

}  // namespace

const TClassInfo& TSpectrumPeaksAnalyzer::StaticClassInfo() {
  using P = TSpectrumPeaksAnalyzer;
  static const TClassInfo info =
      TClassBuilder<P, TPersistent>("TSpectrumPeaksAnalyzer")
          .Prop("Active", &P::Active, &P::SetActive, true)
          .Enum("TraceMethod", &P::TraceMethod, &P::SetTraceMethod, detail::PeakTraceMethodNames(), ptNone)
          .Prop("LargestCount", &P::LargestCount, &P::SetLargestCount, 1)
          .Prop("HarmonicsCount", &P::HarmonicsCount, &P::SetHarmonicsCount)
          .Stored(false)  // the analyzer stores it as its Harmonics
          .Prop("TraceInterval", &P::TraceInterval, &P::SetTraceInterval, 0.0)
          .Prop("BandwidthL", &P::BandwidthL, &P::SetBandwidthL, 20.0)
          .Prop("BandwidthH", &P::BandwidthH, &P::SetBandwidthH, 20000.0)
          .Prop("UseFullBandwidth", &P::UseFullBandwidth, &P::SetUseFullBandwidth, true)
          .Prop("Interpolation", &P::Interpolation)
          .Enum("OrderTracing", &P::OrderTracing, &P::SetOrderTracing, detail::OrderTracingNames(), otNone)
          .Prop("OrderPeakNumber", &P::OrderPeakNumber, &P::SetOrderPeakNumber, 1)
          .Prop("OrderFrequency", &P::OrderFrequency, &P::SetOrderFrequency, 1.0)
          .Prop("OrderActive", &P::OrderActive, &P::SetOrderActive, false)
          .Build();
  return info;
}

TSpectrumPeaksAnalyzer::TSpectrumPeaksAnalyzer(TSpectrumAnalyzer* AOwner)
    : owner_(AOwner), interpolation_(std::make_unique<TSpectrumPeakInterpolation>(this)) {}

TSpectrumPeaksAnalyzer::~TSpectrumPeaksAnalyzer() = default;

TPersistent* TSpectrumPeaksAnalyzer::GetOwner() const { return owner_; }

int TSpectrumPeaksAnalyzer::HarmonicsCount() const { return owner_->Harmonics(); }
void TSpectrumPeaksAnalyzer::SetHarmonicsCount(int Value) { owner_->SetHarmonics(Value); }

// The band is clamped to the Hz axis of the analyzer's last update; before any update there
// is no spectrum to clamp to and the value is kept as given.
void TSpectrumPeaksAnalyzer::SetBandwidthL(double Value) {
  const TSpectrumAnalyzer& a = *owner_;
  if (a.LastHzRes() > 0) {
    const double lo = a.LastBandWidthL(), hi = lo + a.LastHzRes() * a.Length();
    Value = std::clamp(Value, lo, hi);
  }
  bandwidthL_ = Value;
}

void TSpectrumPeaksAnalyzer::SetBandwidthH(double Value) {
  const TSpectrumAnalyzer& a = *owner_;
  if (a.LastHzRes() > 0) {
    const double lo = a.LastBandWidthL(), hi = lo + a.LastHzRes() * a.Length();
    Value = std::clamp(Value, lo, hi);
  }
  bandwidthH_ = Value;
}

TMarkList& TSpectrumPeaksAnalyzer::List() const { return owner_->Marks(); }
int TSpectrumPeaksAnalyzer::Count() const { return owner_->Marks().Count(); }
TMarkRecord& TSpectrumPeaksAnalyzer::GetMarks(int i) const { return owner_->Marks().Values(i); }
void TSpectrumPeaksAnalyzer::SetMarks(int i, const TMarkRecord& Value) { owner_->Marks().SetValue(i, Value); }

// --- Update ----------------------------------------------------------------------------------

void TSpectrumPeaksAnalyzer::Update() {
  TSpectrumAnalyzer& a = *owner_;
  if (orderActive_ && orderFrequency_ > 0) {
    a.SetSamplingFrequency(a.LastSamplingFrequency() / orderFrequency_);
    a.SetBandWidthL(a.LastBandWidthL() / orderFrequency_);
  }
  SetBandwidthH(bandwidthH_);
  SetBandwidthL(bandwidthL_);
  if (!active_) return;
  switch (traceMethod_) {
    case ptNone: Adjust(); break;
    case ptCurrent: Trace(); break;
    case ptLargest: FindLargestPeaks(); break;
    case ptAmpltHarmonics: AmpltHarmonics(); break;
    case ptFreqHarmonics: FreqHarmonics(); break;
  }
  int width = kDefaultMainlobeWidth;
  if (a.Window() == wtKaiser || a.Window() == wtChebyshev) {
    for (const TLobeStep& s : kLobeSteps)
      if (a.SidelobeAtt() > s.AboveDb) width = s.Width;
  }
  a.SetMainlobeWidth(width);
  ApplyOrder();
}

// --- Refinement ------------------------------------------------------------------------------

double TSpectrumPeaksAnalyzer::Tau(double x) { return QuinnTau(x); }

double TSpectrumPeaksAnalyzer::Approximate(double Freq) {
  TSpectrumAnalyzer& an = *owner_;
  TInterpolationMethod method = interpolation_->Method();
  // The test is against 0, not 1: after any FFT or chirp-z estimate the factor is at least 1,
  // so the methods above imNumeric act on the autoregressive spectra only.
  if ((an.ActualZeroPadding() != 0 || an.Window() != wtRectangular || an.SpectrumType() == stPower ||
       an.SpectrumType() == stComplex) &&
      method > imNumeric)
    method = imNone;
  if ((an.Stats()->Averaged() != 0 || !an.ComplexSpectrumValid()) &&
      (method == imNumeric || method == imQuinnFirst || method == imQuinnSecond))
    method = imNone;

  const double delta = an.HzRes();
  Freq = an.ConvergeToMaximum(Freq);
  const int k = an.LineOf(Freq);
  const TVec& A = an.Amplt();
  const bool inner = k >= 1 && k + 1 < A.Length();
  switch (method) {
    case imNone: break;
    case imNumeric: {
      const double P = interpolation_->PrecisionDivisor();
      Freq = ClimbToMaximum([&an](double f) { return an.AmpltEst(f); }, Freq, delta * 0.125, delta / P);
      break;
    }
    case imQuadratic:
      // Twice the vertex offset, as the analyzers have always computed it: kept.
      if (inner) Freq += delta * (2.0 * ParabolaVertexOffset(A.Values(k - 1), A.Values(k), A.Values(k + 1)));
      break;
    case imBarycentric:
      if (inner) Freq += delta * BarycentricOffset(A.Values(k - 1), A.Values(k), A.Values(k + 1));
      break;
    case imQuinnFirst:
    case imQuinnSecond: {
      const TVec& X = an.ComplexSpectrum();
      if (!inner || !X.Complex() || k + 1 >= X.Length()) break;
      const TCplx xm = X.CValues(k - 1), xk = X.CValues(k), xp = X.CValues(k + 1);
      const double d = method == imQuinnFirst ? QuinnFirstOffset(xm, xk, xp) : QuinnSecondOffset(xm, xk, xp);
      if (std::isfinite(d)) Freq += d * delta;
      break;
    }
    case imJain: {
      if (!inner) break;
      const double pos = JainPeakLine(k, A.Values(k - 1), A.Values(k), A.Values(k + 1));
      if (std::isfinite(pos)) Freq = pos * delta + an.BandWidthL();
      break;
    }
  }
  return Freq;
}

// --- Searches --------------------------------------------------------------------------------

double TSpectrumPeaksAnalyzer::HzToLine(double f) const {
  const TSpectrumAnalyzer& a = *owner_;
  const double hz = a.LastHzRes() > 0 ? a.LastHzRes() : a.HzRes();
  const double lo = a.LastHzRes() > 0 ? a.LastBandWidthL() : a.BandWidthL();
  return hz > 0 ? (f - lo) / hz : 0.0;
}

void TSpectrumPeaksAnalyzer::SearchRange(int& j0, int& j1) const {
  const int n = owner_->Amplt().Length();
  j0 = 1;
  j1 = n - 2;
  if (useFullBandwidth_) return;
  j0 = std::max(j0, static_cast<int>(std::ceil(HzToLine(bandwidthL_) - 1e-9)));
  j1 = std::min(j1, static_cast<int>(std::floor(HzToLine(bandwidthH_) + 1e-9)));
}

void TSpectrumPeaksAnalyzer::CollectCandidates() {
  candidates_.clear();
  const TVec& A = owner_->Amplt();
  if (candidates_.capacity() < static_cast<std::size_t>(A.Length())) candidates_.reserve(A.Length());
  int j0, j1;
  SearchRange(j0, j1);
  for (int j = j0; j <= j1; ++j) {
    const double v = A.Values(j);
    if (A.Values(j - 1) <= v && A.Values(j + 1) < v) candidates_.push_back(j);
  }
}

int TSpectrumPeaksAnalyzer::LargestCandidate() const {
  const TVec& A = owner_->Amplt();
  int best = -1;
  for (int j : candidates_)
    if (best < 0 || A.Values(j) > A.Values(best)) best = j;
  return best;
}

void TSpectrumPeaksAnalyzer::SetMarkCount(int n) {
  TMarkList& list = List();
  while (list.Count() > n) list.Delete(list.Count() - 1);
  while (list.Count() < n) list.Add(0.0, 0.0);
}

void TSpectrumPeaksAnalyzer::PutPeak(int i, int j, bool refine) {
  TSpectrumAnalyzer& a = *owner_;
  TMarkRecord& m = List().Values(i);
  m.Freq = a.LineFrequency(j);
  m.Amplt = a.Amplt().Values(j);
  m.Phase = j < a.Phase().Length() ? a.Phase().Values(j) : 0.0;
  m.Time = 0.0;
  if (!refine) return;
  const double f = Approximate(m.Freq);
  if (f == m.Freq) return;
  m.Freq = f;
  m.Amplt = a.AmpltEst(f);
  m.Phase = a.PhaseEst(f);
}

int TSpectrumPeaksAnalyzer::StrongestNear(int k, int reach) const {
  const TVec& A = owner_->Amplt();
  const int lo = std::max(0, k - reach), hi = std::min(A.Length() - 1, k + reach);
  int best = -1;
  for (int i = lo; i <= hi; ++i)
    if (best < 0 || A.Values(i) > A.Values(best)) best = i;
  return best;
}

void TSpectrumPeaksAnalyzer::FindAllPeaks() {
  CollectCandidates();
  SetMarkCount(static_cast<int>(candidates_.size()));
  for (int i = 0; i < static_cast<int>(candidates_.size()); ++i) PutPeak(i, candidates_[i], false);
}

void TSpectrumPeaksAnalyzer::FindLargestPeaks() {
  if (largestCount_ <= 0) {
    SetMarkCount(0);
    return;
  }
  CollectCandidates();
  const TVec& A = owner_->Amplt();
  const int n = std::min(largestCount_, static_cast<int>(candidates_.size()));
  std::partial_sort(candidates_.begin(), candidates_.begin() + n, candidates_.end(), [&A](int x, int y) {
    const double ax = A.Values(x), ay = A.Values(y);
    return ax > ay || (ax == ay && x < y);
  });
  SetMarkCount(n);
  for (int i = 0; i < n; ++i) PutPeak(i, candidates_[i], true);
}

void TSpectrumPeaksAnalyzer::Harmonics() {
  TSpectrumAnalyzer& a = *owner_;
  const TMarkRecord fund = List().Values(0);
  const int count = std::max(HarmonicsCount(), 1);
  const int reach = std::max(1, a.MainlobeWidth() / 2);
  const int n = a.Amplt().Length();
  int marks = 1;
  for (int h = 2; h <= count; ++h) {
    const int k = a.LineOf(h * fund.Freq);
    if (k < 0 || k >= n) break;  // beyond the axis
    ++marks;
  }
  SetMarkCount(marks);
  for (int h = 2; h <= marks; ++h) {
    const int j = StrongestNear(a.LineOf(h * fund.Freq), reach);
    PutPeak(h - 1, j, interpolation_->Harmonics());
  }
}

void TSpectrumPeaksAnalyzer::AmpltHarmonics() {
  CollectCandidates();
  const int j = LargestCandidate();
  if (j < 0) {
    SetMarkCount(0);
    return;
  }
  SetMarkCount(std::max(Count(), 1));  // Harmonics sets the final count: no records rebuilt
  PutPeak(0, j, true);
  Harmonics();
}

void TSpectrumPeaksAnalyzer::FreqHarmonics() {
  TSpectrumAnalyzer& a = *owner_;
  if (Count() == 0) {
    AmpltHarmonics();
    return;
  }
  // The strongest line within the trace window of mark 0, then up to its maximum.
  const int j = StrongestNear(a.LineOf(List().Values(0).Freq), TraceReach());
  if (j < 0) return;
  const double f0 = a.ConvergeToMaximum(a.LineFrequency(j));
  PutPeak(0, std::clamp(a.LineOf(f0), 0, a.Amplt().Length() - 1), true);
  Harmonics();
}

int TSpectrumPeaksAnalyzer::TraceReach() const {
  const TSpectrumAnalyzer& a = *owner_;
  const double hz = a.LastHzRes() > 0 ? a.LastHzRes() : a.HzRes();
  if (traceInterval_ > 0 && hz > 0) return std::max(1, static_cast<int>(std::lround(traceInterval_ / hz)));
  return std::max(1, a.MainlobeWidth() / 2);
}

void TSpectrumPeaksAnalyzer::Trace() {
  TSpectrumAnalyzer& a = *owner_;
  if (a.Amplt().Length() == 0) return;
  if (Count() == 0) {
    CollectCandidates();
    const int j = LargestCandidate();
    if (j < 0) return;
    SetMarkCount(1);
    PutPeak(0, j, true);
    return;
  }
  const int reach = TraceReach();
  for (int i = 0; i < Count(); ++i) {
    const int j = StrongestNear(a.LineOf(List().Values(i).Freq), reach);
    if (j >= 0) PutPeak(i, j, true);
  }
}

void TSpectrumPeaksAnalyzer::Adjust() {
  TSpectrumAnalyzer& a = *owner_;
  for (int i = 0; i < Count(); ++i) {
    TMarkRecord& m = List().Values(i);
    m.Amplt = a.AmpltEst(m.Freq);
    m.Phase = a.PhaseEst(m.Freq);
  }
}

void TSpectrumPeaksAnalyzer::Filter(int Index) {
  TSpectrumAnalyzer& a = *owner_;
  TMarkRecord& m = List().Values(Index);
  m.Freq = a.PeakApproximate(m.Freq);
  a.FilterPeak(std::clamp(a.LineOf(m.Freq), 0, std::max(a.Amplt().Length() - 1, 0)));
}

void TSpectrumPeaksAnalyzer::FilterAll() {
  for (int i = 0; i < Count(); ++i) Filter(i);
}

void TSpectrumPeaksAnalyzer::ApplyOrder() {
  TSpectrumAnalyzer& a = *owner_;
  const int n = Count();
  int ref = -1;
  switch (orderTracing_) {
    case otNone: break;
    case otFirstPeak: ref = n > 0 ? 0 : -1; break;
    case otNthPeak: ref = orderPeakNumber_ >= 1 && orderPeakNumber_ <= n ? orderPeakNumber_ - 1 : -1; break;
    case otLargest:
      for (int i = 0; i < n; ++i)
        if (ref < 0 || List().Values(i).Amplt > List().Values(ref).Amplt) ref = i;
      break;
  }
  if (ref < 0) return;
  // Mark frequencies are in orders of the current reference while the order axis is on.
  const double scale = orderActive_ && orderFrequency_ > 0 ? orderFrequency_ : 1.0;
  const double newRef = List().Values(ref).Freq * scale;
  if (!(newRef > 0)) return;
  if (orderActive_) {
    const double factor = scale / newRef;
    for (int i = 0; i < n; ++i) List().Values(i).Freq *= factor;
    a.SetSamplingFrequency(a.LastSamplingFrequency() / newRef);
    a.SetBandWidthL(a.LastBandWidthL() / newRef);
  }
  orderFrequency_ = newRef;
}

void TSpectrumPeaksAnalyzer::LogAmplt() {
  const TSpectrumAnalyzer& a = *owner_;
  const bool absolute = a.LogType() == ltAbsolute;
  const double ref = absolute ? 1.0 : a.LogReference();
  const double floor = a.Amplt().Length() > 0 ? a.Amplt().Max() - a.LogSpanValue() : -INFINITY;
  for (int i = 0; i < Count(); ++i) {
    double& v = List().Values(i).Amplt;
    double x = a.SpectrumType() == stPower ? std::sqrt(std::fabs(v)) : v;
    x = 10.0 * std::log10(x * x / (ref * ref));
    v = x >= floor ? x : floor;
  }
}

int TSpectrumPeaksAnalyzer::Find(double& Freq) const {
  int best = -1;
  for (int i = 0; i < Count(); ++i)
    if (best < 0 || std::fabs(List().Values(i).Freq - Freq) < std::fabs(List().Values(best).Freq - Freq)) best = i;
  if (best >= 0) Freq = List().Values(best).Freq;
  return best;
}

}  // namespace ondrix
