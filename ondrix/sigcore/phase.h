// Phase unwrapping and group delay of spectra.
//
// Phase spectra here are sampled on the bins of a DFT in order of rising frequency, with the
// library's forward transform X[k] = Σ x[n]·e^(−2πi·kn/N): a frame delayed by d samples has
// the phase −2π·k·d/N, falling by 2π·d/N per bin.
#pragma once

#include "ondrix/vec/TVec.h"

namespace ondrix {

/// How PhaseUnwrap chooses between the 2π-branches of each bin. In every mode the first bin
/// is kept and each later bin is moved by a whole number of periods so that its increment
/// over the previous (already unwrapped) bin falls in a window one period wide; the modes
/// differ in the centre of that window.
enum TRunningPhase {
  /// Centre 0: increments within ± half a period (numpy.unwrap). The zero-padding factor is
  /// not used.
  rpNearest = 0,
  /// Centre −halfPeriod / zeroPaddingFactor: the mean slope of a causal frame. A frame of L
  /// samples transformed on N points (zeroPaddingFactor = N / (L − 1)) has its delays in
  /// 0 .. L − 1, so its phase falls by 0 .. 2·halfPeriod / zeroPaddingFactor per bin; centring
  /// the window on the middle of that range unwraps every pure delay of the frame exactly,
  /// even without zero padding, where rpNearest fails for delays above N/2. With much zero
  /// padding it approaches rpNearest. The default of the analyzers.
  rpRunning = 1,
  /// Centre: the previous increment (the running slope). Follows phases whose slope changes
  /// slowly whatever its size, such as a long delay plus a smooth response; a single wrong
  /// choice, however, carries on into the following bins.
  rpSlope = 2
};

/// Unwraps a phase spectrum in place (see TRunningPhase). The phase is in degrees when
/// `degrees` is set, else in radians. halfPeriod is half the wrapping period in degrees
/// (180 for phase; 90 for a quantity that wraps every π) and is converted to radians for a
/// phase in radians. zeroPaddingFactor (> 0) is the number of bins per unit of delay range,
/// N / (L − 1) for an L-sample frame on an N-point transform; it is read by rpRunning only.
/// Non-finite values are left as they are and skipped.
void PhaseUnwrap(TVec& phase, TRunningPhase runningPhase, double halfPeriod, bool degrees,
                 double zeroPaddingFactor);

/// Scratch of GroupDelay, to keep repeated calls from allocating.
struct TGroupDelayState {
  TVec X, XN;  ///< spectra of the data and of the time-weighted data
  TVec Tmp;    ///< group delay of the input while the output's is computed
};

/// Group delay in samples, −dφ/dω, of the sequence `input` (real or complex), or, when
/// `output` is given, of the transfer function Output / Input (the output's group delay minus
/// the input's). Computed exactly on the bins ω_k = 2π·k/N, k = 0 .. N−1, with N =
/// LargestExp2(longest data length) × max(zeroPadding, 1), by the time-weighting formula
///     τ(ω) = Re{ DFT(n·x[n]) · conj(DFT(x)) } / |DFT(x)|²
/// (scipy.signal.group_delay evaluated on the same bins). Bins where |DFT(x)| is at rounding
/// level of its largest value have no defined delay and get 0. dst: real, N values.
void GroupDelay(TVec& dst, const TVec& input, const TVec* output, int zeroPadding,
                TGroupDelayState& state);
void GroupDelay(TVec& dst, const TVec& input, const TVec* output, int zeroPadding);

/// Group delay in samples from a phase spectrum: the phase (radians, or degrees when
/// `degrees`) is unwrapped with rpNearest and differentiated by central differences (one-sided
/// at both ends), τ = −Δφ/Δω, with binWidth the spacing of the bins in cycles per sample
/// (1/N for the bins of an N-point DFT). Exact for a linear phase; for a smooth phase the
/// error is of order binWidth². dst may be phase; it gets phase's length.
void GroupDelayFromPhase(TVec& dst, const TVec& phase, double binWidth, bool degrees = false);

}  // namespace ondrix
