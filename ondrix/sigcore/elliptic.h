// Complete and incomplete elliptic integrals of the first kind and the Jacobi elliptic
// functions, in double precision, for the elliptic (Cauer) filter design.
//
// All routines take the parameter m = k² (k the modulus), as Abramowitz & Stegun ch. 16-17
// and scipy.special do. Where a parameter close to 1 loses digits when written as m, a form
// taking the complementary parameter m1 = 1 − m exactly is provided.
#pragma once

namespace ondrix {

/// Carlson's symmetric integral R_F(x, y, z) for x, y, z ≥ 0, at most one of them 0
/// (Carlson 1995, duplication algorithm).
double CarlsonRF(double x, double y, double z);

/// Complete elliptic integral K(m) = ∫₀^{π/2} dθ / √(1 − m·sin²θ), m < 1, by the
/// arithmetic-geometric mean (scipy.special.ellipk). +inf at m = 1.
double EllipK(double m);

/// K(1 − m1), accurate for small m1 (scipy.special.ellipkm1). +inf at m1 = 0.
double EllipKComplement(double m1);

/// Incomplete elliptic integral F(φ | m) for |φ| ≤ π/2 and m·sin²φ ≤ 1
/// (scipy.special.ellipkinc).
double EllipF(double phi, double m);

/// The Jacobi elliptic functions sn, cn, dn of u and the amplitude φ = am(u).
struct TJacobiElliptic {
  double Sn = 0.0, Cn = 1.0, Dn = 1.0, Phi = 0.0;
};

/// sn, cn, dn, am of u for the parameter m = 1 − m1, given through its complement m1 in
/// [0, 1] (descending Landen / AGM, A&S 16.4). m1 = 1 is the circular case, m1 = 0 the
/// hyperbolic one.
TJacobiElliptic JacobiEllipticComplement(double u, double m1);

/// sn, cn, dn, am of u for the parameter m in [0, 1] (scipy.special.ellipj).
TJacobiElliptic JacobiElliptic(double u, double m);

/// The u with sc(u | 1 − m) = w: the inverse Jacobi sc function of the complementary
/// parameter, F(atan w | 1 − m) (used to place the elliptic filter's poles).
double ArcJacobiScComplement(double w, double m);

}  // namespace ondrix
