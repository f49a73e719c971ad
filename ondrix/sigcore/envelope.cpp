#include "ondrix/sigcore/envelope.h"

#include <algorithm>
#include <cmath>
#include <vector>

namespace ondrix {

void EnvelopeDetector(const TVec& src, TVec& dst, int length) {
  const int n = src.Length();
  thread_local TVec spec, env;
  if (n == 0) {
    dst.Size(0, false);
    return;
  }
  if (src.Complex()) {
    env.Mag(src);
  } else {
    // Analytic signal: keep DC (and Nyquist), double the positive frequencies, drop the rest.
    spec.FFT(src);
    for (int k = 1; k < n; ++k) {
      if (2 * k < n) spec.CValues(k) *= 2.0;
      else if (2 * k > n) spec.CValues(k) = 0.0;
    }
    spec.IFFT();
    env.Mag(spec);
  }
  if (length > 1) {
    // Centred running sums over [i − before, i + after], clipped at the block ends.
    const int before = (length - 1) / 2, after = length - 1 - before;
    thread_local std::vector<double> cum;
    cum.assign(static_cast<size_t>(n) + 1, 0.0);
    for (int i = 0; i < n; ++i) cum[i + 1] = cum[i] + env.Values(i);
    dst.Size(n, false);
    for (int i = 0; i < n; ++i) {
      const int lo = std::max(0, i - before), hi = std::min(n - 1, i + after);
      dst.Values(i) = (cum[hi + 1] - cum[lo]) / (hi - lo + 1);
    }
    return;
  }
  dst.Copy(env);
}

}  // namespace ondrix
