#include "ondrix/sigcore/block_median.h"

#include <algorithm>
#include <cmath>
#include <functional>
#include <vector>

namespace ondrix {

namespace {

// A total order of doubles with NaN above everything, so that a NaN cannot break the sorted
// window.
inline bool Less(double a, double b) { return a < b || (std::isnan(b) && !std::isnan(a)); }

int Fold(int i, int n, TMedianEdge edge) {
  if (edge == meWrap) return ((i % n) + n) % n;
  if (n == 1) return 0;
  const int period = 2 * (n - 1);
  i = ((i % period) + period) % period;
  return i < n ? i : period - i;
}

// y[k] := the median of z[k .. k + L − 1] for k < n; s holds the first window, sorted.
template <typename Order>
void Run(double* y, const double* z, double* s, int n, int L, Order less) {
  const int mid = L / 2;
  for (int k = 0;; ++k) {
    y[k] = L % 2 == 1 ? s[mid] : 0.5 * (s[mid - 1] + s[mid]);
    if (k + 1 == n) break;
    // Slide: z[k] leaves, z[k + L] enters; one pass of shifts keeps the order.
    const double out = z[k], in = z[k + L];
    int i = static_cast<int>(std::lower_bound(s, s + L, out, less) - s);
    if (!less(in, out)) {
      for (; i + 1 < L && less(s[i + 1], in); ++i) s[i] = s[i + 1];
    } else {
      for (; i > 0 && less(in, s[i - 1]); --i) s[i] = s[i - 1];
    }
    s[i] = in;
  }
}

}  // namespace

void BlockMedian(TVec& dst, const TVec& src, int length, TMedianEdge edge) {
  if (src.Complex()) ERaise("BlockMedian: the source must be real");
  if (length < 1) ERaise("BlockMedian: the window length must be at least 1");
  const int n = src.Length(), L = length, lo = L / 2;
  if (n == 0) {
    dst.Size(0, false);
    return;
  }
  thread_local std::vector<double> padded, sorted;
  // padded[j] = src at j − lo (folded), so window k is padded[k .. k + L − 1].
  padded.resize(static_cast<size_t>(n) + L - 1);
  const double* x = src.PValues();
  for (int j = 0; j < n + L - 1; ++j) {
    const int i = j - lo;
    padded[j] = x[i >= 0 && i < n ? i : Fold(i, n, edge)];
  }
  dst.Size(n, false);
  double* y = dst.PValues();
  sorted.assign(padded.begin(), padded.begin() + L);
  std::sort(sorted.begin(), sorted.end(), Less);
  double* s = sorted.data();
  // The NaN-aware order costs a third more; most data needs none.
  if (std::any_of(padded.begin(), padded.end(), [](double v) { return std::isnan(v); }))
    Run(y, padded.data(), s, n, L, Less);
  else
    Run(y, padded.data(), s, n, L, std::less<double>());
}

}  // namespace ondrix
