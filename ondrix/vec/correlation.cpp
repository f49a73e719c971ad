#include "ondrix/vec/correlation.h"

#include <algorithm>
#include <cmath>
#include <string>
#include <utility>

namespace ondrix {

namespace {

// Work vectors keep their memory between calls, so repeated correlations of one size do not
// allocate.
struct CorrWork {
  TVec xw, yw, xSpec, ySpec, r, result;
};

CorrWork& Work() {
  thread_local CorrWork work;
  return work;
}

// Cost of the FFT path in units of one direct multiply-add: kFftCostPerPoint per L·log2(L)
// of the padded length L (the two or three transforms and the spectrum product) plus a fixed
// part for the set-up. Measured on x86-64 with FFTW_ESTIMATE plans, release build; real and
// complex data give the same ratios to about 10 %.
constexpr double kFftCostPerPoint = 0.7;
constexpr double kFftFixedCost = 500.0;

// Lags with an overlap of x and y: −(nx − 1) .. ny − 1. Of the requested lags −lo .. hi − 1,
// those from −neg to pos − 1 can be non-zero.
struct LagSpan {
  int neg = 0;
  int pos = 0;
};

LagSpan NonZeroLags(int nx, int ny, int lo, int hi) {
  if (nx == 0 || ny == 0) return {};
  return {std::min(lo, nx - 1), std::min(hi, ny)};
}

// Smallest 2^a·3^b·5^c·7^d ≥ m: lengths FFTW transforms fast.
int FftFriendlyLength(int m) {
  for (int n = std::max(m, 1);; ++n) {
    int r = n;
    for (int p : {2, 3, 5, 7})
      while (r % p == 0) r /= p;
    if (r == 1) return n;
  }
}

// Circular correlation of length L equals the linear one on lags −neg .. pos − 1 when no
// other lag of the data folds onto them, and L must hold both inputs.
int FftLength(int nx, int ny, LagSpan s) {
  return FftFriendlyLength(std::max({nx + s.pos - 1, ny + s.neg, nx, ny}));
}

double DirectMultiplyAdds(int nx, int ny, LagSpan s) {
  double ops = 0.0;
  for (int k = -s.neg; k < s.pos; ++k) ops += std::min(nx, ny - k) - std::max(0, -k);
  return ops;
}

bool FftCheaper(int nx, int ny, LagSpan s) {
  if (s.neg + s.pos == 0) return false;
  const double len = FftLength(nx, ny, s);
  return DirectMultiplyAdds(nx, ny, s) > kFftCostPerPoint * len * std::log2(len) + kFftFixedCost;
}

void DirectReal(double* out, const double* x, int nx, const double* y, int ny, LagSpan s) {
  for (int k = -s.neg; k < s.pos; ++k) {
    const int n0 = std::max(0, -k), n1 = std::min(nx, ny - k);
    double acc = 0.0;
    for (int n = n0; n < n1; ++n) acc += x[n] * y[n + k];
    out[k] = acc;
  }
}

// Interleaved complex values; conj(x)·y written out, which also avoids the slow NaN-checking
// complex product of an unoptimised build.
void DirectComplex(double* out, const double* x, int nx, const double* y, int ny, LagSpan s) {
  for (int k = -s.neg; k < s.pos; ++k) {
    const int n0 = std::max(0, -k), n1 = std::min(nx, ny - k);
    double re = 0.0, im = 0.0;
    for (int n = n0; n < n1; ++n) {
      const double xr = x[2 * n], xi = x[2 * n + 1];
      const double yr = y[2 * (n + k)], yi = y[2 * (n + k) + 1];
      re += xr * yr + xi * yi;
      im += xr * yi - xi * yr;
    }
    out[2 * k] = re;
    out[2 * k + 1] = im;
  }
}

// Copies src into w (resized to len, same complex flag) and zeroes the tail.
void ZeroPadded(TVec& w, const TVec& src, int len) {
  w.Size(len, src.Complex());
  std::copy(src.PValues(), src.PValues() + src.RealLength(), w.PValues());
  std::fill(w.PValues() + src.RealLength(), w.PValues() + w.RealLength(), 0.0);
}

// The spectrum of the circular correlation is conj(X)·Y; written into xs.
void ConjTimes(TVec& xs, const TVec* ys) {
  TCplx* a = xs.PCValues();
  for (int i = 0; i < xs.Length(); ++i)
    a[i] = ys ? std::conj(a[i]) * ys->CValues(i) : std::norm(a[i]);
}

// out points at lag 0; lags −s.neg .. s.pos − 1 are written.
void ByFft(double* out, const TVec& x, const TVec& y, LagSpan s) {
  CorrWork& w = Work();
  const int nx = x.Length(), ny = y.Length();
  const int len = FftLength(nx, ny, s);
  const bool same = &x == &y;
  const bool cplx = x.Complex();
  ZeroPadded(w.xw, x, len);
  if (!same) ZeroPadded(w.yw, y, len);
  const double* r = nullptr;
  if (cplx) {
    w.xw.FFT();
    if (!same) w.yw.FFT();
    ConjTimes(w.xw, same ? nullptr : &w.yw);
    w.xw.IFFT();
    r = w.xw.PValues();
  } else {
    w.xSpec.FFTFromReal(w.xw);
    if (!same) w.ySpec.FFTFromReal(w.yw);
    ConjTimes(w.xSpec, same ? nullptr : &w.ySpec);
    w.r.IFFTFromHalf(w.xSpec, len);
    r = w.r.PValues();
  }
  const int step = cplx ? 2 : 1;
  for (int k = -s.neg; k < s.pos; ++k) {
    const int at = step * (k >= 0 ? k : len + k);
    std::copy(r + at, r + at + step, out + step * k);
  }
}

// Work().result := lags −lo .. hi − 1 of the correlation of x and y.
TVec& Correlate(const TVec& x, const TVec& y, int lo, int hi, TCorrMethod method) {
  TVec& res = Work().result;
  res.Size(lo + hi, x.Complex());
  res.SetZero();
  const int nx = x.Length(), ny = y.Length();
  const LagSpan s = NonZeroLags(nx, ny, lo, hi);
  if (s.neg + s.pos == 0) return res;
  const bool useFft = method == cmFFT || (method == cmAuto && FftCheaper(nx, ny, s));
  double* atLagZero = res.PValues() + (x.Complex() ? 2 * lo : lo);
  if (useFft)
    ByFft(atLagZero, x, y, s);
  else if (x.Complex())
    DirectComplex(atLagZero, x.PValues(), nx, y.PValues(), ny, s);
  else
    DirectReal(atLagZero, x.PValues(), nx, y.PValues(), ny, s);
  return res;
}

void CheckLag(const char* op, const char* name, int lag) {
  if (lag < 0)
    ERaise(std::string(op) + ": " + name + " must not be negative (" + std::to_string(lag) + ")");
}

// Copies the result into dst. The work vector is lent out meanwhile, so that a size-event
// handler of dst that correlates again on this thread works on a vector of its own.
void Deliver(TVec& dst) {
  TVec res = std::move(Work().result);
  dst.Copy(res);
  Work().result = std::move(res);
}

enum AutoScaling { asNone, asBiased, asUnbiased };

void AutoCorr(const char* op, TVec& dst, const TVec& src, int lags, TCorrMethod method,
              AutoScaling scaling) {
  CheckLag(op, "Lags", lags);
  TVec& res = Correlate(src, src, 0, lags, method);
  const int n = src.Length();
  const int step = src.Complex() ? 2 : 1;
  double* p = res.PValues();
  for (int k = 0; k < std::min(lags, n) && scaling != asNone; ++k) {
    const double s = 1.0 / (scaling == asBiased ? n : n - k);
    for (int c = 0; c < step; ++c) p[step * k + c] *= s;
  }
  Deliver(dst);
}

}  // namespace

void AutoCorrNormal(TVec& Dst, const TVec& Src, int Lags, TCorrMethod Method) {
  AutoCorr("AutoCorrNormal", Dst, Src, Lags, Method, asNone);
}

void AutoCorrBiased(TVec& Dst, const TVec& Src, int Lags, TCorrMethod Method) {
  AutoCorr("AutoCorrBiased", Dst, Src, Lags, Method, asBiased);
}

void AutoCorrUnBiased(TVec& Dst, const TVec& Src, int Lags, TCorrMethod Method) {
  AutoCorr("AutoCorrUnBiased", Dst, Src, Lags, Method, asUnbiased);
}

void CrossCorr(TVec& Dst, const TVec& X, const TVec& Y, int HiLag, int LoLag, TCorrMethod Method) {
  CheckLag("CrossCorr", "HiLag", HiLag);
  CheckLag("CrossCorr", "LoLag", LoLag);
  if (X.Complex() != Y.Complex()) ERaise("CrossCorr: X and Y must both be real or both complex");
  Correlate(X, Y, LoLag, HiLag, Method);
  Deliver(Dst);
}

bool CorrUsesFFT(int nx, int ny, int loLag, int hiLag) {
  return FftCheaper(nx, ny, NonZeroLags(nx, ny, loLag, hiLag));
}

}  // namespace ondrix
