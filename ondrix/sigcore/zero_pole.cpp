#include "ondrix/sigcore/zero_pole.h"

#include <algorithm>
#include <cmath>

#include "ondrix/sigcore/polynomial.h"
#include "ondrix/vec/calcbase.h"
#include "ondrix/vec/exceptions.h"

namespace ondrix {

namespace {

bool IsReal(TCplx z) { return z.imag() == 0.0; }

// Closeness to the stability boundary: the unit circle (digital) or the imaginary axis.
double Margin(TCplx p, bool analog) { return analog ? std::fabs(p.real()) : std::fabs(1.0 - std::abs(p)); }

// Index of the value of v nearest to x, among real values only when realOnly; −1 if none.
int Nearest(const std::vector<TCplx>& v, TCplx x, bool realOnly) {
  int best = -1;
  double bd = INF_VALUE;
  for (size_t i = 0; i < v.size(); ++i) {
    if (realOnly && !IsReal(v[i])) continue;
    const double d = std::abs(v[i] - x);
    if (d < bd) {
      bd = d;
      best = static_cast<int>(i);
    }
  }
  return best;
}

// Removes v[i] and returns it.
TCplx Take(std::vector<TCplx>& v, int i) {
  const TCplx x = v[i];
  v.erase(v.begin() + i);
  return x;
}

// Takes the conjugate partner of x out of v (the value nearest conj(x)).
TCplx TakeConj(std::vector<TCplx>& v, TCplx x) { return Take(v, Nearest(v, std::conj(x), false)); }

// Takes one or two roots (a conjugate pair, or two reals) for a section; fewer when v runs out.
// A complex seed takes its pair; a real seed takes the nearest other real.
void TakePair(std::vector<TCplx>& v, TCplx near, std::vector<TCplx>& out) {
  out.clear();
  if (v.empty()) return;
  const TCplx a = Take(v, Nearest(v, near, false));
  out.push_back(a);
  if (!IsReal(a)) {
    out.push_back(TakeConj(v, a));
  } else {
    const int j = Nearest(v, near, true);
    if (j >= 0) out.push_back(Take(v, j));
  }
}

// Real coefficients of Π (x − r) for up to two roots, padded to three values at the front
// (analog) or the back (digital, powers of z⁻¹ as lfilter's).
void Quadratic(const std::vector<TCplx>& r, bool analog, double* c) {
  double q[3] = {1.0, 0.0, 0.0};
  int n = 1;
  if (r.size() == 1) {
    q[1] = -r[0].real();
    n = 2;
  } else if (r.size() == 2) {
    q[1] = -(r[0] + r[1]).real();
    q[2] = (r[0] * r[1]).real();
    n = 3;
  }
  c[0] = c[1] = c[2] = 0.0;
  const int off = analog ? 3 - n : 0;
  for (int i = 0; i < n; ++i) c[off + i] = q[i];
}

// The roots of c0·x² + c1·x + c2 (c0 may be 0), numerically stable.
void QuadraticRoots(double c0, double c1, double c2, std::vector<TCplx>& out) {
  out.clear();
  if (c0 == 0.0) {
    if (c1 != 0.0) out.emplace_back(-c2 / c1, 0.0);
    return;
  }
  const double disc = c1 * c1 - 4.0 * c0 * c2;
  if (disc >= 0.0) {
    const double q = -0.5 * (c1 + std::copysign(std::sqrt(disc), c1));
    if (q == 0.0) {
      out.emplace_back(0.0, 0.0);
      out.emplace_back(0.0, 0.0);
    } else {
      out.emplace_back(q / c0, 0.0);
      out.emplace_back(c2 / q, 0.0);
    }
  } else {
    const double re = -c1 / (2.0 * c0), im = std::sqrt(-disc) / (2.0 * std::fabs(c0));
    out.emplace_back(re, im);
    out.emplace_back(re, -im);
  }
}

std::vector<double> ToStd(const TVec& v, const char* what) {
  if (v.Complex()) ERaise(std::string(what) + ": complex coefficients are not supported");
  return std::vector<double>(v.PValues(), v.PValues() + v.Length());
}

void FromStd(const std::vector<double>& s, TVec& v) {
  v.Size(static_cast<int>(s.size()), false);
  std::copy(s.begin(), s.end(), v.PValues());
}

}  // namespace

int SosSections(const TVec& sos) {
  if (sos.Complex() || sos.Length() == 0 || sos.Length() % 6 != 0)
    ERaise("Second-order sections: expected a real vector of 6 values per section");
  return sos.Length() / 6;
}

void ZeroPoleToSos(const TZeroPole& zp, TVec& sos) {
  std::vector<TCplx> z = zp.Zeros, p = zp.Poles;
  const bool analog = zp.Analog;
  if (!analog) {
    // Causal sections: as many zeros as poles, and an even count of both.
    while (z.size() < p.size()) z.emplace_back(0.0, 0.0);
    while (p.size() < z.size()) p.emplace_back(0.0, 0.0);
    if (p.size() % 2 == 1) {
      z.emplace_back(0.0, 0.0);
      p.emplace_back(0.0, 0.0);
    }
  }
  SortConjugatePairs(z);
  SortConjugatePairs(p);
  const int sections = std::max<int>(1, static_cast<int>((std::max(p.size(), z.size()) + 1) / 2));
  sos.Size(6 * sections, false);
  sos.SetZero();
  std::vector<TCplx> pz, pp;
  for (int s = sections - 1; s >= 0; --s) {
    double* row = sos.PValues() + 6 * s;
    if (!p.empty()) {
      int best = 0;
      for (size_t i = 1; i < p.size(); ++i)
        if (Margin(p[i], analog) < Margin(p[best], analog)) best = static_cast<int>(i);
      const TCplx seed = p[best];
      TakePair(p, seed, pp);
      TakePair(z, seed, pz);
    } else {
      pp.clear();
      TakePair(z, z.empty() ? TCplx(0) : z.front(), pz);
    }
    Quadratic(pz, analog, row);
    Quadratic(pp, analog, row + 3);
  }
  for (int i = 0; i < 3; ++i) sos.Values(i) *= zp.Gain;
}

void ZeroPoleToTransferFun(const TZeroPole& zp, TVec& num, TVec& den) {
  std::vector<double> b = PolyFromRootsReal(zp.Zeros);
  for (double& x : b) x *= zp.Gain;
  FromStd(b, num);
  FromStd(PolyFromRootsReal(zp.Poles), den);
}

void ZeroPoleToStateSpace(const TZeroPole& zp, TMtx& a, TMtx& b, TMtx& c, TMtx& d) {
  TVec num, den;
  ZeroPoleToTransferFun(zp, num, den);
  TransferFunToStateSpace(num, den, a, b, c, d);
}

void ZeroPoleToVec(const TZeroPole& zp, TVec& zeros, TVec& poles) {
  zeros.Size(static_cast<int>(zp.Zeros.size()), true);
  for (size_t i = 0; i < zp.Zeros.size(); ++i) zeros.CValues(static_cast<int>(i)) = zp.Zeros[i];
  poles.Size(static_cast<int>(zp.Poles.size()), true);
  for (size_t i = 0; i < zp.Poles.size(); ++i) poles.CValues(static_cast<int>(i)) = zp.Poles[i];
}

TZeroPole TransferFunToZeroPole(const TVec& num, const TVec& den, bool analog) {
  std::vector<double> b = ToStd(num, "TransferFunToZeroPole");
  std::vector<double> a = ToStd(den, "TransferFunToZeroPole");
  if (std::all_of(a.begin(), a.end(), [](double x) { return x == 0.0; }))
    ERaise("TransferFunToZeroPole: the denominator is zero");
  if (!analog) {
    const size_t n = std::max(a.size(), b.size());
    b.resize(n, 0.0);
    a.resize(n, 0.0);
  }
  const auto lead = [](const std::vector<double>& v) {
    for (double x : v)
      if (x != 0.0) return x;
    return 0.0;
  };
  TZeroPole zp;
  zp.Analog = analog;
  zp.Gain = lead(b) / lead(a);
  if (zp.Gain != 0.0) zp.Zeros = PolyRoots(b);
  zp.Poles = PolyRoots(a);
  return zp;
}

void TransferFunToZeroPole(const TVec& num, const TVec& den, TVec& zeros, TVec& poles,
                           double& gain, bool analog) {
  const TZeroPole zp = TransferFunToZeroPole(num, den, analog);
  ZeroPoleToVec(zp, zeros, poles);
  gain = zp.Gain;
}

void TransferFunToStateSpace(const TVec& num, const TVec& den, TMtx& a, TMtx& b, TMtx& c,
                             TMtx& d) {
  std::vector<double> nu = ToStd(num, "TransferFunToStateSpace");
  std::vector<double> de = ToStd(den, "TransferFunToStateSpace");
  // scipy.signal.normalize: leading zeros of den dropped, both divided by den's first value.
  size_t lead = 0;
  while (lead < de.size() && de[lead] == 0.0) ++lead;
  if (lead == de.size()) ERaise("TransferFunToStateSpace: the denominator is zero");
  de.erase(de.begin(), de.begin() + static_cast<long>(lead));
  size_t nlead = 0;
  while (nlead + 1 < nu.size() && nu[nlead] == 0.0) ++nlead;
  nu.erase(nu.begin(), nu.begin() + static_cast<long>(nlead));
  const double a0 = de[0];
  for (double& x : de) x /= a0;
  for (double& x : nu) x /= a0;
  const int k = static_cast<int>(de.size());
  if (static_cast<int>(nu.size()) > k) ERaise("TransferFunToStateSpace: improper transfer function (num longer than den)");
  nu.insert(nu.begin(), k - nu.size(), 0.0);
  const double d0 = nu.empty() ? 0.0 : nu[0];
  if (k == 1) {
    a.Size(1, 1);
    b.Size(1, 1);
    c.Size(1, 1);
    d.Size(1, 1);
    d.Values(0, 0) = d0;
    return;
  }
  const int n = k - 1;
  a.Size(n, n);
  b.Size(n, 1);
  c.Size(1, n);
  d.Size(1, 1);
  for (int j = 0; j < n; ++j) a.Values(0, j) = -de[j + 1];
  for (int i = 1; i < n; ++i) a.Values(i, i - 1) = 1.0;
  b.Values(0, 0) = 1.0;
  for (int j = 0; j < n; ++j) c.Values(0, j) = nu[j + 1] - d0 * de[j + 1];
  d.Values(0, 0) = d0;
}

void TransferFunToSos(const TVec& num, const TVec& den, TVec& sos) {
  ZeroPoleToSos(TransferFunToZeroPole(num, den, false), sos);
}

TZeroPole SosToZeroPole(const TVec& sos) {
  const int n = SosSections(sos);
  TZeroPole zp;
  std::vector<TCplx> r;
  for (int s = 0; s < n; ++s) {
    const double* q = sos.PValues() + 6 * s;
    const auto add = [&r](std::vector<TCplx>& dst, const double* c) {
      QuadraticRoots(c[0], c[1], c[2], r);
      dst.insert(dst.end(), r.begin(), r.end());
      for (size_t i = r.size(); i < 2; ++i) dst.emplace_back(0.0, 0.0);
      return c[0] != 0.0 ? c[0] : (c[1] != 0.0 ? c[1] : c[2]);
    };
    const double bl = add(zp.Zeros, q);
    const double al = add(zp.Poles, q + 3);
    zp.Gain *= bl / al;
  }
  return zp;
}

}  // namespace ondrix
