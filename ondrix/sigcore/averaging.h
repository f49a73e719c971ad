// Running averages of vectors and matrices, as the analyzers average spectra frame by frame.
#pragma once

#include "ondrix/vec/TMtx.h"

namespace ondrix {

/// One step of a running average: with count = 0 (no frame averaged yet) avg := x; else
///     avg := (avg·(n − 1) + x) / n.
/// n = count + 1 gives the exact mean of all frames so far; a fixed n gives an exponential
/// average whose new frames weigh 1/n. Real or complex (avg takes x's size and complex flag
/// on the first frame). Raises EVecError when count > 0 and avg differs from x in length or
/// complex flag, or when n < 1.
void RunningAverage(TVec& avg, const TVec& x, unsigned count, double n);

/// Matrix form of RunningAverage: the first frame also gives avg x's shape; later frames must
/// have the same shape.
void RunningAverage(TMtx& avg, const TMtx& x, unsigned count, double n);

}  // namespace ondrix
