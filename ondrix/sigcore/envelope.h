// Envelope of a signal block: the magnitude of its analytic signal, optionally smoothed.
#pragma once

#include "ondrix/vec/TVec.h"

namespace ondrix {

/// dst (real, src's length) := envelope of the block src. For real src it is the magnitude
/// of the analytic signal (scipy.signal.hilbert over the block, by FFT); for complex src the
/// magnitude |x|. With length > 1 it is then smoothed by a centred moving average of
/// `length` samples (for even lengths one more sample after the centre than before), which
/// near the block ends averages the samples that exist.
///
/// Each block stands alone: it keeps no state. The analytic signal of a block treats the
/// block as one period, so the envelope bends within a few periods of the lowest frequency
/// of each block end, and a stream cut into blocks gets a slightly different envelope near
/// each cut than the whole stream would; longer blocks move the effect further apart.
/// dst may be src.
void EnvelopeDetector(const TVec& src, TVec& dst, int length = 1);

}  // namespace ondrix
