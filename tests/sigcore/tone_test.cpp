#include <gtest/gtest.h>

#include <cmath>

#include "filter_test_util.h"
#include "ondrix/sigcore/tone.h"

using namespace ondrix;
using ondrix::testing::MaxDiff;

TEST(Tone, RealAndComplexMatchClosedForm) {
  const double f = 0.0123456, phi = 0.7, a = 1.7;
  for (bool complex : {false, true}) {
    TToneState s;
    ToneInit(f, phi, a, s, complex);
    TVec x(100000, complex);
    Tone(x, s);
    double err = 0;
    for (int n = 0; n < x.Length(); ++n) {
      // Closed form evaluated in long double so that the reference is the more exact one.
      long double thl = 2 * 3.14159265358979323846264338327950288L * (long double)f * n + phi;
      const double c = (double)(a * cosl(thl)), s = (double)(a * sinl(thl));
      const TCplx want = complex ? TCplx(c, s) : TCplx(s);
      err = std::max(err, std::abs(ondrix::testing::At(x, n) - want));
    }
    EXPECT_LT(err, 1e-12) << "complex=" << complex;
  }
}

// Random blocks, 1-sample blocks included, continue the stream of a sine and of a triangle.
TEST(Tone, BlockwiseEqualsOneBlock) {
  const auto gap = [](auto st, auto gen, bool complex) {
    auto parts = st;
    TVec whole(4096, complex);
    gen(whole, st);
    const TVec y = test::InBlocks(whole, test::RandomBlocks(4096, 3), [&](const TVec& in, TVec& out) {
      out.Size(in.Length(), complex);
      gen(out, parts);
    });
    return MaxDiff(y, whole);
  };
  for (bool complex : {false, true}) {
    for (double f : {0.1, 0.013, 0.49, 0.73, -0.2}) {
      TToneState s;
      TTriangleState t;
      ToneInit(f, -2.0, 1.0, s, complex);
      TriangleToneInit(f, 1.0, 1.0, 0.3, t, complex);
      EXPECT_LT(gap(s, [](TVec& v, auto& st) { Tone(v, st); }, complex), 1e-12) << f << " " << complex;
      EXPECT_LT(gap(t, [](TVec& v, auto& st) { TriangleTone(v, st); }, complex), 1e-12) << f << " " << complex;
    }
  }
}

TEST(Tone, HelpersWrapAngleAndFrequency) {
  EXPECT_NEAR(FixAngle(-M_PI), M_PI, 1e-15);  // (-π, π]
  EXPECT_NEAR(FixAngle(2 * M_PI + 0.5), 0.5, 1e-15);
  EXPECT_DOUBLE_EQ(CircularFrequency(1.25, true), 0.25);
  EXPECT_DOUBLE_EQ(CircularFrequency(-0.25, true), 0.75);
  EXPECT_DOUBLE_EQ(CircularFrequency(0.75, false), 0.25);
  TToneState s;
  ToneInit(0.1, 0, 1, s, true);
  TVec wrongFlag(8);
  EXPECT_THROW(Tone(wrongFlag, s), EVecError);
}

TEST(Triangle, ShapeValueIsTheRisingFraction) {
  const int period = 200;  // f = 1/200
  for (double skew : {-0.6, 0.0, 0.5}) {
    TTriangleState s;
    TriangleToneInit(1.0 / period, 0.0, 2.0, skew, s, false);
    TVec x(period * 5);
    TriangleTone(x, s);
    int rising = 0;
    for (int i = 1; i <= period; ++i) rising += x.Values(i) > x.Values(i - 1);
    double rise = (1 + skew) / 2;
    EXPECT_NEAR(rising / double(period), rise, 1.5 / period) << "skew " << skew;
    double mx, mn;
    x.MaxMin(mx, mn);
    EXPECT_NEAR(mx, 2.0, 2.0 * 2 / (period * std::min(rise, 1 - rise)));
    EXPECT_NEAR(mn, -2.0, 2.0 * 2 / (period * std::min(rise, 1 - rise)));
    EXPECT_NEAR(x.Values(0), 0.0, 1e-12);  // phase 0: zero crossing on the rise
    EXPECT_GT(x.Values(1), 0.0);
    EXPECT_NEAR(x.Mean(), 0.0, 1e-12);
  }
  // Quarter period ahead in the real part, like cos against sin.
  TTriangleState c;
  TriangleToneInit(0.01, 0.0, 1.0, 0.0, c, true);
  TVec z(100, true);
  TriangleTone(z, c);
  EXPECT_NEAR(z.CValues(0).real(), 1.0, 1e-12);
  EXPECT_NEAR(z.CValues(25).imag(), 1.0, 1e-12);
}
