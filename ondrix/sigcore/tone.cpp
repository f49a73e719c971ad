#include "ondrix/sigcore/tone.h"

#include <algorithm>
#include <cmath>

namespace ondrix {

namespace {

constexpr double kTwoPi = 6.283185307179586476925286766559;
// Samples between exact re-anchoring of the rotating phasor: bounds the recursion's rounding
// growth to about kChunk ulps while keeping the inner loop to one complex multiply.
constexpr int kChunk = 32;

void CheckFlag(const TVec& dst, double complexFlag, const char* who) {
  if (dst.Complex() != (complexFlag != 0.0))
    ERaise(std::string(who) + ": the vector's complex flag differs from the oscillator's");
}

}  // namespace

double FixAngle(double angle) {
  double a = std::remainder(angle, kTwoPi);  // in [-π, π]
  return a <= -M_PI ? a + kTwoPi : a;
}

double CircularFrequency(double f, bool complex) {
  double c = f - std::floor(f);
  if (c >= 1.0) c = 0.0;
  if (!complex && c > 0.5) c = 1.0 - c;
  return c;
}

namespace {

double Wrap01(double c) {
  c -= std::floor(c);
  return c >= 1.0 ? 0.0 : c;
}

// Fractional part of f·n, exact to rounding: the product's error term is recovered with fma.
double FracProduct(double f, double n) {
  double hi = f * n;
  double lo = std::fma(f, n, -hi);
  return Wrap01((hi - std::floor(hi)) + lo);
}

}  // namespace

void ToneInit(double f, double phi, double mag, TToneState& state, bool complex) {
  state.Step = Wrap01(f);
  state.Cycle = Wrap01(phi / kTwoPi);
  state.Mag = mag;
  state.Complex = complex ? 1.0 : 0.0;
}

void Tone(TVec& dst, TToneState& state) {
  CheckFlag(dst, state.Complex, "Tone");
  const int n = dst.Length();
  const TCplx w = std::polar(1.0, kTwoPi * state.Step);
  for (int start = 0; start < n; start += kChunk) {
    int end = std::min(n, start + kChunk);
    double c = Wrap01(state.Cycle + FracProduct(state.Step, start));
    TCplx z = std::polar(state.Mag, kTwoPi * c);
    if (state.Complex != 0.0) {
      TCplx* out = dst.PCValues();
      for (int i = start; i < end; ++i, z *= w) out[i] = z;
    } else {
      double* out = dst.PValues();
      for (int i = start; i < end; ++i, z *= w) out[i] = z.imag();
    }
  }
  state.Cycle = Wrap01(state.Cycle + FracProduct(state.Step, n));
}

void TriangleToneInit(double f, double phi, double mag, double skew, TTriangleState& state,
                      bool complex) {
  state.Step = Wrap01(f);
  state.Rise = (1.0 + std::clamp(skew, -1.0, 1.0)) / 2.0;
  // Phase 0 sits in the middle of the rising edge, where the wave crosses zero upwards.
  double c = phi / kTwoPi + state.Rise / 2.0;
  state.Cycle = c - std::floor(c);
  state.Mag = mag;
  state.Complex = complex ? 1.0 : 0.0;
}

namespace {

double TriangleAt(double u, double rise) {
  if (u < rise) return -1.0 + 2.0 * u / rise;
  return 1.0 - 2.0 * (u - rise) / (1.0 - rise);
}

}  // namespace

void TriangleTone(TVec& dst, TTriangleState& state) {
  CheckFlag(dst, state.Complex, "TriangleTone");
  const int n = dst.Length();
  const double a = state.Mag, r = state.Rise;
  for (int i = 0; i < n; ++i) {
    double u = Wrap01(state.Cycle + FracProduct(state.Step, i));
    if (state.Complex != 0.0)
      dst.CValues(i) = TCplx(a * TriangleAt(Wrap01(u + 0.25), r), a * TriangleAt(u, r));
    else
      dst.Values(i) = a * TriangleAt(u, r);
  }
  state.Cycle = Wrap01(state.Cycle + FracProduct(state.Step, n));
}

}  // namespace ondrix
