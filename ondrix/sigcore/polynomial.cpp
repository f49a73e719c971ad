#include "ondrix/sigcore/polynomial.h"

#include <algorithm>
#include <cmath>
#include <limits>

#include "ondrix/vec/calcbase.h"
#include "ondrix/vec/exceptions.h"

namespace ondrix {

void AberthRefine(std::vector<TCplx>& x, const TNewtonStep& step, const char* what) {
  const int n = static_cast<int>(x.size());
  if (n == 0) return;
  // Multiple roots converge only linearly (and to about eps^(1/multiplicity)); the cap ends
  // that case with the best values reached.
  constexpr int kMaxIter = 500;
  // The results are doubles: corrections below a few double ulps end a root's iteration
  // (the long double arithmetic keeps the last steps clean).
  constexpr long double kTol = 0.5L * std::numeric_limits<double>::epsilon();
  std::vector<TCplxL> z(x.begin(), x.end());
  std::vector<bool> done(n, false);
  std::vector<long double> last(n, std::numeric_limits<long double>::infinity());
  for (int it = 0; it < kMaxIter; ++it) {
    bool all = true;
    for (int k = 0; k < n; ++k) {
      if (done[k]) continue;
      const TCplxL alpha = step(z[k]);  // Newton correction p/p'
      TCplxL beta = 0;
      for (int j = 0; j < n; ++j)
        if (j != k) beta += 1.0L / (z[k] - z[j]);
      const TCplxL corr = alpha / (1.0L - alpha * beta);
      z[k] -= corr;
      if (!std::isfinite(z[k].real()) || !std::isfinite(z[k].imag()))
        ERaise(std::string(what) + ": the root iteration diverged");
      // Done when the step is below the tolerance, or when steps already tiny stop
      // shrinking: the evaluation's rounding noise has been reached.
      const long double step = std::abs(corr), mag = std::abs(z[k]);
      // Done when the step is below the tolerance, or when small steps stop shrinking: the
      // evaluation's rounding noise has been reached (ill-conditioned zeros).
      if (step <= kTol * mag || (step > 0.5L * last[k] && step < 1e-6L * mag)) done[k] = true;
      else all = false;
      last[k] = step;
    }
    if (all) break;
  }
  for (int k = 0; k < n; ++k) x[k] = TCplx(static_cast<double>(z[k].real()), static_cast<double>(z[k].imag()));
}

std::vector<TCplx> PolyRoots(const std::vector<double>& c) {
  size_t first = 0;
  while (first < c.size() && c[first] == 0.0) ++first;
  size_t last = c.size();
  while (last > first && c[last - 1] == 0.0) --last;
  std::vector<TCplx> roots;
  if (first >= last) return roots;
  const int zerosAtOrigin = static_cast<int>(c.size() - last);
  const std::vector<long double> p(c.begin() + first, c.begin() + last);
  const int n = static_cast<int>(p.size()) - 1;
  if (n >= 1) {
    // Start on a circle of the roots' geometric mean radius, turned off the real axis.
    const double radius = std::pow(std::fabs(static_cast<double>(p[n] / p[0])), 1.0 / n);
    std::vector<TCplx> x(n);
    for (int k = 0; k < n; ++k) x[k] = std::polar(radius, TWOPI * k / n + 0.4);
    AberthRefine(
        x,
        [&p, n](TCplxL z) {
          TCplxL v = p[0], d = 0;
          for (int i = 1; i <= n; ++i) {
            d = d * z + v;
            v = v * z + p[i];
          }
          return d == TCplxL(0) ? TCplxL(0) : v / d;
        },
        "PolyRoots");
    roots = x;
  }
  roots.insert(roots.end(), zerosAtOrigin, TCplx(0.0, 0.0));
  SortConjugatePairs(roots);
  return roots;
}

std::vector<TCplx> PolyFromRoots(const std::vector<TCplx>& roots) {
  std::vector<TCplx> c(1, TCplx(1.0, 0.0));
  for (const TCplx& r : roots) {
    c.push_back(TCplx(0.0, 0.0));
    for (size_t i = c.size() - 1; i > 0; --i) c[i] -= r * c[i - 1];
  }
  return c;
}

std::vector<double> PolyFromRootsReal(const std::vector<TCplx>& roots) {
  const std::vector<TCplx> c = PolyFromRoots(roots);
  std::vector<double> r(c.size());
  for (size_t i = 0; i < c.size(); ++i) r[i] = c[i].real();
  return r;
}

TCplx PolyValue(const double* c, int count, TCplx z) {
  TCplx v = 0;
  for (int i = 0; i < count; ++i) v = v * z + c[i];
  return v;
}

void SortConjugatePairs(std::vector<TCplx>& v, double tol) {
  std::vector<TCplx> reals, cplx;
  for (const TCplx& z : v) {
    if (std::fabs(z.imag()) <= tol * std::max(1.0, std::abs(z))) reals.emplace_back(z.real(), 0.0);
    else cplx.push_back(z);
  }
  std::sort(reals.begin(), reals.end(), [](TCplx a, TCplx b) { return a.real() < b.real(); });
  // Pair each value of negative imaginary part with the nearest conjugate of the others.
  std::vector<TCplx> neg, pos;
  for (const TCplx& z : cplx) (z.imag() < 0 ? neg : pos).push_back(z);
  std::vector<TCplx> out;
  if (neg.size() == pos.size()) {
    std::vector<bool> used(pos.size(), false);
    std::vector<std::pair<TCplx, TCplx>> pairs;
    for (const TCplx& a : neg) {
      int best = -1;
      double bd = INF_VALUE;
      for (size_t j = 0; j < pos.size(); ++j)
        if (!used[j] && std::abs(std::conj(pos[j]) - a) < bd) {
          bd = std::abs(std::conj(pos[j]) - a);
          best = static_cast<int>(j);
        }
      used[best] = true;
      const TCplx m = 0.5 * (a + std::conj(pos[best]));  // the pair made exactly conjugate
      pairs.emplace_back(m, std::conj(m));
    }
    std::sort(pairs.begin(), pairs.end(), [](const auto& a, const auto& b) {
      return a.first.real() != b.first.real() ? a.first.real() < b.first.real()
                                              : a.first.imag() < b.first.imag();
    });
    for (const auto& pr : pairs) {
      out.push_back(pr.first);
      out.push_back(pr.second);
    }
  } else {  // not a conjugate-closed set: keep the values, ordered
    out = cplx;
    std::sort(out.begin(), out.end(), [](TCplx a, TCplx b) {
      return a.real() != b.real() ? a.real() < b.real() : a.imag() < b.imag();
    });
  }
  out.insert(out.end(), reals.begin(), reals.end());
  v = std::move(out);
}

}  // namespace ondrix
