// Frequency responses of filters in each representation, evaluated at given frequencies,
// for checking and reporting designs.
//
// Frequencies: digital responses take frequencies in the units of fs, the sampling
// frequency (fs = 2: fractions of the Nyquist frequency, as scipy.signal.freqz with fs = 2);
// analog ones (TZeroPole with Analog = true) take rad/s. Results are complex.
#pragma once

#include <span>

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

/// A band of a design, and what CheckBands found in it.
struct TBandCheck {
  double FreqStart = 0, FreqStop = 0;  ///< edges, in the units of the grid
  bool Stop = false;                   ///< a stopband, else a passband
  /// Passband: the peak-to-peak ripple allowed; stopband: the attenuation required (dB).
  double Specified = 0;
  bool Sampled = false;  ///< the grid has points in [FreqStart, FreqStop]
  /// Passband: the peak-to-peak ripple of the gain over the band; stopband: the highest
  /// passband gain minus the band's highest gain (dB).
  double Achieved = 0;
  bool Met = false;  ///< Achieved within Specified, give or take kBandCheckSlackDb
};

/// Slack of the verdict of CheckBands, dB: a band that misses by less still counts as met.
inline constexpr double kBandCheckSlackDb = 0.01;

/// Checks a response given as gains in dB (db) at the frequencies of a grid (freqs) against
/// bands. The highest passband gain is taken over the grid points of every passband (−1e300
/// dB when there are none). A band holding no grid point stays unsampled and unmet.
void CheckBands(const TVec& freqs, const TVec& db, std::span<TBandCheck> bands);

}  // namespace ondrix
