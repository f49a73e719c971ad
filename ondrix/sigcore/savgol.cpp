#include "ondrix/sigcore/savgol.h"

#include <cmath>
#include <string>
#include <vector>

#include "ondrix/vec/exceptions.h"

namespace ondrix {

void SavGolayImpulse(TVec& taps, int length, int order, int deriv, double delta, int pos) {
  if (length < 1) ERaise("SavGolayImpulse: the window length must be at least 1");
  if (order < 0 || order >= length) ERaise("SavGolayImpulse: the order must lie in 0 .. length - 1");
  if (deriv < 0 || deriv > order) ERaise("SavGolayImpulse: the derivative must lie in 0 .. order");
  if (!(delta > 0.0)) ERaise("SavGolayImpulse: the sample spacing must be positive");
  if (pos < -1 || pos >= length) ERaise("SavGolayImpulse: the position must lie in 0 .. length - 1, or be -1");
  const double p = pos < 0 ? 0.5 * (length - 1) : pos;
  const int n = length, m = order + 1;
  // A^T (n × m, column-major): x^k at the window positions, reversed for convolution order.
  std::vector<double> q(static_cast<size_t>(n) * m);
  for (int i = 0; i < n; ++i) {
    const double x = (n - 1 - i) - p;
    double v = 1.0;
    for (int k = 0; k < m; ++k) {
      q[static_cast<size_t>(k) * n + i] = v;
      v *= x;
    }
  }
  // Householder QR of A^T; the minimum-norm solution of A·c = y is c = Q·R^{-T}·y.
  std::vector<double> beta(m), rdiag(m);
  for (int k = 0; k < m; ++k) {
    double* col = &q[static_cast<size_t>(k) * n];
    double norm = 0.0;
    for (int i = k; i < n; ++i) norm = std::hypot(norm, col[i]);
    const double alpha = col[k] > 0 ? -norm : norm;
    rdiag[k] = alpha;
    col[k] -= alpha;  // v = x − α·e_k, kept in place
    double vv = 0.0;
    for (int i = k; i < n; ++i) vv += col[i] * col[i];
    beta[k] = vv > 0 ? 2.0 / vv : 0.0;
    for (int j = k + 1; j < m; ++j) {
      double* cj = &q[static_cast<size_t>(j) * n];
      double s = 0.0;
      for (int i = k; i < n; ++i) s += col[i] * cj[i];
      s *= beta[k];
      for (int i = k; i < n; ++i) cj[i] -= s * col[i];
    }
  }
  // y = deriv!/delta^deriv at row deriv; solve R^T z = y (R upper: r_kk = rdiag, r_kj in q).
  std::vector<double> z(m, 0.0);
  double yd = 1.0;
  for (int k = 2; k <= deriv; ++k) yd *= k;
  yd /= std::pow(delta, deriv);
  for (int k = 0; k < m; ++k) {
    double s = k == deriv ? yd : 0.0;
    for (int j = 0; j < k; ++j) s -= q[static_cast<size_t>(k) * n + j] * z[j];
    z[k] = s / rdiag[k];
  }
  // c = Q·[z; 0] = H_0 H_1 … H_{m−1} [z; 0].
  std::vector<double> c(n, 0.0);
  for (int k = 0; k < m; ++k) c[k] = z[k];
  for (int k = m - 1; k >= 0; --k) {
    const double* v = &q[static_cast<size_t>(k) * n];
    double s = 0.0;
    for (int i = k; i < n; ++i) s += v[i] * c[i];
    s *= beta[k];
    for (int i = k; i < n; ++i) c[i] -= s * v[i];
  }
  taps.Size(n, false);
  for (int i = 0; i < n; ++i) taps.Values(i) = c[i];
}

void MovingAverageImpulse(TVec& taps, int length) {
  if (length < 1) ERaise("MovingAverageImpulse: the length must be at least 1");
  taps.Size(length, false);
  taps.SetVal(1.0 / length);
}

}  // namespace ondrix
