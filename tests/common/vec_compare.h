// Comparing vectors in tests: relative to the largest magnitude of the reference.
#pragma once

#include <gtest/gtest.h>

#include <algorithm>
#include <complex>

#include "ondrix/vec/TVec.h"

namespace ondrix::testing {

/// Element i of a real or complex vector as a complex value.
inline TCplx At(const TVec& v, int i) { return v.Complex() ? v.CValues(i) : TCplx(v.Values(i), 0.0); }

/// got equals ref in shape, and in values within rel times the largest magnitude of ref.
inline ::testing::AssertionResult Near(const TVec& got, const TVec& ref, double rel = 1e-12) {
  if (got.Length() != ref.Length() || got.Complex() != ref.Complex())
    return ::testing::AssertionFailure() << "shape " << got.Length() << (got.Complex() ? "c" : "r") << " expected "
                                         << ref.Length() << (ref.Complex() ? "c" : "r");
  double scale = 0.0, err = 0.0;
  int worst = 0;
  for (int i = 0; i < ref.Length(); ++i) {
    scale = std::max(scale, std::abs(At(ref, i)));
    const double e = std::abs(At(got, i) - At(ref, i));
    if (e > err) err = e, worst = i;
  }
  if (err <= rel * scale) return ::testing::AssertionSuccess();
  return ::testing::AssertionFailure() << "max error " << err << " at " << worst << " exceeds " << rel << " x "
                                       << scale;
}

}  // namespace ondrix::testing
