// TSpectrumAnalyzer: properties, links and the update (the estimates are in SpectrumEstimate.cpp).
#include "ondrix/SignalAnalysis/SpectrumAnalyzer.h"

#include <cmath>

#include "ondrix/OndrixTools/Collections.h"
#include "ondrix/SignalAnalysis/SpectrumBands.h"
#include "ondrix/SignalAnalysis/SpectrumCZT.h"
#include "ondrix/SignalAnalysis/SpectrumPeaks.h"
#include "ondrix/SignalAnalysis/SpectrumReport.h"
#include "ondrix/SignalAnalysis/SpectrumStats.h"
#include "ondrix/framework/ClassBuilder.h"
#include "ondrix/sigcore/averaging.h"
#include "ondrix/vec/calcbase.h"

namespace ondrix {

namespace {

/// Rotates a signal's samples circularly for the length of a scope (the input's own data).
class TRotationGuard {
public:
  TRotationGuard(TVec& v, int r) : v_(v), r_(r) {
    if (r_ != 0 && v_.Length() > 0) v_.Rotate(r_);
  }
  ~TRotationGuard() { Restore(); }
  void Restore() {
    if (r_ != 0 && v_.Length() > 0) v_.Rotate(-r_);
    r_ = 0;
  }
  TRotationGuard(const TRotationGuard&) = delete;
  TRotationGuard& operator=(const TRotationGuard&) = delete;

private:
  TVec& v_;
  int r_;
};

/// Narrows a vector to its first n elements for the length of a scope.
class TSubRangeGuard {
public:
  TSubRangeGuard(TVec& v, int n) : v_(v) { v_.SetSubRange(0, n); }
  ~TSubRangeGuard() { v_.SetFullRange(); }
  TSubRangeGuard(const TSubRangeGuard&) = delete;
  TSubRangeGuard& operator=(const TSubRangeGuard&) = delete;

private:
  TVec& v_;
};

}  // namespace

const TClassInfo& TSpectrumAnalyzer::StaticClassInfo() {
  using A = TSpectrumAnalyzer;
  static const TClassInfo info =
      TClassBuilder<A, TSpectrum>("TSpectrumAnalyzer")
          .Prop("Inputs", &A::Inputs)
          .Stored(&A::InputsStored)
          .Enum("Method", &A::Method, &A::SetMethod, detail::SpectrumMethodNames(), smFFT)
          .Enum("Window", &A::Window, &A::SetWindow, detail::SignalWindowTypeNames(), wtRectangular)
          .Prop("SidelobeAtt", &A::SidelobeAtt, &A::SetSidelobeAtt, 40.0)
          .Prop("ExpWindow", &A::ExpWindow, &A::SetExpWindow, 0.01)
          .Enum("SpectrumType", &A::SpectrumType, &A::SetSpectrumType, detail::SpectrumTypeNames(), stAmplitude)
          .Prop("ScaleFactor", &A::ScaleFactor, &A::SetScaleFactor, 1.0)
          .Prop("DCDump", &A::DCDump, &A::SetDCDump, true)
          .Prop("Logarithmic", &A::Logarithmic, &A::SetLogarithmic, false)
          .Enum("LogType", &A::LogType, &A::SetLogType, detail::LogTypeNames(), ltAbsolute)
          .Enum("LogSpan", &A::LogSpan, &A::SetLogSpan, detail::LogSpanNames(), ls120)
          .Enum("Integration", &A::Integration, &A::SetIntegration, detail::IntegrationNames(), inNone)
          .Prop("AROrder", &A::AROrder, &A::SetAROrder, 100)
          .Prop("AutoCalculate", &A::AutoCalculate, &A::SetAutoCalculate, false)
          .Prop("CrossSpectral", &A::CrossSpectral, &A::SetCrossSpectral, false)
          .Prop("UnwrapPhase", &A::UnwrapPhase, &A::SetUnwrapPhase, false)
          .Enum("RunningPhase", &A::RunningPhase, &A::SetRunningPhase, detail::RunningPhaseNames(), rpRunning)
          .Enum("PhaseRange", &A::PhaseRange, &A::SetPhaseRange, detail::PhaseRangeNames(), prPiPi)
          .Prop("RealCepstrum", &A::RealCepstrum, &A::SetRealCepstrum, false)
          .Prop("Rotation", &A::Rotation, &A::SetRotation, 0)
          .Prop("ConjFlip", &A::ConjFlip, &A::SetConjFlip, true)
          .Prop("ConjExtend", &A::ConjExtend, &A::SetConjExtend, false)
          .Prop("Peaks", &A::Peaks)
          .Prop("Bands", &A::Bands)
          .Prop("Stats", &A::Stats)
          .Prop("CZT", &A::CZT)
          .Prop("Report", &A::Report)
          .Build();
  return info;
}

TSpectrumAnalyzer::TSpectrumAnalyzer(TComponent* AOwner) : TSpectrum(AOwner) {
  SetUsesInputs(true);
  SetMultiChannel(true);
  bands_ = std::make_unique<TSpectrumBandsAnalyzer>(this);
  peaks_ = std::make_unique<TSpectrumPeaksAnalyzer>(this);
  stats_ = std::make_unique<TSpectrumStats>(this);
  czt_ = std::make_unique<TSpectrumCZT>(this);
  report_ = std::make_unique<TSpectrumReport>(this);
}

TSpectrumAnalyzer::~TSpectrumAnalyzer() {
  BeginDestroy();
  SetMultiChannel(false);  // unlinks the inputs (the helper signals among them) first
  helperInput_.reset();
  helperOutput_.reset();
}

// --- Setters -------------------------------------------------------------------------------------

void TSpectrumAnalyzer::Changed(bool resetAveraging, bool recalc) {
  if (resetAveraging) stats_->SetAveraged(0);
  SetDirty(true);
  if (recalc && autoCalculate_ && !ComponentState().Contains(csLoading)) Update();
}

void TSpectrumAnalyzer::SetWindow(TSignalWindowType Value) {
  window_ = Value;
  windowValid_ = false;
  EnsureWindow(windowVec_.Length());
}

void TSpectrumAnalyzer::SetSidelobeAtt(double Value) {
  sidelobeAtt_ = Value;
  if (window_ == wtKaiser || window_ == wtChebyshev) EnsureWindow(windowVec_.Length());
}

void TSpectrumAnalyzer::SetExpWindow(double Value) {
  expWindow_ = Value;
  if (window_ == wtExponent) EnsureWindow(windowVec_.Length());
}

void TSpectrumAnalyzer::SetSpectrumType(TSpectrumType Value) {
  spectrumType_ = Value;
  Changed(true, true);
}

void TSpectrumAnalyzer::SetScaleFactor(double Value) {
  if (Value == scaleFactor_) return;
  scaleFactor_ = Value;
  Changed(false, true);
}

void TSpectrumAnalyzer::SetDCDump(bool Value) {
  dcDump_ = Value;
  Changed(true, true);
}

void TSpectrumAnalyzer::SetLogarithmic(bool Value) {
  logarithmic_ = Value;
  Changed(false, true);
}

void TSpectrumAnalyzer::SetLogType(TLogType Value) {
  logType_ = Value;
  Changed(false, true);
}

void TSpectrumAnalyzer::SetLogSpan(TLogSpan Value) {
  logSpan_ = Value;
  logSpanDb_ = LogSpanDb(Value);
  Changed(false, true);
}

void TSpectrumAnalyzer::SetIntegration(TIntegration Value) {
  integration_ = Value;
  Changed(true, false);
}

void TSpectrumAnalyzer::SetRealCepstrum(bool Value) {
  realCepstrum_ = Value;
  stats_->Reset();
}

void TSpectrumAnalyzer::SetZeroPadding(int v) {
  TSpectrum::SetZeroPadding(v);
  stats_->SetAveraged(0);
}

void TSpectrumAnalyzer::ResetAveraging() { stats_->Reset(); }

void TSpectrumAnalyzer::LoadFromStream(TStream& Stream) {
  TSpectrum::LoadFromStream(Stream);
  stats_->Reset();
  windowValid_ = false;
  SetDirty(true);
}

// --- Links ---------------------------------------------------------------------------------------

TSignal* TSpectrumAnalyzer::GetOutput() const {
  const TSignalCollection* c = Inputs();
  return c && c->Count() >= 2 ? c->Items(1)->Input() : nullptr;
}

void TSpectrumAnalyzer::SetOutput(TSignal* Signal) {
  TSignalCollection* c = Inputs();
  if (!c) return;
  if (!Signal) {
    while (c->Count() > 1) c->Delete(c->Count() - 1);
    return;
  }
  while (c->Count() < 2) c->Add();
  c->Items(1)->SetInput(Signal);
}

void TSpectrumAnalyzer::Notification(TComponent* AComponent, TOperation Operation) {
  TSpectrum::Notification(AComponent, Operation);
  if (Operation != opRemove) return;
  if (AComponent == lastInput_) lastInput_ = nullptr;
  if (AComponent == lastOutput_) lastOutput_ = nullptr;
  if (AComponent == estimateSource_) estimateSource_ = nullptr;
}

TSignal* TSpectrumAnalyzer::EstimateSource() const { return estimateSource_ ? estimateSource_ : Input(); }

void TSpectrumAnalyzer::ComputeSpectrum(const TVec* Src, double SamplingFrequency) {
  if (!Src) throw Exception("Src = nil!");
  if (!helperInput_) helperInput_ = std::make_unique<TSignal>(nullptr);
  helperInput_->SetSamplingFrequency(SamplingFrequency);
  helperInput_->SetData(*Src);
  if (helperOutput_ && Output() == helperOutput_.get()) SetOutput(nullptr);
  SetInput(helperInput_.get());
  Update();
}

void TSpectrumAnalyzer::ComputeSpectrum(const TVec* Src, const TVec* Dst, double SamplingFrequency) {
  if (!Src) throw Exception("Src = nil!");
  if (!Dst) throw Exception("Dst = nil!");
  if (!helperInput_) helperInput_ = std::make_unique<TSignal>(nullptr);
  if (!helperOutput_) helperOutput_ = std::make_unique<TSignal>(nullptr);
  helperInput_->SetSamplingFrequency(SamplingFrequency);
  helperInput_->SetData(*Src);
  helperOutput_->SetSamplingFrequency(SamplingFrequency);
  helperOutput_->SetData(*Dst);
  SetInput(helperInput_.get());
  SetOutput(helperOutput_.get());
  Update();
}

double TSpectrumAnalyzer::Process(const TVec& Src, double SamplingFrequency) {
  ComputeSpectrum(&Src, SamplingFrequency);
  return FetchResult();
}

// --- The update ----------------------------------------------------------------------------------

void TSpectrumAnalyzer::BeforeInternalUpdate() {
  TSpectrum::BeforeInternalUpdate();
  TSignal* src = FormatSource();
  if (!src) return;
  if (method_ == smCZT) {
    // The zoom band is the half band of the axis, one line per point.
    SetComplex(false);
    SetSamplingFrequency(2.0 * (czt_->StopFrequency() - czt_->StartFrequency()));
    SetBandWidthL(czt_->StartFrequency() + src->BandWidthL());
    return;
  }
  if (ConjExtend() && !src->Complex()) SetComplex(true);  // all N lines: one line per sample
  if ((src->Complex() || ConjExtend()) && ConjFlip()) SetBandWidthL(-0.5 * src->SamplingFrequency());
}

TPipeState TSpectrumAnalyzer::InternalUpdate() {
  TSignal* in = Input();
  if (!in || in->Length() == 0) return pipeOK;

  // 1. A finite average that is complete stays as it is until it is reset.
  const TAveraging averaging = stats_->Averaging();
  if ((averaging == avLinear || averaging == avPeakHold || averaging == avCplxLinear) &&
      stats_->Averaged() >= stats_->Averages())
    return pipeOK;

  // 2. A new input drops the output paired with the old one, and stale helper signals.
  TSignal* out = Output();
  if (in != lastInput_) {
    if (out && out == lastOutput_) {
      SetOutput(nullptr);
      out = nullptr;
    }
    if (helperInput_ && in != helperInput_.get()) helperInput_.reset();
    if (helperOutput_ && out != helperOutput_.get()) {
      if (Output() == helperOutput_.get()) SetOutput(nullptr);
      helperOutput_.reset();
    }
  }
  lastInput_ = in;
  lastOutput_ = out;

  // 3. - 7. The complex spectrum of the (rotated) frame, averaged when asked.
  {
    TRotationGuard rotation(in->Data(), rotation_);
    estimateSource_ = nullptr;
    if (!out) {
      ApplySpectrumMethod(in->Length(), nullptr);
    } else {
      EstimateTwoInputs(*in, *out);
    }
    complexValid_ = true;
    if (OnAfterComplexSpectrum) OnAfterComplexSpectrum(this);
    if (IsComplexAveraging(averaging)) {
      AverageComplex();
    } else {
      cplxAverage_.reset();
    }
    rotation.Restore();
  }

  // 8. - 10. Spectrum type, integration, phase.
  SetPhaseMode(PhaseMode());
  if (OnBeforeSpectrumType) OnBeforeSpectrumType(this);
  ConvertSpectrumType();
  if (spectrumType_ != stComplex) ApplyPhaseSpectrum();

  // 11. Amplitude averaging.
  if (OnBeforeAverage) OnBeforeAverage(this);
  stats_->Update();
  if (averaging != avNone && !IsComplexAveraging(averaging)) {
    Copy(stats_->AveragedSpectrum());
    complexValid_ = false;
  }
  if (OnAfterAverage) OnAfterAverage(this);

  // 12. - 14. The axis used, the phase range, peaks and bands (on the linear amplitude).
  lastSamplingFrequency_ = SamplingFrequency();
  lastHzRes_ = HzRes();
  lastBandWidthL_ = BandWidthL();
  ApplyPhaseRange();
  UpdatePeaksAndBands();

  // 15. - 16.
  if (logarithmic_) LogConvert();
  UpdateExtremes();  // MinMax
  return pipeOK;
}

void TSpectrumAnalyzer::EstimateTwoInputs(TSignal& in, TSignal& out) {
  const int L = std::max(in.Length(), out.Length());
  ApplySpectrumMethod(L, &crossX_);
  crossX_.Scale(amplScale_);
  estimateSource_ = &out;
  TRotationGuard rotation(out.Data(), rotation_);
  try {
    ApplySpectrumMethod(L, nullptr);
  } catch (...) {
    estimateSource_ = nullptr;
    throw;
  }
  estimateSource_ = nullptr;
  work_.Scale(amplScale_);
  amplScale_ = 1.0;
  estKind_ = ekNone;  // the frame and model estimates are of one signal, not of the ratio
  if (crossSpectral_)
    work_.ConjMul(crossX_);
  else
    work_.Divide(crossX_);
  if (!impulseResponse_) return;
  if (!twoSided_) {
    impulseResponse_->IFFTFromHalf(work_, transformLength_);
  } else {
    impulseResponse_->Copy(work_);
    if (flipped_) impulseResponse_->Rotate(-transformLength_ / 2);
    impulseResponse_->IFFT();
  }
}

void TSpectrumAnalyzer::AverageComplex() {
  if (!cplxAverage_) cplxAverage_ = std::make_unique<TVec>();
  TVec& A = *cplxAverage_;
  if (A.Length() != work_.Length() || A.Complex() != work_.Complex()) stats_->SetAveraged(0);
  const unsigned count = stats_->Averaged();
  const double n = stats_->Averaging() == avCplxExponentInf ? static_cast<double>(stats_->ExpDecay()) : count + 1.0;
  RunningAverage(A, work_, count, n);
  stats_->SetAveraged(count + 1);
  work_.Copy(A);
}

void TSpectrumAnalyzer::ConvertSpectrumType() {
  const double s = amplScale_;
  TSubRangeGuard view(work_, lines_);
  switch (spectrumType_) {
    case stAmplitude:
      AmpltSpectrum(work_);
      Amplt().Scale(s);
      IntegrateSpectrum();
      break;
    case stRmsAmplitude:
      AmpltSpectrum(work_);
      Amplt().Scale(s * std::sqrt(2.0) / 2.0);
      IntegrateSpectrum();
      break;
    case stPower:
      AmpltSpectrum(work_);
      Amplt().Scale(s);
      IntegrateSpectrum();
      Amplt().Sqr();
      break;
    case stDoubleAmplitude:
      AmpltSpectrum(work_);
      Amplt().Scale(2.0 * s);
      IntegrateSpectrum();
      break;
    case stComplex:
      Amplt().RealPart(work_);
      Phase().ImagPart(work_);
      Amplt().Scale(s);
      Phase().Scale(s);
      IntegrateSpectrum();
      break;
  }
}

void TSpectrumAnalyzer::IntegrateSpectrum() {
  switch (integration_) {
    case inNone: return;
    case inOnce: Integrate(); break;
    case inTwice: Integrate(), Integrate(); break;
    case diffOnce: Differentiate(); break;
    case diffTwice: Differentiate(), Differentiate(); break;
  }
  // Lines below 0 Hz were scaled by a negative 2πf: an amplitude stays a magnitude.
  if (spectrumType_ != stComplex && BandWidthL() < 0) Amplt().Abs();
}

void TSpectrumAnalyzer::ApplyPhaseSpectrum() {
  if (PhaseMode() != pm360 || !unwrapPhase_) return;
  TSignal* in = Input();
  const int L = in ? in->Length() : 0;
  const double factor = L > 1 && actualZeroPadding_ > 0 ? L * actualZeroPadding_ / (L - 1) : 1.0;
  PhaseUnwrap(Phase(), runningPhase_, 180.0, PhaseUnits() == puDeg, factor);
}

void TSpectrumAnalyzer::ApplyPhaseRange() {
  if (PhaseMode() != pm360 || phaseRange_ != prZeroTwoPi) return;
  Phase().Add(PhaseUnits() == puRad ? PI : 180.0);  // a shift of the curve, not a wrap
}

void TSpectrumAnalyzer::ComputePhaseDelay() {
  const double azp = actualZeroPadding_ > 0 ? actualZeroPadding_ : 1.0;
  TVec& ph = Phase();
  PhaseUnwrap(ph, rpRunning, 180.0, PhaseUnits() == puDeg, azp);
  const double d = (PhaseUnits() == puRad ? -TWOPI : -360.0) * HzRes();
  for (int i = 1; i < ph.Length(); ++i) ph.Values(i) /= i * d;
}

void TSpectrumAnalyzer::ComputeGroupDelay() {
  TSignal* in = Input();
  if (!in) return;
  TSignal* out = Output();
  GroupDelay(Phase(), in->Data(), out ? &out->Data() : nullptr, ZeroPadding(), gdState_);
  const int n = Phase().Length();
  if (flipped_ && n > 1) Phase().Rotate(n / 2);
  Phase().SetLength(std::min(n, Amplt().Length()));
}

void TSpectrumAnalyzer::UpdatePeaksAndBands() {
  if (OnPeaksUpdate)
    OnPeaksUpdate(this);
  else
    peaks_->Update();
  if (OnBandsUpdate)
    OnBandsUpdate(this);
  else
    bands_->Update();
}

void TSpectrumAnalyzer::LogConvert() {
  if (spectrumType_ == stPower) Amplt().Sqrt();
  if (spectrumType_ != stComplex && Amplt().Length() > 0) {
    logReference_ = Amplt().Max();
    LogAmplt(logReference_, logSpanDb_, 10.0, logType_ == ltAbsolute);
    peaks_->LogAmplt();
  }
  complexValid_ = false;
}

void TSpectrumAnalyzer::FilterPeak(int Index) {
  TSpectrum::FilterPeak(Index);
  complexValid_ = false;
}

double TSpectrumAnalyzer::PeakApproximate(double f) { return peaks_->Approximate(f); }

double TSpectrumAnalyzer::ConvergeToMaximum(double f) const {
  const TVec& a = Amplt();
  const int n = a.Length();
  if (n == 0) return f;
  int k = std::clamp(LineOf(f), 0, n - 1);
  while (k + 1 < n && a.Values(k + 1) > a.Values(k)) ++k;
  while (k > 0 && a.Values(k - 1) > a.Values(k)) --k;
  return LineFrequency(k);
}

}  // namespace ondrix
