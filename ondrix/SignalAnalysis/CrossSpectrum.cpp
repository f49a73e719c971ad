#include "ondrix/SignalAnalysis/CrossSpectrum.h"

#include <algorithm>
#include <cmath>

#if defined(__x86_64__) && defined(__GNUC__)
#include <immintrin.h>
#endif

#include "ondrix/SignalAnalysis/SpectrumBands.h"
#include "ondrix/SignalAnalysis/SpectrumPeaks.h"
#include "ondrix/SignalAnalysis/SpectrumStats.h"
#include "ondrix/framework/ClassBuilder.h"
#include "ondrix/vec/calcbase.h"

namespace ondrix {

namespace detail {

const std::vector<std::string>& CrossSpectrumAnalysisNames() {
  static const std::vector<std::string> names{"caCoherence", "caTransferFunction"};
  return names;
}

const std::vector<std::string>& CrossTransformNames() {
  static const std::vector<std::string> names{"ctInputSpectrum", "ctOutputSpectrum", "ctCrossSpectrum",
                                              "ctCoherence", "ctTransferFunction"};
  return names;
}

}  // namespace detail

namespace {

constexpr double kHalfSqrt2 = 0.70710678118654752440;  // √2/2: peak to RMS amplitude

/// Makes Output the analyzer's input for the length of a scope, so that the analyzer's own
/// estimate reads it; the input comes back on leaving, also on an exception.
class TOutputAsInput {
public:
  TOutputAsInput(TSpectrumAnalyzer& a, TSignal* output) : item_(a.Inputs()->Items(0)), saved_(item_->Input()) {
    TSignalCollection* c = a.Inputs();
    blocked_ = c->BlockAssign();
    c->SetBlockAssign(false);  // a block-assigned item would ignore the swap
    item_->SetInput(output);
    collection_ = c;
  }
  ~TOutputAsInput() {
    item_->SetInput(saved_);
    collection_->SetBlockAssign(blocked_);
  }
  TOutputAsInput(const TOutputAsInput&) = delete;
  TOutputAsInput& operator=(const TOutputAsInput&) = delete;

private:
  TSignalItem* item_;
  TSignal* saved_;
  TSignalCollection* collection_ = nullptr;
  bool blocked_ = false;
};

/// The products of one frame and their averages over the n lines: with the spectra x, y
/// (interleaved complex) and their amplitude scales sx, sy,
///     pxy := sx·sy·y·conj(x),  pxx := sx²·|x|²,  pyy := sy²·|y|²,
/// each average a := p (first) or a := keep·a + take·p, in one pass; pxy is kept as well.
struct TCrossPass {
  const double *x, *y;
  double sx, sy;
  double* pxy;
  double *axy, *axx, *ayy;
  int n;
  bool first;
  double keep, take;
};

// Lines from `from` on, the arithmetic written out (std::complex's product checks for
// infinities).
void CrossPassPlain(const TCrossPass& c, int from) {
  const double sxy = c.sx * c.sy, sxx = c.sx * c.sx, syy = c.sy * c.sy;
  for (int i = from; i < c.n; ++i) {
    const double xr = c.x[2 * i], xi = c.x[2 * i + 1], yr = c.y[2 * i], yi = c.y[2 * i + 1];
    const double p[4] = {sxy * (yr * xr + yi * xi), sxy * (yi * xr - yr * xi), sxx * (xr * xr + xi * xi),
                         syy * (yr * yr + yi * yi)};
    c.pxy[2 * i] = p[0], c.pxy[2 * i + 1] = p[1];
    double* a[4] = {c.axy + 2 * i, c.axy + 2 * i + 1, c.axx + i, c.ayy + i};
    for (int k = 0; k < 4; ++k) *a[k] = c.first ? p[k] : c.keep * *a[k] + c.take * p[k];
  }
}

#if defined(__x86_64__) && defined(__GNUC__)

// Four lines per step. Unpacking two vectors of interleaved values gives the real and the
// imaginary parts in the lane order 0, 2, 1, 3; unpacking the results again restores the
// interleaved order, and the real vectors are put back in order by one permute.
template <bool kFirst>
__attribute__((target("avx2,fma"), always_inline)) inline void FoldAvx2(double* a, __m256d p, __m256d keep,
                                                                         __m256d take) {
  if constexpr (!kFirst) p = _mm256_fmadd_pd(keep, _mm256_loadu_pd(a), _mm256_mul_pd(take, p));
  _mm256_storeu_pd(a, p);
}

template <bool kFirst>
__attribute__((target("avx2,fma"))) int CrossPassAvx2(const TCrossPass& c) {
  const double *x = c.x, *y = c.y;
  double *pxy = c.pxy, *axy = c.axy, *axx = c.axx, *ayy = c.ayy;
  const int n = c.n;
  const __m256d sxy = _mm256_set1_pd(c.sx * c.sy), sxx = _mm256_set1_pd(c.sx * c.sx);
  const __m256d syy = _mm256_set1_pd(c.sy * c.sy), keep = _mm256_set1_pd(c.keep), take = _mm256_set1_pd(c.take);
  int i = 0;
  for (; i + 4 <= n; i += 4) {
    const __m256d x0 = _mm256_loadu_pd(x + 2 * i), x1 = _mm256_loadu_pd(x + 2 * i + 4);
    const __m256d y0 = _mm256_loadu_pd(y + 2 * i), y1 = _mm256_loadu_pd(y + 2 * i + 4);
    const __m256d xr = _mm256_unpacklo_pd(x0, x1), xi = _mm256_unpackhi_pd(x0, x1);
    const __m256d yr = _mm256_unpacklo_pd(y0, y1), yi = _mm256_unpackhi_pd(y0, y1);
    const __m256d re = _mm256_mul_pd(sxy, _mm256_fmadd_pd(yr, xr, _mm256_mul_pd(yi, xi)));
    const __m256d im = _mm256_mul_pd(sxy, _mm256_fmsub_pd(yi, xr, _mm256_mul_pd(yr, xi)));
    const __m256d px = _mm256_permute4x64_pd(_mm256_mul_pd(sxx, _mm256_fmadd_pd(xr, xr, _mm256_mul_pd(xi, xi))), 0xD8);
    const __m256d py = _mm256_permute4x64_pd(_mm256_mul_pd(syy, _mm256_fmadd_pd(yr, yr, _mm256_mul_pd(yi, yi))), 0xD8);
    const __m256d c0 = _mm256_unpacklo_pd(re, im), c1 = _mm256_unpackhi_pd(re, im);
    _mm256_storeu_pd(pxy + 2 * i, c0);
    _mm256_storeu_pd(pxy + 2 * i + 4, c1);
    FoldAvx2<kFirst>(axy + 2 * i, c0, keep, take);
    FoldAvx2<kFirst>(axy + 2 * i + 4, c1, keep, take);
    FoldAvx2<kFirst>(axx + i, px, keep, take);
    FoldAvx2<kFirst>(ayy + i, py, keep, take);
  }
  return i;
}

bool HasAvx2Fma() {
  static const bool has = __builtin_cpu_supports("avx2") && __builtin_cpu_supports("fma");
  return has;
}

#endif

void CrossPass(const TCrossPass& c) {
  int from = 0;
#if defined(__x86_64__) && defined(__GNUC__)
  if (HasAvx2Fma()) from = c.first ? CrossPassAvx2<true>(c) : CrossPassAvx2<false>(c);
#endif
  CrossPassPlain(c, from);
}

}  // namespace

// --- TCrossAnalysisSet ---------------------------------------------------------------------------

std::string TCrossAnalysisSet::ToString() const {
  std::string s = "[";
  const auto& names = detail::CrossSpectrumAnalysisNames();
  for (size_t i = 0; i < names.size(); ++i) {
    if (!Contains(static_cast<TCrossSpectrumAnalysis>(i))) continue;
    if (s.size() > 1) s += ",";
    s += names[i];
  }
  return s + "]";
}

TCrossAnalysisSet TCrossAnalysisSet::FromString(const std::string& Text) {
  std::string t;
  for (char ch : Text)
    if (ch != ' ' && ch != '\t') t += ch;
  if (t.size() < 2 || t.front() != '[' || t.back() != ']')
    detail::BadPropValue("Analysis", "a bracketed list of caCoherence, caTransferFunction");
  TCrossAnalysisSet set;
  size_t pos = 1;
  while (pos < t.size() - 1) {
    size_t end = t.find(',', pos);
    if (end == std::string::npos || end > t.size() - 1) end = t.size() - 1;
    const int ordinal = detail::EnumOrdinalOf(detail::CrossSpectrumAnalysisNames(), t.substr(pos, end - pos));
    if (ordinal < 0) detail::BadPropValue("Analysis", "a bracketed list of caCoherence, caTransferFunction");
    set.Include(static_cast<TCrossSpectrumAnalysis>(ordinal));
    pos = end + 1;
  }
  return set;
}

// --- TCrossAnalyzer ------------------------------------------------------------------------------

const TClassInfo& TCrossAnalyzer::StaticClassInfo() {
  using C = TCrossAnalyzer;
  static const TClassInfo info =
      TClassBuilder<C, TPersistent>("TCrossAnalyzer")
          .Prop("Coherence", [](const C& c) { return ToFloatArray(c.Coherence()); })
          .Prop("CrossSpectrum", [](const C& c) { return ToFloatArray(c.CrossSpectrum()); })
          .Prop("InputSpectrum", [](const C& c) { return ToFloatArray(c.InputSpectrum()); })
          .Prop("OutputSpectrum", [](const C& c) { return ToFloatArray(c.OutputSpectrum()); })
          .Prop("Analysis", &C::AnalysisText, &C::SetAnalysisText, std::string("[caCoherence,caTransferFunction]"))
          .Enum("Transform", &C::Transform, &C::SetTransform, detail::CrossTransformNames(), ctInputSpectrum)
          .Stored(false)
          .Prop("Recursive", &C::Recursive, &C::SetRecursive, true)
          .Build();
  return info;
}

TCrossAnalyzer::TCrossAnalyzer(TCrossSpectrumAnalyzer* AOwner) : owner_(AOwner) {}

TPersistent* TCrossAnalyzer::GetOwner() const { return owner_; }

void TCrossAnalyzer::SetAnalysis(TCrossAnalysisSet Value) {
  if (Value == analysis_) return;
  analysis_ = Value;
  if (analysis_.Contains(caCoherence)) DoCoherence();
  if (analysis_.Contains(caTransferFunction)) DoTransferFunction();
}

void TCrossAnalyzer::Update() {
  if (!recursive_) {
    const unsigned n = owner_->Stats()->Averaged();
    if (n > 0) {
      crossSpectrum_.Divide(static_cast<double>(n));
      inputSpectrum_.Divide(static_cast<double>(n));
      outputSpectrum_.Divide(static_cast<double>(n));
    }
  }
  if (analysis_.Contains(caCoherence)) DoCoherence();
  if (analysis_.Contains(caTransferFunction)) DoTransferFunction();
}

void TCrossAnalyzer::DoCoherence() {
  const int n = crossSpectrum_.Length();
  if (inputSpectrum_.Length() != n || outputSpectrum_.Length() != n || !crossSpectrum_.Complex()) {
    coherence_.SetLength(0);
    return;
  }
  coherence_.Size(n, false);
  const TCplx* pxy = crossSpectrum_.PCValues();
  const double* pxx = inputSpectrum_.PValues();
  const double* pyy = outputSpectrum_.PValues();
  double* c = coherence_.PValues();
  for (int i = 0; i < n; ++i) {
    const double den = pxx[i] * pyy[i];
    c[i] = den > 0.0 ? std::norm(pxy[i]) / den : 0.0;
  }
}

void TCrossAnalyzer::DoTransferFunction() {
  const int n = crossSpectrum_.Length();
  if (inputSpectrum_.Length() != n || !crossSpectrum_.Complex()) {
    transfer_.SetLength(0);
    return;
  }
  transfer_.Size(n, true);
  const TCplx* pxy = crossSpectrum_.PCValues();
  const double* pxx = inputSpectrum_.PValues();
  TCplx* h = transfer_.PCValues();
  for (int i = 0; i < n; ++i) h[i] = pxx[i] > 0.0 ? pxy[i] / pxx[i] : TCplx(0.0, 0.0);
}

// --- TCrossSpectrumAnalyzer ----------------------------------------------------------------------

const TClassInfo& TCrossSpectrumAnalyzer::StaticClassInfo() {
  using A = TCrossSpectrumAnalyzer;
  static const TClassInfo info = TClassBuilder<A, TSpectrumAnalyzer>("TCrossSpectrumAnalyzer")
                                     .Prop("Output", &A::Output, &A::SetOutput)
                                     .Stored(false)
                                     .Prop("CrossAnalyzer", &A::CrossAnalyzer)
                                     .Build();
  return info;
}

// The constructor leaves ComplexSpectrumValid false for good: what the component shows is an
// average of two channels, not the transform of one frame.
TCrossSpectrumAnalyzer::TCrossSpectrumAnalyzer(TComponent* AOwner)
    : TSpectrumAnalyzer(AOwner), crossAnalyzer_(std::make_unique<TCrossAnalyzer>(this)) {
  Stats()->SetAveraging(avLinearInf);
}

TCrossSpectrumAnalyzer::~TCrossSpectrumAnalyzer() = default;

TPipeState TCrossSpectrumAnalyzer::InternalUpdate() {
  TSignal* out = Output();
  if (!out) throw Exception("Output = nil");
  const TSpectrumStats& st = *Stats();
  const TAveraging av = st.Averaging();
  if ((av == avLinear || av == avPeakHold || av == avCplxLinear) && st.Averaged() >= st.Averages()) return pipeOK;
  TSignal* in = Input();
  if (in && in->SamplingFrequency() != out->SamplingFrequency())
    throw Exception("Input.SamplingFrequency <> Output.SamplingFrequency");
  if (Method() != smFFT && Method() != smCZT) throw Exception("not ((Method = smfFFT) or (Method = smfCZT))");
  if (!OnGetInputSpectrum && (!in || in->Length() == 0)) return pipeOK;
  if (!OnGetoutputSpectrum && out->Length() == 0) return pipeOK;

  Estimate(in, *out);
  Accumulate();
  if (crossAnalyzer_->Recursive()) {
    crossAnalyzer_->Update();
    BrowseCrossSpectrum();
  }
  return pipeOK;
}

void TCrossSpectrumAnalyzer::Estimate(TSignal* in, TSignal& out) {
  const int L = std::max(in ? in->Length() : 0, out.Length());
  // Our own estimate stays unscaled (the scale goes into the products); a real frame's FFT
  // carries the bin at fs/2 beyond the lines of the axis.
  const auto ownEstimate = [&](const TSignal& src, TVec& dst, double& scale, int& lines) {
    ApplySpectrumMethod(L, &dst);
    scale = AmpltScale();
    lines = Method() == smFFT && !src.Complex() && !ConjExtend() ? TransformLength() / 2 : dst.Length();
  };
  if (OnGetInputSpectrum) {
    OnGetInputSpectrum(this, x_);
    xScale_ = 1.0, xLines_ = x_.Length();
  } else {
    ownEstimate(*in, x_, xScale_, xLines_);
  }
  if (OnGetoutputSpectrum) {
    OnGetoutputSpectrum(this, y_);
    yScale_ = 1.0, yLines_ = y_.Length();
  } else {
    TOutputAsInput swap(*this, &out);
    ownEstimate(out, y_, yScale_, yLines_);
  }
  if (xLines_ != yLines_ || !x_.Complex() || !y_.Complex())
    ERaise("TCrossSpectrumAnalyzer: the spectra of Input and Output differ in length or are not complex");
}

void TCrossSpectrumAnalyzer::Accumulate() {
  TSpectrumStats& st = *Stats();
  TCrossAnalyzer& ca = *crossAnalyzer_;
  const int n = xLines_;
  if (ca.crossSpectrum_.Length() != n || !ca.crossSpectrum_.Complex() || ca.inputSpectrum_.Length() != n ||
      ca.outputSpectrum_.Length() != n)
    st.SetAveraged(0);
  const TAveraging av = st.Averaging();
  const bool averaging = av == avLinearInf || av == avExponentInf || av == avLinear;
  const unsigned count = averaging ? st.Averaged() : 0;
  const double frames = av == avExponentInf ? static_cast<double>(st.ExpDecay()) : count + 1.0;
  // Running means: a := a·(n − 1)/n + p/n; sums: a := a + p.
  const bool recursive = ca.recursive_;
  ca.instant_.Size(n, true);
  ca.crossSpectrum_.Size(n, true);
  ca.inputSpectrum_.Size(n, false);
  ca.outputSpectrum_.Size(n, false);
  CrossPass({x_.PValues(), y_.PValues(), xScale_, yScale_, ca.instant_.PValues(), ca.crossSpectrum_.PValues(),
             ca.inputSpectrum_.PValues(),
             ca.outputSpectrum_.PValues(), n, count == 0, recursive ? (frames - 1.0) / frames : 1.0,
             recursive ? 1.0 / frames : 1.0});
  st.SetAveraged(averaging ? count + 1 : 0);  // unsigned: wraps to 0 past the largest count
}

void TCrossSpectrumAnalyzer::UpdateSpectrum() {
  crossAnalyzer_->Update();
  BrowseCrossSpectrum();
}

void TCrossSpectrumAnalyzer::BrowseCrossSpectrum() {
  ApplySpectrumType();
  ApplyPhaseSpectrum();
  if (OnPeaksUpdate)
    OnPeaksUpdate(this);
  else
    Peaks()->Update();
  if (OnBandsUpdate)
    OnBandsUpdate(this);
  else
    Bands()->Update();
  if (Logarithmic()) {
    if (SpectrumType() == stPower) Amplt().Sqrt();
    if (SpectrumType() != stComplex && Amplt().Length() > 0) {
      LogAmplt(Amplt().Max(), LogSpanValue(), 10.0, LogType() == ltAbsolute);
      Peaks()->LogAmplt();
    }
  }
  MinMax();
  if (OnUpdateSpectrum) OnUpdateSpectrum(this);
}

void TCrossSpectrumAnalyzer::ResetPhase(int n) {
  Phase().Size(PhaseMode() == pmIgnore ? 0 : n, false);
  Phase().SetZero();
}

void TCrossSpectrumAnalyzer::ApplySpectrumType() {
  const TCrossAnalyzer& ca = *crossAnalyzer_;
  switch (ca.Transform()) {
    case ctInputSpectrum: ShowAutoSpectrum(ca.InputSpectrum()); break;
    case ctOutputSpectrum: ShowAutoSpectrum(ca.OutputSpectrum()); break;
    case ctCrossSpectrum: ShowCrossSpectrum(ca.CrossSpectrum()); break;
    case ctCoherence: ShowCoherence(); break;
    case ctTransferFunction: ShowTransferFunction(); break;
  }
}

// Amplitude-like types from a power-like vector: the square root of the power is the amplitude.
void TCrossSpectrumAnalyzer::ShowAutoSpectrum(const TVec& P) {
  TVec& a = Amplt();
  a.Copy(P);
  switch (SpectrumType()) {
    case stAmplitude: a.Sqrt(), IntegrateSpectrum(); break;
    case stRmsAmplitude: a.Sqrt(), a.Scale(kHalfSqrt2), IntegrateSpectrum(); break;
    case stDoubleAmplitude: a.Sqrt(), a.Scale(2.0), IntegrateSpectrum(); break;
    case stPower:
    case stComplex:
      if (Integration() != inNone) a.Sqrt(), IntegrateSpectrum(), a.Sqr();
      break;
  }
  ResetPhase(a.Length());
}

void TCrossSpectrumAnalyzer::ShowCrossSpectrum(const TVec& Pxy) {
  if (SpectrumType() == stComplex) {
    Amplt().RealPart(Pxy);
    Phase().ImagPart(Pxy);
    return;
  }
  AmpltSpectrum(Pxy);  // |Pxy| and its phase, as PhaseMode asks
  TVec& a = Amplt();
  switch (SpectrumType()) {
    case stAmplitude: a.Sqrt(), IntegrateSpectrum(); break;
    case stRmsAmplitude: a.Sqrt(), a.Scale(kHalfSqrt2), IntegrateSpectrum(); break;
    case stDoubleAmplitude: a.Sqrt(), a.Scale(2.0), IntegrateSpectrum(); break;
    case stPower:
      if (Integration() != inNone) a.Sqrt(), IntegrateSpectrum(), a.Sqr();
      break;
    case stComplex: break;
  }
}

void TCrossSpectrumAnalyzer::ShowCoherence() {
  crossAnalyzer_->DoCoherence();
  Amplt().Copy(crossAnalyzer_->Coherence());
  ResetPhase(Amplt().Length());
}

void TCrossSpectrumAnalyzer::ShowTransferFunction() {
  const TCrossAnalyzer& ca = *crossAnalyzer_;
  const TVec& pxy = ca.CrossSpectrum();
  const TVec& pxx = ca.InputSpectrum();
  const int n = pxy.Length();
  if (pxx.Length() != n) ERaise("TCrossSpectrumAnalyzer: the averaged spectra differ in length");
  const double* p = pxx.PValues();
  const auto divide = [&](TVec& v) {
    double* d = v.PValues();
    for (int i = 0; i < n; ++i) d[i] = p[i] > 0.0 ? d[i] / p[i] : 0.0;
  };
  if (SpectrumType() == stComplex) {
    Amplt().RealPart(pxy);
    Phase().ImagPart(pxy);
    divide(Amplt());
    divide(Phase());
    return;
  }
  AmpltSpectrum(pxy);
  TVec& a = Amplt();
  divide(a);
  switch (SpectrumType()) {
    case stAmplitude: break;
    case stRmsAmplitude: a.Scale(kHalfSqrt2); break;
    case stPower: a.Sqr(); break;
    case stDoubleAmplitude: a.Scale(2.0); break;
    case stComplex: break;
  }
}

// --- List ----------------------------------------------------------------------------------------

const TClassInfo& TCrossSpectrumAnalyzerList::StaticClassInfo() {
  static const TClassInfo info =
      TClassBuilder<TCrossSpectrumAnalyzerList, TSpectrumList>("TCrossSpectrumAnalyzerList").Build();
  return info;
}

std::unique_ptr<TKvxComponent> TCrossSpectrumAnalyzerList::AddItem() {
  return std::make_unique<TCrossSpectrumAnalyzer>(nullptr);
}

}  // namespace ondrix
