// Inner loops of per-frame work (means, windowing, magnitudes, extremes), written for throughput: several partial sums
// or extremes at once instead of one dependency chain, and a magnitude without the cost of
// hypot. Plain functions over arrays, each tested on its own.
#pragma once

#include <complex>

namespace ondrix {

/// Mean of x[0 .. n−1] (0 for n ≤ 0), summed in sixteen interleaved partial sums.
double FrameMean(const double* x, int n) noexcept;

/// dst[i] = (src[i] − offset)·w[i] for i < n, or src[i] − offset when w is nullptr: the
/// mean removal and windowing of a frame in one pass. dst may be src.
void OffsetAndWindow(double* dst, const double* src, int n, double offset, const double* w) noexcept;

/// dst[i] = |x[i]| for i < n: √(re² + im²), which is within an ulp of hypot; values whose
/// square is not a normal number (below 1.5·10⁻¹⁵⁴ or above 1.3·10¹⁵⁴) go through std::hypot.
void Magnitudes(double* dst, const std::complex<double>* x, int n) noexcept;

/// Largest and smallest of x[0 .. n−1] (n ≥ 1; NaN values are skipped unless all are NaN).
void Extremes(const double* x, int n, double& max, double& min) noexcept;

/// dst[(k·count + c)·width + j] = channels[c][k·width + j] for k < n, c < count, j < width:
/// joins count channels of n samples (width 1 real, 2 complex) into one interleaved block.
/// Tiled so that each pass writes within the level-one cache: one pass over the data, not
/// one per channel.
void InterleaveChannels(double* dst, const double* const* channels, int count, int n, int width) noexcept;

/// The inverse: channels[c][k·width + j] = src[(k·count + c)·width + j].
void DeinterleaveChannels(double* const* channels, const double* src, int count, int n, int width) noexcept;

}  // namespace ondrix
