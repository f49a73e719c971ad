#include "ondrix/OndrixTools/TSpectrum.h"

#include <algorithm>
#include <cmath>

#include "ondrix/OndrixTools/TSignal.h"
#include "ondrix/framework/ClassBuilder.h"
#include "ondrix/framework/TStringList.h"
#include "ondrix/vec/calcbase.h"

namespace ondrix {

const TClassInfo& TSpectrum::StaticClassInfo() {
  static const TClassInfo info =
      TClassBuilder<TSpectrum, TAnalysis>("TSpectrum")
          .Prop("Amplt", &TSpectrum::AmpltArray, &TSpectrum::SetAmpltArray)
          .Stored(&TSpectrum::AmpltStored)
          .Prop("Phase", &TSpectrum::PhaseArray, &TSpectrum::SetPhaseArray)
          .Stored(&TSpectrum::AmpltStored)
          .Prop("BandWidth", &TSpectrum::BandWidth)
          .Prop("Length", &TSpectrum::Length, &TSpectrum::SetLength, 64)
          // Stored arrays carry the length; a Length read after them would resize Phase to
          // Amplt's length, so an empty or shorter Phase would not load back as saved.
          .Stored([](const TSpectrum& s) { return !s.AmpltStored(); })
          .Prop("MainlobeWidth", &TSpectrum::MainlobeWidth, &TSpectrum::SetMainlobeWidth, 8)
          .Enum("PhaseMode", &TSpectrum::PhaseMode, &TSpectrum::SetPhaseMode,
                {"pmIgnore", "pm360", "pmPhaseDelay", "pmGroupDelay"}, pm360)
          .Enum("PhaseUnits", &TSpectrum::PhaseUnits, &TSpectrum::SetPhaseUnits, {"puRad", "puDeg"}, puDeg)
          .Prop("SamplingFrequency", &TSpectrum::SamplingFrequency, &TSpectrum::SetSamplingFrequency)
          // The scale is stored once, as SamplingFrequency (as TSignal does): the others follow
          // from it, and read after it they would override it, Dt as 1/Dt, which need not be
          // the frequency saved (1/(1/49) is 49.00000000000001).
          .Prop("SamplingTime", &TSpectrum::SamplingTime, &TSpectrum::SetSamplingTime)
          .Stored(false)
          .Prop("HzRes", &TSpectrum::HzRes, &TSpectrum::SetHzRes)
          .Stored(false)
          .Prop("Dt", &TSpectrum::Dt, &TSpectrum::SetDt)
          .Stored(false)
          .Prop("Harmonics", &TSpectrum::Harmonics, &TSpectrum::SetHarmonics, 10)
          .Prop("Complex", &TSpectrum::Complex, &TSpectrum::SetComplex, false)
          .Prop("ZeroPadding", &TSpectrum::ZeroPadding, &TSpectrum::SetZeroPadding, 1)
          .Build();
  return info;
}

TSpectrum::TSpectrum(TComponent* AOwner) : TAnalysis(AOwner) {
  SetComplex(false);
  amplt_.OnSetSize = [this](TVec*) { UpdateSetLength(this); };
  phase_.OnSetSize = [this](TVec*) { UpdateSetLength(this); };
  SetLength(64);
  SetSamplingFrequency(1.0);
}

TSpectrum::~TSpectrum() {
  BeginDestroy();
  amplt_.OnSetSize = nullptr;
  phase_.OnSetSize = nullptr;
}

TFloatArray TSpectrum::AmpltArray() const { return ToFloatArray(amplt_); }
TFloatArray TSpectrum::PhaseArray() const { return ToFloatArray(phase_); }
void TSpectrum::SetAmpltArray(const TFloatArray& a) { FromFloatArray(amplt_, a); }
void TSpectrum::SetPhaseArray(const TFloatArray& a) { FromFloatArray(phase_, a); }

void TSpectrum::SetAmpltValues(int i, double v) {
  if (i >= length_) ERaise("Range check error: i >= Length");
  amplt_.Values(i) = v;
}

void TSpectrum::SetPhaseValues(int i, double v) {
  if (i >= length_) ERaise("Range check error: i >= Length");
  phase_.Values(i) = v;
}

// --- Scale ---------------------------------------------------------------------------------

void TSpectrum::SetLength(int n) {
  CheckLoadedLength(*this, amplt_, n, "TSpectrum");
  CheckLoadedLength(*this, phase_, n, "TSpectrum");
  amplt_.SetLength(n);
  phase_.SetLength(n);
}

void TSpectrum::SetMainlobeWidth(int v) { mainlobeWidth_ = std::clamp(v, 2, 100); }

void TSpectrum::SetComplex(bool v) {
  complex_ = v;
  lineFactor_ = v ? 1.0 : 2.0;
  if (zeroPadding_ > 0) SetSamplingTime(length_ * dt_ * lineFactor_ / zeroPadding_);
}

void TSpectrum::SetZeroPadding(int v) {
  if (v == zeroPadding_) return;
  zeroPadding_ = std::max(v, 1);
  SetSamplingFrequency(samplingFrequency_);
}

void TSpectrum::SetSamplingTime(double T) {
  length_ = amplt_.Length();
  samplingTime_ = T;
  if (T > 0) {
    if (length_ < 1) {
      bandWidth_ = samplingTime_ = dt_ = hzRes_ = 0;
    } else {
      samplingFrequency_ = length_ * lineFactor_ / zeroPadding_ / T;
      dt_ = 1.0 / samplingFrequency_;
      bandWidth_ = samplingFrequency_ / lineFactor_;
      hzRes_ = bandWidth_ / length_;
      SetBandWidthL(bandWidthL_);
    }
  }
  bandWidthH_ = bandWidth_ + bandWidthL_;
}

void TSpectrum::SetSamplingFrequency(double F) {
  if (F > 0) {
    SetSamplingTime(length_ * lineFactor_ / zeroPadding_ / F);
  } else {
    SetSamplingTime(0);
    dt_ = 0;  // no rate, no time step: Complex or ZeroPadding set later must not revive the old one
  }
  samplingFrequency_ = F;
}

void TSpectrum::SetBandWidthL(double L) {
  bandWidthL_ = L;
  bandWidthH_ = L + bandWidth_;
}

void TSpectrum::UpdateSetLength(TObject*) {
  if (samplingFrequency_ > 0)
    SetSamplingTime(amplt_.Length() * lineFactor_ / zeroPadding_ / samplingFrequency_);
  else if (samplingTime_ > 0 && length_ > 0)
    SetSamplingTime(amplt_.Length() * samplingTime_ / length_);
  else
    SetSamplingTime(samplingTime_);
}

int TSpectrum::LineOf(double f) const noexcept {
  if (!(hzRes_ > 0)) return 0;
  return static_cast<int>(std::lround((f - bandWidthL_) / hzRes_));
}

void TSpectrum::BeforeInternalUpdate() {
  if (!UsesInputs()) return;
  TSignal* src = FormatSource();
  if (!src) return;
  SetComplex(src->Complex());
  SetBandWidthL(src->BandWidthL());
  SetSamplingFrequency(src->SamplingFrequency());
}

// --- Filling from transform values ---------------------------------------------------------

namespace {

constexpr double kRadToDeg = 180.0 / M_PI;

// Amplt and Phase from X in polar form; a real X has phase 0 or π.
void Polar(const TVec& X, TVec& amplt, TVec& phase) {
  if (X.Complex()) {
    X.CartToPolar(amplt, phase);
  } else {
    amplt.Mag(X);
    phase.Arg(X);
  }
}

}  // namespace

void TSpectrum::FillFromTransform(const TVec& X, bool power) {
  switch (phaseMode_) {
    case pmIgnore:
      if (power)
        amplt_.PowerSpectrum(X);
      else
        amplt_.Mag(X);
      phase_.SetLength(0);
      break;
    case pm360:
    case pmPhaseDelay:
      Polar(X, amplt_, phase_);
      if (phaseUnits_ == puDeg) phase_.Scale(kRadToDeg);
      if (power) amplt_.Sqr();
      if (phaseMode_ == pmPhaseDelay) ComputePhaseDelay();
      break;
    case pmGroupDelay:
      if (power)
        amplt_.PowerSpectrum(X);
      else
        amplt_.Mag(X);
      ComputeGroupDelay();
      break;
  }
}

void TSpectrum::AmpltSpectrum(const TVec& X) { FillFromTransform(X, false); }
void TSpectrum::PowerSpectrum(const TVec& X) { FillFromTransform(X, true); }

void TSpectrum::PhaseSpectrum(const TVec& X) {
  phase_.Arg(X);
  if (phaseUnits_ == puDeg) phase_.Scale(kRadToDeg);
}

void TSpectrum::RMSSpectrum(const TVec&) { amplt_.Scale(std::sqrt(0.5)); }

void TSpectrum::ComputeGroupDelay() { ERaise("Not implemented!"); }
void TSpectrum::ComputePhaseDelay() { ERaise("Not implemented"); }

// --- Operations on the lines -----------------------------------------------------------------

void TSpectrum::Copy(const TSpectrum& Src) {
  amplt_.Copy(Src.amplt_);
  if (phaseMode_ != pmIgnore) phase_.Copy(Src.phase_);
  SetSamplingFrequency(Src.samplingFrequency_);
}

void CopySpectrum(TSpectrum& Dst, const TSpectrum& Src) { Dst.Copy(Src); }

void TSpectrum::Size(const TSpectrum& Src) {
  SetComplex(Src.complex_);
  SetLength(Src.length_);
  SetSamplingFrequency(Src.samplingFrequency_);
}

void TSpectrum::Scale(double f) {
  amplt_.Scale(f);
  if (phaseMode_ != pmIgnore) phase_.Scale(f);
}

void TSpectrum::SetZero() {
  amplt_.SetZero();
  if (phaseMode_ != pmIgnore) phase_.SetZero();
}

void TSpectrum::BandFlip() {
  amplt_.Reverse();
  phase_.Reverse();
}

void TSpectrum::Add(const TSpectrum& Src) { amplt_.Add(Src.amplt_); }
void TSpectrum::Subtract(const TSpectrum& Src) { amplt_.Sub(Src.amplt_); }

void TSpectrum::Mul(const TSpectrum& Src) {
  amplt_.Mul(Src.amplt_);
  if (phaseMode_ != pmIgnore && phase_.Length() == Src.phase_.Length()) phase_.Add(Src.phase_);
}

void TSpectrum::Divide(const TSpectrum& Src) {
  amplt_.Divide(Src.amplt_);
  if (phaseMode_ != pmIgnore && phase_.Length() == Src.phase_.Length()) phase_.Sub(Src.phase_);
}

void TSpectrum::Sqr(const TSpectrum& Src) {
  if (&Src != this) Copy(Src);
  amplt_.Sqr();
  if (phaseMode_ != pmIgnore) phase_.Scale(2.0);
}

void TSpectrum::ScaleByFrequency(bool divide) {
  const int n = length_;
  if (n == 0 || amplt_.Length() < n) return;
  auto apply = [&](int i) {
    double w = 2.0 * M_PI * LineFrequency(i);
    double& a = amplt_.Values(i);
    if (divide)
      a = w != 0.0 ? a / w : 0.0;
    else
      a *= w;
  };
  if (!conjExtend_) {
    for (int i = 0; i < n; ++i) apply(i);
  } else if (conjFlip_) {
    for (int i = 0; i < n / 2; ++i) {
      apply(i);
      if (i > 0) amplt_.Values(n - i) = amplt_.Values(i);  // line 0 would mirror to line n
    }
  } else {
    for (int k = 0; n / 2 + k < n; ++k) {
      apply(n / 2 + k);
      if (n / 2 - k >= 0) amplt_.Values(n / 2 - k) = amplt_.Values(n / 2 + k);
    }
  }
}

void TSpectrum::Differentiate() { ScaleByFrequency(false); }
void TSpectrum::Integrate() { ScaleByFrequency(true); }

void TSpectrum::LogAmplt(double Reference, double Span, double Factor, bool Absolute) {
  const int n = amplt_.Length();
  if (n == 0) return;
  const double ref2 = Absolute ? 1.0 : Reference * Reference;
  double top = -std::numeric_limits<double>::infinity();
  for (int i = 0; i < n; ++i) {
    double& a = amplt_.Values(i);
    a = Factor * std::log10(a * a / ref2);
    if (std::isfinite(a)) top = std::max(top, a);
  }
  if (!std::isfinite(top)) top = 0.0;
  const double floor = top - Span;
  for (int i = 0; i < n; ++i) {
    double& a = amplt_.Values(i);
    if (!(a >= floor)) a = floor;  // also catches -inf and NaN of zero amplitudes
  }
}

double TSpectrum::SumOfAmpltSquares(int Index, int Len) const {
  int a = std::max(Index, 0), b = std::min(Index + Len, amplt_.Length());
  double s = 0.0;
  for (int i = a; i < b; ++i) s += amplt_.Values(i) * amplt_.Values(i);
  return s;
}

void TSpectrum::MinMax() {
  if (amplt_.Length() > 0 && !amplt_.Complex()) amplt_.MaxMin(maxAmplt_, minAmplt_);
  if (phase_.Length() > 0 && !phase_.Complex()) phase_.MaxMin(maxPhase_, minPhase_);
}

// --- Streaming and text --------------------------------------------------------------------

void TSpectrum::SaveBinaryStream(TStream& Stream) const { marks_.SaveToStream(Stream); }
void TSpectrum::LoadBinaryStream(TStream& Stream) { marks_.LoadFromStream(Stream); }

bool TSpectrum::AllowDStreaming() const { return AllowStreaming() && !ComponentState().Contains(csDesigning); }

void TSpectrum::DefineProperties(TFiler& Filer) {
  TAnalysis::DefineProperties(Filer);
  Filer.DefineBinaryProperty(
      "SpectrumBinaryData", [this](TStream& s) { LoadBinaryStream(s); },
      [this](TStream& s) { SaveBinaryStream(s); }, AllowDStreaming());
}

namespace {

// Frequency header padded to the column width, then the amplitude header, padded too when a
// phase column follows.
void AddSpectrumHeader(TStringList& Dst, const std::string& F, const std::string& A, const std::string& P,
                       bool withPhase) {
  if (F.empty() && A.empty() && P.empty()) return;
  const int w = SignalTextColumnWidth;
  Dst.Add(AlignString(F, w) + (withPhase ? AlignString(A, w) + P : A));
}

}  // namespace

void TSpectrum::ValuesToStrings(TStringList& Dst, const std::string& FreqFormat, const std::string& AmpltFormat,
                                const std::string& PhaseFormat, const std::string& FreqHeader,
                                const std::string& AmpltHeader, const std::string& PhaseHeader,
                                bool IncludePhase) const {
  const int w = SignalTextColumnWidth;
  const bool withPhase = IncludePhase && phaseMode_ != pmIgnore;
  AddSpectrumHeader(Dst, FreqHeader, AmpltHeader, PhaseHeader, withPhase);
  for (int i = 0; i < length_; ++i) {
    std::string line = AlignString(FormatSample(FreqFormat, i * hzRes_), w) +
                       AlignString(FormatSample(AmpltFormat, amplt_.Values(i)), w);
    if (withPhase) line += FormatSample(PhaseFormat, phase_.Values(i));
    Dst.Add(line);
  }
}

void TSpectrum::MarksToStrings(TStringList& Dst, const std::string& FreqFormat, const std::string& AmpltFormat,
                               const std::string& PhaseFormat, const std::string& FreqHeader,
                               const std::string& AmpltHeader, const std::string& PhaseHeader,
                               bool IncludePhase) const {
  const int w = SignalTextColumnWidth;
  const bool withPhase = IncludePhase && phaseMode_ != pmIgnore;
  AddSpectrumHeader(Dst, FreqHeader, AmpltHeader, PhaseHeader, withPhase);
  for (int i = 0; i < marks_.Count(); ++i) {
    const TMarkRecord& m = marks_.Values(i);
    std::string line = AlignString(FormatSample(FreqFormat, m.Freq), w) + AlignString(FormatSample(AmpltFormat, m.Amplt), w);
    if (withPhase) line += FormatSample(PhaseFormat, m.Phase);
    Dst.Add(line);
  }
}

}  // namespace ondrix
