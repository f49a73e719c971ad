// A tone's frequency and amplitude between the lines of a windowed, averaged magnitude spectrum.
#pragma once

#include "ondrix/vec/TVec.h"

namespace ondrix {

/// Where a tone lies relative to the line that shows it most strongly.
struct TPeakFit {
  double Offset = 0.0;  ///< lines from the centre line, in [−0.5, 0.5]
  double Amplitude = 0.0;  ///< the tone's amplitude, in the units of the magnitudes
};

/// The window's own transform |Σ w[n]·e^(−2πiνn/fftLength)| at ν lines from its peak.
double WindowResponse(const TVec& window, double fftLength, double nu);

/// Lines on each side of the peak that a fit should use: one less than the distance to the
/// first null of the window's transform (at least 1), so that every line used lies in the main
/// lobe wherever the tone sits between two lines.
int MainLobeHalfWidth(const TVec& window, double fftLength);

/// Fits one stationary tone to the magnitudes (not powers) of a spectrum computed with
/// `window` and a transform of `fftLength` points (≥ the window's length: zero padding narrows
/// the line spacing), using the lines centre − halfWidth .. centre + halfWidth that exist.
///
/// The model is the window's own transform: a tone of amplitude a, δ lines from the centre
/// line, shows a·W(j − δ)/W(0) on line centre + j. δ minimises the squared misfit over the
/// lines (a in closed form for each δ): a coarse scan of [−0.5, 0.5], then a golden-section
/// search. Fitting the whole main lobe rather than a ratio of two lines keeps flat-topped
/// windows, whose peak lines are nearly equal, well conditioned, and works for any window.
/// Magnitudes averaged over frames fit as well as one frame's. The tone's image at negative
/// frequency is ignored: it biases tones within a few main-lobe widths of 0 or half the rate.
/// A centre line out of range or not above 0 gives {0, its magnitude or 0}.
TPeakFit FitWindowPeak(const TVec& window, double fftLength, const TVec& magnitudes, int centre, int halfWidth);

}  // namespace ondrix
