// Analog lowpass prototypes of the classic IIR filter families, cut-off 1 rad/s, as
// zeros/poles/gain in the s-plane (TZeroPole with Analog = true). They equal
// scipy.signal.buttap, cheb1ap, cheb2ap, ellipap and besselap.
//
// Ripples and attenuations are in dB (positive numbers). Each raises EVecError for an order
// outside 1..kMaxIirOrder or a ripple that does not make sense.
#pragma once

#include "ondrix/sigcore/zero_pole.h"

namespace ondrix {

/// Largest order the IIR design routines accept.
inline constexpr int kMaxIirOrder = 50;

/// Frequency normalisation of the Bessel prototype (scipy.signal.besselap's `norm`).
enum TBesselNorm {
  bnPhase = 0,  ///< phase response reaches half its high-frequency value (−N·45°) at 1 rad/s;
                ///< magnitude asymptotes as the Butterworth filter's (SciPy's default)
  bnDelay = 1,  ///< group delay 1 s at DC
  bnMag = 2     ///< gain −3.01 dB at 1 rad/s
};

/// Butterworth: maximally flat, −3.01 dB at 1 rad/s.
TZeroPole ButterPrototype(int order);

/// Chebyshev type I: equiripple passband of rp dB up to 1 rad/s, where the gain first
/// drops below −rp.
TZeroPole ChebyshevIPrototype(int order, double rp);

/// Chebyshev type II: equiripple stopband rs dB down from 1 rad/s on, where the gain first
/// reaches −rs.
TZeroPole ChebyshevIIPrototype(int order, double rs);

/// Elliptic (Cauer): rp dB passband ripple up to 1 rad/s, stopband rs dB down. Raises
/// EVecError when rp and rs leave no room for a filter (rs not above rp).
TZeroPole EllipticPrototype(int order, double rp, double rs);

/// Bessel-Thomson: maximally flat group delay, normalised as `norm` says. The poles come
/// from the zeros of the Bessel polynomial, found by the Aberth iteration on binary128
/// arithmetic; above order 40 these zeros are so ill-conditioned that they are accurate to
/// about 1e-8 relative only (still a stable filter of the intended response).
TZeroPole BesselPrototype(int order, TBesselNorm norm = bnPhase);

}  // namespace ondrix
