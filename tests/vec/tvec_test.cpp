#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <vector>

#include "ondrix/vec/TMtx.h"
#include "ondrix/vec/TVec.h"
#include "ondrix/vec/TVecList.h"
#include "tests/common/reference.h"

using namespace ondrix;
using ondrix::testing::Vec;
using ondrix::testing::Near;
using ondrix::testing::Values;
using V = std::vector<double>;

TEST(TVecSize, LengthComplexAndReinterpretation) {
  TVec v = Vec({1, 2, 3, 4, 5, 6});
  v.SetComplex(true);  // 6 reals are 3 complex values, stored interleaved
  ASSERT_EQ(v.Length(), 3);
  EXPECT_EQ(v.CValues(1), TCplx(3, 4));
  v.SetComplex(false);
  EXPECT_EQ(v.Length(), 6);
  v.SetLength(8);  // growth keeps values and zeroes the new ones
  EXPECT_EQ(Values(v), (V{1, 2, 3, 4, 5, 6, 0, 0}));
  v.SetLength(2);
  v.SetLength(4);  // memory is kept, but regrown elements must read as zero again
  EXPECT_EQ(Values(v), (V{1, 2, 0, 0}));
  v.Resize(4, false);
  EXPECT_EQ(Values(v), (V{0, 0, 0, 0}));
  EXPECT_THROW(v.SetLength(-1), EVecError);
}

TEST(TVecSize, OnSetSizeFiresOnEveryChangeOfLengthOrComplexityOnly) {
  TVec v(4);
  std::vector<int> lengths;
  v.OnSetSize = [&](TVec* s) { lengths.push_back(s->Length()); };
  v.SetLength(4);  // no change
  v.Size(4, false);
  v.SetLength(10);
  v.SetComplex(true);
  v.Size(5, true);  // no change
  v.Size(7, false);
  TVec other(3, true);
  v.Copy(other);  // copying a differently sized vector resizes
  v.Copy(other);  // same size now: no event
  v.SetSubRange(0, 1);  // views do not count as size changes
  v.SetFullRange();
  EXPECT_EQ(lengths, (std::vector<int>{10, 5, 7, 3}));
  TVec mag;
  int magFired = 0;
  mag.OnSetSize = [&](TVec*) { ++magFired; };
  mag.Mag(other);  // result sizing fires on the destination
  EXPECT_EQ(magFired, 1);
}

TEST(TVecView, SubRangeBehavesAsAVectorOfThatRange) {
  TVec v(10);
  v.Ramp(0, 1);  // 0..9
  v.SetSubRange(3, 4);  // 3 4 5 6
  EXPECT_EQ(v.Length(), 4);
  EXPECT_DOUBLE_EQ(v.Mean(), 4.5);  // every reader sees only the range's data and length
  v.Reverse().Scale(2.0).Rotate(1).Add(1.0);  // 6 5 4 3, 12 10 8 6, 6 12 10 8, 7 13 11 9
  v.Sub(Vec({1, 1, 1, 1}));  // 6 12 10 8
  EXPECT_THROW(v.SetLength(5), EVecError);  // a narrowed vector cannot resize
  EXPECT_EQ(Values(TVec().Copy(v)), (V{6, 12, 10, 8}));  // copies the range only
  v.SetFullRange();
  EXPECT_EQ(Values(v), (V{0, 1, 2, 6, 12, 10, 8, 7, 8, 9}));
  EXPECT_THROW(v.SetSubRange(8, 3), EVecError);
}

TEST(TVecView, ComplexSubRangeAndRealViewForWindowing) {
  // The spectrum analyzer windows a complex frame by viewing it as reals: the view must map
  // the same memory with doubled indices and lengths.
  TVec v(6, true);
  for (int i = 0; i < 6; ++i) v.CValues(i) = TCplx(i, -i);
  v.SetSubRange(2, 3);
  EXPECT_EQ(v.CValues(0), TCplx(2, -2));
  EXPECT_EQ(v.Meanc(), TCplx(3, -3));
  v.SetComplex(false);
  EXPECT_EQ(v.Length(), 6);
  EXPECT_EQ(v.Values(1), -2);
  v.Scale(10.0);
  v.SetComplex(true);
  v.SetFullRange();
  EXPECT_EQ(v.Length(), 6);
  EXPECT_EQ(Values(v), (V{0, 0, 1, -1, 20, -20, 30, -30, 40, -40, 5, -5}));
}

