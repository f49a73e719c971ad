// The transform of a finite sequence at a single, arbitrary frequency.
#pragma once

#include "ondrix/vec/TVec.h"

namespace ondrix {

/// Σ x[n]·e^(−2πi·f·n/fs) over the first `count` elements of x (real or complex): unscaled,
/// like a forward DFT, whose line k it equals at f = k·fs/count. f is in the units of fs
/// (fs = 1: cycles per sample). Its rotating phasor is renewed every 64 samples, so that the
/// phase error does not grow with count.
TCplx Dtft(const TVec& x, int count, double f, double fs = 1.0);

}  // namespace ondrix
