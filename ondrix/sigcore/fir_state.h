// Streaming FIR filtering with optional rational rate change (polyphase up-sampling and
// down-sampling with phases), for real or complex taps and data. The delay line lives in the
// state, so a stream filtered block by block gives the samples of the whole stream filtered
// at once, whatever the block sizes (bit for bit but for the FFT path below).
//
// The output stream is y[j] = v[down·j + downPhase], where v = h ∗ u is the convolution of the
// taps with the up-sampled input u[up·i + upPhase] = x[i] (zeros elsewhere). The state starts
// at rest (all past input 0). After n inputs in total, the outputs are those with
// down·j + downPhase < up·n: each block returns the outputs its input completes. With
// phases 0 the stream is scipy.signal.upfirdn(h, x, up, down) without its tail.
//
// Single-rate filters sum each output directly (vectorised; bit-identical for any block
// split). From 80 real taps on, long blocks of real data are filtered by FFT overlap-save
// instead; its outputs agree with the direct sums, and across block splits, to rounding
// (about 1e-15 of the signal's scale).
#pragma once

#include <vector>

#include "ondrix/vec/TVec.h"

namespace ondrix {

/// State of a streaming FIR filter; set up by FirInit, advanced by FirFilter / FirOneSample.
/// Fields are read-only for users.
struct TFirState {
  int UpFactor = 1;             ///< interpolation factor (≥ 1)
  int UpPhase = 0;              ///< up-sampler phase, 0 .. UpFactor − 1
  int DownFactor = 1;           ///< decimation factor (≥ 1)
  int DownPhase = 0;            ///< down-sampler phase, 0 .. DownFactor − 1
  bool ComplexImpulse = false;  ///< the taps are complex
  int TapCount = 0;             ///< number of taps (0 before FirInit)
  bool ComplexData = false;     ///< the delay line holds complex samples (set by the data)

  // Internal. Polyphase sub-filters (reversed, SubLength taps each, interleaved when
  // complex), the delay line (SubLength past inputs, oldest first, followed by room for a
  // block) and the position of the next output.
  std::vector<double> Poly;
  int SubLength = 0;
  std::vector<double> Line;
  long long NextOut = 0;  ///< up-sampled index of the next output, relative to the next block
  // Overlap-save path of long single-rate real filters: FFT size (0: not used), the taps'
  // spectrum (scaled by 1/FftSize) and the frame buffers.
  int FftSize = 0;
  std::vector<double> TapSpectrum, FftFrame, FftSpec;
};

/// Prepares state for the taps (real or complex, at least one) and the rate change. Factors
/// below 1 are taken as 1 and phases are clamped into 0 .. factor − 1. The delay line starts
/// at rest; its data type (real or complex) follows the first block filtered.
void FirInit(const TVec& taps, TFirState& state, int upFactor = 1, int upPhase = 0,
             int downFactor = 1, int downPhase = 0);

/// Filters the next block src into dst (resized): dst is complex when the taps or the data
/// (now or earlier) are complex, real otherwise. A complex block after real ones turns the
/// delay line complex; real blocks after that are filtered as complex. dst may be src.
/// Raises EVecError when state was not initialised.
void FirFilter(const TVec& src, TVec& dst, TFirState& state);

/// The same for plain arrays, without copies: n real inputs at src give n outputs at dst,
/// which must not overlap src. For real taps without rate change and a delay line that is
/// still real; raises EVecError otherwise (or when not initialised).
void FirFilter(const double* src, int n, double* dst, TFirState& state);

/// Number of outputs FirFilter will give for the next block of n inputs.
int FirOutputLength(const TFirState& state, int n);

/// One step of a real single-rate filter: pushes x into the delay line and returns the
/// output, exactly as FirFilter with a one-sample block. Raises EVecError for complex taps or
/// data, or a rate change.
double FirOneSample(double x, TFirState& state);

/// Returns the delay line to rest and the phase to its start, keeping taps and factors.
void FirReset(TFirState& state);

}  // namespace ondrix
