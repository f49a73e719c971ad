// Streaming integration and differentiation over time, e.g. acceleration to velocity to
// displacement and back.
//
// Both rules are second-order accurate at the sample instants and add no delay:
// - Integrate is the trapezoidal rule y[n] = y[n − 1] + dt·(x[n − 1] + x[n])/2. The integral
//   starts at the stream's first sample with the value 0, so y[n] = ∫ from t₀ to tₙ
//   (scipy.integrate.cumulative_trapezoid(x, dx=dt, initial=0)).
// - Differentiate is the three-point backward difference y[n] = (3x[n] − 4x[n − 1] +
//   x[n − 2])/(2·dt), exact for quadratics; the first sample of a stream gives 0 and the second
//   the first difference (x[1] − x[0])/dt. So Differentiate(Integrate(x)) returns a linear x
//   exactly from its third sample on.
// dt is the sample period in seconds: a signal in m/s² integrates to m/s. The states carry the
// past across calls, so a stream processed block by block equals the stream processed at once.
// Complex data is processed per component (the states hold complex values, so one state serves
// real and complex data alike).
#pragma once

#include "ondrix/vec/TVec.h"

namespace ondrix {

/// Memory of one integrator: the running integral and the last input. Starts at rest.
struct TIntegrateState {
  TCplx Sum{};         ///< the integral up to the last sample
  TCplx Last{};        ///< the last input sample
  bool Started = false;  ///< a sample has been seen
};

/// Memory of one differentiator: the last two inputs. Starts at rest.
struct TDiffState {
  TCplx Prev1{}, Prev2{};  ///< x[n − 1] and x[n − 2]
  int Seen = 0;            ///< samples seen, counted up to 2
};

/// Puts the state back at rest: the next sample starts a new stream.
void IntegrateReset(TIntegrateState& State);
void DiffReset(TDiffState& State);

/// Trapezoidal running integral of src (sample period dt > 0) into dst, resized to src's
/// length and complexity. dst may be src.
void Integrate(TVec& dst, const TVec& src, double dt, TIntegrateState& State);

/// Three-point backward derivative of src (sample period dt > 0) into dst, resized to src's
/// length and complexity. dst may be src.
void Differentiate(TVec& dst, const TVec& src, double dt, TDiffState& State);

}  // namespace ondrix
