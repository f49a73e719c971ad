// Windowed FIR design: lowpass, highpass, bandpass and bandstop filters by the windowed sinc
// method (scipy.signal.firwin), the Kaiser length and β rules (scipy.signal.kaiserord), and
// windowed differentiators and Hilbert transformers.
//
// Frequencies: in the units of fs, the sampling frequency; the default fs = 2 makes them
// fractions of the Nyquist frequency, as in SciPy. Taps are ordered for convolution (tap 0
// multiplies the newest sample), all designs are linear phase with their centre at
// (Length − 1)/2.
#pragma once

#include <vector>

#include "ondrix/sigcore/filter_types.h"
#include "ondrix/sigcore/windows.h"
#include "ondrix/vec/TVec.h"

namespace ondrix {

/// Multiplies taps by the symmetric window `window` of their length, with the design
/// parameter param read as: wtKaiser β (≥ 0); wtChebyshev sidelobe attenuation in dB (sign
/// ignored; 0 means 40 dB); wtBlackman α (sign ignored; 0 means the classic 0.16);
/// wtCosineTapered the tapered percentage (≤ 0 means 20 %); wtExponent the end power (outside
/// (0, 1] means 0.01). The other windows have no parameter.
void ApplyDesignWindow(TVec& taps, TSignalWindowType window, double param);

/// Windowed-sinc filter of taps.Length() taps (≥ 1), normalised to unit gain at DC
/// (lowpass, bandstop), at Nyquist (highpass) or at the passband centre (bandpass), exactly
/// as scipy.signal.firwin(scale=True).
///
/// `edges` gives the cut-offs directly (one value for lowpass / highpass, two for bandpass /
/// bandstop) or as transition bands whose mid-points are the cut-offs (two values for
/// lowpass / highpass, four for bandpass / bandstop), in ascending order within (0, fs/2).
/// Highpass and bandstop filters need a gain at Nyquist, which even lengths cannot give: an
/// even taps.Length() is raised by one for them. Raises EVecError for a bad edge list.
void FirImpulse(TVec& taps, const std::vector<double>& edges, double fs, TSignalWindowType window,
                TFilterType type, double windowParam);

/// Kaiser's estimate of the length of a windowed filter whose ripple is delta (linear, the
/// stopband gain and the passband deviation, 0 < delta < 1) over transition bands given as
/// ascending edge pairs [e0, e1] or [e0, e1, e2, e3]: the largest of
/// ceil((A − 7.95)/(2.285·π·Δ) + 1) over the pairs, A = −20·log10(delta) dB and Δ the
/// width as a fraction of Nyquist (scipy.signal.kaiserord). At least 1.
int KaiserFirLength(const std::vector<double>& edges, double delta, double fs = 2.0);

/// Kaiser β for a windowed filter of ripple delta (linear): with A = −20·log10(delta),
/// 0.1102·(A − 8.7) above 50 dB, 0.5842·(A − 21)^0.4 + 0.07886·(A − 21) from 21 to 50 dB,
/// else 0 (scipy.signal.kaiser_beta).
double KaiserBetaFir(double delta);

/// Windowed differentiator of taps.Length() taps: the ideal response j·ω (ω in rad/sample,
/// so the output is the derivative per sample; multiply by the sampling rate for per second)
/// up to `cutoff` and 0 above, times the window. cutoff ≤ 0 means fs/2 (full band). Odd
/// lengths have a zero at Nyquist; even lengths (half-sample delay) do not and suit full-band
/// differentiators best.
void FirDifferentiator(TVec& taps, TSignalWindowType window, double windowParam,
                       double cutoff = 0.0, double fs = 2.0);

/// Windowed Hilbert transformer of taps.Length() taps: the ideal response −j·sign(ω) (it
/// turns cos into sin) over the band [f1, f2] and 0 outside, times the window; f2 ≤ 0 means
/// fs/2. Odd lengths are zero at DC and Nyquist and have every other tap 0 for the full band.
void FirHilbert(TVec& taps, TSignalWindowType window, double windowParam, double f1 = 0.0,
                double f2 = 0.0, double fs = 2.0);

}  // namespace ondrix
