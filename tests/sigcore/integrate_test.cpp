// Integration and differentiation against SciPy (tests/gen_timeanalysis_reference.py) and a sampled sine.
#include <gtest/gtest.h>

#include <cmath>
#include <vector>

#include "filter_test_util.h"
#include "ondrix/sigcore/integrate.h"

using namespace ondrix;

TEST(IntegrateDifferentiate, BlocksEqualTheWholeStream) {
  const auto r = test::ReadRecords("ta_integrate.f64");
  ASSERT_EQ(r.size(), 3u);
  const double dt = 1 / r[0][0];
  TVec x = test::ToVec(r[1]), ref = test::ToVec(r[2]), whole;
  TDiffState ds;
  Differentiate(whole, x, dt, ds);
  for (unsigned seed : {1u, 2u, 3u}) {
    std::vector<int> blocks = test::RandomBlocks(x.Length(), seed);
    blocks.insert(blocks.begin() + seed, 0);  // an empty block changes nothing
    TIntegrateState is;
    TDiffState ds2;
    const TVec y = test::InBlocks(x, blocks, [&](const TVec& s, TVec& d) { Integrate(d, s, dt, is); });
    EXPECT_LT(test::MaxAbsDiff(y, ref), 1e-13 * test::MaxAbs(ref)) << seed;  // scipy
    const TVec z = test::InBlocks(x, blocks, [&](const TVec& s, TVec& d) { Differentiate(d, s, dt, ds2); });
    EXPECT_EQ(test::MaxAbsDiff(z, whole), 0.0) << seed;
  }
  // Complex data: each component on its own.
  x.ExtendToComplex(test::ToVec(r[1])).Scale(TCplx(1, -2));
  ref.ExtendToComplex(test::ToVec(r[2])).Scale(TCplx(1, -2));
  TIntegrateState is;
  Integrate(whole, x, dt, is);
  EXPECT_LT(test::MaxAbsDiff(whole, ref), 1e-13 * test::MaxAbs(ref));
  EXPECT_THROW(Integrate(whole, x, 0.0, is), EVecError);
  EXPECT_THROW(Differentiate(whole, x, -1.0, ds), EVecError);
}

TEST(IntegrateDifferentiate, SampledSineFollowsTheClosedForms) {
  const double dt = 1e-3, A = 2.0, w = 2 * M_PI * 5.0;
  TVec x(4000), y, z;
  for (int i = 0; i < x.Length(); ++i) x.Values(i) = A * std::sin(w * i * dt);
  TIntegrateState is;
  TDiffState ds;
  Integrate(y, x, dt, is);
  Differentiate(z, x, dt, ds);
  double errI = 0, errD = 0;
  for (int i = 0; i < x.Length(); ++i) {
    errI = std::max(errI, std::fabs(y.Values(i) - A * (1 - std::cos(w * i * dt)) / w));
    if (i >= 2) errD = std::max(errD, std::fabs(z.Values(i) - A * w * std::cos(w * i * dt)));
  }
  // The trapezoid scales the integral by (ωdt/2)·cot(ωdt/2) ≈ 1 − (ωdt)²/12: error up to
  // Aωdt²/6 (a rectangle rule errs by A·dt/2). The three-point difference errs by up to
  // Aω³dt²/3 (a first difference by Aω²dt/2). The lower bounds show the bounds are tight.
  EXPECT_LT(errI, 1.05 * A * w * dt * dt / 6);
  EXPECT_GT(errI, 0.9 * A * w * dt * dt / 6);
  EXPECT_LT(errD, A * w * w * w * dt * dt / 3);
  EXPECT_GT(errD, 0.5 * A * w * w * w * dt * dt / 3);
  EXPECT_EQ(z.Values(0), 0.0);  // a stream starts without a slope
  EXPECT_DOUBLE_EQ(z.Values(1), (x.Values(1) - x.Values(0)) / dt);
}
