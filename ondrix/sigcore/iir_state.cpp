#include "ondrix/sigcore/iir_state.h"

#include <algorithm>

#include "ondrix/sigcore/fir_kernels.h"
#include "ondrix/sigcore/zero_pole.h"
#include "ondrix/vec/exceptions.h"

namespace ondrix {

void IirInit(const TVec& sos, TIirState& state, bool complexData) {
  const int n = SosSections(sos);
  state.Sections = n;
  state.ComplexData = complexData;
  state.Coef.assign(5 * static_cast<size_t>(n), 0.0);
  for (int s = 0; s < n; ++s) {
    const double* q = sos.PValues() + 6 * s;
    if (q[3] == 0.0) ERaise("IirInit: section " + std::to_string(s) + " has a0 = 0");
    const double b0 = q[0] / q[3], b1 = q[1] / q[3], b2 = q[2] / q[3];
    const double a1 = q[4] / q[3], a2 = q[5] / q[3];
    // The transposed direct form II rewritten as fir_kernels.h describes.
    double* c = &state.Coef[5 * static_cast<size_t>(s)];
    c[0] = b0;
    c[1] = b1 - a1 * b0;
    c[2] = b2 - a2 * b0;
    c[3] = a1;
    c[4] = a2;
  }
  IirReset(state);
}

void IirReset(TIirState& state) {
  state.Z.assign(3 * static_cast<size_t>(state.Sections) * (state.ComplexData ? 2 : 1), 0.0);
}

namespace {

// Widens the states: component 0 keeps the real past, component 1 starts at rest.
void WidenStates(TIirState& state) {
  std::vector<double> z(6 * static_cast<size_t>(state.Sections), 0.0);
  for (int s = 0; s < state.Sections; ++s)
    for (int i = 0; i < 3; ++i) z[6 * s + i] = state.Z[3 * s + i];
  state.Z = std::move(z);
  state.ComplexData = true;
}

}  // namespace

void IirFilter(const TVec& src, TVec& dst, TIirState& state) {
  if (state.Sections < 1) ERaise("IirFilter: the state is not initialised (IirInit)");
  if (src.Complex() && !state.ComplexData) WidenStates(state);
  const int n = src.Length();
  if (state.ComplexData && !src.Complex()) {
    TVec wide;
    wide.ExtendToComplex(src);
    dst.Size(n, true);
    kernels::SosCascade(state.Coef.data(), state.Sections, state.Z.data(), wide.PValues(), dst.PValues(), n, 2);
    return;
  }
  dst.Size(n, src.Complex());
  kernels::SosCascade(state.Coef.data(), state.Sections, state.Z.data(), src.PValues(), dst.PValues(), n,
                      src.Complex() ? 2 : 1);
}

void IirFilter(const double* src, int n, double* dst, bool complex, TIirState& state) {
  if (state.Sections < 1) ERaise("IirFilter: the state is not initialised (IirInit)");
  if (n < 0) ERaise("IirFilter: negative block length");
  if (complex && !state.ComplexData) WidenStates(state);
  if (!complex && state.ComplexData) ERaise("IirFilter: real data after complex data needs a complex block");
  kernels::SosCascade(state.Coef.data(), state.Sections, state.Z.data(), src, dst, n, complex ? 2 : 1);
}

}  // namespace ondrix
