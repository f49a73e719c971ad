#include "ondrix/sigcore/czt.h"

#include <cmath>

#include "ondrix/vec/calcbase.h"

namespace ondrix {

namespace {

// Fractional part (in (−1, 1)) of c·h, with the rounding error of the product kept (fma), so
// a large h does not spoil the angle.
double FracProduct(double c, double h) {
  const double p = c * h;
  const double e = std::fma(c, h, -p);
  return (p - std::nearbyint(p)) + e;
}

// ln|z|, accurate also when |z| is within rounding of 1: a unit-circle w given as a complex
// double is off the circle by about 1e-17, which the chirp's k²/2 powers turn into a radius
// drift of 1e-11 over 10⁶ — part of the transform of that w, so it is kept. |z|² − 1 is
// summed exactly from the error-free products re², im².
double LogAbs(TCplx z) {
  const double re = z.real(), im = z.imag();
  const double p1 = re * re, e1 = std::fma(re, re, -p1);
  const double p2 = im * im, e2 = std::fma(im, im, -p2);
  const double s = p1 + p2;
  const double t = (p1 - (s - (s - p1))) + (p2 - (s - p1));  // TwoSum: p1 + p2 = s + t
  if (s < 0.5 || s > 2.0) return 0.5 * std::log(s + (t + e1 + e2));
  return 0.5 * std::log1p(((s - 1.0) + t) + (e1 + e2));  // s − 1 is exact (Sterbenz)
}

// e^(logMag + 2πi·cycles).
TCplx ExpCycles(double logMag, double cycles) { return std::polar(std::exp(logMag), TWOPI * cycles); }

}  // namespace

void CztInitLog(TCztState& s, int n, int m, double wLogMag, double wCycles, double aLogMag,
                double aCycles) {
  if (n < 1 || m < 1) ERaise("Czt: the input length and the number of points must be at least 1");
  s.N = n;
  s.M = m;
  s.L = LargestExp2(n + m - 1);
  s.InChirp.Size(n, true);
  s.OutChirp.Size(m, true);
  s.Kernel.Size(s.L, true);
  s.Kernel.SetZero();
  // Chirp angles of w are c·t²/2 cycles; t²/2 is exact in doubles for any int t.
  for (int j = 0; j < n; ++j) {
    const double h = 0.5 * static_cast<double>(j) * j;
    const double cyc = FracProduct(wCycles, h) - FracProduct(aCycles, j);
    s.InChirp.CValues(j) = ExpCycles(wLogMag * h - aLogMag * j, cyc);
  }
  for (int k = 0; k < m; ++k) {
    const double h = 0.5 * static_cast<double>(k) * k;
    s.OutChirp.CValues(k) = ExpCycles(wLogMag * h, FracProduct(wCycles, h));
    s.Kernel.CValues(k) = ExpCycles(-wLogMag * h, -FracProduct(wCycles, h));
  }
  // Negative lags −1 .. −(n − 1) wrap to the end of the circular kernel.
  for (int t = 1; t < n; ++t) {
    const double h = 0.5 * static_cast<double>(t) * t;
    s.Kernel.CValues(s.L - t) = ExpCycles(-wLogMag * h, -FracProduct(wCycles, h));
  }
  s.Kernel.FFT();
  s.Work.Size(s.L, true);
}

void CztInit(TCztState& s, int n, int m, TCplx w, TCplx a) {
  if (w == 0.0 || a == 0.0) ERaise("Czt: w and a must not be zero");
  CztInitLog(s, n, m, LogAbs(w), std::arg(w) / TWOPI, LogAbs(a), std::arg(a) / TWOPI);
}

void CztZoomInit(TCztState& s, int n, int m, double fStart, double fStep, double fs,
                 double startRadius, double stopRadius) {
  if (!(fs > 0.0)) ERaise("Czt: the sampling frequency must be positive");
  if (!(startRadius > 0.0) || !(stopRadius > 0.0)) ERaise("Czt: the radii must be positive");
  const double logR0 = std::log(startRadius);
  const double wLogMag = m > 1 ? (logR0 - std::log(stopRadius)) / (m - 1) : 0.0;
  CztInitLog(s, n, m, wLogMag, -fStep / fs, logR0, fStart / fs);
}

void Czt(TCztState& s, TVec& dst, const TVec& x) {
  if (x.Length() != s.N || s.N == 0) ERaise("Czt: input length differs from the prepared length");
  s.Work.SetZero();
  TCplx* w = s.Work.PCValues();
  const TCplx* c = s.InChirp.PCValues();
  if (x.Complex())
    for (int j = 0; j < s.N; ++j) w[j] = x.CValues(j) * c[j];
  else
    for (int j = 0; j < s.N; ++j) w[j] = x.Values(j) * c[j];
  s.Work.FFT();
  s.Work.Mul(s.Kernel);
  s.Work.IFFT();
  dst.Size(s.M, true);
  TCplx* d = dst.PCValues();
  const TCplx* oc = s.OutChirp.PCValues();
  w = s.Work.PCValues();
  for (int k = 0; k < s.M; ++k) d[k] = oc[k] * w[k];
}

void Czt(TVec& dst, const TVec& x, int m, TCplx w, TCplx a) {
  TCztState s;
  CztInit(s, x.Length(), m, w, a);
  Czt(s, dst, x);
}

void CztZoom(TVec& dst, const TVec& x, double fStart, double fStep, double fs, int m) {
  TCztState s;
  CztZoomInit(s, x.Length(), m, fStart, fStep, fs);
  Czt(s, dst, x);
}

}  // namespace ondrix
