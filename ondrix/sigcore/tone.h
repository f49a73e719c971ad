// Phase-continuous oscillators: sine / complex exponential tones and triangle waves.
//
// Frequencies are normalised (cycles per sample, f = Hz / sampling frequency), phases are in
// radians. Each oscillator keeps its position in a small state record, so a tone generated in
// blocks equals the same tone generated in one block (to rounding, well below 1e-12).
#pragma once

#include "ondrix/vec/TVec.h"

namespace ondrix {

/// State of a tone. Phase is kept in cycles, and products f·n are reduced exactly (fma), so the
/// phase stays exact to rounding however long the tone runs.
struct TToneState {
  double Cycle = 0.0;  ///< phase of the next sample in cycles, in [0, 1)
  double Step = 0.0;   ///< cycles per sample (the normalised frequency, wrapped to [0, 1))
  double Mag = 0.0;    ///< amplitude
  double Complex = 0;  ///< 1 for a complex tone, 0 for a real one
};
static_assert(sizeof(TToneState) == 32);

/// State of a triangle wave: position within the period in cycles.
struct TTriangleState {
  double Cycle = 0.0;  ///< position of the next sample within the period, in [0, 1)
  double Step = 0.0;   ///< cycles per sample (the normalised frequency)
  double Mag = 0.0;    ///< amplitude
  double Rise = 0.5;   ///< fraction of the period spent rising, in [0, 1]
  double Complex = 0;  ///< 1 for a complex wave, 0 for a real one
};
static_assert(sizeof(TTriangleState) == 40);

/// Wraps an angle in radians into (-π, π].
double FixAngle(double angle);

/// Wraps a normalised frequency onto the unit circle: into [0, 1) for a complex signal; for a
/// real signal further folded into [0, 0.5] (f and 1 − f alias to the same real tone).
double CircularFrequency(double f, bool complex);

/// Prepares a tone of normalised frequency f, start phase phi (radians) and magnitude mag.
/// The real tone is mag·sin(2π·f·n + phi); the complex tone is mag·exp(i·(2π·f·n + phi)).
void ToneInit(double f, double phi, double mag, TToneState& state, bool complex);

/// Fills dst (its length and complex flag are kept; the flag must match the state) with the
/// next dst.Length() samples of the tone and advances the state.
void Tone(TVec& dst, TToneState& state);

/// Prepares a triangle wave of normalised frequency f, start phase phi (radians, 2π = one
/// period) and magnitude mag. The shape value `skew` in [-1, 1] (clamped) sets the fraction of
/// the period spent rising, Rise = (1 + skew) / 2: 0 gives a symmetric triangle, 1 a rising
/// sawtooth, −1 a falling one. With phi = 0 the wave starts at 0 in the middle of its rise,
/// like a sine. The complex wave carries that wave in its imaginary part and the same wave a
/// quarter period ahead in its real part, so it turns like exp(i·θ) does for the sine.
void TriangleToneInit(double f, double phi, double mag, double skew, TTriangleState& state,
                      bool complex);

/// Fills dst with the next dst.Length() samples of the triangle and advances the state.
void TriangleTone(TVec& dst, TTriangleState& state);

}  // namespace ondrix
