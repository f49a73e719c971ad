#include "ondrix/sigcore/analog_prototype.h"

#include <algorithm>
#include <cmath>
#include <string>

#include "ondrix/sigcore/elliptic.h"
#include "ondrix/sigcore/polynomial.h"
#include "ondrix/vec/calcbase.h"
#include "ondrix/vec/exceptions.h"

namespace ondrix {

namespace {

void CheckOrder(int order, const char* what) {
  if (order < 1 || order > kMaxIirOrder)
    ERaise(std::string(what) + ": the order must lie in 1.." + std::to_string(kMaxIirOrder) +
           ", got " + std::to_string(order));
}

void CheckDb(double db, const char* what, const char* name) {
  if (!(db > 0.0) || !std::isfinite(db))
    ERaise(std::string(what) + ": " + name + " must be a positive number of dB");
}

// 10^x − 1, accurate for small x.
double Pow10m1(double x) { return std::expm1(std::log(10.0) * x); }

TCplx ProdNeg(const std::vector<TCplx>& v) {
  TCplx r = 1.0;
  for (const TCplx& x : v) r *= -x;
  return r;
}

// Solution m of the degree equation n·K(m)/K'(m) = K(m1)/K'(m1) through the nomes
// (Orfanidis, "Lecture notes on elliptic filter design", eq. 49), seven terms as scipy.
double EllipDegree(int n, double m1) {
  constexpr int kTerms = 7;
  const double q1 = std::exp(-PI * EllipKComplement(m1) / EllipK(m1));
  const double q = std::pow(q1, 1.0 / n);
  double num = 0.0, den = 0.0;
  for (int i = 0; i <= kTerms; ++i) num += std::pow(q, static_cast<double>(i * (i + 1)));
  for (int i = 1; i <= kTerms + 1; ++i) den += std::pow(q, static_cast<double>(i * i));
  den = 1.0 + 2.0 * den;
  return 16.0 * q * std::pow(num / den, 4);
}

// Approximate zeros of the Bessel polynomial y_n (Campos & Calderón 2011, arXiv:1105.0957).
std::vector<TCplx> CamposZeros(int n) {
  if (n == 1) return {TCplx(-1.0, 0.0)};
  const double N = n;
  const double s = 2 * N * N - 3 * std::pow(N, 4) + std::pow(N, 5);
  const double b3 = (16 - 8 * N) / s;
  const double b2 = (-24 - 12 * N + 12 * N * N) / s;
  const double b1 = (8 + 24 * N - 12 * N * N - 2 * N * N * N) / s;
  const double b0 = (-6 * N + 5 * N * N * N - std::pow(N, 4)) / s;
  const double r = 2 * N * N + N * N * N;
  const double a1 = (-6 - 6 * N) / r, a2 = 6 / r;
  std::vector<TCplx> z(n);
  for (int k = 1; k <= n; ++k) {
    const double K = k;
    z[k - 1] = TCplx(a1 * K + a2 * K * K, b0 + b1 * K + b2 * K * K + b3 * K * K * K);
  }
  return z;
}

// The Bessel polynomial y_n(x) = Σ a_k·x^k, a_k = (n + k)! / ((n − k)!·k!·2^k), has its
// zeros in a region where its terms cancel by up to twenty-five digits at order 50 (and its
// three-term recurrence is unstable there too). It is evaluated by Horner's rule in binary128
// where the compiler has it (about 34 digits), else in long double, which serves the lower
// orders.
#if defined(__SIZEOF_FLOAT128__) && defined(__x86_64__)
using TWide = __float128;
#else
using TWide = long double;
#endif

struct TCWide {
  TWide re, im;
};

TCWide Mul(const TCWide& a, const TCWide& b) {
  return {a.re * b.re - a.im * b.im, a.re * b.im + a.im * b.re};
}

std::vector<TCplx> BesselZeros(int n) {
  std::vector<TWide> a(n + 1);
  a[0] = 1;
  for (int k = 0; k < n; ++k) a[k + 1] = a[k] * TWide((n + k + 1) * (n - k)) / TWide(2 * (k + 1));
  std::vector<TCplx> x = CamposZeros(n);
  AberthRefine(
      x,
      [n, &a](TCplxL zl) {
        const TCWide z = {TWide(zl.real()), TWide(zl.imag())};
        TCWide y = {a[n], 0}, d = {0, 0};
        for (int k = n - 1; k >= 0; --k) {
          d = Mul(d, z);
          d.re += y.re;
          d.im += y.im;
          y = Mul(y, z);
          y.re += a[k];
        }
        const TCplxL yl(static_cast<long double>(y.re), static_cast<long double>(y.im));
        const TCplxL dl(static_cast<long double>(d.re), static_cast<long double>(d.im));
        return yl / dl;
      },
      "BesselPrototype");
  SortConjugatePairs(x, 1e-9);
  return x;
}

}  // namespace

TZeroPole ButterPrototype(int order) {
  CheckOrder(order, "ButterPrototype");
  TZeroPole zp;
  zp.Analog = true;
  for (int m = -order + 1; m < order; m += 2)
    zp.Poles.push_back(-std::exp(TCplx(0.0, PI * m / (2.0 * order))));
  zp.Gain = 1.0;
  return zp;
}

TZeroPole ChebyshevIPrototype(int order, double rp) {
  CheckOrder(order, "ChebyshevIPrototype");
  CheckDb(rp, "ChebyshevIPrototype", "the passband ripple");
  TZeroPole zp;
  zp.Analog = true;
  const double eps = std::sqrt(Pow10m1(0.1 * rp));
  const double mu = std::asinh(1.0 / eps) / order;
  for (int m = -order + 1; m < order; m += 2) {
    const double theta = PI * m / (2.0 * order);
    zp.Poles.push_back(-std::sinh(TCplx(mu, theta)));
  }
  zp.Gain = ProdNeg(zp.Poles).real();
  if (order % 2 == 0) zp.Gain /= std::sqrt(1.0 + eps * eps);
  return zp;
}

TZeroPole ChebyshevIIPrototype(int order, double rs) {
  CheckOrder(order, "ChebyshevIIPrototype");
  CheckDb(rs, "ChebyshevIIPrototype", "the stopband attenuation");
  TZeroPole zp;
  zp.Analog = true;
  const double de = 1.0 / std::sqrt(Pow10m1(0.1 * rs));
  const double mu = std::asinh(1.0 / de) / order;
  for (int m = -order + 1; m < order; m += 2) {
    if (m == 0) continue;  // odd orders: no zero at infinity's mirror
    zp.Zeros.push_back(-std::conj(TCplx(0.0, 1.0) / std::sin(m * PI / (2.0 * order))));
  }
  for (int m = -order + 1; m < order; m += 2) {
    const TCplx b = -std::exp(TCplx(0.0, PI * m / (2.0 * order)));
    zp.Poles.push_back(1.0 / TCplx(std::sinh(mu) * b.real(), std::cosh(mu) * b.imag()));
  }
  zp.Gain = (ProdNeg(zp.Poles) / ProdNeg(zp.Zeros)).real();
  return zp;
}

TZeroPole EllipticPrototype(int order, double rp, double rs) {
  CheckOrder(order, "EllipticPrototype");
  CheckDb(rp, "EllipticPrototype", "the passband ripple");
  CheckDb(rs, "EllipticPrototype", "the stopband attenuation");
  TZeroPole zp;
  zp.Analog = true;
  if (order == 1) {
    const double p = -std::sqrt(1.0 / Pow10m1(0.1 * rp));
    zp.Poles.emplace_back(p, 0.0);
    zp.Gain = -p;
    return zp;
  }
  const double epsSq = Pow10m1(0.1 * rp);
  const double eps = std::sqrt(epsSq);
  const double ck1Sq = epsSq / Pow10m1(0.1 * rs);
  if (!(ck1Sq > 0.0) || ck1Sq >= 1.0)
    ERaise("EllipticPrototype: cannot design a filter with rp = " + FloatToStr(rp) +
           " dB and rs = " + FloatToStr(rs) + " dB (rs must exceed rp)");
  const double m = EllipDegree(order, ck1Sq);
  if (!(m > 0.0 && m < 1.0))
    ERaise("EllipticPrototype: the degree equation has no solution for order " +
           std::to_string(order) + ", rp = " + FloatToStr(rp) + " dB, rs = " + FloatToStr(rs) + " dB");
  const double capk = EllipK(m);
  // Zeros at ±j / (√m · sn(j·K/N)), poles from the Jacobi functions at v0 (Orfanidis ch. 12).
  std::vector<TJacobiElliptic> jf;
  for (int j = 1 - order % 2; j < order; j += 2) jf.push_back(JacobiElliptic(j * capk / order, m));
  std::vector<TCplx> zeros;
  for (const TJacobiElliptic& e : jf)
    if (std::fabs(e.Sn) > 2e-16) zeros.emplace_back(0.0, 1.0 / (std::sqrt(m) * e.Sn));
  for (const TCplx& z : std::vector<TCplx>(zeros)) zeros.push_back(std::conj(z));
  const double r = ArcJacobiScComplement(1.0 / eps, ck1Sq);
  const double v0 = capk * r / (order * EllipK(ck1Sq));
  const TJacobiElliptic v = JacobiEllipticComplement(v0, m);  // parameter 1 − m
  std::vector<TCplx> poles;
  for (const TJacobiElliptic& e : jf) {
    const double den = 1.0 - (e.Dn * v.Sn) * (e.Dn * v.Sn);
    poles.push_back(-TCplx(e.Cn * e.Dn * v.Sn * v.Cn, e.Sn * v.Dn) / den);
  }
  const size_t np = poles.size();
  for (size_t i = 0; i < np; ++i) {
    // Odd orders: the real pole (j = 0) is not mirrored.
    if (order % 2 == 1 && std::fabs(poles[i].imag()) <= 2e-16 * std::abs(poles[i])) continue;
    poles.push_back(std::conj(poles[i]));
  }
  zp.Zeros = zeros;
  zp.Poles = poles;
  zp.Gain = (ProdNeg(poles) / ProdNeg(zeros)).real();
  if (order % 2 == 0) zp.Gain /= std::sqrt(1.0 + epsSq);
  return zp;
}

TZeroPole BesselPrototype(int order, TBesselNorm norm) {
  CheckOrder(order, "BesselPrototype");
  TZeroPole zp;
  zp.Analog = true;
  for (const TCplx& x : BesselZeros(order)) zp.Poles.push_back(1.0 / x);
  // a_last = (2N)! / (2^N·N!), the constant term of the reverse Bessel polynomial.
  long double aLast = 1.0L;
  for (int k = order + 1; k <= 2 * order; ++k) aLast *= k;
  aLast = std::ldexp(aLast, -order);
  switch (norm) {
    case bnPhase: {
      const double scale = std::pow(10.0, -static_cast<double>(std::log10(aLast)) / order);
      for (TCplx& p : zp.Poles) p *= scale;
      zp.Gain = 1.0;
      break;
    }
    case bnDelay:
      zp.Gain = static_cast<double>(aLast);
      break;
    case bnMag: {
      // −3 dB frequency of the delay-normalised filter, by bisection on the falling gain.
      const double k = static_cast<double>(aLast);
      const auto gain = [&](double w) {
        TCplx d = 1.0;
        for (const TCplx& p : zp.Poles) d *= TCplx(0.0, w) - p;
        return std::abs(k / d) - 1.0 / std::sqrt(2.0);
      };
      double lo = 0.0, hi = 1.0;
      while (gain(hi) > 0.0) hi *= 2.0;
      for (int i = 0; i < 200 && hi - lo > 1e-16 * hi; ++i) {
        const double mid = 0.5 * (lo + hi);
        (gain(mid) > 0.0 ? lo : hi) = mid;
      }
      const double w3 = 0.5 * (lo + hi);
      for (TCplx& p : zp.Poles) p /= w3;
      zp.Gain = std::pow(w3, -order) * k;
      break;
    }
    default:
      ERaise("BesselPrototype: unknown normalisation");
  }
  return zp;
}

}  // namespace ondrix
