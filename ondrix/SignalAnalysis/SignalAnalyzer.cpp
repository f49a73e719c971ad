#include "ondrix/SignalAnalysis/SignalAnalyzer.h"

#include <algorithm>
#include <cmath>
#include <limits>

#include "ondrix/framework/ClassBuilder.h"
#include "ondrix/framework/TStringList.h"
#include "ondrix/vec/calcbase.h"
#include "ondrix/vec/correlation.h"

namespace ondrix {

namespace detail {

const std::vector<std::string>& TimeTransformNames() {
  static const std::vector<std::string> names{"ttWindow",     "ttAutoCorr",     "ttCrossCorr",   "ttDct",
                                              "ttInverseDct", "ttRealCepstrum", "ttCplxCepstrum"};
  return names;
}

const std::vector<std::string>& AutoCorrTypeNames() {
  static const std::vector<std::string> names{"ctNormal", "ctBiased", "ctUnbiased"};
  return names;
}

}  // namespace detail

// --- TSignalAnalyzer -----------------------------------------------------------------------------

const TClassInfo& TSignalAnalyzer::StaticClassInfo() {
  using A = TSignalAnalyzer;
  static const TClassInfo info =
      TClassBuilder<A, TSignal>("TSignalAnalyzer")
          .Prop("Inputs", &A::Inputs)
          .Stored(&A::InputsStored)
          .Enum("Transform", &A::Transform, &A::SetTransform, detail::TimeTransformNames(), ttWindow)
          .Enum("Window", &A::Window, &A::SetWindow, detail::SignalWindowTypeNames(), wtRectangular)
          .Prop("SidelobeAtt", &A::SidelobeAtt, &A::SetSidelobeAtt, 40.0)
          .Prop("ExpWindow", &A::ExpWindow, &A::SetExpWindow, 0.01)
          .Prop("ScaleFactor", &A::ScaleFactor, &A::SetScaleFactor, 1.0)
          .Prop("RemoveDC", &A::RemoveDC, &A::SetRemoveDC, false)
          .Enum("Integration", &A::Integration, &A::SetIntegration, detail::IntegrationNames(), inNone)
          .Enum("AutoCorrType", &A::AutoCorrType, &A::SetAutoCorrType, detail::AutoCorrTypeNames(), ctNormal)
          .Prop("CorrTaps1", &A::CorrTaps1, &A::SetCorrTaps1, 100)
          .Prop("CorrTaps2", &A::CorrTaps2, &A::SetCorrTaps2, 0)
          .Prop("Rotation", &A::Rotation, &A::SetRotation, 0)
          .Prop("Report", &A::Report)
          .Build();
  return info;
}

TSignalAnalyzer::TSignalAnalyzer(TComponent* AOwner) : TSignal(AOwner) {
  SetUsesInputs(true);
  SetMultiChannel(true);
  report_ = std::make_unique<TSignalReport>(this);
  ResetIntegrator();
}

TSignalAnalyzer::~TSignalAnalyzer() { BeginDestroy(); }

void TSignalAnalyzer::SetWindow(TSignalWindowType Value) {
  window_ = Value;
  windowValid_ = false;
  EnsureWindow(windowVec_.Length());
}

void TSignalAnalyzer::SetSidelobeAtt(double Value) {
  sidelobeAtt_ = Value;
  if (window_ == wtKaiser || window_ == wtChebyshev) EnsureWindow(windowVec_.Length());
}

void TSignalAnalyzer::SetExpWindow(double Value) {
  expWindow_ = Value;
  if (window_ == wtExponent) EnsureWindow(windowVec_.Length());
}

void TSignalAnalyzer::SetIntegration(TIntegration Value) {
  if (Value == integration_) return;
  integration_ = Value;
  ResetIntegrator();
}

void TSignalAnalyzer::SetCorrTaps1(int Value) {
  corrTaps1_ = std::max(Value, 2);
  if (corrTaps2_ >= corrTaps1_) corrTaps2_ = corrTaps1_ - 1;
}

void TSignalAnalyzer::SetCorrTaps2(int Value) {
  // Settings load before the inputs are linked: the value would otherwise be lost.
  const bool loading = ComponentState().Contains(csLoading);
  if (!loading && !(Inputs() && Inputs()->Count() == 2)) return;
  corrTaps2_ = std::max(Value, 0);
  if (corrTaps2_ >= corrTaps1_) corrTaps2_ = corrTaps1_ - 1;
}

void TSignalAnalyzer::ResetIntegrator() {
  for (auto& channel : integ_)
    for (TIntegrateState& s : channel) IntegrateReset(s);
  for (auto& channel : diff_)
    for (TDiffState& s : channel) DiffReset(s);
}

void TSignalAnalyzer::EnsureWindow(int Len) {
  const bool attMatters = window_ == wtKaiser || window_ == wtChebyshev;
  const bool expMatters = window_ == wtExponent;
  if (windowValid_ && windowVec_.Length() == Len && windowMade_ == window_ &&
      (!attMatters || windowAttMade_ == sidelobeAtt_) && (!expMatters || windowExpMade_ == expWindow_))
    return;
  windowValid_ = false;
  GenerateWindow(window_, windowVec_, Len, sidelobeAtt_, expWindow_);
  windowMade_ = window_;
  windowAttMade_ = sidelobeAtt_;
  windowExpMade_ = expWindow_;
  windowValid_ = true;
}

void TSignalAnalyzer::ApplyWindow() {
  TVec& x = Data();
  const int n = x.Length();
  if (n == 0) return;
  EnsureWindow(n);
  if (window_ == wtRectangular) return;
  const double* w = windowVec_.PValues();
  if (x.Complex()) {
    TCplx* c = x.PCValues();
    for (int i = 0; i < n; ++i) c[i] *= w[i];
  } else {
    double* r = x.PValues();
    for (int i = 0; i < n; ++i) r[i] *= w[i];
  }
}

void TSignalAnalyzer::Preprocess() {
  const TSignalCollection& inputs = *Inputs();
  const int count = std::min(inputs.Count(), 2);
  if (pre_.Count() != count) pre_.SetCount(count);
  for (int i = 0; i < count; ++i) {
    const TSignal& in = *inputs.Items(i)->Input();
    const double dt = in.SamplingFrequency() > 0 ? 1.0 / in.SamplingFrequency() : 1.0;
    TVec& v = pre_[i];
    v.Copy(in.Data());
    if (removeDC_) v.RemoveDC();
    auto& integ = integ_[i];
    auto& diff = diff_[i];
    const int integrations = integration_ == inOnce ? 1 : integration_ == inTwice ? 2 : 0;
    const int differentiations = integration_ == diffOnce ? 1 : integration_ == diffTwice ? 2 : 0;
    for (int stage = 0; stage < integrations; ++stage) {
      Integrate(v, v, dt, integ[stage]);
      if (removeDC_) v.RemoveDC();
    }
    for (int stage = 0; stage < differentiations; ++stage) Differentiate(v, v, dt, diff[stage]);
    if (rotation_ != 0) v.Rotate(rotation_);
  }
}

TPipeState TSignalAnalyzer::InternalUpdate() {
  Preprocess();
  TVec& out = Data();
  static const TVec empty;
  const TVec& x0 = pre_.Count() > 0 ? pre_[0] : empty;
  double startLags = 0.0;
  switch (transform_) {
    case ttWindow:
      out.Copy(x0);
      ApplyWindow();
      break;
    case ttAutoCorr:
      corrTaps1_ = std::max(corrTaps1_, 2);
      if (autoCorrType_ == ctBiased)
        AutoCorrBiased(out, x0, corrTaps1_);
      else if (autoCorrType_ == ctUnbiased)
        AutoCorrUnBiased(out, x0, corrTaps1_);
      else
        AutoCorrNormal(out, x0, corrTaps1_);
      break;
    case ttCrossCorr:
      if (pre_.Count() < 2) {
        out.Size(0, false);
        break;
      }
      corrTaps1_ = std::max(corrTaps1_, 2);
      corrTaps2_ = std::clamp(corrTaps2_, 0, corrTaps1_ - 1);
      CrossCorr(out, x0, pre_[1], corrTaps1_, corrTaps2_);
      startLags = -corrTaps2_;
      break;
    case ttDct: out.DCT(x0); break;
    case ttInverseDct: out.IDCT(x0); break;
    case ttRealCepstrum: RealCepstrum(out, x0, window_, cepstrum_, sidelobeAtt_, expWindow_); break;
    case ttCplxCepstrum: cepstrumDelay_ = CplxCepstrum(out, x0, cepstrum_); break;
  }
  if (scaleFactor_ != 1.0) out.Scale(scaleFactor_);
  SetStartTime(startLags * Spacing());
  SetSamplingTime(SamplingTime());  // refreshes StopTime
  MinMax();
  return pipeOK;
}

// --- Searches ------------------------------------------------------------------------------------

double TSignalAnalyzer::Spacing() const { return Dt() > 0 ? Dt() : 1.0; }

bool TSignalAnalyzer::ZeroCrossing(double& Pos) const {
  const TVec& x = Data();
  const int n = x.Length();
  const int step = x.Complex() ? 2 : 1;
  const double* p = x.PValues();
  const double target = (Pos - StartTime()) / Spacing();
  double best = 0.0, bestDist = std::numeric_limits<double>::infinity();
  for (int i = 0; i + 1 < n; ++i) {
    const double a = p[step * i], b = p[step * (i + 1)];
    if ((a > 0) == (b > 0)) continue;
    const double at = i + a / (a - b);
    const double d = std::fabs(at - target);
    if (d < bestDist) bestDist = d, best = at;
  }
  if (!std::isfinite(bestDist)) return false;
  Pos = StartTime() + best * Spacing();
  return true;
}

double TSignalAnalyzer::NearestExtremum(double& Pos, double sign) const {
  const TVec& x = Data();
  const int n = x.Length();
  if (n == 0) return std::numeric_limits<double>::quiet_NaN();
  // sign·value, so that both searches look for maxima.
  const auto v = [&](int i) { return sign * (x.Complex() ? std::abs(x.CValues(i)) : x.Values(i)); };
  const double target = (Pos - StartTime()) / Spacing();
  int best = -1;
  double bestDist = std::numeric_limits<double>::infinity();
  for (int i = 0; i < n; ++i) {
    bool peak;
    if (n == 1)
      peak = true;
    else if (i == 0)
      peak = v(0) >= v(1);
    else if (i == n - 1)
      peak = v(i) > v(i - 1);
    else
      peak = v(i - 1) < v(i) && v(i) >= v(i + 1);
    if (peak && std::fabs(i - target) < bestDist) bestDist = std::fabs(i - target), best = i;
  }
  if (best < 0) return std::numeric_limits<double>::quiet_NaN();  // only with NaN values
  double offset = 0.0, top = v(best);
  if (best > 0 && best < n - 1) {
    const double a = v(best - 1), b = v(best), c = v(best + 1);
    const double curvature = a - 2 * b + c;
    if (curvature < 0) {
      offset = 0.5 * (a - c) / curvature;
      top = b - 0.25 * (a - c) * offset;
    }
  }
  Pos = StartTime() + (best + offset) * Spacing();
  return sign * top;
}

double TSignalAnalyzer::NearestMaximum(double& Pos) const { return NearestExtremum(Pos, 1.0); }

double TSignalAnalyzer::NearestMinimum(double& Pos) const { return NearestExtremum(Pos, -1.0); }

// --- Report --------------------------------------------------------------------------------------

TSignalStatistics SignalStatistics(const TVec& v) {
  TSignalStatistics s;
  const int n = v.Length();
  if (n == 0) return s;
  const auto at = [&](int i) { return v.Complex() ? std::abs(v.CValues(i)) : v.Values(i); };
  double sum = 0, sum2 = 0;
  s.Minimum = s.Maximum = at(0);
  for (int i = 0; i < n; ++i) {
    const double x = at(i);
    sum += x;
    sum2 += x * x;
    s.Minimum = std::min(s.Minimum, x);
    s.Maximum = std::max(s.Maximum, x);
  }
  s.Samples = n;
  s.Mean = sum / n;
  s.RMS = std::sqrt(sum2 / n);
  s.PeakToPeak = s.Maximum - s.Minimum;
  s.Peak = std::max(s.Maximum - s.Mean, s.Mean - s.Minimum);
  // Central moments about the mean, in a second pass for accuracy with a large mean.
  double m2 = 0, m3 = 0, m4 = 0;
  for (int i = 0; i < n; ++i) {
    const double d = at(i) - s.Mean, d2 = d * d;
    m2 += d2;
    m3 += d2 * d;
    m4 += d2 * d2;
  }
  m2 /= n, m3 /= n, m4 /= n;
  s.StdDev = std::sqrt(m2);
  s.Crest = s.RMS > 0 ? s.Peak / s.RMS : 0.0;
  if (m2 > 0) {
    s.Skewness = m3 / (m2 * s.StdDev);
    s.Kurtosis = m4 / (m2 * m2);
  }
  return s;
}

const TClassInfo& TSignalReport::StaticClassInfo() {
  using R = TSignalReport;
  static const TClassInfo info =
      TClassBuilder<R, TPersistent>("TSignalReport")
          .Prop("ValueFormat", &R::ValueFormat, &R::SetValueFormat, std::string("0.00000E+00"))
          .Prop("TimeFormat", &R::TimeFormat, &R::SetTimeFormat, std::string("0.######"))
          .Build();
  return info;
}

TPersistent* TSignalReport::GetOwner() const { return owner_; }

TSignalStatistics TSignalReport::Statistics() const { return SignalStatistics(owner_->Data()); }

void TSignalReport::ToStrings(TStringList& Dst) const {
  const TSignalAnalyzer& a = *owner_;
  const int w = SignalTextColumnWidth;
  const TSignalStatistics s = Statistics();
  const auto line = [&](const char* label, const std::string& value) { Dst.Add(AlignString(label, w) + value); };
  const auto number = [&](const char* label, double value) { line(label, FormatSample(valueFormat_, value)); };
  line("Transform", detail::TimeTransformNames()[a.Transform()]);
  line("Samples", std::to_string(s.Samples));
  line("Channels", std::to_string(a.ChannelCount()));
  line("Sampling frequency [Hz]", FormatSample(timeFormat_, a.SamplingFrequency()));
  line("Duration [s]", FormatSample(timeFormat_, a.SamplingTime()));
  if (s.Samples == 0) return;
  number("Minimum", s.Minimum);
  number("Maximum", s.Maximum);
  number("Peak-to-peak", s.PeakToPeak);
  number("Mean", s.Mean);
  number("RMS", s.RMS);
  number("Standard deviation", s.StdDev);
  number("Peak", s.Peak);
  number("Crest factor", s.Crest);
  number("Skewness", s.Skewness);
  number("Kurtosis", s.Kurtosis);
}

std::string TSignalReport::Text() const {
  TStringList lines;
  ToStrings(lines);
  return lines.Text();
}

// --- List ----------------------------------------------------------------------------------------

const TClassInfo& TSignalAnalyzerList::StaticClassInfo() {
  static const TClassInfo info = TClassBuilder<TSignalAnalyzerList, TSignalList>("TSignalAnalyzerList").Build();
  return info;
}

std::unique_ptr<TKvxComponent> TSignalAnalyzerList::AddItem() { return std::make_unique<TSignalAnalyzer>(nullptr); }

}  // namespace ondrix
