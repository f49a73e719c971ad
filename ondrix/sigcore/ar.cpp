#include "ondrix/sigcore/ar.h"

#include <algorithm>
#include <cfloat>
#include <cmath>
#include <limits>
#include <string>
#include <type_traits>

#include "ondrix/vec/calcbase.h"
#include "ondrix/vec/correlation.h"

namespace ondrix {

namespace {

// The estimators are written once for real (double) and complex (TCplx) data.
inline double Conj(double x) { return x; }
inline TCplx Conj(const TCplx& x) { return std::conj(x); }
inline double Abs2(double x) { return x * x; }
inline double Abs2(const TCplx& x) { return std::norm(x); }
inline double Re(double x) { return x; }
inline double Re(const TCplx& x) { return x.real(); }

template <class T>
T* Data(TVec& v) {
  if constexpr (std::is_same_v<T, double>)
    return v.PValues();
  else
    return v.PCValues();
}
template <class T>
const T* Data(const TVec& v) {
  if constexpr (std::is_same_v<T, double>)
    return v.PValues();
  else
    return v.PCValues();
}

// The recursions stop once the prediction error is 120 dB below the signal power: the data
// are then predicted to within rounding of a typical computation, and further stages would
// fit rounding noise (placing poles anywhere, also on the unit circle).
constexpr double kErrorFloor = 1e-12;

// a := [1, 0, ..., 0] with p + 1 elements of the data's type.
void InitCoefficients(TVec& a, int p, bool complex) {
  a.Size(p + 1, complex);
  a.SetZero();
  a.Values(0) = 1.0;
}

// One Levinson / Burg order update: a[k] += km·conj(a[m−k]), k = 1..m−1, then a[m] = km.
template <class T>
void OrderUpdate(T* a, T* tmp, int m, T km) {
  for (int k = 1; k < m; ++k) tmp[k] = a[k] + km * Conj(a[m - k]);
  for (int k = 1; k < m; ++k) a[k] = tmp[k];
  a[m] = km;
}

template <class T>
void LevinsonT(T* a, T* tmp, const T* r, int p, double& err, T* refl) {
  const double r0 = Re(r[0]);
  double e = r0;
  if (!(e > 0.0)) {
    err = 0.0;
    return;
  }
  for (int m = 1; m <= p; ++m) {
    T acc = r[m];
    for (int k = 1; k < m; ++k) acc += a[k] * r[m - k];
    const T km = -acc / e;
    OrderUpdate(a, tmp, m, km);
    if (refl) refl[m - 1] = km;
    e *= 1.0 - Abs2(km);
    if (e <= kErrorFloor * r0) {
      e = std::max(e, 0.0);
      break;
    }
  }
  err = e;
}

template <class T>
void BurgT(T* a, T* tmp, const T* x, T* f, T* b, int n, int p, double& err) {
  double e = 0.0;
  for (int i = 0; i < n; ++i) {
    f[i] = b[i] = x[i];
    e += Abs2(x[i]);
  }
  e /= n;
  const double e0 = e;
  if (!(e > 0.0)) {
    err = 0.0;
    return;
  }
  for (int m = 1; m <= p; ++m) {
    // f[i] holds the forward error of order m−1 at time i, b[i] the backward one.
    T num = 0.0;
    double den = 0.0;
    for (int i = m; i < n; ++i) {
      num += f[i] * Conj(b[i - 1]);
      den += Abs2(f[i]) + Abs2(b[i - 1]);
    }
    if (!(den > 0.0)) break;
    const T km = -2.0 * num / den;
    // Downwards, so that b[i − 1] is still of order m − 1 when b[i] is updated.
    for (int i = n - 1; i >= m; --i) {
      const T fi = f[i], bi = b[i - 1];
      f[i] = fi + km * bi;
      b[i] = bi + Conj(km) * fi;
    }
    OrderUpdate(a, tmp, m, km);
    e *= 1.0 - Abs2(km);
    if (e <= kErrorFloor * e0) {
      e = std::max(e, 0.0);
      break;
    }
  }
  err = e;
}

// Least squares min ‖M·c − y‖ by Householder QR, M column-major (rows × cols, rows ≥ cols),
// both overwritten. c receives the solution, diag the diagonal of R; returns ‖residual‖².
// A column whose diagonal falls below rounding level relative to the largest gets c = 0.
template <class T>
double LeastSquares(T* m, T* y, int rows, int cols, T* c, T* diag) {
  for (int k = 0; k < cols; ++k) {
    T* col = m + static_cast<long>(k) * rows;
    double norm2 = 0.0;
    for (int i = k; i < rows; ++i) norm2 += Abs2(col[i]);
    if (norm2 == 0.0) {
      diag[k] = 0.0;
      continue;
    }
    const double norm = std::sqrt(norm2);
    const double headAbs = std::abs(col[k]);
    const T phase = headAbs > 0.0 ? col[k] / headAbs : T(1.0);
    const T alpha = -phase * norm;
    col[k] -= alpha;  // col[k..] is now the Householder vector v
    const double vnorm2 = 2.0 * norm * (norm + headAbs);
    auto reflect = [&](T* z) {
      T s = 0.0;
      for (int i = k; i < rows; ++i) s += Conj(col[i]) * z[i];
      s *= 2.0 / vnorm2;
      for (int i = k; i < rows; ++i) z[i] -= s * col[i];
    };
    for (int j = k + 1; j < cols; ++j) reflect(m + static_cast<long>(j) * rows);
    reflect(y);
    diag[k] = alpha;
  }
  double dmax = 0.0;
  for (int k = 0; k < cols; ++k) dmax = std::max(dmax, std::abs(diag[k]));
  const double tol = dmax * rows * DBL_EPSILON;
  for (int k = cols - 1; k >= 0; --k) {
    if (!(std::abs(diag[k]) > tol)) {
      c[k] = 0.0;
      continue;
    }
    T s = y[k];
    for (int j = k + 1; j < cols; ++j) s -= m[static_cast<long>(j) * rows + k] * c[j];
    c[k] = s / diag[k];
  }
  double res = 0.0;
  for (int i = cols; i < rows; ++i) res += Abs2(y[i]);
  return res;
}

// Covariance and modified covariance: forward rows n = p..N−1 predict x[n] from x[n−1..n−p];
// with `backward`, rows predicting conj(x[n−p]) from conj(x[n−p+1..n]) follow.
template <class T>
void CovarianceT(TVec& a, double& err, const TVec& xv, int p, bool backward, TArState& st) {
  const int n = xv.Length();
  const bool complex = xv.Complex();
  const int fwd = n - p;
  const int rows = backward ? 2 * fwd : fwd;
  InitCoefficients(a, p, complex);
  if (p == 0 || rows <= 0) {
    double e = 0.0;
    const T* x = Data<T>(xv);
    for (int i = p; i < n; ++i) e += Abs2(x[i]);
    if (backward)
      for (int i = 0; i < fwd; ++i) e += Abs2(x[i]);
    err = rows > 0 ? e / rows : 0.0;
    return;
  }
  st.M.Size(rows * p, complex);
  st.Rhs.Size(rows, complex);
  st.Tmp.Size(p, complex);
  const T* x = Data<T>(xv);
  T* m = Data<T>(st.M);
  T* y = Data<T>(st.Rhs);
  for (int j = 1; j <= p; ++j) {
    T* col = m + static_cast<long>(j - 1) * rows;
    for (int r = 0; r < fwd; ++r) col[r] = x[p + r - j];
    if (backward)
      for (int r = 0; r < fwd; ++r) col[fwd + r] = Conj(x[r + j]);
  }
  for (int r = 0; r < fwd; ++r) y[r] = -x[p + r];
  if (backward)
    for (int r = 0; r < fwd; ++r) y[fwd + r] = -Conj(x[r]);
  T* c = Data<T>(a) + 1;
  err = LeastSquares(m, y, rows, p, c, Data<T>(st.Tmp)) / rows;
}

void CheckOrder(int order, const char* name) {
  if (order < 0) ERaise(std::string(name) + ": negative order");
}

}  // namespace

void Levinson(TVec& a, double& errPower, const TVec& r, int order, TVec* reflection) {
  CheckOrder(order, "Levinson");
  if (r.Length() < order + 1) ERaise("Levinson: the autocorrelation is shorter than order + 1");
  const bool complex = r.Complex();
  InitCoefficients(a, order, complex);
  TVec tmp(order + 1, complex);
  if (reflection) {
    reflection->Size(order, complex);
    reflection->SetZero();
  }
  if (complex)
    LevinsonT(a.PCValues(), tmp.PCValues(), r.PCValues(), order, errPower,
              reflection ? reflection->PCValues() : nullptr);
  else
    LevinsonT(a.PValues(), tmp.PValues(), r.PValues(), order, errPower,
              reflection ? reflection->PValues() : nullptr);
}

void ArYuleWalker(TVec& a, double& errPower, const TVec& x, int order, TArState& st) {
  CheckOrder(order, "ArYuleWalker");
  const int p = std::max(0, std::min(order, x.Length() - 1));
  AutoCorrBiased(st.R, x, p + 1);
  InitCoefficients(a, p, x.Complex());
  st.Tmp.Size(p + 1, x.Complex());
  if (x.Complex())
    LevinsonT<TCplx>(a.PCValues(), st.Tmp.PCValues(), st.R.PCValues(), p, errPower, nullptr);
  else
    LevinsonT<double>(a.PValues(), st.Tmp.PValues(), st.R.PValues(), p, errPower, nullptr);
}

void ArYuleWalker(TVec& a, double& errPower, const TVec& x, int order) {
  TArState st;
  ArYuleWalker(a, errPower, x, order, st);
}

void ArBurg(TVec& a, double& errPower, const TVec& x, int order, TArState& st) {
  CheckOrder(order, "ArBurg");
  const int n = x.Length();
  const int p = std::max(0, std::min(order, n - 1));
  const bool complex = x.Complex();
  InitCoefficients(a, p, complex);
  if (n == 0) {
    errPower = 0.0;
    return;
  }
  st.F.Size(n, complex);
  st.B.Size(n, complex);
  st.Tmp.Size(p + 1, complex);
  if (complex)
    BurgT(a.PCValues(), st.Tmp.PCValues(), x.PCValues(), st.F.PCValues(), st.B.PCValues(), n, p,
          errPower);
  else
    BurgT(a.PValues(), st.Tmp.PValues(), x.PValues(), st.F.PValues(), st.B.PValues(), n, p,
          errPower);
}

void ArBurg(TVec& a, double& errPower, const TVec& x, int order) {
  TArState st;
  ArBurg(a, errPower, x, order, st);
}

void ArCovariance(TVec& a, double& errPower, const TVec& x, int order, TArState& st) {
  CheckOrder(order, "ArCovariance");
  const int p = std::max(0, std::min(order, x.Length() / 2));
  if (x.Complex())
    CovarianceT<TCplx>(a, errPower, x, p, false, st);
  else
    CovarianceT<double>(a, errPower, x, p, false, st);
}

void ArCovariance(TVec& a, double& errPower, const TVec& x, int order) {
  TArState st;
  ArCovariance(a, errPower, x, order, st);
}

void ArMCovariance(TVec& a, double& errPower, const TVec& x, int order, TArState& st) {
  CheckOrder(order, "ArMCovariance");
  const int p = std::max(0, std::min(order, 2 * x.Length() / 3));
  if (x.Complex())
    CovarianceT<TCplx>(a, errPower, x, p, true, st);
  else
    CovarianceT<double>(a, errPower, x, p, true, st);
}

void ArMCovariance(TVec& a, double& errPower, const TVec& x, int order) {
  TArState st;
  ArMCovariance(a, errPower, x, order, st);
}

void ArSpectrum(TVec& dst, const TVec& a, double errPower, int N) {
  if (&dst == &a) ERaise("ArSpectrum: dst must not be the coefficient vector");
  dst.Size(std::max(N, 0), true);
  dst.SetZero();
  if (N <= 0) return;
  TCplx* d = dst.PCValues();
  for (int k = 0; k < a.Length(); ++k)
    d[k % N] += a.Complex() ? a.CValues(k) : TCplx(a.Values(k), 0.0);
  dst.FFT();
  const double g = std::sqrt(std::max(errPower, 0.0));
  for (int k = 0; k < N; ++k)
    d[k] = d[k] == 0.0 ? TCplx(std::numeric_limits<double>::infinity(), 0.0) : g / d[k];
}

void ArPowerSpectrum(TVec& dst, const TVec& a, double errPower, int N) {
  ArSpectrum(dst, a, errPower, N);
  dst.PowerSpectrum();
}

}  // namespace ondrix
