#include "ondrix/sigcore/integrate.h"

#include <cmath>
#include <string>
#include <type_traits>

namespace ondrix {

namespace {

void CheckDt(const char* op, double dt) {
  if (!(dt > 0.0) || !std::isfinite(dt))
    ERaise(std::string(op) + ": the sample period must be positive (" + std::to_string(dt) + ")");
}

// T is double or TCplx; the state keeps complex values either way.
template <typename T>
T Load(const TCplx& v) {
  if constexpr (std::is_same_v<T, double>)
    return v.real();
  else
    return v;
}

template <typename T>
void IntegrateSamples(T* y, const T* x, int n, double dt, TIntegrateState& s) {
  const double h = 0.5 * dt;
  T sum = Load<T>(s.Sum), last = Load<T>(s.Last);
  int i = 0;
  if (!s.Started && n > 0) {
    last = x[0];
    y[0] = sum;
    s.Started = true;
    i = 1;
  }
  for (; i < n; ++i) {
    const T xi = x[i];
    sum += h * (last + xi);
    last = xi;
    y[i] = sum;
  }
  s.Sum = sum;
  s.Last = last;
}

template <typename T>
void DiffSamples(T* y, const T* x, int n, double dt, TDiffState& s) {
  const double inv = 1.0 / dt, half = 0.5 / dt;
  T p1 = Load<T>(s.Prev1), p2 = Load<T>(s.Prev2);
  int i = 0;
  // The start of a stream: no slope yet, then the first difference.
  for (; i < n && s.Seen < 2; ++i) {
    const T xi = x[i];
    y[i] = s.Seen == 0 ? T{} : (xi - p1) * inv;
    p2 = p1;
    p1 = xi;
    ++s.Seen;
  }
  for (; i < n; ++i) {
    const T xi = x[i];
    y[i] = (3.0 * xi - 4.0 * p1 + p2) * half;
    p2 = p1;
    p1 = xi;
  }
  s.Prev1 = p1;
  s.Prev2 = p2;
}

}  // namespace

void IntegrateReset(TIntegrateState& State) { State = TIntegrateState{}; }

void DiffReset(TDiffState& State) { State = TDiffState{}; }

void Integrate(TVec& dst, const TVec& src, double dt, TIntegrateState& State) {
  CheckDt("Integrate", dt);
  const int n = src.Length();
  dst.Size(n, src.Complex());
  if (src.Complex())
    IntegrateSamples(dst.PCValues(), src.PCValues(), n, dt, State);
  else
    IntegrateSamples(dst.PValues(), src.PValues(), n, dt, State);
}

void Differentiate(TVec& dst, const TVec& src, double dt, TDiffState& State) {
  CheckDt("Differentiate", dt);
  const int n = src.Length();
  dst.Size(n, src.Complex());
  if (src.Complex())
    DiffSamples(dst.PCValues(), src.PCValues(), n, dt, State);
  else
    DiffSamples(dst.PValues(), src.PValues(), n, dt, State);
}

}  // namespace ondrix