TEST(TVecArithmetic, RealAndComplexElementWise) {
  const TVec a = Vec({1, 2, 3, -1}, true), b = Vec({0, 1, 2, 2}, true);
  TVec r;
  EXPECT_EQ(Values(r.Mul(a, b)), (V{-2, 1, 8, 4}));
  EXPECT_EQ(Values(r.ConjMul(a, b)), (V{2, -1, 4, -8}));  // a · conj(b)
  r.Divide(a, b);
  EXPECT_NEAR(std::abs(r.CValues(1) - TCplx(3, -1) / TCplx(2, 2)), 0, 1e-15);
  EXPECT_EQ(Values(r.Copy(a).Scale(TCplx(0, 1))), (V{-2, 1, 1, 3}));
  EXPECT_EQ(Values(r.Sub(a, b)), (V{1, 1, 1, -3}));
  // b := a - b with the destination as right operand.
  TVec x = Vec({5, 7}), y = Vec({1, 2});
  EXPECT_EQ(Values(y.Sub(x, y)), (V{4, 5}));
  EXPECT_EQ(Values(y.Divide(x, y)), (V{5.0 / 4, 7.0 / 5}));
  TVec c = a;
  EXPECT_THROW(c.Add(Vec({1, 2})), EVecError);  // complex flag differs
  EXPECT_THROW(x.Add(Vec({1, 2, 3})), EVecError);  // length differs
  EXPECT_THROW(x.Add(TCplx(0, 1)), EVecError);
}

TEST(TVecComplex, PolarConversionsAndParts) {
  TVec z = Vec({3, 4, -1, 0, 0, -2}, true);
  TVec amp, ph;
  z.CartToPolar(amp, ph);
  EXPECT_EQ(Values(amp), (V{5, 1, 2}));
  EXPECT_DOUBLE_EQ(ph.Values(1), M_PI);
  EXPECT_DOUBLE_EQ(ph.Values(2), -M_PI / 2);
  EXPECT_TRUE(Near(TVec().PolarToCart(amp, ph), z, 2e-16));  // 1e-15 of the largest, 5
  EXPECT_EQ(Values(TVec().PowerSpectrum(z)), (V{25, 1, 4}));
  // In place, each complex value is read before its double is written. A loop that ran one
  // past the end would touch only storage beyond the length: no release build can see that.
  TVec inplace = z;
  inplace.Mag();
  EXPECT_FALSE(inplace.Complex());
  EXPECT_EQ(Values(inplace), (V{5, 1, 2}));
  TVec re, im;
  re.RealPart(z);
  im.ImagPart(z);
  EXPECT_EQ(Values(TVec().RealToCplx(re, im)), Values(z));
  EXPECT_EQ(z.Conj().CValues(0), TCplx(3, -4));
  TVec ext = Vec({1, 2});
  EXPECT_EQ(Values(ext.ExtendToComplex(ext)), (V{1, 0, 2, 0}));
}

TEST(TVecFunctions, ElementWiseAgainstStdMath) {
  TVec x = Vec({0.5, 2.0, 8.0});
  TVec r;
  EXPECT_DOUBLE_EQ(r.Cbrt(x).Values(2), 2.0);
  EXPECT_NEAR(r.Ln(x).Exp().Values(1), 2.0, 1e-15);
  EXPECT_NEAR(r.Log10(x).Values(2), std::log10(8.0), 1e-16);
  EXPECT_DOUBLE_EQ(r.Inv(x).Values(0), 2.0);
  TVec h = Vec({-2.5, -1.5, 0.5, 2.5, -0.7});
  EXPECT_EQ(Values(r.Round(h)), (V{-3, -2, 1, 3, -1}));  // half away from zero
  EXPECT_EQ(Values(r.Trunc(h)), (V{-2, -1, 0, 2, -0.0}));
  EXPECT_EQ(Values(r.Copy(h).ThreshTop(1.0).ThreshBottom(-2.0)), (V{-2, -1.5, 0.5, 1, -0.7}));
  TVec z = Vec({3, 4, 0.3, 0.4}, true);
  z.ThreshTop(2.5).ThreshBottom(1.0);  // limits the magnitude, keeps the phase
  EXPECT_TRUE(Near(z, Vec({1.5, 2.0, 0.6, 0.8}, true), 4e-16));  // 1e-15 of 2.5
  TVec c = Vec({0, M_PI / 2}, true);
  EXPECT_NEAR(std::abs(c.Exp().CValues(0) - TCplx(0, 1)), 0, 1e-15);
  EXPECT_THROW(c.Cbrt(), EVecError);
}

