#include "ondrix/sigcore/dtft.h"

#include <algorithm>
#include <cmath>

#include "ondrix/vec/calcbase.h"

namespace ondrix {

TCplx Dtft(const TVec& x, int n, double f, double fs) {
  // A rotating phasor, recomputed every kResync samples so that its rounding cannot build up.
  constexpr int kResync = 64;
  const double w = -TWOPI * f / fs;
  const TCplx step = std::polar(1.0, w);
  TCplx sum = 0.0;
  for (int i0 = 0; i0 < n; i0 += kResync) {
    TCplx z = std::polar(1.0, w * i0);
    const int i1 = std::min(n, i0 + kResync);
    if (x.Complex()) {
      for (int i = i0; i < i1; ++i, z *= step) sum += x.CValues(i) * z;
    } else {
      for (int i = i0; i < i1; ++i, z *= step) sum += x.Values(i) * z;
    }
  }
  return sum;
}

}  // namespace ondrix
