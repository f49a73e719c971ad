#include "ondrix/sigcore/peak_fit.h"

#include <algorithm>
#include <cmath>
#include <complex>

namespace ondrix {

double WindowResponse(const TVec& w, double L, double nu) {
  // Four rotating phasors a sample apart, each stepping four samples, in real arithmetic (a
  // complex product would go through the library's NaN-safe call): independent chains the
  // compiler can interleave. Renormalised now and then against drift.
  const double theta = -2.0 * M_PI * nu / L;
  const double c4 = std::cos(4 * theta), s4 = std::sin(4 * theta);
  double zr[4], zi[4], sr[4] = {0, 0, 0, 0}, si[4] = {0, 0, 0, 0};
  for (int k = 0; k < 4; ++k) zr[k] = std::cos(k * theta), zi[k] = std::sin(k * theta);
  const double* x = w.PValues();
  const int n = w.Length(), n4 = n & ~3;
  for (int i = 0; i < n4; i += 4) {
    for (int k = 0; k < 4; ++k) {
      sr[k] += x[i + k] * zr[k];
      si[k] += x[i + k] * zi[k];
      const double r = zr[k] * c4 - zi[k] * s4;
      zi[k] = zr[k] * s4 + zi[k] * c4;
      zr[k] = r;
    }
    if ((i & 1023) == 1020)
      for (int k = 0; k < 4; ++k) {
        const double g = 1.0 / std::hypot(zr[k], zi[k]);
        zr[k] *= g, zi[k] *= g;
      }
  }
  double re = sr[0] + sr[1] + sr[2] + sr[3], im = si[0] + si[1] + si[2] + si[3];
  for (int i = n4; i < n; ++i) re += x[i] * std::cos(i * theta), im += x[i] * std::sin(i * theta);
  return std::hypot(re, im);
}

int MainLobeHalfWidth(const TVec& w, double L) {
  if (w.Length() == 0 || L <= 0) return 1;
  // the first minimum once the response is below half its peak (a flat top ripples above)
  const double step = 0.1, peak = WindowResponse(w, L, 0.0);
  double prev = peak;
  for (double nu = step; nu < L / 2.0; nu += step) {
    const double r = WindowResponse(w, L, nu);
    if (r > prev && prev < 0.5 * peak) return std::max(1, static_cast<int>(std::floor(nu - step + 1e-6)) - 1);
    prev = r;
  }
  return 1;
}

TPeakFit FitWindowPeak(const TVec& w, double L, const TVec& m, int centre, int halfWidth) {
  TPeakFit fit;
  if (centre < 0 || centre >= m.Length()) return fit;
  fit.Amplitude = m.Values(centre);
  if (w.Length() == 0 || L < w.Length() || !(m.Values(centre) > 0.0)) return fit;
  const int lo = std::max(0, centre - std::max(halfWidth, 1)), hi = std::min(m.Length() - 1, centre + std::max(halfWidth, 1));
  const double w0 = WindowResponse(w, L, 0.0);
  // misfit of the best amplitude at offset d, and that amplitude
  auto misfit = [&](double d, double* amplitude) {
    double mw = 0.0, ww = 0.0, mm = 0.0;
    for (int j = lo; j <= hi; ++j) {
      const double model = WindowResponse(w, L, j - centre - d) / w0, v = m.Values(j);
      mw += v * model, ww += model * model, mm += v * v;
    }
    if (amplitude) *amplitude = ww > 0.0 ? mw / ww : 0.0;
    return ww > 0.0 ? mm - mw * mw / ww : mm;
  };
  double best = 0.0, bestMisfit = misfit(0.0, nullptr);
  for (int i = -10; i <= 10; ++i) {
    const double d = 0.05 * i, e = misfit(d, nullptr);
    if (e < bestMisfit) best = d, bestMisfit = e;
  }
  double a = std::max(-0.5, best - 0.05), b = std::min(0.5, best + 0.05);
  const double g = (std::sqrt(5.0) - 1.0) / 2.0;
  double x1 = b - g * (b - a), x2 = a + g * (b - a), f1 = misfit(x1, nullptr), f2 = misfit(x2, nullptr);
  for (int i = 0; i < 60 && b - a > 1e-10; ++i) {
    if (f1 <= f2) {
      b = x2, x2 = x1, f2 = f1, x1 = b - g * (b - a), f1 = misfit(x1, nullptr);
    } else {
      a = x1, x1 = x2, f1 = f2, x2 = a + g * (b - a), f2 = misfit(x2, nullptr);
    }
  }
  fit.Offset = 0.5 * (a + b);
  misfit(fit.Offset, &fit.Amplitude);
  return fit;
}

double ParabolaVertexOffset(double a, double b, double c) {
  const double den = 2.0 * b - a - c;
  return den != 0.0 ? (c - a) / (2.0 * den) : 0.0;
}

double BarycentricOffset(double a, double b, double c) {
  const double den = a + b + c;
  return den != 0.0 ? (c - a) / den : 0.0;
}

double JainPeakLine(int k, double a, double b, double c) {
  if (a <= c) {
    const double r = c / b;
    return k + r / (r + 1.0);
  }
  const double r = b / a;
  return k - 1 + r / (r + 1.0);
}

namespace {

/// Re(x / xk) without forming the quotient; NaN for xk = 0.
double RealRatio(TCplx x, TCplx xk) {
  const double mag2 = std::norm(xk);
  if (mag2 == 0.0) return NAN;
  return (x.real() * xk.real() + x.imag() * xk.imag()) / mag2;
}

}  // namespace

double QuinnFirstOffset(TCplx xm, TCplx xk, TCplx xp) {
  const double am = RealRatio(xm, xk), ap = RealRatio(xp, xk);
  const double dm = am / (1.0 - am), dp = ap / (1.0 - ap);
  return dp > 0 && dm > 0 ? dp : dm;
}

double QuinnSecondOffset(TCplx xm, TCplx xk, TCplx xp) {
  const double am = RealRatio(xm, xk), ap = RealRatio(xp, xk);
  const double dp = -ap / (1.0 - ap), dm = am / (1.0 - am);
  return (dp + dm) / 2.0 + QuinnTau(dp * dp) - QuinnTau(dm * dm);
}

double QuinnTau(double x) {
  const double r = std::sqrt(2.0 / 3.0);
  return 0.25 * std::log10(3.0 * x * x + 6.0 * x + 1.0) - (std::sqrt(6.0) / 24.0) * (x + 1.0 - r) / (x + 1.0 + r);
}

}  // namespace ondrix
