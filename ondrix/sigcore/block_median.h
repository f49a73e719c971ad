// Centred running median of a whole block, with the block continued past its ends by
// reflection or wrap-around (the streaming, causal form is MedianFilter in median_state.h).
#pragma once

#include "ondrix/vec/TVec.h"

namespace ondrix {

/// How a block continues past its ends.
enum TMedianEdge {
  meReflect,  ///< mirrored about the end samples, which are not repeated: c b | a b c | b a
  meWrap      ///< periodic: b c | a b c | a b (a DFT's bins)
};

/// dst[k] := the median of src[k − ⌊L/2⌋ .. k − ⌊L/2⌋ + L − 1] (L = length ≥ 1), indices outside
/// the block taken through `edge` (any number of times). For even L it is the mean of the two
/// middle values. For odd L this is scipy.ndimage.median_filter(src, L, mode='mirror' or 'wrap');
/// for even L ndimage takes the upper middle value instead. src must be real; dst is resized
/// (real) and may be src. NaN sorts above every number. Allocates only when a block or window
/// is larger than any before on the calling thread. Raises EVecError for a complex src or
/// length < 1.
void BlockMedian(TVec& dst, const TVec& src, int length, TMedianEdge edge);

}  // namespace ondrix
