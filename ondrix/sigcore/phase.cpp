#include "ondrix/sigcore/phase.h"

#include <algorithm>
#include <cfloat>
#include <cmath>

#include "ondrix/vec/calcbase.h"

namespace ondrix {

void PhaseUnwrap(TVec& phase, TRunningPhase runningPhase, double halfPeriod, bool degrees,
                 double zeroPaddingFactor) {
  if (phase.Complex()) ERaise("PhaseUnwrap: the phase must be a real vector");
  if (!(halfPeriod > 0.0)) ERaise("PhaseUnwrap: the half period must be positive");
  if (runningPhase == rpRunning && !(zeroPaddingFactor > 0.0))
    ERaise("PhaseUnwrap: the zero-padding factor must be positive");
  const double half = degrees ? halfPeriod : halfPeriod * PI / 180.0;
  const double period = 2.0 * half;
  double* p = phase.PValues();
  const int n = phase.Length();
  int first = 0;
  while (first < n && !std::isfinite(p[first])) ++first;
  if (first >= n) return;
  double lastRaw = p[first], lastOut = p[first];
  double slope = 0.0;
  for (int k = first + 1; k < n; ++k) {
    const double raw = p[k];
    if (!std::isfinite(raw)) continue;
    double centre = 0.0;
    if (runningPhase == rpRunning)
      centre = -half / zeroPaddingFactor;
    else if (runningPhase == rpSlope)
      centre = slope;
    double d = raw - lastRaw;
    if (std::fabs(d - centre) > half) d -= period * std::nearbyint((d - centre) / period);
    lastRaw = raw;
    lastOut += d;
    p[k] = lastOut;
    slope = d;
  }
}

void GroupDelay(TVec& dst, const TVec& input, const TVec* output, int zeroPadding,
                TGroupDelayState& st) {
  const int longest = std::max(input.Length(), output ? output->Length() : 0);
  const int n = longest > 0 ? LargestExp2(longest) * std::max(zeroPadding, 1) : 0;
  // τ of one sequence into `tau`, on n bins; NaN where the delay is undefined.
  auto delay = [&](TVec& tau, const TVec& x) {
    st.X.Size(n, true);
    st.XN.Size(n, true);
    st.X.SetZero();
    st.XN.SetZero();
    double absSum = 0.0;
    for (int j = 0; j < x.Length(); ++j) {
      const TCplx v = x.Complex() ? x.CValues(j) : TCplx(x.Values(j), 0.0);
      st.X.CValues(j) = v;
      st.XN.CValues(j) = static_cast<double>(j) * v;
      absSum += std::abs(v);
    }
    st.X.FFT();
    st.XN.FFT();
    // |X| below the rounding error of the transform (about ε·Σ|x|) carries no phase.
    const double floor2 = std::pow(16.0 * DBL_EPSILON * absSum, 2);
    tau.Size(n, false);
    for (int k = 0; k < n; ++k) {
      const TCplx xk = st.X.CValues(k);
      const double m2 = std::norm(xk);
      tau.Values(k) = m2 > floor2 ? (st.XN.CValues(k) * std::conj(xk)).real() / m2 : NAN_VALUE;
    }
  };
  if (output) {
    delay(st.Tmp, input);
    delay(dst, *output);
    dst.Sub(st.Tmp);
  } else {
    delay(dst, input);
  }
  dst.ReplaceNonFinite(0.0);
}

void GroupDelay(TVec& dst, const TVec& input, const TVec* output, int zeroPadding) {
  TGroupDelayState st;
  GroupDelay(dst, input, output, zeroPadding, st);
}

void GroupDelayFromPhase(TVec& dst, const TVec& phase, double binWidth, bool degrees) {
  if (!(binWidth > 0.0)) ERaise("GroupDelayFromPhase: the bin width must be positive");
  if (&dst != &phase) dst.Copy(phase);
  PhaseUnwrap(dst, rpNearest, 180.0, degrees, 1.0);
  const int n = dst.Length();
  if (n < 2) {
    dst.SetZero();
    return;
  }
  const double dw = (degrees ? 360.0 : TWOPI) * binWidth;
  double* u = dst.PValues();
  double prev = u[0];
  u[0] = -(u[1] - u[0]) / dw;
  for (int k = 1; k < n - 1; ++k) {
    const double cur = u[k];
    u[k] = -(u[k + 1] - prev) / (2.0 * dw);
    prev = cur;
  }
  u[n - 1] = -(u[n - 1] - prev) / dw;
}

}  // namespace ondrix
