// Real and complex cepstra.
//
// Both work on the DFT of the whole frame (length N = the source length, no zero padding),
// with the library's unscaled forward and 1/N-scaled inverse transforms, and the natural log.
#pragma once

#include "ondrix/sigcore/windows.h"
#include "ondrix/vec/TVec.h"

namespace ondrix {

/// Scratch of the cepstra: the spectrum, and the window cached for its type and length.
struct TCepstrumState {
  TVec Spectrum;                            ///< complex work vector
  TVec Phase;                               ///< unwrapped phase (CplxCepstrum)
  TVec Window;                              ///< the last window generated
  TSignalWindowType WindowType = wtRectangular;
  double SidelobeAtt = 0.0, ExpWindow = 0.0;  ///< parameters of the cached window
};

/// Real cepstrum c = IDFT(ln|DFT(w·x)|) of src windowed by `windowType` (periodic windows
/// with the analyzers' parameters, see GenerateWindow). Zero magnitudes are taken as the
/// smallest normal double, so c stays finite (ln of it is about −708). A real src gives a
/// real dst (the log magnitude is even, so the result is the real part); a complex src a
/// complex dst. dst may be src.
void RealCepstrum(TVec& dst, const TVec& src, TSignalWindowType windowType,
                  TCepstrumState& state, double sidelobeAtt = 40.0, double expWindow = 0.01);
void RealCepstrum(TVec& dst, const TVec& src, TSignalWindowType windowType = wtRectangular,
                  double sidelobeAtt = 40.0, double expWindow = 0.01);

/// Complex cepstrum c = IDFT(ln|X| + i·φ) with X = DFT(src) and φ the unwrapped phase of X
/// (rpNearest) from which the linear phase of an integer delay is removed first, so that φ
/// is continuous around the circle: with h = ⌊(N + 1)/2⌋ and d = round(φ[h]/π),
/// φ[k] −= π·d·k/h (nothing for N < 2). Returns −d, the circular delay in samples that was
/// removed: a minimum-phase sequence delayed by D samples returns D, and each zero outside
/// the unit circle adds one (the `nd` of the usual cceps is d, of opposite sign). A real src
/// gives the real part (dst real), a complex src the complex result. Zero magnitudes are
/// treated as in RealCepstrum. dst may be src.
int CplxCepstrum(TVec& dst, const TVec& src, TCepstrumState& state);
int CplxCepstrum(TVec& dst, const TVec& src);

}  // namespace ondrix
