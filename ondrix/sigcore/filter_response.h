// Frequency responses of filters in each representation, evaluated at given frequencies,
// for checking and reporting designs.
//
// Frequencies: digital responses take frequencies in the units of fs, the sampling
// frequency (fs = 2: fractions of the Nyquist frequency, as scipy.signal.freqz with fs = 2);
// analog ones (TZeroPole with Analog = true) take rad/s. Results are complex.
#pragma once

#include "ondrix/sigcore/zero_pole.h"
#include "ondrix/vec/TVec.h"

namespace ondrix {

/// H(e^{jω}) of second-order sections (scipy.signal.sosfreqz) at the real frequencies freqs.
void SosResponse(const TVec& sos, const TVec& freqs, TVec& h, double fs = 2.0);

/// H(e^{jω}) of a numerator/denominator pair in powers of z⁻¹ (scipy.signal.freqz); num and
/// den may be real or complex. An empty den counts as 1.
void TransferFunResponse(const TVec& num, const TVec& den, const TVec& freqs, TVec& h,
                         double fs = 2.0);

/// H of a zero-pole-gain filter: at e^{jω} for a digital one, at jω for an analog one.
void ZeroPoleResponse(const TZeroPole& zp, const TVec& freqs, TVec& h, double fs = 2.0);

/// Gain in dB, 20·log10|h|, of a complex response (real result).
void ResponseDb(const TVec& h, TVec& db);

}  // namespace ondrix
