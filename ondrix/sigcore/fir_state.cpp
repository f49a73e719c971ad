#include "ondrix/sigcore/fir_state.h"

#include <algorithm>
#include <cmath>
#include <cstring>

#include "ondrix/sigcore/fir_kernels.h"
#include "ondrix/vec/calcbase.h"
#include "ondrix/vec/exceptions.h"
#include "ondrix/vec/fft_plan.h"

namespace ondrix {

namespace {

// Single-rate real filters from this many taps on filter long blocks by FFT (overlap-save):
// around here the direct form's taps·n multiply-adds start to cost more than two FFTs per
// frame of FftSize − taps + 1 outputs.
constexpr int kFftMinTaps = 80;

// Doubles per sample in the delay line.
int Stride(const TFirState& s) { return s.ComplexData ? 2 : 1; }

// Makes the delay line complex, each past real value x becoming (x, 0).
void PromoteLine(TFirState& s) {
  const int h = s.SubLength;
  std::vector<double> line(std::max(2 * static_cast<size_t>(h), s.Line.size()), 0.0);
  for (int i = 0; i < h; ++i) line[2 * i] = s.Line[i];
  s.Line = std::move(line);
  s.ComplexData = true;
}

}  // namespace

void FirInit(const TVec& taps, TFirState& state, int upFactor, int upPhase, int downFactor,
             int downPhase) {
  const int n = taps.Length();
  if (n < 1) ERaise("FirInit: the filter needs at least one tap");
  TFirState& s = state;
  s.UpFactor = std::max(1, upFactor);
  s.DownFactor = std::max(1, downFactor);
  s.UpPhase = std::clamp(upPhase, 0, s.UpFactor - 1);
  s.DownPhase = std::clamp(downPhase, 0, s.DownFactor - 1);
  s.ComplexImpulse = taps.Complex();
  s.TapCount = n;
  const int up = s.UpFactor;
  const int t = (n + up - 1) / up;
  s.SubLength = t;
  // Sub-filter ρ holds h[ρ + up·(T − 1 − k)] at k, so that it runs forward over the line.
  const int w = s.ComplexImpulse ? 2 : 1;
  s.Poly.assign(static_cast<size_t>(up) * t * w, 0.0);
  for (int rho = 0; rho < up; ++rho) {
    for (int k = 0; k < t; ++k) {
      const int idx = rho + up * (t - 1 - k);
      if (idx >= n) continue;
      double* dst = &s.Poly[(static_cast<size_t>(rho) * t + k) * w];
      if (s.ComplexImpulse) {
        dst[0] = taps.CValues(idx).real();
        dst[1] = taps.CValues(idx).imag();
      } else {
        dst[0] = taps.Values(idx);
      }
    }
  }
  s.ComplexData = false;
  // Overlap-save set-up: frames of N ≥ 8·taps samples, the taps' spectrum scaled by 1/N.
  s.FftSize = 0;
  if (!s.ComplexImpulse && up == 1 && s.DownFactor == 1 && n >= kFftMinTaps) {
    const int nfft = LargestExp2(8 * n);
    s.FftSize = nfft;
    s.FftFrame.assign(static_cast<size_t>(nfft), 0.0);
    s.FftSpec.assign(static_cast<size_t>(nfft) + 2, 0.0);
    s.TapSpectrum.assign(static_cast<size_t>(nfft) + 2, 0.0);
    for (int i = 0; i < n; ++i) s.FftFrame[i] = taps.Values(i) / nfft;
    fftw_execute_dft_r2c(FftPlan(fkR2C, nfft, s.FftFrame.data(), s.TapSpectrum.data()), s.FftFrame.data(),
                         reinterpret_cast<fftw_complex*>(s.TapSpectrum.data()));
  }
  FirReset(s);
}

void FirReset(TFirState& state) {
  state.Line.assign(static_cast<size_t>(state.SubLength) * Stride(state), 0.0);
  state.NextOut = state.DownPhase;
}

int FirOutputLength(const TFirState& s, int n) {
  const long long end = static_cast<long long>(s.UpFactor) * n;
  if (s.NextOut >= end) return 0;
  return static_cast<int>((end - s.NextOut + s.DownFactor - 1) / s.DownFactor);
}

namespace {

// Grows the line to hold `doubles` values; it never shrinks, so steady block sizes do not
// allocate. The first SubLength samples are the past.
double* LineFor(TFirState& s, size_t doubles) {
  if (s.Line.size() < doubles) s.Line.resize(doubles, 0.0);
  return s.Line.data();
}

}  // namespace

// Single-rate real filtering of n outputs by overlap-save. The extended input is the past
// (t samples, hist) followed by src; output i is Σ_k h[k]·x_ext[i + t − k]. Each frame of N
// extended samples from a + 1 on gives the N − t + 1 outputs from a on; a short remainder is
// summed directly.
void FftBlock(TFirState& s, const double* hist, const double* src, int n, double* y) {
  const int nfft = s.FftSize, t = s.SubLength, m = nfft - t + 1;
  double* frame = s.FftFrame.data();
  double* spec = s.FftSpec.data();
  const fftw_plan fwd = FftPlan(fkR2C, nfft, frame, spec);
  const fftw_plan inv = FftPlan(fkC2R, nfft, spec, frame);
  // x_ext[from .. from + count) into dst, zeros past the end of src.
  const auto gather = [&](long long from, int count, double* dst) {
    int k = 0;
    for (; k < count && from + k < t; ++k) dst[k] = hist[from + k];
    const long long s0 = from + k - t;
    const int avail = static_cast<int>(std::clamp<long long>(n - s0, 0, count - k));
    if (avail > 0) std::memcpy(dst + k, src + s0, sizeof(double) * avail);
    for (int j = k + avail; j < count; ++j) dst[j] = 0.0;
  };
  const double frameCost = 3.0 * nfft * std::log2(static_cast<double>(nfft));
  int a = 0;
  while (a < n) {
    const int remain = n - a;
    if (remain < m && static_cast<double>(remain) * t < frameCost) {
      gather(a + 1, remain + t - 1, frame);
      kernels::FirDirect(frame, s.Poly.data(), t, y + a, remain, 1);
      return;
    }
    gather(a + 1, nfft, frame);
    fftw_execute_dft_r2c(fwd, frame, reinterpret_cast<fftw_complex*>(spec));
    const TCplx* hs = reinterpret_cast<const TCplx*>(s.TapSpectrum.data());
    TCplx* xs = reinterpret_cast<TCplx*>(spec);
    for (int k = 0; k <= nfft / 2; ++k) xs[k] *= hs[k];
    fftw_execute_dft_c2r(inv, reinterpret_cast<fftw_complex*>(spec), frame);
    const int cnt = std::min(m, remain);
    std::memcpy(y + a, frame + t - 1, sizeof(double) * cnt);
    a += cnt;
  }
}

namespace {

// Single rate, real taps, data of the line's type: y[i] = Σ_k g[k]·x[i + 1 + k − t]. Outputs
// that reach into the past come from a short line (past + first samples); the rest run
// straight over src, which is why src and y must not overlap.
void SingleRateReal(TFirState& s, const double* src, int n, double* y) {
  const int st = Stride(s);
  const size_t t = static_cast<size_t>(s.SubLength);
  const size_t na = std::min(static_cast<size_t>(n), t - 1);
  double* line = LineFor(s, (t + na) * st);
  if (s.FftSize > 0 && st == 1) {
    FftBlock(s, line, src, n, y);
  } else {
    std::memcpy(line + t * st, src, sizeof(double) * na * st);
    kernels::FirDirect(line + st, s.Poly.data(), static_cast<int>(t), y, static_cast<int>(na), st);
    if (static_cast<size_t>(n) > na)
      kernels::FirDirect(src, s.Poly.data(), static_cast<int>(t), y + na * st, n - static_cast<int>(na), st);
  }
  // The new past: the last t samples of past + block.
  if (static_cast<size_t>(n) >= t) {
    std::memcpy(line, src + (n - t) * st, sizeof(double) * t * st);
  } else {
    std::memmove(line, line + static_cast<size_t>(n) * st, sizeof(double) * (t - n) * st);
    std::memcpy(line + (t - n) * st, src, sizeof(double) * static_cast<size_t>(n) * st);
  }
}

}  // namespace

void FirFilter(const TVec& src, TVec& dst, TFirState& state) {
  TFirState& s = state;
  if (s.TapCount < 1) ERaise("FirFilter: the state is not initialised (FirInit)");
  if (src.Complex() && !s.ComplexData) PromoteLine(s);
  const int n = src.Length();
  const int st = Stride(s);
  const size_t t = static_cast<size_t>(s.SubLength);
  const int m = FirOutputLength(s, n);
  const bool cplxOut = s.ComplexData || s.ComplexImpulse;
  const int up = s.UpFactor, down = s.DownFactor;
  const bool widen = st == 2 && !src.Complex();
  if (up == 1 && down == 1 && !s.ComplexImpulse && !widen && &src != &dst) {
    dst.Size(m, cplxOut);
    SingleRateReal(s, src.PValues(), n, dst.PValues());
    return;
  }
  // General path: the whole block appended to the line (real input widened when the line is
  // complex), then one polyphase dot product per output.
  double* line = LineFor(s, (t + static_cast<size_t>(n)) * st);
  double* blk = line + t * st;
  if (!widen) {
    std::memcpy(blk, src.PValues(), sizeof(double) * static_cast<size_t>(n) * st);
  } else {
    for (int i = 0; i < n; ++i) {
      blk[2 * i] = src.Values(i);
      blk[2 * i + 1] = 0.0;
    }
  }
  dst.Size(m, cplxOut);
  double* y = dst.PValues();
  if (up == 1 && down == 1 && !s.ComplexImpulse) {
    // Single rate written over its input, or widened: the same kernels as the direct path.
    if (s.FftSize > 0 && st == 1) FftBlock(s, line, line + t, n, y);
    else kernels::FirDirect(line + st, s.Poly.data(), static_cast<int>(t), y, n, st);
    std::memmove(line, line + static_cast<size_t>(n) * st, sizeof(double) * t * st);
    return;
  }
  long long mo = s.NextOut;
  const int w = s.ComplexImpulse ? 2 : 1;
  double tmp[2];
  for (int j = 0; j < m; ++j, mo += down) {
    // mo − upPhase = up·q + ρ; the dot product starts at input q − t + 1, line index q + 1.
    const long long v = mo - s.UpPhase;
    const long long q = v >= 0 ? v / up : -((-v + up - 1) / up);
    const int rho = static_cast<int>(v - q * up);
    const double* x = line + static_cast<size_t>(q + 1) * st;
    const double* g = s.Poly.data() + static_cast<size_t>(rho) * t * w;
    if (!s.ComplexImpulse) {
      kernels::FirDot(x, g, static_cast<int>(t), tmp, st);
      y[j * st] = tmp[0];
      if (st == 2) y[j * st + 1] = tmp[1];
    } else {
      kernels::FirDotComplexTaps(x, g, static_cast<int>(t), y + 2 * j, st);
    }
  }
  s.NextOut += static_cast<long long>(m) * down - static_cast<long long>(up) * n;
  std::memmove(line, line + static_cast<size_t>(n) * st, sizeof(double) * t * st);
}

void FirFilter(const double* src, int n, double* dst, TFirState& state) {
  TFirState& s = state;
  if (s.TapCount < 1) ERaise("FirFilter: the state is not initialised (FirInit)");
  if (s.ComplexImpulse || s.ComplexData || s.UpFactor != 1 || s.DownFactor != 1)
    ERaise("FirFilter: raw arrays take a real single-rate filter and real data");
  if (n < 0) ERaise("FirFilter: negative block length");
  if (n > 0 && src < dst + n && dst < src + n) ERaise("FirFilter: the input and output arrays overlap");
  SingleRateReal(s, src, n, dst);
}

double FirOneSample(double x, TFirState& state) {
  TFirState& s = state;
  if (s.TapCount < 1) ERaise("FirOneSample: the state is not initialised (FirInit)");
  if (s.ComplexImpulse || s.ComplexData) ERaise("FirOneSample: only real taps and data are supported");
  if (s.UpFactor != 1 || s.DownFactor != 1) ERaise("FirOneSample: the state changes the sampling rate");
  const int t = s.SubLength;
  double* line = LineFor(s, static_cast<size_t>(t) + 1);
  line[t] = x;
  double y;
  kernels::FirDirect(line + 1, s.Poly.data(), t, &y, 1, 1);
  std::memmove(line, line + 1, sizeof(double) * static_cast<size_t>(t));
  return y;
}

}  // namespace ondrix
