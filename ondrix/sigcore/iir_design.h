// IIR filter design: Butterworth, Chebyshev I and II, elliptic and Bessel filters of any band
// type, a DC blocker and a notch. Each classic design takes an analog lowpass prototype
// (analog_prototype.h) through a frequency transform (iir_transform.h) and returns zeros,
// poles and gain; zero_pole.h turns them into second-order sections, numerator/denominator
// or state space. The designs equal scipy.signal.butter, cheby1, cheby2, ellip and bessel.
//
// Frequencies: in the units of fs, the sampling frequency; with the default fs = 2 they are
// fractions of the Nyquist frequency, as in SciPy. wn holds one critical frequency for
// lowpass and highpass filters and two ascending ones for bandpass and bandstop filters: the
// −3 dB frequency (Butterworth, Bessel bnMag), the passband edge (Chebyshev I, elliptic), the
// stopband edge (Chebyshev II) or the phase mid-point (Bessel bnPhase). Ripples in dB.
#pragma once

#include <vector>

#include "ondrix/sigcore/analog_prototype.h"
#include "ondrix/sigcore/filter_types.h"
#include "ondrix/sigcore/iir_transform.h"
#include "ondrix/sigcore/zero_pole.h"
#include "ondrix/vec/TVec.h"

namespace ondrix {

/// The IIR design methods of the filter components, numbered as stored in settings files.
enum TIirMethod {
  imButterworth = 0,
  imChebyshevI = 1,
  imChebyshevII = 2,
  imElliptic = 3,
  imDcRemoval = 4,  ///< DcFilter at the first critical frequency (order 1)
  imNotch = 5,      ///< NotchFilter at the mean of the first two frequencies (order 1)
  imBessel = 6
};

/// Butterworth filter of the given order (1..kMaxIirOrder).
TZeroPole ButterFilter(int order, const std::vector<double>& wn, TFilterType type,
                       double fs = 2.0, TIIRFrequencyTransform transform = iftBilinear);

/// Chebyshev type I filter with rp dB of passband ripple.
TZeroPole ChebyshevIFilter(int order, double rp, const std::vector<double>& wn, TFilterType type,
                           double fs = 2.0, TIIRFrequencyTransform transform = iftBilinear);

/// Chebyshev type II filter with a stopband rs dB down.
TZeroPole ChebyshevIIFilter(int order, double rs, const std::vector<double>& wn, TFilterType type,
                            double fs = 2.0, TIIRFrequencyTransform transform = iftBilinear);

/// Elliptic (Cauer) filter with rp dB of passband ripple and a stopband rs dB down.
TZeroPole EllipticFilter(int order, double rp, double rs, const std::vector<double>& wn,
                         TFilterType type, double fs = 2.0,
                         TIIRFrequencyTransform transform = iftBilinear);

/// Bessel-Thomson filter; norm as scipy.signal.bessel's (SciPy's default: bnPhase).
TZeroPole BesselFilter(int order, const std::vector<double>& wn, TFilterType type,
                       double fs = 2.0, TIIRFrequencyTransform transform = iftBilinear,
                       TBesselNorm norm = bnPhase);

/// First-order DC blocker H(z) = g·(1 − z⁻¹)/(1 − r·z⁻¹), with r = cos ω / (1 + sin ω),
/// ω = 2π·cutoff/fs, and g = (1 + r)/2: gain 0 at DC, exactly 1 at Nyquist and −3.01 dB at
/// the cut-off. num and den get two values each (den[0] = 1). 0 < cutoff < fs/2.
void DcFilter(TVec& num, TVec& den, double cutoff, double fs = 2.0);

/// Second-order notch at f0 with pole radius `radius` in (0, 1):
/// H(z) = g·(1 − 2cos ω0·z⁻¹ + z⁻²) / (1 − (1 + α)cos ω0·z⁻¹ + α·z⁻²), α = radius²,
/// g = (1 + α)/2, ω0 = 2π·f0/fs. The gain is exactly 0 at f0 and exactly 1 at DC and Nyquist;
/// the −3 dB width is 2·atan((1 − α)/(1 + α)) rad, about 2(1 − radius) rad/sample. This is
/// scipy.signal.iirnotch's filter with α = 2/(1 + tan(bw/2)) − 1. 0 ≤ f0 ≤ fs/2.
void NotchFilter(TVec& num, TVec& den, double f0, double radius, double fs = 2.0);

/// One entry point for the component's designs: the filter of `method` (rp used by
/// Chebyshev I and elliptic, rs by Chebyshev II and elliptic). imDcRemoval uses wn[0] as
/// the cut-off; imNotch the mean of wn[0] and wn[1] (wn[0] alone when there is one) with
/// pole radius notchRadius. The order is ignored by those two.
TZeroPole IirDesign(TIirMethod method, int order, double rp, double rs,
                    const std::vector<double>& wn, TFilterType type, double fs = 2.0,
                    TIIRFrequencyTransform transform = iftBilinear, double notchRadius = 0.9999);

}  // namespace ondrix
