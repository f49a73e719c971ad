#include "ondrix/sigcore/wavelet_state.h"

#include <algorithm>
#include <string>

#include "ondrix/vec/exceptions.h"

namespace ondrix {

void WaveletInit(int length, int p1, int p2, int level, int wavelet, TWaveletState& state) {
  if (length < 0) ERaise("WaveletInit: negative block length");
  if (wavelet < wvHaar || wavelet > wvBiorthogonal) ERaise("WaveletInit: unknown wavelet " + std::to_string(wavelet));
  int maxLevel = 0;
  while ((2LL << maxLevel) <= length) ++maxLevel;
  state.Length = length;
  state.MaxLevel = std::max(1, maxLevel);
  state.Level = std::clamp(level, 1, state.MaxLevel);
  state.P1 = std::max(1, p1);
  state.P2 = std::max(1, p2);
  state.Wavelet = static_cast<TWaveletType>(wavelet);
  state.Prepared = true;
}

}  // namespace ondrix
