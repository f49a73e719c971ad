// One FIR stage that halves or doubles the sampling rate (or keeps it), streaming, with real
// taps on real or complex data. The two polyphase branches run as single-rate filters over
// contiguous half-rate streams, vectorised across outputs, and taps that are exactly zero at
// a branch's ends cost nothing: a half-band filter's second branch is one scaled copy.
//
// The streams are those of scipy.signal.upfirdn with phase 0, without its tail:
// - down: y[m] = Σ_i h[i]·x[2m − i]  (outputs as x[2m] arrives);
// - up:   y[t] = Σ_i h[i]·u[t − i], u[2m] = x[m], u[2m + 1] = 0  (two outputs per input);
// - same: y[m] = Σ_i h[i]·x[m − i].
// Each output is summed by the same operations wherever it falls in a block, so any block
// split gives bit-identical output. The state starts at rest (past input 0).
#pragma once

#include <vector>

#include "ondrix/vec/TVec.h"

namespace ondrix {

/// The rate change of a TRate2State.
enum TRate2Mode { r2Down, r2Up, r2Same };

/// State of one stage; set up by Rate2Init, advanced by Rate2Filter. Fields are read-only for
/// users.
struct TRate2State {
  /// One polyphase branch: the taps h[s] of the branch (s the delay in branch samples)
  /// between its first and last non-zero one, reversed for a forward run over the line.
  struct TBranch {
    std::vector<double> Rev;  ///< h[Last], h[Last − 1], ..., h[First]
    int Last = -1;            ///< largest delay with a non-zero tap; −1: the branch is all zero
    std::vector<double> Line; ///< Hist past samples (oldest first), then the samples of a block
  };
  TRate2Mode Mode = r2Same;
  int TapCount = 0;      ///< taps given to Rate2Init (0 before)
  bool Complex = false;  ///< the data seen so far are complex (set by the data)
  int Hist = 0;          ///< past samples each line keeps
  bool OddNext = false;  ///< down: the next input sample has an odd index (a branch-1 sample)
  TBranch Branch[2];     ///< down: even / odd input samples; up: even / odd outputs; same: [0]
  std::vector<double> Scratch;
};

/// Prepares state for real taps (at least one) and the mode; raises EVecError for complex or
/// empty taps.
void Rate2Init(const TVec& taps, TRate2State& state, TRate2Mode mode);

/// Filters the next block src into dst (resized; complex once the data have been complex, a
/// real block after complex ones being taken as complex). dst must not be src. Allocates
/// nothing once a block of the largest length has passed.
void Rate2Filter(const TVec& src, TVec& dst, TRate2State& state);

/// Number of outputs Rate2Filter gives for the next block of n inputs.
int Rate2OutputLength(const TRate2State& state, int n);

/// Returns the lines to rest and the phase to its start, keeping the taps.
void Rate2Reset(TRate2State& state);

}  // namespace ondrix
