#include "ondrix/sigcore/windows.h"

#include <cmath>
#include <string>

#include "ondrix/vec/calcbase.h"

namespace ondrix {

namespace {

// Multiplies element i of w (real or complex) by the real value v.
inline void MulAt(double* p, bool complex, int i, double v) {
  if (complex) {
    p[2 * i] *= v;
    p[2 * i + 1] *= v;
  } else {
    p[i] *= v;
  }
}

// Applies shape(n, m) to the N samples of w, where m is the number of points of the symmetric
// window sampled: N + 1 for the periodic form (its last point dropped), N for the symmetric.
template <class Shape>
void ApplyShape(TVec& w, bool symmetric, Shape shape) {
  const int n = w.Length();
  if (n <= 1) return;
  const int m = symmetric ? n : n + 1;
  double* p = w.PValues();
  const bool complex = w.Complex();
  for (int i = 0; i < n; ++i) MulAt(p, complex, i, shape(i, m));
}

// Σ_k (−1)^k a_k cos(2πkn/(m − 1)). The product k·n is reduced modulo m − 1 in integers first,
// so the arguments stay exact and a periodic window's cosines sum to zero to rounding.
void CosineSum(TVec& w, const double* a, int terms, bool symmetric) {
  ApplyShape(w, symmetric, [&](int n, int m) {
    const long long period = m - 1;
    double v = 0.0;
    for (int k = 0; k < terms; ++k) {
      const long long r = (static_cast<long long>(k) * n) % period;
      const double c = std::cos(TWOPI * static_cast<double>(r) / static_cast<double>(period));
      v += (k % 2 ? -a[k] : a[k]) * c;
    }
    return v;
  });
}

// Coefficients of the cosine-sum windows (see windows.h for their sources).
constexpr double kHann[] = {0.5, 0.5};
constexpr double kHamming[] = {0.54, 0.46};
constexpr double kFlatTop[] = {0.2810639, 0.5208972, 0.1980399};
constexpr double kBlackmanHarris3[] = {0.42323, 0.49755, 0.07922};
constexpr double kBlackmanExact[] = {7938.0 / 18608.0, 9240.0 / 18608.0, 1430.0 / 18608.0};

// The parameters the analyzers pass to the parametric windows.
constexpr double kAnalyzerBlackmanAlpha = -0.16;
constexpr double kAnalyzerTaperPercent = 20.0;

}  // namespace

void Hanning(TVec& w, bool symmetric) { CosineSum(w, kHann, 2, symmetric); }

void Hamming(TVec& w, bool symmetric) { CosineSum(w, kHamming, 2, symmetric); }

void FlatTop(TVec& w, bool symmetric) { CosineSum(w, kFlatTop, 3, symmetric); }

void Bartlett(TVec& w, bool symmetric) {
  ApplyShape(w, symmetric, [](int n, int m) {
    const double x = 2.0 * n / (m - 1);
    return n <= (m - 1) / 2.0 ? x : 2.0 - x;
  });
}

void Blackman(TVec& w, double alpha, bool symmetric) {
  const double a = std::fabs(alpha);
  const double coef[] = {(1.0 - a) / 2.0, 0.5, a / 2.0};
  CosineSum(w, coef, 3, symmetric);
}

void BlackmanHarris(TVec& w, bool symmetric) { CosineSum(w, kBlackmanHarris3, 3, symmetric); }

void BlackmanExact(TVec& w, bool symmetric) { CosineSum(w, kBlackmanExact, 3, symmetric); }

void CosineTappered(TVec& w, double percent, bool symmetric) {
  const double alpha = percent / 100.0;
  if (!(alpha > 0.0)) return;
  if (alpha >= 1.0) {
    Hanning(w, symmetric);
    return;
  }
  // The taper regions follow scipy.signal.windows.tukey sample for sample.
  ApplyShape(w, symmetric, [alpha](int n, int m) {
    const double span = alpha * (m - 1);
    const int width = static_cast<int>(std::floor(span / 2.0));
    if (n <= width) return 0.5 * (1.0 + std::cos(PI * (-1.0 + 2.0 * n / span)));
    if (n >= m - width - 1) return 0.5 * (1.0 + std::cos(PI * (-2.0 / alpha + 1.0 + 2.0 * n / span)));
    return 1.0;
  });
}

void Kaiser(TVec& w, double beta, bool symmetric) {
  const double norm = std::cyl_bessel_i(0.0, std::fabs(beta));
  ApplyShape(w, symmetric, [beta, norm](int n, int m) {
    const double half = (m - 1) / 2.0;
    const double r = (n - half) / half;
    return std::cyl_bessel_i(0.0, std::fabs(beta) * std::sqrt(std::fmax(0.0, 1.0 - r * r))) / norm;
  });
}

void Chebyshev(TVec& w, double attenuationDb, bool symmetric) {
  const int n = w.Length();
  if (n <= 1) return;
  const int m = symmetric ? n : n + 1;
  // Dolph's construction: the window is the inverse DFT of the Chebyshev polynomial
  // T_{m-1}(β·cos(πk/m)) sampled around the circle (the steps of scipy's chebwin). T is
  // evaluated in long double: near x = ±1 acos magnifies the rounding of x by up to m², which
  // in double costs a few 1e-12 of the window.
  using LD = long double;
  const LD pi = 3.141592653589793238462643383279502884L;
  const LD order = m - 1.0L;
  const LD beta = std::cosh(std::acosh(std::pow(10.0L, std::fabs(LD(attenuationDb)) / 20.0L)) / order);
  TVec p(m, true);
  for (int k = 0; k < m; ++k) {
    const LD x = beta * std::cos(pi * k / m);
    LD v;
    if (x > 1.0L)
      v = std::cosh(order * std::acosh(x));
    else if (x < -1.0L)
      v = (m % 2 ? 1.0L : -1.0L) * std::cosh(order * std::acosh(-x));
    else
      v = std::cos(order * std::acos(x));
    // An even length needs a half-sample shift to centre the window.
    p.CValues(k) = m % 2 ? TCplx(static_cast<double>(v), 0.0)
                         : TCplx(static_cast<double>(v * std::cos(pi * k / m)),
                                 static_cast<double>(v * std::sin(pi * k / m)));
  }
  p.FFT();
  TVec sym(m);
  if (m % 2) {
    const int h = (m + 1) / 2;
    for (int i = 0; i < h; ++i) {
      sym.Values(h - 1 + i) = p.CValues(i).real();
      sym.Values(h - 1 - i) = p.CValues(i).real();
    }
  } else {
    const int h = m / 2 + 1;
    for (int i = 1; i < h; ++i) {
      sym.Values(h - 2 + i) = p.CValues(i).real();
      sym.Values(h - 1 - i) = p.CValues(i).real();
    }
  }
  const double peak = sym.Max();
  double* d = w.PValues();
  for (int i = 0; i < n; ++i) MulAt(d, w.Complex(), i, sym.Values(i) / peak);
}

void ExponentWindow(TVec& w, double param, bool symmetric) {
  if (!(param > 0.0 && param <= 1.0))
    ERaise("ExponentWindow: parameter " + std::to_string(param) + " is not in (0, 1]");
  const double a = 0.5 * std::log(1.0 / param);
  if (a == 0.0) return;
  if (symmetric) {
    ApplyShape(w, true, [a](int n, int m) { return std::exp(-a * n / (m - 1)); });
    return;
  }
  const int n = w.Length();
  if (n <= 1) return;
  // Mean of e^(−a·t) over one sampling interval: e^(−a·n/N)·(1 − e^(−a/N))/(a/N).
  const double step = a / n;
  const double gain = -std::expm1(-step) / step;
  double* d = w.PValues();
  for (int i = 0; i < n; ++i) MulAt(d, w.Complex(), i, gain * std::exp(-step * i));
}

double KaiserBetaWindowAtt(double attenuationDb) {
  const double a = attenuationDb;
  if (a <= 13.26) return 0.0;
  if (a <= 60.0) return 0.76609 * std::pow(a - 13.26, 0.4) + 0.09834 * (a - 13.26);
  return 0.12438 * (a + 6.3);
}

double WindowTableScaleFactor(TSignalWindowType type) {
  switch (type) {
    case wtRectangular: return 1.0;
    case wtHanning: return 2.0;
    case wtHamming: return 1.85185185;
    case wtFlatTop: return 3.55790978;
    case wtBartlett: return 2.0;
    case wtBlackman: return 2.38095238;
    case wtBlackmanHarris: return 2.362782;
    case wtBlackmanExact: return 2.344168;
    case wtExponent: return 2.55832615;
    case wtCosineTapered:
    case wtKaiser:
    case wtChebyshev: return 0.0;
  }
  return 0.0;
}

double WindowMean(const TVec& w) { return w.Empty() ? 0.0 : w.Sum() / w.Length(); }

double WindowScaleFactor(const TVec& w) {
  if (w.Empty()) ERaise("WindowScaleFactor: empty window");
  const double sum = w.Sum();
  if (sum == 0.0) ERaise("WindowScaleFactor: window sums to zero");
  return w.Length() / sum;
}

double WindowEnbw(const TVec& w) {
  const int n = w.Length();
  double sum = 0, sum2 = 0;
  for (int i = 0; i < n; ++i) sum += w.Values(i), sum2 += w.Values(i) * w.Values(i);
  return n > 0 && sum != 0 ? n * sum2 / (sum * sum) : 1.0;
}

void ApplyWindowType(TSignalWindowType type, TVec& w, double sidelobeAtt, double expWindow,
                     bool symmetric) {
  switch (type) {
    case wtRectangular: break;
    case wtHanning: Hanning(w, symmetric); break;
    case wtHamming: Hamming(w, symmetric); break;
    case wtFlatTop: FlatTop(w, symmetric); break;
    case wtBartlett: Bartlett(w, symmetric); break;
    case wtBlackman: Blackman(w, kAnalyzerBlackmanAlpha, symmetric); break;
    case wtBlackmanHarris: BlackmanHarris(w, symmetric); break;
    case wtBlackmanExact: BlackmanExact(w, symmetric); break;
    case wtCosineTapered: CosineTappered(w, kAnalyzerTaperPercent, symmetric); break;
    case wtKaiser: Kaiser(w, KaiserBetaWindowAtt(sidelobeAtt), symmetric); break;
    case wtChebyshev: Chebyshev(w, sidelobeAtt, symmetric); break;
    case wtExponent: ExponentWindow(w, expWindow, symmetric); break;
    default: ERaise("Unknown window type " + std::to_string(static_cast<int>(type)));
  }
}

double GenerateWindow(TSignalWindowType type, TVec& w, int length, double sidelobeAtt,
                      double expWindow, bool symmetric) {
  w.Size(length, false);
  w.SetVal(1.0);
  if (length == 0) return 1.0;
  ApplyWindowType(type, w, sidelobeAtt, expWindow, symmetric);
  return WindowScaleFactor(w);
}

}  // namespace ondrix
