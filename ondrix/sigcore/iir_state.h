// Streaming IIR filtering by a cascade of second-order sections, for real or complex data,
// with the section states carried from block to block (scipy.signal.sosfilt with zi kept
// between calls). Sections are rows [b0 b1 b2 a0 a1 a2] (see zero_pole.h), a0 ≠ 0.
#pragma once

#include <vector>

#include "ondrix/vec/TVec.h"

namespace ondrix {

/// State of a second-order-section cascade. Fields are read-only for users.
struct TIirState {
  int Sections = 0;          ///< number of sections (0 before IirInit)
  bool ComplexData = false;  ///< the section states are complex

  // Internal: per section [b0, b1 − a1·b0, b2 − a2·b0, a1, a2] after division by a0, and
  // three state values per section and data component (see fir_kernels.h).
  std::vector<double> Coef;
  std::vector<double> Z;
};

/// Prepares state for the sections sos (a real vector of 6·sections values) at rest, for
/// complex data when complexData is true. Raises EVecError for a malformed sos or a0 = 0.
void IirInit(const TVec& sos, TIirState& state, bool complexData = false);

/// Filters the next block src into dst (resized, same length, complex when the state or src
/// is). A complex block on a real state makes the state complex (its past imaginary parts
/// 0); real blocks on a complex state are filtered as complex. dst may be src. Raises
/// EVecError when state was not initialised.
void IirFilter(const TVec& src, TVec& dst, TIirState& state);

/// Returns the section states to rest.
void IirReset(TIirState& state);

/// The same for plain arrays, without copies: n samples at src (interleaved re, im pairs
/// when complex) filtered into dst, which may be src. Complex data turns the state complex;
/// real data after that raises EVecError (widen it, or use the TVec form).
void IirFilter(const double* src, int n, double* dst, bool complex, TIirState& state);

}  // namespace ondrix