TEST(TVecReorder, RotateDownSampleScatter) {
  TVec v = Vec({0, 1, 2, 3, 4});
  EXPECT_EQ(Values(v.Rotate(2)), (V{3, 4, 0, 1, 2}));  // numpy.roll(x, 2)
  EXPECT_EQ(Values(v.Rotate(-2).Rotate(-7)), (V{2, 3, 4, 0, 1}));  // -7 == -2

  TVec stereo = Vec({10, 20, 11, 21, 12, 22});
  TVec ch;
  EXPECT_EQ(Values(ch.DownSample(stereo, 2, 1)), (V{20, 21, 22}));
  EXPECT_EQ(Values(ch.DownSample(stereo, 4, 3)), (V{21}));
  EXPECT_EQ(Values(stereo.DownSample(stereo, 3, 0)), (V{10, 21}));  // in place
  EXPECT_THROW(ch.DownSample(stereo, 2, 2), EVecError);

  TVec mux(6);
  mux.Scatter(Vec({1, 2, 3}), 0, 2).Scatter(Vec({-1, -2, -3}), 1, 2);
  EXPECT_EQ(Values(mux), (V{1, -1, 2, -2, 3, -3}));
  EXPECT_THROW(mux.Scatter(Vec({1, 2, 3, 4}), 0, 2), EVecError);
}

TEST(TVecStatistics, AgainstDirectFormulas) {
  TVec v = Vec({2, -4, 4, 4, 5, 5, 7, 9});
  int i, j;
  EXPECT_EQ(v.Max(i), 9);
  EXPECT_EQ(v.Min(j), -4);
  EXPECT_EQ(std::pair(i, j), std::pair(7, 1));
  double mx, mn;
  v.MaxMin(mx, mn);
  EXPECT_EQ(std::pair(mx, mn), std::pair(9.0, -4.0));
  EXPECT_DOUBLE_EQ(v.Mean(), 4.0);
  // Sample standard deviation (N − 1), as numpy.std(ddof=1).
  EXPECT_DOUBLE_EQ(v.StdDev(), std::sqrt((4 + 64 + 0 + 0 + 1 + 1 + 9 + 25) / 7.0));
  EXPECT_DOUBLE_EQ(v.RMS(), std::sqrt((4 + 16 + 16 + 16 + 25 + 25 + 49 + 81) / 8.0));
  EXPECT_DOUBLE_EQ(v.Norm(), std::sqrt(232.0));
  TVec z = Vec({1, 1, -3, 0, 0, 0.5}, true);
  EXPECT_EQ(z.Maxc(i), TCplx(-3, 0));
  EXPECT_EQ(z.Minc(), TCplx(0, 0.5));
  EXPECT_EQ(z.Meanc(), TCplx(-2.0 / 3, 0.5));
  EXPECT_EQ(v.Maxc(), TCplx(9, 0));
  TVec empty;
  EXPECT_THROW(empty.Max(), EVecError);
  EXPECT_TRUE(std::isnan(empty.Mean()));
}

TEST(TVecFill, ReplaceRemoveDcAndRamp) {
  const double inf = std::numeric_limits<double>::infinity();
  TVec v = Vec({std::nan(""), inf, -inf, 1.00005, 2.0});
  v.Replace(std::nan(""), 0.0).Replace(-inf, -1.0).Replace(1.0, 7.0, 0.0001);
  EXPECT_EQ(Values(v), (V{0.0, inf, -1.0, 7.0, 2.0}));
  EXPECT_EQ(v.ReplaceNonFinite(3.0).Values(1), 3.0);
  EXPECT_NEAR(v.RemoveDC().Mean(), 0.0, 1e-15);
  EXPECT_EQ(Vec({1, 2, 3, 4}, true).RemoveDC().CValues(0), TCplx(-1, -1));
}

