#include "ondrix/vec/kernels.h"

#include <algorithm>
#include <cfloat>
#include <cstddef>
#include <cmath>
#include <cstdint>
#include <cstring>

namespace ondrix {

namespace {

// Two doubles (GCC vector extensions: SSE2 on x86-64, NEON on ARM64): the extremes below are
// reductions, which the vectoriser leaves scalar without -ffast-math.
using V2d = double __attribute__((vector_size(16)));

V2d Load2(const double* p) noexcept {
  V2d v;
  std::memcpy(&v, p, sizeof v);
  return v;
}

// Smallest and largest of x[i0 .. i1−1] in four pairs of lanes, so that the minpd / maxpd
// latency does not bound the loop (element-wise v < lo ? v : lo compiles to minpd and skips a
// NaN v); lo and hi come in as the starting values.
void MinMax2(const double* x, int i0, int i1, V2d& loOut, V2d& hiOut) noexcept {
  V2d lo[4] = {loOut, loOut, loOut, loOut}, hi[4] = {hiOut, hiOut, hiOut, hiOut};  // the refs may alias x
  int i = i0;
  for (; i + 8 <= i1; i += 8) {
    for (int k = 0; k < 4; ++k) {
      const V2d v = Load2(x + i + 2 * k);
      lo[k] = v < lo[k] ? v : lo[k];
      hi[k] = v > hi[k] ? v : hi[k];
    }
  }
  for (int k = 1; k < 4; ++k) {
    lo[0] = lo[k] < lo[0] ? lo[k] : lo[0];
    hi[0] = hi[k] > hi[0] ? hi[k] : hi[0];
  }
  for (; i < i1; ++i) {
    lo[0][0] = x[i] < lo[0][0] ? x[i] : lo[0][0];
    hi[0][0] = x[i] > hi[0][0] ? x[i] : hi[0][0];
  }
  loOut = lo[0];
  hiOut = hi[0];
}

}  // namespace

double FrameMean(const double* x, int n) noexcept {
  if (n <= 0) return 0.0;
  V2d acc[8] = {};  // sixteen partial sums: no single add chain bounds the loop
  int i = 0;
  for (; i + 16 <= n; i += 16)
    for (int k = 0; k < 8; ++k) acc[k] += Load2(x + i + 2 * k);
  const V2d s = ((acc[0] + acc[1]) + (acc[2] + acc[3])) + ((acc[4] + acc[5]) + (acc[6] + acc[7]));
  double sum = s[0] + s[1];
  for (; i < n; ++i) sum += x[i];
  return sum / n;
}

void OffsetAndWindow(double* dst, const double* src, int n, double offset, const double* w) noexcept {
  if (w) {
    for (int i = 0; i < n; ++i) dst[i] = (src[i] - offset) * w[i];
  } else {
    for (int i = 0; i < n; ++i) dst[i] = src[i] - offset;
  }
}


// Built with -fno-math-errno (see CMakeLists.txt), so that the square roots vectorise; the
// roots here are of non-negative numbers and never set errno anyway.
void Magnitudes(double* dst, const std::complex<double>* x, int n) noexcept {
  const double* p = reinterpret_cast<const double*>(x);
  for (int i = 0; i < n; ++i) dst[i] = std::sqrt(p[2 * i] * p[2 * i] + p[2 * i + 1] * p[2 * i + 1]);
  // √DBL_MIN: below it the square was not a normal number and lost digits (or was 0).
  constexpr double kTiny = 1.4916681462400413e-154;
  V2d lo = {INFINITY, INFINITY}, hi = {0.0, 0.0};
  MinMax2(dst, 0, n, lo, hi);
  if (std::fmin(lo[0], lo[1]) >= kTiny && std::fmax(hi[0], hi[1]) <= DBL_MAX) return;
  // hypot scales before squaring.
  for (int k = 0; k < n; ++k)
    if (dst[k] < kTiny || dst[k] > DBL_MAX) dst[k] = std::hypot(p[2 * k], p[2 * k + 1]);
}

void Extremes(const double* x, int n, double& max, double& min) noexcept {
  int first = 0;
  while (first < n && std::isnan(x[first])) ++first;
  if (first == n) {
    max = min = n > 0 ? x[0] : NAN;
    return;
  }
  V2d lo = {x[first], x[first]}, hi = lo;
  MinMax2(x, first, n, lo, hi);
  max = std::fmax(hi[0], hi[1]);
  min = std::fmin(lo[0], lo[1]);
}

namespace {

// Samples per tile: the tile of the interleaved block (count·width·kTile doubles) stays in the
// level-one cache for up to 16 real channels.
constexpr int kTile = 256;

// Moves one tile between the interleaved block and the channels; W is the width (1 or 2)
// when known at compile time, 0 otherwise.
template <int W, bool ToBlock>
void Tile(double* block, double* const* channels, int count, int k0, int k1, int width) {
  const int w = W > 0 ? W : width;
  const std::size_t stride = static_cast<std::size_t>(count) * w;
  for (int c = 0; c < count; ++c) {
    double* ch = channels[c];
    double* b = block + static_cast<std::size_t>(c) * w;
    for (int k = k0; k < k1; ++k)
      for (int j = 0; j < w; ++j) {
        if constexpr (ToBlock) b[k * stride + j] = ch[static_cast<std::size_t>(k) * w + j];
        else ch[static_cast<std::size_t>(k) * w + j] = b[k * stride + j];
      }
  }
}

template <bool ToBlock>
void Transpose(double* block, double* const* channels, int count, int n, int width) {
  for (int k0 = 0; k0 < n; k0 += kTile) {
    const int k1 = std::min(n, k0 + kTile);
    if (width == 1) Tile<1, ToBlock>(block, channels, count, k0, k1, 1);
    else if (width == 2) Tile<2, ToBlock>(block, channels, count, k0, k1, 2);
    else Tile<0, ToBlock>(block, channels, count, k0, k1, width);
  }
}

}  // namespace

void InterleaveChannels(double* dst, const double* const* channels, int count, int n, int width) noexcept {
  // Tile only reads the channels on this path.
  Transpose<true>(dst, const_cast<double* const*>(channels), count, n, width);
}

void DeinterleaveChannels(double* const* channels, const double* src, int count, int n, int width) noexcept {
  Transpose<false>(const_cast<double*>(src), channels, count, n, width);
}

}  // namespace ondrix
