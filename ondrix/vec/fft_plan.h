// The vector library's FFTW plan cache and per-thread scratch memory. FFTW's planner is not
// thread-safe: code anywhere in the library that needs a plan takes it from here.
#pragma once

#include <cstddef>

#include <fftw3.h>

namespace ondrix {

/// The one-dimensional transforms the cache plans (all double precision).
enum TFftKind {
  fkForward,   ///< complex to complex, e^{-i...}, unscaled
  fkBackward,  ///< complex to complex, e^{+i...}, unscaled
  fkR2C,       ///< real n to n/2 + 1 complex bins, unscaled
  fkC2R,       ///< n/2 + 1 complex bins to real n, unscaled; destroys its input
  fkDct2,      ///< FFTW_REDFT10 (DCT-II, factor 2 as scipy.fft.dct)
  fkDct3       ///< FFTW_REDFT01 (DCT-III; scipy.fft.idct times 2n)
};

/// Returns the plan of a transform of n ≥ 1 points from in to out (the same pointer for an
/// in-place transform). Plans are made once per kind, size, in-place flag and alignment of the
/// arrays, with FFTW_ESTIMATE, and live until the process ends; the cache is thread-safe.
/// Run the plan only through the new-array execute functions (fftw_execute_dft and its
/// r2c / c2r / r2r siblings) on arrays with the same in-place flag and alignment as in / out.
/// Raises EVecError if FFTW cannot plan the transform.
fftw_plan FftPlan(TFftKind kind, int n, const void* in, const void* out);

/// Number of plans made so far (to check that plans are reused).
std::size_t FftPlanCount();

/// Aligned scratch of at least `doubles` doubles, owned by the calling thread. It only grows,
/// so it stops allocating once the largest size has been seen; the contents are valid until
/// the next call on the same thread.
double* FftScratch(std::size_t doubles);

}  // namespace ondrix
