// Representations of a linear filter and the conversions between them: zeros/poles/gain,
// second-order sections, numerator/denominator and state space.
//
// Conventions are SciPy's. A digital numerator/denominator pair holds the coefficients of
// powers of z⁻¹ from z⁰ up, as lfilter's b and a (a[0] normalised to 1 by the designs).
// Second-order sections are rows of six values [b0 b1 b2 a0 a1 a2] (scipy's sos layout, a0 = 1),
// stored one after the other in a real TVec of 6·sections values. Analog filters hold powers
// of s from the highest down, zeros and poles in rad/s.
#pragma once

#include <vector>

#include "ondrix/vec/TMtx.h"
#include "ondrix/vec/TVec.h"

namespace ondrix {

/// Zeros, poles and gain of a filter: H = Gain · Π(x − z) / Π(x − p), x = z or s. Complex
/// values come in conjugate pairs for real filters.
struct TZeroPole {
  std::vector<TCplx> Zeros;
  std::vector<TCplx> Poles;
  double Gain = 1.0;
  bool Analog = false;  ///< s-plane (rad/s) instead of z-plane
};

/// Second-order sections of a zero-pole-gain filter. Digital filters get zeros at the origin
/// added to match the poles' count (and one pair more for an odd count), as scipy.zpk2sos.
/// Pairing: the pole closest to the unit circle (or, analog, to the imaginary axis) goes with
/// its conjugate and the nearest zeros, and its section is placed last; the gain goes into
/// the first section. The ordering and pairing may differ from SciPy's; the response is the
/// same. An empty filter gives one section [Gain 0 0 1 0 0].
void ZeroPoleToSos(const TZeroPole& zp, TVec& sos);

/// Numerator and denominator of a zero-pole-gain filter (scipy.signal.zpk2tf): num = Gain ·
/// poly(Zeros), den = poly(Poles), both real.
void ZeroPoleToTransferFun(const TZeroPole& zp, TVec& num, TVec& den);

/// State-space matrices of a zero-pole-gain filter, through its transfer function
/// (scipy.signal.zpk2ss).
void ZeroPoleToStateSpace(const TZeroPole& zp, TMtx& a, TMtx& b, TMtx& c, TMtx& d);

/// Zeros and poles as complex TVecs.
void ZeroPoleToVec(const TZeroPole& zp, TVec& zeros, TVec& poles);

/// Zeros, poles and gain of a real numerator/denominator pair (scipy.signal.tf2zpk), with
/// leading zeros of num dropped. Digital filters (analog = false) are read in powers of z⁻¹:
/// the shorter vector is padded with zeros at its end first, so that z = 0 appears as a zero
/// or pole where the degrees differ. Raises EVecError for an all-zero den.
TZeroPole TransferFunToZeroPole(const TVec& num, const TVec& den, bool analog = false);

/// TransferFunToZeroPole with the results in complex TVecs and a double.
void TransferFunToZeroPole(const TVec& num, const TVec& den, TVec& zeros, TVec& poles,
                           double& gain, bool analog = false);

/// State-space matrices (controller canonical form) of a transfer function, exactly as
/// scipy.signal.tf2ss: den is normalised by its first non-zero value and num is padded at the
/// front to den's length. A is n×n, B n×1, C 1×n, D 1×1 for n = Length(den) − 1 (A, B, C are
/// 1×1, 1×1 and 1×1 zeros for a static gain). Raises EVecError when num is longer than den.
void TransferFunToStateSpace(const TVec& num, const TVec& den, TMtx& a, TMtx& b, TMtx& c,
                             TMtx& d);

/// Second-order sections of a digital numerator/denominator pair, through its zeros and poles.
void TransferFunToSos(const TVec& num, const TVec& den, TVec& sos);

/// Zeros, poles and gain of second-order sections (scipy.signal.sos2zpk); sections of lower
/// degree (b2 = a2 = 0) contribute zeros and poles at the origin as SciPy's do.
TZeroPole SosToZeroPole(const TVec& sos);

/// Number of sections of an sos vector; raises EVecError unless its length is a positive
/// multiple of 6 and it is real.
int SosSections(const TVec& sos);

}  // namespace ondrix
