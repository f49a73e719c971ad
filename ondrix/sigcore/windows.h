// Window functions for spectral analysis and filter design.
//
// Every generator multiplies the vector it is given, element by element, by the window of the
// vector's length: a vector of ones becomes the window itself, a frame becomes the windowed
// frame. A complex vector has each complex element scaled by the (real) window value. A vector
// of length 0 is left alone and one of length 1 is left as it is (each window is 1 there).
//
// Sampling. By default a window is periodic (DFT-even): sample n of N sits at t = n / N of one
// period, i.e. it is the symmetric window of N + 1 points without its last point. This is the
// form for spectral analysis: the cosine-sum windows then have a mean of exactly their constant
// term, so the amplitude corrections of WindowTableScaleFactor hold for every frame length.
// With symmetric = true sample n sits at t = n / (N − 1) (the form for FIR design). Both forms
// equal scipy.signal.windows' sym=False / sym=True windows where SciPy has the same window.
#pragma once

#include "ondrix/vec/TVec.h"

namespace ondrix {

/// The window types of the analyzers, numbered as stored in settings files.
enum TSignalWindowType {
  wtRectangular = 0,
  wtHanning = 1,
  wtHamming = 2,
  wtFlatTop = 3,
  wtBartlett = 4,
  wtBlackman = 5,
  wtBlackmanHarris = 6,
  wtBlackmanExact = 7,
  wtCosineTapered = 8,
  wtKaiser = 9,
  wtChebyshev = 10,
  wtExponent = 11
};

/// Number of TSignalWindowType values.
inline constexpr int SignalWindowTypeCount = 12;

/// Hann window 0.5 − 0.5·cos(2πt). Mean exactly 0.5 (N ≥ 2, periodic).
void Hanning(TVec& w, bool symmetric = false);

/// Hamming window 0.54 − 0.46·cos(2πt). Mean exactly 0.54 (N ≥ 2, periodic).
void Hamming(TVec& w, bool symmetric = false);

/// Three-term flat-top window 0.2810639 − 0.5208972·cos(2πt) + 0.1980399·cos(4πt): the flat
/// top of classic instrument software, scalloping loss below 0.02 dB. Mean exactly 0.2810639
/// (N ≥ 3, periodic). SciPy's `flattop` is a different, five-term window.
void FlatTop(TVec& w, bool symmetric = false);

/// Triangular (Bartlett) window 1 − |2t − 1|, zero at t = 0 (scipy.signal.windows.bartlett).
/// Mean exactly 0.5 for even N (periodic); 0.5 − 1/(2N²) for odd N.
void Bartlett(TVec& w, bool symmetric = false);

/// Generalised Blackman window (1 − α)/2 − ½·cos(2πt) + (α/2)·cos(4πt), with α = |alpha|:
/// the sign of alpha is not read, because the analyzers pass −0.16 for the classic Blackman
/// window (α = 0.16: 0.42 / 0.5 / 0.08, mean exactly 0.42 for N ≥ 3, periodic). α = 0 gives
/// the Hann window.
void Blackman(TVec& w, double alpha = 0.16, bool symmetric = false);

/// Three-term Blackman-Harris window (−67 dB sidelobes, Harris 1978):
/// 0.42323 − 0.49755·cos(2πt) + 0.07922·cos(4πt). Mean exactly 0.42323 (N ≥ 3, periodic).
/// SciPy's `blackmanharris` is the four-term window.
void BlackmanHarris(TVec& w, bool symmetric = false);

/// Exact Blackman window, coefficients 7938/18608, 9240/18608, 1430/18608 (zeros placed on the
/// third and fourth sidelobes). Mean exactly 7938/18608 (N ≥ 3, periodic).
void BlackmanExact(TVec& w, bool symmetric = false);

/// Cosine-tapered (Tukey) window: `percent` per cent of the window in total is tapered by a
/// half cosine, half of it at each end; the middle is flat. 0 gives the rectangular window,
/// 100 (or more) the Hann window. Equals scipy.signal.windows.tukey(N, percent / 100).
void CosineTappered(TVec& w, double percent, bool symmetric = false);

/// Kaiser window I0(β·√(1 − (2t − 1)²)) / I0(β) (scipy.signal.windows.kaiser).
void Kaiser(TVec& w, double beta, bool symmetric = false);

/// Dolph-Chebyshev window whose sidelobes all lie attenuationDb below the main lobe (the sign
/// of attenuationDb is not read), normalised to a peak of 1 (scipy.signal.windows.chebwin).
void Chebyshev(TVec& w, double attenuationDb, bool symmetric = false);

/// Exponentially decaying window with the envelope e^(−a·t), 0 ≤ t ≤ 1, whose power falls
/// to `param` at the end of the frame: a = ½·ln(1/param) (param = 0.01: the amplitude falls to
/// 0.1, −20 dB). Periodic form: sample n is the mean of the envelope over its sampling
/// interval [n/N, (n + 1)/N], that is e^(−a·n/N)·(1 − e^(−a/N))/(a/N). The window's mean is
/// then (1 − e^(−a))/a for every N (0.390865 at param = 0.01); sampled without this averaging
/// the mean would change with N by up to a/(2N). Symmetric form: e^(−a·n/(N − 1)) as it is.
/// param must lie in (0, 1]; 1 gives the rectangular window.
void ExponentWindow(TVec& w, double param, bool symmetric = false);

/// Kaiser β of the window whose highest sidelobe lies attenuationDb below its main lobe
/// (Kaiser & Schafer 1980, within 0.5 dB from 15 to 140 dB):
/// 0 below 13.26 dB, 0.76609·(A − 13.26)^0.4 + 0.09834·(A − 13.26) up to 60 dB,
/// 0.12438·(A + 6.3) above. This is the spectral-analysis relation, not the one for the
/// stopband of a windowed FIR filter.
double KaiserBetaWindowAtt(double attenuationDb);

/// Amplitude correction (reciprocal of the mean) of the windows whose correction is a fixed
/// constant of the analyzers: rectangular 1.0, Hanning 2.0, Hamming 1.85185185, FlatTop
/// 3.55790978, Bartlett 2.0, Blackman 2.38095238, BlackmanHarris 2.362782, BlackmanExact
/// 2.344168, Exponent 2.55832615. Returns 0 for the cosine-tapered, Kaiser and Chebyshev
/// windows, whose correction depends on their parameter and is computed on generation.
/// The reciprocal means of the generated windows agree with these constants to the printed
/// digits except for: BlackmanHarris 2.3627815 and BlackmanExact 2.3441673 (the constants are
/// one unit high in their last digit) and Exponent 2.5584279 at param 0.01 (the constant is
/// 4·10⁻⁵ lower).
double WindowTableScaleFactor(TSignalWindowType type);

/// Mean of a window (real vector); 0 for an empty one.
double WindowMean(const TVec& w);

/// Amplitude correction of a window: Length / Σ w (the reciprocal of its coherent gain).
/// Raises EVecError for an empty window or a zero sum.
double WindowScaleFactor(const TVec& w);

/// Equivalent noise bandwidth of a window, in lines of a transform of the window's length:
/// N·Σw²/(Σw)² (rectangular 1, Hann 1.5); 1 for an empty window or a zero sum.
double WindowEnbw(const TVec& w);

/// Sizes w to `length` real values, fills it with ones and applies the window of the given
/// type as the analyzers do: Blackman with −0.16, the cosine taper with 20 %, Kaiser with
/// β = KaiserBetaWindowAtt(sidelobeAtt), Chebyshev with sidelobeAtt, the exponential window
/// with expWindow. Returns the amplitude correction WindowScaleFactor(w) (1 for length 0).
double GenerateWindow(TSignalWindowType type, TVec& w, int length, double sidelobeAtt = 40.0,
                      double expWindow = 0.01, bool symmetric = false);

/// Multiplies w by the window of the given type as GenerateWindow does, keeping w's length
/// and complex flag.
void ApplyWindowType(TSignalWindowType type, TVec& w, double sidelobeAtt = 40.0,
                     double expWindow = 0.01, bool symmetric = false);

}  // namespace ondrix
