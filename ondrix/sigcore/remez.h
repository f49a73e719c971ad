// Equiripple (minimax) linear-phase FIR design by the Parks-McClellan algorithm: multiband
// filters, differentiators and Hilbert transformers as scipy.signal.remez, plus the
// differentiator / integrator family with relative-error weighting, and length estimates.
//
// Frequencies: in the units of fs, the sampling frequency; the default fs = 2 makes them
// fractions of the Nyquist frequency (SciPy's remez defaults to fs = 1, cycles per sample:
// pass fs = 1 for its numbers). Taps are ordered for convolution.
//
// The exchange runs on a dense grid built as the classic McClellan-Parks-Rabiner program
// builds it (spacing 0.5 / (gridDensity · r) cycles per sample, r the number of cosine
// terms), stops when the extremal set no longer changes, and never runs more than
// maxIterations rounds: a band layout it cannot meet raises EVecError naming the rounds
// run and the band that failed, rather than looping or returning garbage.
#pragma once

#include <vector>

#include "ondrix/vec/TVec.h"

namespace ondrix {

/// The responses `remez` approximates (scipy.signal.remez's `type`).
enum TRemezType {
  rtBandpass = 0,        ///< piecewise-constant gains; symmetric taps
  rtDifferentiator = 1,  ///< gain desired·f (f in cycles per sample) in each band, weights
                         ///< divided by f where desired ≥ 1e-4; antisymmetric taps
  rtHilbert = 2          ///< piecewise-constant gains, antisymmetric taps. As in SciPy the
                         ///< phase is +90° (cos → −sin); RemezImpulse(ritHilbert) gives −90°
};

/// Equiripple filter of numtaps taps (3 .. 10000) into taps (real). bands holds ascending
/// band edge pairs [lo0, hi0, lo1, hi1, ...] within [0, fs/2], bands separated by gaps;
/// desired one gain per band; weights one positive weight per band (empty: all 1).
/// gridDensity ≥ 1 (SciPy's default 16). Equals scipy.signal.remez(numtaps, bands, desired,
/// weights, type, maxiter, grid_density, fs) wherever that converges. Raises EVecError for
/// invalid bands, gains or weights and when the exchange does not converge.
void remez(TVec& taps, int numtaps, const std::vector<double>& bands,
           const std::vector<double>& desired, const std::vector<double>& weights = {},
           TRemezType type = rtBandpass, double fs = 2.0, int gridDensity = 16,
           int maxIterations = 40);

/// The special responses of RemezImpulse. ω = 2π·f/fs is the frequency in rad/sample, so
/// each response works per sample (scale by fs, fs², 1/fs or 1/fs² for seconds).
enum TRemezImpulseType {
  ritDifferentiator = 0,        ///< j·ω, antisymmetric taps
  ritDoubleDifferentiator = 1,  ///< −ω², symmetric taps
  ritIntegrator = 2,            ///< 1/(j·ω), antisymmetric taps; needs f1 > 0
  ritDoubleIntegrator = 3,      ///< −1/ω², symmetric taps; needs f1 > 0
  ritHilbert = 4                ///< −j·sign(ω) (cos → sin), antisymmetric taps; needs f1 > 0
};

/// Equiripple design of `length` taps of a special response over the band [f1, f2] (no
/// constraint outside it). Differentiators and integrators minimise the relative error
/// (weight 1/|response|, the double differentiator's weight capped at its value one grid
/// step above DC); the Hilbert transformer the absolute error. Odd lengths of antisymmetric
/// filters force a zero at Nyquist, even lengths of symmetric ones too: choose f2 below
/// fs/2 then. Raises EVecError as remez does.
void RemezImpulse(TVec& taps, int length, TRemezImpulseType kind, double f1, double f2,
                  double fs = 2.0, int gridDensity = 16, int maxIterations = 40);

/// Herrmann's estimate (Herrmann, Rabiner & Chan 1973, as used by remezord / firpmord) of
/// the length of an equiripple multiband filter: bands as for remez, deviations one linear
/// deviation per band (0 < δ < 1). Each transition between neighbouring bands gives
/// D∞(δp, δs)/ΔF − f(δp, δs)·ΔF + 1 with ΔF its width over fs, δp the larger and δs the
/// smaller deviation of the two bands; the result is the largest, rounded up (at least 3).
int RemezLength(const std::vector<double>& bands, const std::vector<double>& deviations,
                double fs = 2.0);

/// Herrmann's length estimate for one transition of width `transition` (units of fs) with
/// the same deviation δ on both sides: for differentiators, integrators and Hilbert
/// transformers, whose band edge stands in for the transition. At least 3.
int RemezFirLength(double transition, double deviation, double fs = 2.0);

}  // namespace ondrix
