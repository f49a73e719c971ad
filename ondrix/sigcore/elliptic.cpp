#include "ondrix/sigcore/elliptic.h"

#include <algorithm>
#include <cmath>
#include <limits>

#include "ondrix/vec/calcbase.h"
#include "ondrix/vec/exceptions.h"

namespace ondrix {

namespace {

// Arithmetic-geometric mean of a, b ≥ 0; converges quadratically.
double Agm(double a, double b) {
  for (int i = 0; i < 64 && std::fabs(a - b) > 1e-16 * a; ++i) {
    const double an = 0.5 * (a + b);
    b = std::sqrt(a * b);
    a = an;
  }
  return 0.5 * (a + b);
}

}  // namespace

double CarlsonRF(double x, double y, double z) {
  // Stops when the arguments agree to r = 1e-3: the series then leaves an error near r⁶/4.
  constexpr double kTol = 1e-3;
  if (x < 0 || y < 0 || z < 0) ERaise("CarlsonRF: negative argument");
  for (int i = 0; i < 200; ++i) {
    const double sx = std::sqrt(x), sy = std::sqrt(y), sz = std::sqrt(z);
    const double lam = sx * (sy + sz) + sy * sz;
    x = 0.25 * (x + lam);
    y = 0.25 * (y + lam);
    z = 0.25 * (z + lam);
    const double mu = (x + y + z) / 3.0;
    const double dx = 1.0 - x / mu, dy = 1.0 - y / mu, dz = 1.0 - z / mu;
    if (std::max({std::fabs(dx), std::fabs(dy), std::fabs(dz)}) < kTol) {
      const double e2 = dx * dy - dz * dz, e3 = dx * dy * dz;
      return (1.0 - e2 / 10.0 + e3 / 14.0 + e2 * e2 / 24.0 - 3.0 * e2 * e3 / 44.0) / std::sqrt(mu);
    }
  }
  return NAN_VALUE;
}

double EllipK(double m) {
  if (m > 1.0 || std::isnan(m)) return NAN_VALUE;
  if (m == 1.0) return INF_VALUE;
  return PI / (2.0 * Agm(1.0, std::sqrt(1.0 - m)));
}

double EllipKComplement(double m1) {
  if (m1 < 0.0 || std::isnan(m1)) return NAN_VALUE;
  if (m1 == 0.0) return INF_VALUE;
  return PI / (2.0 * Agm(1.0, std::sqrt(m1)));
}

double EllipF(double phi, double m) {
  // The double nearest π/2 stands for π/2: its cosine (6e-17) would move F by up to 1e-13
  // for m near 1, where F has a log singularity.
  if (std::fabs(phi) == PI / 2) return std::copysign(EllipK(m), phi);
  const double s = std::sin(phi), c = std::cos(phi);
  return s * CarlsonRF(c * c, 1.0 - m * s * s, 1.0);
}

TJacobiElliptic JacobiEllipticComplement(double u, double m1) {
  TJacobiElliptic r;
  if (!(m1 >= 0.0 && m1 <= 1.0)) {
    r.Sn = r.Cn = r.Dn = r.Phi = NAN_VALUE;
    return r;
  }
  if (m1 == 0.0) {  // m = 1: the hyperbolic limit
    r.Sn = std::tanh(u);
    r.Cn = r.Dn = 1.0 / std::cosh(u);
    r.Phi = 2.0 * std::atan(std::exp(u)) - PI / 2.0;
    return r;
  }
  // Descending Landen sequence by the AGM (A&S 16.4.2-3): a, b, c with c the "error" term.
  constexpr int kMax = 16;
  double a[kMax + 1], c[kMax + 1];
  a[0] = 1.0;
  double b = std::sqrt(m1);
  c[0] = std::sqrt(1.0 - m1);
  double twon = 1.0;
  int i = 0;
  while (i < kMax && std::fabs(c[i] / a[i]) > std::numeric_limits<double>::epsilon()) {
    const double ai = a[i];
    ++i;
    c[i] = 0.5 * (ai - b);
    const double t = std::sqrt(ai * b);
    a[i] = 0.5 * (ai + b);
    b = t;
    twon *= 2.0;
  }
  double phi = twon * a[i] * u;
  double prev = phi;
  for (; i > 0; --i) {
    const double t = c[i] * std::sin(phi) / a[i];
    prev = phi;
    phi = 0.5 * (std::asin(t) + phi);
  }
  r.Sn = std::sin(phi);
  r.Cn = std::cos(phi);
  r.Dn = r.Cn / std::cos(phi - prev);
  if (prev == phi) r.Dn = 1.0;  // m = 0: no Landen step was taken
  r.Phi = phi;
  return r;
}

TJacobiElliptic JacobiElliptic(double u, double m) { return JacobiEllipticComplement(u, 1.0 - m); }

double ArcJacobiScComplement(double w, double m) {
  // φ = atan w; F(φ | 1 − m) = sin φ · R_F(cos²φ, cos²φ + m·sin²φ, 1), written without 1 − m.
  const double r = std::hypot(1.0, w);
  const double s = w / r, c2 = 1.0 / (r * r);
  return s * CarlsonRF(c2, c2 + m * s * s, 1.0);
}

}  // namespace ondrix
