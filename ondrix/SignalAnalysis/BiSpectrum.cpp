#include "ondrix/SignalAnalysis/BiSpectrum.h"

#include <algorithm>
#include <cmath>

#include "ondrix/SignalAnalysis/SpectrumBands.h"
#include "ondrix/SignalAnalysis/SpectrumPeaks.h"
#include "ondrix/SignalAnalysis/SpectrumStats.h"
#include "ondrix/framework/ClassBuilder.h"
#include "ondrix/sigcore/averaging.h"
#include "ondrix/sigcore/bispectrum.h"

namespace ondrix {

namespace detail {

const std::vector<std::string>& BiAnalysisNames() {
  static const std::vector<std::string> names{"hoBicoherence", "hoBispectrum"};
  return names;
}

const std::vector<std::string>& BicoherenceTypeNames() {
  static const std::vector<std::string> names{"bctDefault", "bctModified"};
  return names;
}

}  // namespace detail

namespace {

bool SumsFor(TAveraging a) { return a == avLinearInf || a == avExponentInf || a == avLinear; }

/// Clears ConjFlip for the length of a scope: the plane wants the spectrum in FFT order.
class TFftOrder {
public:
  explicit TFftOrder(TSpectrum& s) : s_(s), saved_(s.ConjFlip()) { s_.SetConjFlip(false); }
  ~TFftOrder() { s_.SetConjFlip(saved_); }
  TFftOrder(const TFftOrder&) = delete;
  TFftOrder& operator=(const TFftOrder&) = delete;

private:
  TSpectrum& s_;
  bool saved_;
};

}  // namespace

// --- TBiAnalyzer ---------------------------------------------------------------------------------

const TClassInfo& TBiAnalyzer::StaticClassInfo() {
  using B = TBiAnalyzer;
  static const TClassInfo info =
      TClassBuilder<B, TPersistent>("TBiAnalyzer")
          .Prop("Frequency", &B::Frequency, &B::SetFrequency, 0.0)
          .Prop("SingleLinesOnly", &B::SingleLinesOnly, &B::SetSingleLinesOnly, false)
          .Enum("Transform", &B::Transform, &B::SetTransform, detail::BiAnalysisNames(), hoBicoherence)
          .Prop("Bispectrum", [](const B& b) { return ToFloatArray(b.Bispectrum()); })
          .Prop("Lines", &B::LinesArray, &B::SetLinesArray, TFloatArray{})
          .Prop("Recursive", &B::Recursive, &B::SetRecursive, true)
          .Enum("BicoherenceType", &B::BicoherenceType, &B::SetBicoherenceType, detail::BicoherenceTypeNames(),
                bctModified)
          .Build();
  return info;
}

TBiAnalyzer::TBiAnalyzer(TBiSpectrumAnalyzer* AOwner) : owner_(AOwner) {}

TPersistent* TBiAnalyzer::GetOwner() const { return owner_; }

void TBiAnalyzer::SetLines(const TVec& Value) {
  if (Value.Length() == lines_.Length() && !Value.Complex() && !lines_.Complex() &&
      std::equal(Value.PValues(), Value.PValues() + Value.Length(), lines_.PValues()))
    return;
  lines_.Copy(Value);
  owner_->Stats()->SetAveraged(0);
}

void TBiAnalyzer::SetLinesArray(const TFloatArray& A) {
  TVec v;
  FromFloatArray(v, A);
  SetLines(v);
}

void TBiAnalyzer::SetGeometry(int N, double fs) noexcept {
  spectrumLength_ = N;
  binWidth_ = N > 0 && fs > 0 ? fs / N : 0.0;
}

int TBiAnalyzer::RowBin(double Hz) const noexcept {
  const int top = spectrumLength_ / 2 - 1;
  if (!(binWidth_ > 0) || top < 0) return 0;
  const double b = std::round(Hz / binWidth_);
  if (!(b < top)) return top;  // also a NaN frequency
  return b > 0 ? static_cast<int>(b) : 0;
}

int TBiAnalyzer::SelectedRow() const noexcept {
  const int rows = bispectrum_.Rows();
  if (rows == 0) return -1;
  if (!singleLinesOnly_) {
    const double b = binWidth_ > 0 ? std::round(frequency_ / binWidth_) : 0.0;
    return b > 0 ? static_cast<int>(std::min<double>(b, rows - 1)) : 0;
  }
  int best = 0;
  for (int l = 1; l < std::min(rows, lines_.Length()); ++l)
    if (std::fabs(lines_.Values(l) - frequency_) < std::fabs(lines_.Values(best) - frequency_)) best = l;
  return best;
}

void TBiAnalyzer::FreeUpMemory() {
  averaged_ = TMtx();
  normaliser_ = TMtx();
  FreeUpWaiting();
}

void TBiAnalyzer::FreeUpWaiting() {
  waitingCount_ = 0;
  freshSums_ = false;
  upperOnly_ = false;
}

void TBiAnalyzer::StartPlaneSums(int rows, int cols, bool power, int N) {
  averaged_.Size(rows, cols, true);
  if (power) normaliser_.Size(rows, cols, false);
  if (waiting_.size() != kBatch) waiting_.resize(kBatch), waitingPtr_.resize(kBatch);
  for (int f = 0; f < kBatch; ++f) waiting_[f].Size(N, true), waitingPtr_[f] = &waiting_[f];
  planeState_.re.Size(kBatch * (N + cols), false);  // what a full batch needs
  planeState_.im.Size(kBatch * (N + cols), false);
  waitingCount_ = 0;
  freshSums_ = true;
  sumsPower_ = power;
  upperOnly_ = true;
}

void TBiAnalyzer::AddToPlaneSums(const TVec& X) {
  waiting_[waitingCount_++].Copy(X);
  if (waitingCount_ == kBatch) FoldWaiting();
}

void TBiAnalyzer::FoldWaiting() {
  if (waitingCount_ == 0) return;
  BiSpectrumVertAverage(averaged_, sumsPower_ ? &normaliser_ : nullptr, waitingPtr_.data(), waitingCount_,
                        averaged_.Rows(), averaged_.Cols(), freshSums_, 1.0, 1.0, planeState_, true);
  waitingCount_ = 0;
  freshSums_ = false;
}

void TBiAnalyzer::CompletePlane() {
  FoldWaiting();
  if (!upperOnly_) return;
  BiSpectrumMirror(averaged_);
  if (normaliser_.Rows() == averaged_.Rows()) BiSpectrumMirror(normaliser_);
  upperOnly_ = false;
}

void TBiAnalyzer::Update() {
  CompletePlane();
  const TSpectrumStats& st = *owner_->Stats();
  const unsigned count = st.Averaged();
  // Sums of n frames read as means: b²(modified) scales by 1/n, ∛|B| by ∛(1/n).
  const double scale = !recursive_ && count > 0 && SumsFor(st.Averaging()) ? 1.0 / count : 1.0;
  const int rows = averaged_.Rows();
  if (averaged_.Length() == 0) {
    bispectrum_.Size(0, 0);
  } else if (transform_ == hoBispectrum) {
    bispectrum_.Copy(averaged_);
    bispectrum_.Abs();
    bispectrum_.Cbrt();
    if (scale != 1.0) bispectrum_.Scale(std::cbrt(scale));
  } else if (bicoherenceType_ == bctModified) {
    BiCoherenceModified(bispectrum_, averaged_, normaliser_);
    if (scale != 1.0) bispectrum_.Scale(scale);
  } else {
    // R = Power(E|X|³, 2/3), the same for sums and means.
    r_.Copy(normaliser_);
    r_.Cbrt();
    r_.Sqr();
    if (!singleLinesOnly_) {
      BiSpectrumVert(bispectrum_, averaged_, r_);
    } else {
      bispectrum_.Size(rows, averaged_.Cols(), false);
      for (int l = 0; l < std::min(rows, lines_.Length()); ++l) {
        averaged_.GetRow(row_, l);
        BiSpectrum(bicoRow_, row_, r_, RowBin(lines_.Values(l)));
        bispectrum_.SetRow(bicoRow_, l);
      }
    }
  }
  if (!recursive_) FreeUpMemory();
}

// --- TBiSpectrumAnalyzer -------------------------------------------------------------------------

const TClassInfo& TBiSpectrumAnalyzer::StaticClassInfo() {
  using A = TBiSpectrumAnalyzer;
  static const TClassInfo info =
      TClassBuilder<A, TSpectrumAnalyzer>("TBiSpectrumAnalyzer").Prop("BiAnalyzer", &A::BiAnalyzer).Build();
  return info;
}

TBiSpectrumAnalyzer::TBiSpectrumAnalyzer(TComponent* AOwner)
    : TSpectrumAnalyzer(AOwner), biAnalyzer_(std::make_unique<TBiAnalyzer>(this)) {}

TBiSpectrumAnalyzer::~TBiSpectrumAnalyzer() = default;

void TBiSpectrumAnalyzer::BeforeInternalUpdate() {
  TSpectrumAnalyzer::BeforeInternalUpdate();
  TSignal* src = FormatSource();
  if (!src) return;
  SetComplex(false);
  SetSamplingFrequency(src->SamplingFrequency());
  SetBandWidthL(src->Complex() ? 0.0 : src->BandWidthL());
}

TPipeState TBiSpectrumAnalyzer::InternalUpdate() {
  TBiAnalyzer& ba = *biAnalyzer_;
  const TSpectrumStats& st = *Stats();
  if (st.Averaging() == avLinear && st.Averaged() >= st.Averages()) {
    if (ba.Recursive()) BrowseBispectrum();
    return pipeOK;
  }
  SetMethod(smFFT);
  if (!EstimateFrame()) return pipeOK;
  Accumulate();
  if (ba.Recursive()) {
    ba.Update();
    BrowseBispectrum();
  }
  return pipeOK;
}

bool TBiSpectrumAnalyzer::EstimateFrame() {
  TSignal* in = Input();
  const double fs = in ? in->SamplingFrequency() : SamplingFrequency();
  if (OnGetSpectrum) {
    OnGetSpectrum(this, x_);
  } else {
    if (!in || in->Length() == 0) return false;
    {
      TFftOrder order(*this);
      ApplySpectrumMethod(in->Length(), &x_);
    }
    const int N = TransformLength();
    if (x_.Length() == N / 2 + 1 && N > 1 && !in->Complex() && !ConjExtend()) {
      // The bins above fs/2 of a real frame mirror those below.
      x_.SetLength(N);
      TCplx* x = x_.PCValues();
      for (int k = N / 2 + 1; k < N; ++k) x[k] = std::conj(x[N - k]);
    }
    x_.Scale(AmpltScale());
  }
  if (x_.Length() < 2) return false;
  biAnalyzer_->SetGeometry(x_.Length(), fs);
  return true;
}

void TBiSpectrumAnalyzer::Accumulate() {
  TSpectrumStats& st = *Stats();
  TBiAnalyzer& ba = *biAnalyzer_;
  const int N = x_.Length(), h = N / 2;
  const bool modified = ba.BicoherenceType() == bctModified;
  const bool plane = !ba.SingleLinesOnly();
  const int rows = plane ? h + 1 : ba.Lines().Length(), cols = rows > 0 ? h + 1 : 0;

  // The instantaneous matrices: the rows of the plane (computed below) and the normaliser.
  if (!plane) {
    instant_.Size(rows, cols, true);
    if (modified) instantNormaliser_.Size(rows, cols, false);
    for (int l = 0; l < rows; ++l) {
      BiSpectrum(row_, x_, ba.RowBin(ba.Lines().Values(l)), cols, modified ? &rowPower_ : nullptr);
      instant_.SetRow(row_, l);
      if (modified) instantNormaliser_.SetRow(rowPower_, l);
    }
  }
  if (!modified) {
    BiSpectrumNormaliser(instantNormaliser_, x_);
    instantNormaliser_.Size(1, N, false);  // keeps the values: same count
  }
  const bool shapeKept = ba.averaged_.Rows() == rows && ba.averaged_.Cols() == cols && ba.averaged_.Complex() &&
                         ba.normaliser_.Rows() == (modified ? rows : 1) &&
                         ba.normaliser_.Cols() == (modified ? cols : N) && !ba.normaliser_.Complex();
  if (!shapeKept) st.SetAveraged(0);

  const TAveraging av = st.Averaging();
  const bool averaging = SumsFor(av);
  const unsigned count = averaging ? st.Averaged() : 0;
  const double n = av == avExponentInf ? static_cast<double>(st.ExpDecay()) : count + 1.0;
  // The plane is folded into its average as it is computed (one pass over the matrices).
  const bool first = count == 0;
  const double keep = ba.Recursive() ? (n - 1.0) / n : 1.0, take = ba.Recursive() ? 1.0 / n : 1.0;
  if (first) ba.FreeUpWaiting();
  if (plane && !ba.Recursive()) {
    // Sums wait for Update: kept on the half f2 >= f1 of the symmetric plane, folded in batches.
    if (first) ba.StartPlaneSums(rows, cols, modified, N);
    ba.AddToPlaneSums(x_);
  } else if (plane) {
    ba.CompletePlane();  // sums of an earlier frame without Recursive
    BiSpectrumVertAverage(ba.averaged_, modified ? &ba.normaliser_ : nullptr, x_, rows, cols, first, keep, take,
                          ba.planeState_);
  } else if (first) {
    ba.averaged_.Copy(instant_);
  } else if (ba.Recursive()) {
    RunningAverage(ba.averaged_, instant_, count, n);
  } else {
    ba.averaged_.Add(instant_);
  }
  if (!plane || !modified) {
    if (first)
      ba.normaliser_.Copy(instantNormaliser_);
    else if (ba.Recursive())
      RunningAverage(ba.normaliser_, instantNormaliser_, count, n);
    else
      ba.normaliser_.Add(instantNormaliser_);
  }
  st.SetAveraged(averaging ? count + 1 : 0);  // unsigned: wraps to 0 past the largest count
}

void TBiSpectrumAnalyzer::UpdateSpectrum() {
  biAnalyzer_->Update();
  BrowseBispectrum();
}

void TBiSpectrumAnalyzer::BrowseBispectrum() {
  const TBiAnalyzer& ba = *biAnalyzer_;
  const TMtx& b = ba.Bispectrum();
  const int row = ba.SelectedRow();
  if (row < 0) {
    Amplt().SetLength(0);
  } else {
    const int lines = std::min(b.Cols(), ba.SpectrumLength() / 2);
    Amplt().Size(lines, false);
    Amplt().Copy(b, row * b.Cols(), 0, lines);
  }
  Phase().Size(PhaseMode() == pmIgnore ? 0 : Amplt().Length(), false);
  Phase().SetZero();
  if (OnPeaksUpdate)
    OnPeaksUpdate(this);
  else
    Peaks()->Update();
  if (OnBandsUpdate)
    OnBandsUpdate(this);
  else
    Bands()->Update();
  MinMax();
  if (OnUpdateSpectrum) OnUpdateSpectrum(this);
}

// --- List ----------------------------------------------------------------------------------------

const TClassInfo& TBiSpectrumAnalyzerList::StaticClassInfo() {
  static const TClassInfo info = TClassBuilder<TBiSpectrumAnalyzerList, TSpectrumList>("TBiSpectrumAnalyzerList").Build();
  return info;
}

std::unique_ptr<TKvxComponent> TBiSpectrumAnalyzerList::AddItem() { return std::make_unique<TBiSpectrumAnalyzer>(nullptr); }

}  // namespace ondrix
