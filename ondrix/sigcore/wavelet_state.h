// Prepared state of the wavelet response of the signal filter. The filter component prepares
// it and keeps it with its other states; no wavelet processing is defined on it (the wavelet
// response leaves its output untouched).
#pragma once

namespace ondrix {

/// Wavelet families, as the filter components store them.
enum TWaveletType { wvHaar = 0, wvDaubechies = 1, wvSymlet = 2, wvCoiflet = 3, wvBiorthogonal = 4 };

/// Wavelet decomposition kinds, as the filter components store them.
enum TWaveletDecomp { wdDecimated = 0, wdUndecimated = 1 };

/// The parameters of a wavelet analysis, checked and completed by WaveletInit.
struct TWaveletState {
  bool Prepared = false;
  int Length = 0;   ///< block length in samples
  int P1 = 1;       ///< first family parameter (e.g. the number of vanishing moments)
  int P2 = 1;       ///< second family parameter (biorthogonal families)
  int Level = 1;    ///< decomposition level, clamped to 1 .. MaxLevel
  int MaxLevel = 0; ///< floor(log2(Length)), at least 1
  TWaveletType Wavelet = wvHaar;
};

/// Prepares state for blocks of `length` samples: stores the parameters, clamps the level to
/// 1 .. floor(log2(length)) and the family parameters to at least 1. Raises EVecError for a
/// negative length or an unknown family.
void WaveletInit(int length, int p1, int p2, int level, int wavelet, TWaveletState& state);

}  // namespace ondrix
