// The filter states of the signal core in one include: streaming FIR (polyphase), IIR
// (second-order sections), running median and integer delay, the envelope detector and the
// wavelet state. Each keeps its delay line between calls, so a stream filtered in blocks
// equals the stream filtered at once.
#pragma once

#include "ondrix/sigcore/envelope.h"
#include "ondrix/sigcore/fir_state.h"
#include "ondrix/sigcore/iir_state.h"
#include "ondrix/sigcore/median_state.h"
#include "ondrix/sigcore/wavelet_state.h"
