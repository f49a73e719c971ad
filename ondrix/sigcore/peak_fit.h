// A tone's frequency and amplitude between the lines of a windowed, averaged magnitude spectrum:
// the window-model fit, and the classic three-line estimators (offsets in lines, positive
// towards higher lines).
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

/// Vertex of the parabola through (−1, a), (0, b), (1, c): (c − a) / (2·(2b − a − c)); 0 when
/// the three points lie on a line.
double ParabolaVertexOffset(double a, double b, double c);

/// Centre of mass of weights a, b, c at −1, 0, 1: (c − a) / (a + b + c); 0 for a zero sum.
double BarycentricOffset(double a, double b, double c);

/// Jain's estimate, in lines, of a tone seen with magnitudes a, b, c on lines k − 1, k, k + 1
/// (b the largest): the tone lies between k and the larger neighbour, placed by the ratio r of
/// the higher to the lower line of that pair at (lower line) + r/(1 + r). Exact for the
/// rectangular window's |sinc| lines. Not finite when a ratio is not.
double JainPeakLine(int k, double a, double b, double c);

/// Quinn's first estimator from the complex lines xm, xk, xp at k − 1, k, k + 1 of a
/// rectangular-window spectrum: with α± = Re(x±/xk) and δ± = α±/(1 − α±) (δ₊ taken without
/// the published sign change, as the analyzers have always done), δ₊ when both are positive,
/// else δ₋. Not finite for xk = 0.
double QuinnFirstOffset(TCplx xm, TCplx xk, TCplx xp);

/// Quinn's second estimator on the same lines: with δ₊ = −α₊/(1 − α₊), δ₋ = α₋/(1 − α₋),
/// (δ₊ + δ₋)/2 + τ(δ₊²) − τ(δ₋²). Not finite for xk = 0.
double QuinnSecondOffset(TCplx xm, TCplx xk, TCplx xp);

/// The correction term of Quinn's second estimator:
/// τ(x) = ¼·log10(3x² + 6x + 1) − (√6/24)·(x + 1 − √(2/3)) / (x + 1 + √(2/3)).
double QuinnTau(double x);

/// Local maximum of f near x by a hill climb: steps of `step` up, then down, while f grows,
/// the step halved while it is above minStep. For a unimodal f the result lies within the
/// last step (≤ 2·minStep) of the maximum.
template <class F>
double ClimbToMaximum(F&& f, double x, double step, double minStep) {
  double here = f(x);
  while (step > minStep) {
    for (double up; (up = f(x + step)) > here; here = up) x += step;
    for (double down; (down = f(x - step)) > here; here = down) x -= step;
    step *= 0.5;
  }
  return x;
}

}  // namespace ondrix
