// Streaming running median and integer delay. Both keep their past samples in a
// TMedianState, so a stream filtered block by block equals the stream filtered at once.
// Complex data is filtered per component (the median of the real parts and the median of the
// imaginary parts). States start at rest: the past is all zeros.
#pragma once

#include <vector>

#include "ondrix/vec/TVec.h"

namespace ondrix {

/// State of MedianFilter or DelayFilter (one state serves either, as set up by MedianInit or
/// DelayInit). Fields are read-only for users.
struct TMedianState {
  bool IsDelay = false;      ///< set up by DelayInit
  int Length = 0;            ///< window length (median) or delay in samples
  int Delay = 0;             ///< latency of the median: output n stands for x[n − Delay]
  bool ComplexData = false;  ///< the past is complex (set by the data)

  // Internal: past inputs in a ring (interleaved when complex), the write position, and the
  // current window sorted per component.
  std::vector<double> Ring;
  int Pos = 0;
  std::vector<double> Sorted[2];
};

/// Prepares a running median of `length` samples (≥ 1). Output n is the median of the
/// window x[n − delay − h .. n − delay + length − 1 − h], h = (length − 1)/2 (rounded down),
/// that is of the window centred on x[n − delay] (for even lengths the upper middle sample
/// is that one, and the median is the mean of the two middle values). delay is the latency
/// and must be at least length/2 (rounded down) so that the window holds no future samples;
/// −1 (the default) means exactly that minimum: the centred median with the least latency,
/// whose window is the last `length` samples. For odd lengths this output equals
/// scipy.signal.medfilt(x, length) delayed by h samples. Larger delays add a pure delay.
void MedianInit(int length, TMedianState& state, int delay = -1);

/// Filters the next block src into dst (resized; complex when src or the past is complex).
/// dst may be src. Raises EVecError unless state was set up by MedianInit.
void MedianFilter(const TVec& src, TVec& dst, TMedianState& state);

/// Prepares an integer delay of `delay` ≥ 0 samples: y[n] = x[n − delay].
void DelayInit(int delay, TMedianState& state);

/// Delays the next block src into dst (resized). dst may be src. Raises EVecError unless
/// state was set up by DelayInit.
void DelayFilter(const TVec& src, TVec& dst, TMedianState& state);

}  // namespace ondrix