TEST(TVecRandom, SeededRepeatsAndStatistics) {
  TVec a(20000), b(20000);
  a.RandGauss(999, 1.5, 2.0);
  b.RandGauss(999, 1.5, 2.0);
  EXPECT_EQ(Values(a), Values(b));
  // Moments of 20000 samples: 5 standard errors.
  EXPECT_NEAR(a.Mean(), 1.5, 5 * 2.0 / std::sqrt(20000.0));
  EXPECT_NEAR(a.StdDev(), 2.0, 5 * 2.0 / std::sqrt(2 * 20000.0));

  TVec first = a;
  a.RandGauss(1.5, 2.0);  // continues the stream: a new block
  EXPECT_NE(Values(a), Values(first));
  a.RandGauss();  // repeats the last seeded call
  EXPECT_EQ(Values(a), Values(first));
  a.RandGauss();
  EXPECT_EQ(Values(a), Values(first));

  TVec u(20000);
  u.RandUniform(7, -1.0, 3.0);
  double mx, mn;
  u.MaxMin(mx, mn);
  EXPECT_GE(mn, -1.0);
  EXPECT_LT(mx, 3.0);
  EXPECT_NEAR(u.Mean(), 1.0, 5 * 4.0 / std::sqrt(12.0 * 20000));
  TVec uFirst = u;
  u.RandUniform();
  EXPECT_EQ(Values(u), Values(uFirst));

  // Two never-seeded vectors must not produce the same noise (summed noise lines would
  // otherwise be fully correlated).
  TVec n1(64), n2(64);
  n1.RandGauss(0.0, 1.0);
  n2.RandGauss(0.0, 1.0);
  EXPECT_NE(Values(n1), Values(n2));
  TVec zc(1000, true);
  zc.RandGauss(3, 0.0, 1.0);
  EXPECT_GT(TVec().ImagPart(zc).StdDev(), 0.8);
}

TEST(TVecRandom, GaussianTailsMatchTheNormalDistribution) {
  // Exceedance probabilities of the standard normal, 2·(1 − Φ(t)); beyond 3.44 only the
  // ziggurat's tail sampler produces values, so t = 3.5 checks it.
  const int n = 2000000;
  TVec x(n);
  x.RandGauss(2024, 0.0, 1.0);
  const double t[] = {0.5, 1.0, 2.0, 3.0, 3.5};
  const double p[] = {0.6170750774519738, 0.31731050786291415, 0.04550026389635842, 0.0026997960632601866,
                      0.0004652581580710802};
  for (int k = 0; k < 5; ++k) {
    int count = 0;
    for (int i = 0; i < n; ++i) count += std::fabs(x.Values(i)) > t[k];
    double sigma = std::sqrt(p[k] * (1 - p[k]) / n);
    EXPECT_NEAR(count / double(n), p[k], 5 * sigma) << "t = " << t[k];
  }
  double m4 = 0;
  for (int i = 0; i < n; ++i) m4 += std::pow(x.Values(i), 4);
  EXPECT_NEAR(m4 / n, 3.0, 5 * std::sqrt(96.0 / n));  // Var(x^4) = 105 - 9
}

TEST(TMtxTest, ShapeRowsAndElementWise) {
  TMtx m(2, 3, true);
  for (int r = 0; r < 2; ++r)
    for (int c = 0; c < 3; ++c) m.CValues(r, c) = TCplx(r + 1, c);
  TVec row;
  m.GetRow(row, 1);
  EXPECT_EQ(Values(row), (V{2, 0, 2, 1, 2, 2}));
  TMtx p;
  p.PowerSpectrum(m);
  EXPECT_EQ(std::pair(p.Rows(), p.Cols()), std::pair(2, 3));
  EXPECT_DOUBLE_EQ(p.Values(1, 2), 8.0);
  TMtx a;
  a.Copy(m);
  a.Abs();
  EXPECT_FALSE(a.Complex());
  EXPECT_EQ(a.Cols(), 3);
  EXPECT_DOUBLE_EQ(a.Values(1, 2), std::sqrt(8.0));
  a.Divide(p).Scale(2.0);
  EXPECT_DOUBLE_EQ(a.Values(1, 2), 2.0 / std::sqrt(8.0));
  a.Cbrt();
  EXPECT_NEAR(a.Values(1, 2), std::cbrt(2.0 / std::sqrt(8.0)), 1e-15);
  a.SelectRow(1, 1, 2);
  EXPECT_EQ(a.Length(), 2);
  a.SetZero();
  a.SetFullRange();
  EXPECT_EQ(a.Values(1, 1), 0.0);
  EXPECT_NE(a.Values(1, 0), 0.0);
  TVec r3(3, true);
  EXPECT_THROW(m.SetRow(r3, 2), EVecError);
  m.SetRow(r3, 0);
  EXPECT_EQ(m.CValues(0, 1), TCplx(0, 0));
}

TEST(TVecListTest, OwnsVectors) {
  TVecList list;
  list.SetCount(3);
  list[2].SetLength(5);
  EXPECT_EQ(list.Count(), 3);
  list.Delete(0);
  EXPECT_EQ(list[1].Length(), 5);
  EXPECT_THROW(list.Delete(2), EVecError);
}
