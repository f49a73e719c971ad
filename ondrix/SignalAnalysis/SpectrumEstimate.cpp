// TSpectrumAnalyzer: the estimates of one frame, the window, and the estimates between lines.
#include <algorithm>
#include <cmath>

#include "ondrix/SignalAnalysis/SpectrumAnalyzer.h"
#include "ondrix/SignalAnalysis/SpectrumCZT.h"
#include "ondrix/SignalAnalysis/SpectrumStats.h"
#include "ondrix/sigcore/dtft.h"
#include "ondrix/vec/kernels.h"
#include "ondrix/vec/calcbase.h"

namespace ondrix {

namespace {

/// Replacement of the non-finite log magnitudes of the cepstrum, and the tolerance of the match.
constexpr double kCepstrumReplacement = 0.0;
constexpr double kCepstrumReplaceTol = 0.0001;

}  // namespace

// --- Window --------------------------------------------------------------------------------------

void TSpectrumAnalyzer::EnsureWindow(int Len) {
  const bool attMatters = window_ == wtKaiser || window_ == wtChebyshev;
  const bool expMatters = window_ == wtExponent;
  if (windowValid_ && windowVec_.Length() == Len && windowMade_ == window_ &&
      (!attMatters || windowAttMade_ == sidelobeAtt_) && (!expMatters || windowExpMade_ == expWindow_))
    return;
  windowValid_ = false;
  const double computed = GenerateWindow(window_, windowVec_, Len, sidelobeAtt_, expWindow_);
  const double table = WindowTableScaleFactor(window_);
  windowScale_ = table != 0.0 ? table : computed;
  windowEnbw_ = WindowEnbw(windowVec_);
  windowMade_ = window_;
  windowAttMade_ = sidelobeAtt_;
  windowExpMade_ = expWindow_;
  windowValid_ = true;
}

double TSpectrumAnalyzer::NoiseBandwidthLines() const {
  if ((method_ != smFFT && method_ != smCZT) || frameLength_ <= 0 || !(lastHzRes_ > 0)) return 1.0;
  return windowEnbw_ * frameFs_ / frameLength_ / lastHzRes_;
}

double TSpectrumAnalyzer::WindowScaleFactor() const {
  if (method_ != smFFT && method_ != smCZT) return 1.0;
  if (windowValid_ && windowMade_ == window_) return windowScale_;
  const double table = WindowTableScaleFactor(window_);
  return table != 0.0 ? table : windowScale_;
}

void TSpectrumAnalyzer::ApplyWindow(int Index, int Len) {
  if (Index < 0 || Len < 0 || Index + Len > work_.Length()) ERaise("ApplyWindow: range beyond the work vector");
  EnsureWindow(Len);
  if (window_ == wtRectangular) return;
  const double* w = windowVec_.PValues();
  if (work_.Complex()) {
    TCplx* x = work_.PCValues() + Index;
    for (int i = 0; i < Len; ++i) x[i] *= w[i];
  } else {
    double* x = work_.PValues() + Index;
    for (int i = 0; i < Len; ++i) x[i] *= w[i];
  }
}

// --- Estimates -----------------------------------------------------------------------------------

void TSpectrumAnalyzer::CopyFrame(const TSignal& src, int length, bool windowed) {
  const int L = src.Length();
  const double* w = nullptr;
  if (windowed) {
    EnsureWindow(L);
    if (window_ != wtRectangular) w = windowVec_.PValues();
  }
  frame_.Size(length, src.Complex());
  if (!src.Complex()) {
    // Mean removal and window in one pass over the input.
    const double* x = src.Data().PValues();
    OffsetAndWindow(frame_.PValues(), x, L, dcDump_ ? FrameMean(x, L) : 0.0, w);
  } else {
    frame_.Copy(src.Data(), 0, 0, L);
    if (dcDump_) {
      frame_.SetSubRange(0, L);
      frame_.RemoveDC();
      frame_.SetFullRange();
    }
    if (w) {
      TCplx* x = frame_.PCValues();
      for (int i = 0; i < L; ++i) x[i] *= w[i];
    }
  }
  if (length > L) frame_.SetZero(L, length - L);
}

void TSpectrumAnalyzer::ApplySpectrumMethod(int TargetLength, TVec* Dst) {
  TSignal* src = EstimateSource();
  if (!src) throw Exception("Input = nil!");
  if (TargetLength < src->Length()) throw Exception("TargetLength < Input.Length");
  TVec& out = Dst ? *Dst : work_;
  frameFs_ = src->SamplingFrequency();
  twoSided_ = src->Complex() || ConjExtend();
  switch (method_) {
    case smFFT: EstimateFFT(TargetLength, out); break;
    case smYuleWalker:
    case smBurg:
    case smCov:
    case smMCov: EstimateAR(TargetLength, out); break;
    case smCZT: EstimateCZT(out); break;
    case smRealCepstrum: EstimateCepstrum(TargetLength, out); break;
  }
  flipped_ = false;
  if (method_ != smCZT && twoSided_ && ConjFlip()) {
    out.Rotate(transformLength_ / 2);  // line 0 at −fs/2, 0 Hz at line N/2
    flipped_ = true;
  }
  if (method_ == smCZT)
    lineZeroDtft_ = czt_->StartFrequency();
  else
    lineZeroDtft_ = flipped_ ? -0.5 * frameFs_ : 0.0;
  const double M = transformLength_ > 0 ? transformLength_ : 1;
  if (estKind_ == ekModel)
    amplScale_ = scaleFactor_ / std::sqrt(M);
  else
    amplScale_ = scaleFactor_ * actualZeroPadding_ * WindowScaleFactor() / M;
}

void TSpectrumAnalyzer::EstimateFFT(int TargetLength, TVec& out) {
  const TSignal& src = *EstimateSource();
  const int L = src.Length();
  const int N = LargestExp2(TargetLength) * ZeroPadding();
  SetActualZeroPadding(static_cast<double>(N) / L);
  // The windowed frame stays in frame_: ComplexEst evaluates its transform between the lines.
  CopyFrame(src, N, true);
  if (twoSided_) {
    out.FFT(frame_);
    lines_ = N;
  } else {
    out.FFTFromReal(frame_);
    lines_ = N / 2;
  }
  transformLength_ = N;
  estKind_ = ekFrame;
  frameLength_ = L;
}

void TSpectrumAnalyzer::EstimateAR(int TargetLength, TVec& out) {
  const TSignal& src = *EstimateSource();
  const int L = src.Length();
  const int N = LargestExp2(TargetLength) * ZeroPadding();
  CopyFrame(src, L, false);
  const int order = std::min(arOrder_, L);
  switch (method_) {
    case smYuleWalker: ArYuleWalker(arCoeffs_, arErr_, frame_, order, arState_); break;
    case smBurg: ArBurg(arCoeffs_, arErr_, frame_, order, arState_); break;
    case smCov: ArCovariance(arCoeffs_, arErr_, frame_, order, arState_); break;
    default: ArMCovariance(arCoeffs_, arErr_, frame_, order, arState_); break;
  }
  ArSpectrum(out, arCoeffs_, arErr_, N);
  lines_ = twoSided_ ? N : N / 2;
  transformLength_ = N;
  estKind_ = ekModel;
  frameLength_ = L;
}

void TSpectrumAnalyzer::EstimateCZT(TVec& out) {
  const TSignal& src = *EstimateSource();
  const int L = src.Length();
  CopyFrame(src, L, true);
  const TSpectrumCZT& z = *czt_;
  const int m = z.PointCount();
  // The points spread evenly over the band, so that they fall on the lines of the axis.
  const double step = (z.StopFrequency() - z.StartFrequency()) / m;
  SetActualZeroPadding(static_cast<double>(m) / L);
  if (cztState_.N != L || cztState_.M != m || cztStart_ != z.StartFrequency() || cztStep_ != step ||
      cztFs_ != frameFs_ || cztR0_ != z.StartRadius() || cztR1_ != z.StopRadius()) {
    cztState_.N = 0;  // stays unprepared if the preparation fails
    CztZoomInit(cztState_, L, m, z.StartFrequency(), step, frameFs_, z.StartRadius(), z.StopRadius());
    cztStart_ = z.StartFrequency();
    cztStep_ = step;
    cztFs_ = frameFs_;
    cztR0_ = z.StartRadius();
    cztR1_ = z.StopRadius();
  }
  Czt(cztState_, out, frame_);
  twoSided_ = false;
  lines_ = m;
  transformLength_ = m;
  // Off the unit circle the lines are not the frame's transform at their frequencies.
  estKind_ = z.StartRadius() == 1.0 && z.StopRadius() == 1.0 ? ekFrame : ekNone;
  frameLength_ = L;
}

void TSpectrumAnalyzer::EstimateCepstrum(int TargetLength, TVec& out) {
  const TSignal& src = *EstimateSource();
  const int L = src.Length();
  const int N = LargestExp2(TargetLength);
  CopyFrame(src, N, true);
  out.FFT(frame_);
  logMag_.Mag(out);
  logMag_.Ln();
  logMag_.Replace(NAN_VALUE, kCepstrumReplacement, kCepstrumReplaceTol);
  logMag_.Replace(INF_VALUE, kCepstrumReplacement, kCepstrumReplaceTol);
  logMag_.Replace(-INF_VALUE, kCepstrumReplacement, kCepstrumReplaceTol);
  // The log magnitude is even around the circle: its transform is real and needs no centring.
  const int N2 = LargestExp2(logMag_.Length()) * ZeroPadding();
  SetActualZeroPadding(static_cast<double>(N2) / logMag_.Length());
  logMag_.SetLength(N2);
  out.FFT(logMag_);
  lines_ = twoSided_ ? N2 : N2 / 2;
  transformLength_ = N2;
  estKind_ = ekNone;
  frameLength_ = L;
}

// --- Conversion ----------------------------------------------------------------------------------

void TSpectrumAnalyzer::AmpltSpectrum(const TVec& X) {
  if (!X.Complex()) {
    TSpectrum::AmpltSpectrum(X);
    return;
  }
  Amplt().Size(X.Length(), false);
  Magnitudes(Amplt().PValues(), X.PCValues(), X.Length());
  switch (PhaseMode()) {
    case pmIgnore: Phase().SetLength(0); break;
    case pm360:
    case pmPhaseDelay: {
      TVec& ph = Phase();
      ph.Size(X.Length(), false);
      const TCplx* x = X.PCValues();
      const double k = PhaseUnits() == puDeg ? 180.0 / PI : 1.0;
      for (int i = 0; i < X.Length(); ++i) ph.Values(i) = std::atan2(x[i].imag(), x[i].real()) * k;
      if (PhaseMode() == pmPhaseDelay) ComputePhaseDelay();
      break;
    }
    case pmGroupDelay: ComputeGroupDelay(); break;
  }
}

void TSpectrumAnalyzer::UpdateExtremes() {
  double mx = 0, mn = 0;
  if (Amplt().Length() > 0 && !Amplt().Complex()) {
    Extremes(Amplt().PValues(), Amplt().Length(), mx, mn);
    SetMaxAmplt(mx);
    SetMinAmplt(mn);
  }
  if (Phase().Length() > 0 && !Phase().Complex()) {
    Extremes(Phase().PValues(), Phase().Length(), mx, mn);
    SetMaxPhase(mx);
    SetMinPhase(mn);
  }
}

// --- Between the lines ---------------------------------------------------------------------------

double TSpectrumAnalyzer::EstToHz(double f, double& lineHz) const {
  const double x = HzRes() > 0 ? (f - BandWidthL()) / HzRes() : 0.0;
  lineHz = lastBandWidthL_ + x * lastHzRes_;
  return lineZeroDtft_ + x * lastHzRes_;
}

TCplx TSpectrumAnalyzer::ComplexEst(double f) {
  double lineHz = 0.0;
  const double fd = EstToHz(f, lineHz);
  if (estKind_ == ekFrame && frameLength_ > 0 && frame_.Length() >= frameLength_ && frameFs_ > 0)
    return Dtft(frame_, frameLength_, fd, frameFs_) * amplScale_;
  // The model's spectrum: the prediction error over the transform of its coefficients.
  if (estKind_ == ekModel && arCoeffs_.Length() > 0 && frameFs_ > 0)
    return std::sqrt(arErr_) / Dtft(arCoeffs_, arCoeffs_.Length(), fd, frameFs_) * amplScale_;
  if (lines_ <= 0 || work_.Length() == 0) return 0.0;
  const int k = std::clamp(LineOf(f), 0, std::min(lines_, work_.Length()) - 1);
  const TCplx v = work_.Complex() ? work_.CValues(k) : TCplx(work_.Values(k), 0.0);
  return v * amplScale_;
}

double TSpectrumAnalyzer::TypeAmplitude(double magnitude, double lineHz) const {
  double a = magnitude;
  if (spectrumType_ == stRmsAmplitude) a *= std::sqrt(2.0) / 2.0;
  if (spectrumType_ == stDoubleAmplitude) a *= 2.0;
  const double w = std::fabs(TWOPI * lineHz);
  switch (integration_) {
    case inNone: break;
    case inOnce: a = w != 0 ? a / w : 0.0; break;
    case inTwice: a = w != 0 ? a / (w * w) : 0.0; break;
    case diffOnce: a *= w; break;
    case diffTwice: a *= w * w; break;
  }
  if (spectrumType_ == stPower) a *= a;
  return a;
}

double TSpectrumAnalyzer::AmpltEst(double f) {
  if (estKind_ == ekNone || !complexValid_ || stats_->Averaging() != avNone) return TSpectrum::AmpltEst(f);
  double lineHz = 0.0;
  EstToHz(f, lineHz);
  return TypeAmplitude(std::abs(ComplexEst(f)), lineHz);
}

double TSpectrumAnalyzer::PhaseEst(double f) {
  if (estKind_ == ekNone || !complexValid_ || stats_->Averaging() != avNone) return TSpectrum::PhaseEst(f);
  double p = std::arg(ComplexEst(f));
  if (PhaseUnits() == puDeg) p *= 180.0 / PI;
  if (PhaseMode() == pm360 && phaseRange_ == prZeroTwoPi) p += PhaseUnits() == puRad ? PI : 180.0;
  return p;
}

}  // namespace ondrix
