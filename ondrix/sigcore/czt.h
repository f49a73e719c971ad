// Chirp-z transform: the z-transform of a frame on a spiral contour, through FFTs.
//
// For an input x of n samples, m output points, the ratio w and the start point a,
//     X[k] = Σ_{j=0}^{n−1} x[j]·z_k^(−j),   z_k = a·w^(−k),   k = 0 .. m−1
// (the convention of scipy.signal.czt). With a = e^(2πi·f0/fs) and w = e^(−2πi·Δf/fs) the
// points are the unit-circle frequencies f0, f0 + Δf, ... : a zoomed DFT, unscaled like FFT
// (with f0 = 0, Δf = fs/n and m = n it is the FFT of x). |a| ≠ 1 or |w| ≠ 1 put the points
// on a spiral.
//
// Bluestein's identity j·k = (j² + k² − (k − j)²)/2 turns the sum into a convolution with
// the chirp w^(−t²/2), done by power-of-two FFTs of length ≥ n + m − 1; any n and m work.
// Powers w^(t²/2) are formed from the logarithms of w and a with the angle kept in cycles and
// reduced exactly, so the chirp does not lose accuracy for long transforms.
#pragma once

#include "ondrix/vec/TVec.h"

namespace ondrix {

/// A prepared chirp-z transform: the chirps and the transformed convolution kernel for one
/// (n, m, w, a); the work vector is reused, so repeated transforms do not allocate.
struct TCztState {
  int N = 0;         ///< input length
  int M = 0;         ///< number of output points
  int L = 0;         ///< FFT length (power of two ≥ N + M − 1)
  TVec InChirp;      ///< a^(−j)·w^(j²/2), j < N (complex)
  TVec OutChirp;     ///< w^(k²/2), k < M (complex)
  TVec Kernel;       ///< FFT of w^(−t²/2) laid out circularly over L points (complex)
  TVec Work;         ///< scratch of L complex values
};

/// Prepares `state` for transforms of n input samples to m points with ratio w and start a,
/// both given as complex numbers and taken exactly as given (as scipy.signal.czt does): a w
/// meant to lie on the unit circle, such as polar(1, θ), is off it by its rounding (~1e-17),
/// which over k²/2 = 10⁶ makes a radius drift of ~1e-11. Use CztInitLog or CztZoomInit for
/// points exactly on the circle. Raises EVecError for n < 1, m < 1, w = 0 or a = 0.
void CztInit(TCztState& state, int n, int m, TCplx w, TCplx a = TCplx(1.0, 0.0));

/// As CztInit, with w and a given by logarithms: w = e^(wLogMag + 2πi·wCycles),
/// a = e^(aLogMag + 2πi·aCycles). Angles in cycles keep zoom settings exact (see CztZoomInit).
void CztInitLog(TCztState& state, int n, int m, double wLogMag, double wCycles, double aLogMag,
                double aCycles);

/// Prepares a zoom transform: m points at the frequencies fStart + k·fStep (Hz) for a sampling
/// frequency fs, on the spiral whose radius goes geometrically from startRadius (k = 0) to
/// stopRadius (k = m − 1); both radii 1 give points on the unit circle. The result at point k
/// is Σ x[j]·z_k^(−j), so for a tone of amplitude A at a point's frequency it reads A·n
/// (real tones A·n/2), as an FFT bin would. Raises EVecError for non-positive radii or fs.
void CztZoomInit(TCztState& state, int n, int m, double fStart, double fStep, double fs,
                 double startRadius = 1.0, double stopRadius = 1.0);

/// Transforms x (state.N samples, real or complex) into dst (complex, state.M points).
/// Raises EVecError when x's length differs from state.N. dst may be x.
void Czt(TCztState& state, TVec& dst, const TVec& x);

/// One-off transform: prepares a state and transforms (see the file comment for w and a).
void Czt(TVec& dst, const TVec& x, int m, TCplx w, TCplx a = TCplx(1.0, 0.0));

/// One-off zoom transform of x, m points from fStart in steps of fStep (Hz), on the unit circle.
void CztZoom(TVec& dst, const TVec& x, double fStart, double fStep, double fs, int m);

}  // namespace ondrix
