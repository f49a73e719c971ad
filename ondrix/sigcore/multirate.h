// Rate change by powers of two: equiripple designs of the stage filters and a cascade of 2:1
// FIR stages whose state carries over from block to block.
//
// Frequencies are on the scale fs = 2 (the Nyquist frequency of the rate the filter runs at
// is 1). Ripples are linear deviations δ: a lowpass stays within 1 ± δ in its pass band and
// below δ (−20·log10 δ dB) in its stop band.
#pragma once

#include <vector>

#include "ondrix/sigcore/rate2_state.h"
#include "ondrix/vec/TVec.h"

namespace ondrix {

/// Equiripple linear-phase lowpass (scipy.signal.remez with pass band [0, pass], stop band
/// [stop, 1], fs = 2, equal weights) of the shortest odd length whose response is measured to
/// stay within `ripple` in both bands (searched from Herrmann's estimate down and up). With trimZeroEnds, a
/// first tap below 2.220446049250313e-14 in magnitude (half-band designs of length 4k + 1 end
/// in zeros) drops one tap at each end. Edges symmetric about 0.5 give a half-band filter:
/// the design is projected onto that form (centre tap 1/2, taps at even distances from it
/// exactly 0; the exchange's grid leaves them near it only), so the stages skip the zeros and
/// the measured ripple is that of the projected taps. Raises EVecError for
/// edges outside 0 < pass < stop < 1, a ripple outside (0, 1), or a design beyond 10000 taps.
void MultiRateLowpass(TVec& taps, double pass, double stop, double ripple, bool trimZeroEnds);

/// The half-band lowpass of the cascade's inner stages: MultiRateLowpass(0.25, 0.75).
void HalfBandLowpass(TVec& taps, double ripple, bool trimZeroEnds);

/// Equiripple Hilbert transformer (RemezImpulse ritHilbert, −90°) over [transBW, 1 − transBW]
/// of the shortest odd length whose gain stays within 1 ± ripple there; odd lengths delay by
/// a whole number of samples, (length − 1)/2. Raises EVecError for transBW outside (0, 0.5).
void HilbertTransformer(TVec& taps, double transBW, double ripple);

/// Largest deviation of a linear-phase lowpass from 1 on [0, pass] and from 0 on [stop, 1]
/// (fs = 2), measured on a dense grid: the δ the taps achieve.
double LowpassDeviation(const TVec& taps, double pass, double stop);

/// How a cascade changes the rate.
enum TCascadeMode {
  cmDecimate,             ///< every stage keeps every second sample
  cmDecimateFilterLast,   ///< as cmDecimate, but the last stage filters without the rate change
  cmInterpolate           ///< every stage inserts a zero after each sample and filters
};

/// A cascade of FIR stages, each changing the rate by 2 (TRate2State). Decimation runs
/// the inner (half-band) stages first and the last-stage filter at the lowest rate; the
/// interpolator mirrors it, so the last-stage filter, which sets the transition band, runs at
/// the low-rate end in both directions. Interpolating stages filter with twice their taps,
/// which restores the amplitude that zero insertion halves.
///
/// Decimation may take the magnitude |x| (times π/2, so that a steady tone reads its
/// amplitude after the low-pass) ahead of one stage: RectifyAt = s ≥ 0 rectifies the input of
/// stage s (s = Stages: the output); −1 never.
///
/// Fields are read-only for users; CascadeInit sets them up.
struct TRateCascade {
  TCascadeMode Mode = cmDecimate;
  int Stages = 0;
  int RectifyAt = -1;
  std::vector<TRate2State> State;  ///< the stages in processing order
  std::vector<TVec> Work;      ///< each stage's output but the last's
  TVec Rectified;              ///< the rectified input (RectifyAt = 0)
  double Delay = 0;            ///< see CascadeDelay
};

/// Sets up `stages` stages (0: the cascade copies its input) from the half-band taps and the
/// last-stage taps (real); the delay lines start at rest. rectifyAt applies to the
/// decimating modes only (see TRateCascade).
void CascadeInit(TRateCascade& c, TCascadeMode mode, int stages, const TVec& halfBand, const TVec& lastStage,
                 int rectifyAt = -1);

/// Runs the next block through the cascade into dst (resized; complex when the data or taps
/// are). The stream cut into blocks of any lengths gives the output of the whole stream.
/// Allocates nothing once blocks of the largest length have passed. dst must not be src.
void CascadeFilter(const TVec& src, TVec& dst, TRateCascade& c);

/// The group delay through the cascade in input samples: output sample j stands for the input
/// at time j·Fo − Delay, where Fo is the number of input samples per output sample (the
/// factor when decimating, its inverse when interpolating). Each linear-phase stage of N taps
/// adds (N − 1)/2 samples at the rate its filter runs at.
double CascadeDelay(const TRateCascade& c);
/// The same for a cascade not yet built, from the tap counts of its two designs.
double CascadeDelay(TCascadeMode mode, int stages, int halfBandTaps, int lastStageTaps);

/// Returns every stage to rest, keeping taps and mode.
void CascadeReset(TRateCascade& c);

}  // namespace ondrix
