#include <gtest/gtest.h>

#include <cmath>

#include "ondrix/sigcore/cepstrum.h"
#include "reference_records.h"

using namespace ondrix;
using namespace ondrix::test;

TEST(Cepstrum, MatchesNumpy) {
  const auto recs = ReadRecords("spec_cepstrum.f64");
  ASSERT_EQ(recs.size(), 8u);
  const TVec x = ToVec(recs[0]);
  TCepstrumState st;
  TVec c;
  RealCepstrum(c, x, wtRectangular, st);
  EXPECT_FALSE(c.Complex());
  EXPECT_LE(MaxAbsDiff(c, ToVec(recs[1])), 1e-12);
  RealCepstrum(c, x, wtHanning, st);
  EXPECT_LE(MaxAbsDiff(c, ToVec(recs[2])), 1e-12);
  // The cached window is regenerated when the type changes back.
  RealCepstrum(c, x, wtRectangular, st);
  EXPECT_LE(MaxAbsDiff(c, ToVec(recs[1])), 1e-12);
  const TVec xd = ToVec(recs[3]);
  const int delay = CplxCepstrum(c, xd, st);
  EXPECT_LE(MaxAbsDiff(c, ToVec(recs[4])), 1e-12);
  EXPECT_EQ(delay, -static_cast<int>(recs[5][0]));
  const TVec xc = ToVec(recs[6], true);
  RealCepstrum(c, xc, wtRectangular, st);
  EXPECT_TRUE(c.Complex());
  EXPECT_LE(MaxAbsDiff(c, ToVec(recs[7], true)), 1e-12);
  // In place.
  TVec y(x);
  RealCepstrum(y, y, wtHanning, st);
  EXPECT_LE(MaxAbsDiff(y, ToVec(recs[2])), 1e-12);
}

TEST(Cepstrum, ZeroMagnitudesStayFinite) {
  TVec zero(16);
  zero.SetZero();
  TVec c;
  RealCepstrum(c, zero);
  for (int i = 0; i < 16; ++i) EXPECT_TRUE(std::isfinite(c.Values(i)));
  CplxCepstrum(c, zero);
  for (int i = 0; i < 16; ++i) EXPECT_TRUE(std::isfinite(c.Values(i)));
  EXPECT_EQ(CplxCepstrum(c, ToVec({-2.0})), 0);
  EXPECT_NEAR(c.Values(0), std::log(2.0), 1e-15);
}
