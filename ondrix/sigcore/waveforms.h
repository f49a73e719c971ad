// Counter-driven waveforms: a trapezoid pulse train, a square wave and a repeating linear
// sweep, and blocks of noise.
//
// Each fill writes dst.Length() samples (a complex dst gets the value + 0i) of a stream that
// starts at sample 0, beginning with sample `start` of it. Consecutive blocks filled from
// start, start + length, ... therefore join into the stream that one long fill gives. Times
// are in seconds and frequencies in Hz, with dt the sampling interval in seconds (any unit
// works when times, 1/frequencies and dt share it).
#pragma once

#include <cstdint>

#include "ondrix/vec/TVec.h"

namespace ondrix {

/// Pulse train, each period rising linearly from 0 to `height` over `rise`, staying there for
/// `high`, falling back over `fall` and resting at 0 for `low` (one period: the sum of the
/// four). start ≥ 0.
void PulseTrain(TVec& dst, std::int64_t start, double dt, double rise, double high, double fall, double low,
                double height);

/// Square wave of frequency f: offset + amplitude in the first half of each period, offset −
/// amplitude in the second, starting phaseDeg degrees into the period. The phase argument is
/// reduced keeping its sign, so a sample whose argument is still negative (a negative
/// phaseDeg, early on) reads offset − amplitude.
void SquareWave(TVec& dst, std::int64_t start, double dt, double f, double phaseDeg, double amplitude,
                double offset);

/// Linear sweep that restarts every sweepLength samples (≥ 1): within a sweep, at sample m,
/// the frequency rises from f0 towards f1 as f0 + (f1 − f0)·m/sweepLength, the amplitude
/// moves linearly from amp0 towards amp1, and the value is amplitude·sin(phase) + offset
/// with phase 0 at m = 0. sweepTime is the sweep's duration in seconds; it sets the
/// frequency scale (scipy.signal.chirp with t1 = sweepTime, method "linear", phi = −90).
/// Raises "Division by zero" for sweepLength 0.
void LinearChirp(TVec& dst, std::int64_t start, double f0, double f1, double amp0, double amp1, double offset,
                 double sweepTime, std::int64_t sweepLength);

/// Distribution of a noise block: Gaussian (mean, standard deviation) or uniform (low, high).
enum TNoiseKind { nkGauss, nkUniform };

/// Seed of noise that restarts every block (the vector library's seed 999).
inline constexpr std::uint32_t kRestartNoiseSeed = 999;

/// Fills dst with a block of noise: Gaussian of mean p0 and standard deviation |p1|, or
/// uniform between p0 and p1. Continuous noise draws on from dst's own random stream, so
/// every block is new; restarting noise is drawn from kRestartNoiseSeed, so every block
/// repeats the same values.
void NoiseBlock(TVec& dst, TNoiseKind kind, double p0, double p1, bool continuous);

}  // namespace ondrix
