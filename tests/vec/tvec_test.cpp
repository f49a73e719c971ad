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
using ondrix::testing::Values;

namespace {

TVec Cplx(std::initializer_list<TCplx> v) {
  TVec x(static_cast<int>(v.size()), true);
  int i = 0;
  for (TCplx d : v) x.CValues(i++) = d;
  return x;
}

}  // namespace

TEST(TVecSize, LengthComplexAndReinterpretation) {
  TVec v(6);
  EXPECT_EQ(v.Length(), 6);
  EXPECT_FALSE(v.Complex());
  for (int i = 0; i < 6; ++i) v.Values(i) = i + 1;
  v.SetComplex(true);  // 6 reals are 3 complex values, stored interleaved
  ASSERT_EQ(v.Length(), 3);
  EXPECT_EQ(v.CValues(1), TCplx(3, 4));
  v.SetComplex(false);
  EXPECT_EQ(Values(v), (std::vector<double>{1, 2, 3, 4, 5, 6}));

  v.SetLength(8);  // growth keeps values and zeroes the new ones
  EXPECT_EQ(Values(v), (std::vector<double>{1, 2, 3, 4, 5, 6, 0, 0}));
  v.SetLength(2);
  v.SetLength(4);  // memory is kept, but regrown elements must read as zero again
  EXPECT_EQ(Values(v), (std::vector<double>{1, 2, 0, 0}));
  v.Resize(4, false);
  EXPECT_EQ(Values(v), (std::vector<double>{0, 0, 0, 0}));
  EXPECT_THROW(v.SetLength(-1), EVecError);
}

TEST(TVecSize, OnSetSizeFiresOnEveryChangeOfLengthOrComplexityOnly) {
  TVec v(4);
  int fired = 0;
  std::vector<int> lengths;
  v.OnSetSize = [&](TVec* s) {
    ++fired;
    lengths.push_back(s->Length());
  };
  v.SetLength(4);  // no change
  v.Size(4, false);
  EXPECT_EQ(fired, 0);
  v.SetLength(10);
  v.SetComplex(true);
  v.Size(5, true);  // no change
  v.Size(7, false);
  TVec other(3, true);
  v.Copy(other);  // copying a differently sized vector resizes
  v.Copy(other);  // same size now: no event
  v.SetSubRange(0, 1);  // views do not count as size changes
  v.SetFullRange();
  EXPECT_EQ(fired, 4);
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
  EXPECT_EQ(v.Values(0), 3);
  EXPECT_DOUBLE_EQ(v.Mean(), 4.5);
  EXPECT_EQ(v.Max(), 6);
  EXPECT_DOUBLE_EQ(v.SumOfSquares(), 9 + 16 + 25 + 36);
  v.Reverse();       // 6 5 4 3
  v.Scale(2.0);      // 12 10 8 6
  v.Rotate(1);       // 6 12 10 8
  v.Add(1.0);        // 7 13 11 9
  TVec b = Vec({1, 1, 1, 1});
  v.Sub(b);          // 6 12 10 8
  EXPECT_THROW(v.SetLength(5), EVecError);  // a narrowed vector cannot resize
  TVec copy;
  copy.Copy(v);      // copies the range only
  EXPECT_EQ(Values(copy), (std::vector<double>{6, 12, 10, 8}));
  v.SetFullRange();
  EXPECT_EQ(Values(v), (std::vector<double>{0, 1, 2, 6, 12, 10, 8, 7, 8, 9}));
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
  EXPECT_EQ(v.CValues(1), TCplx(1, -1));
  EXPECT_EQ(v.CValues(4), TCplx(40, -40));
  EXPECT_EQ(v.CValues(5), TCplx(5, -5));
}

TEST(TVecArithmetic, RealAndComplexElementWise) {
  TVec a = Cplx({{1, 2}, {3, -1}});
  TVec b = Cplx({{0, 1}, {2, 2}});
  TVec r;
  r.Mul(a, b);
  EXPECT_EQ(r.CValues(0), TCplx(-2, 1));
  EXPECT_EQ(r.CValues(1), TCplx(8, 4));
  r.ConjMul(a, b);  // a · conj(b)
  EXPECT_EQ(r.CValues(0), TCplx(2, -1));
  EXPECT_EQ(r.CValues(1), TCplx(4, -8));
  r.Divide(a, b);
  EXPECT_NEAR(std::abs(r.CValues(1) - TCplx(3, -1) / TCplx(2, 2)), 0, 1e-15);
  r.Copy(a).Scale(TCplx(0, 1));
  EXPECT_EQ(r.CValues(0), TCplx(-2, 1));
  r.Sub(a, b);
  EXPECT_EQ(r.CValues(1), TCplx(1, -3));
  // b := a - b with the destination as right operand.
  TVec x = Vec({5, 7}), y = Vec({1, 2});
  y.Sub(x, y);
  EXPECT_EQ(Values(y), (std::vector<double>{4, 5}));
  y.Divide(x, y);
  EXPECT_EQ(Values(y), (std::vector<double>{5.0 / 4, 7.0 / 5}));

  EXPECT_THROW(a.Add(Vec({1, 2})), EVecError);  // complex flag differs
  EXPECT_THROW(x.Add(Vec({1, 2, 3})), EVecError);  // length differs
  EXPECT_THROW(x.Add(TCplx(0, 1)), EVecError);
}

TEST(TVecComplex, PolarConversionsAndParts) {
  TVec z = Cplx({{3, 4}, {-1, 0}, {0, -2}});
  TVec amp, ph;
  z.CartToPolar(amp, ph);
  EXPECT_EQ(Values(amp), (std::vector<double>{5, 1, 2}));
  EXPECT_DOUBLE_EQ(ph.Values(1), M_PI);
  EXPECT_DOUBLE_EQ(ph.Values(2), -M_PI / 2);
  TVec back;
  back.PolarToCart(amp, ph);
  for (int i = 0; i < 3; ++i) EXPECT_NEAR(std::abs(back.CValues(i) - z.CValues(i)), 0, 1e-15);

  TVec p;
  p.PowerSpectrum(z);
  EXPECT_EQ(Values(p), (std::vector<double>{25, 1, 4}));
  TVec inplace = z;
  inplace.Mag();
  EXPECT_FALSE(inplace.Complex());
  EXPECT_EQ(Values(inplace), (std::vector<double>{5, 1, 2}));
  TVec re, im, joined;
  re.RealPart(z);
  im.ImagPart(z);
  joined.RealToCplx(re, im);
  EXPECT_EQ(Values(joined), Values(z));
  z.Conj();
  EXPECT_EQ(z.CValues(0), TCplx(3, -4));
  TVec ext = Vec({1, 2});
  ext.ExtendToComplex(ext);
  EXPECT_EQ(Values(ext), (std::vector<double>{1, 0, 2, 0}));
}

TEST(TVecFunctions, ElementWiseAgainstStdMath) {
  TVec x = Vec({0.5, 2.0, 8.0});
  TVec r;
  r.Cbrt(x);
  EXPECT_DOUBLE_EQ(r.Values(2), 2.0);
  r.Ln(x).Exp();
  EXPECT_NEAR(r.Values(1), 2.0, 1e-15);
  r.Log10(x);
  EXPECT_NEAR(r.Values(2), std::log10(8.0), 1e-16);
  r.Inv(x);
  EXPECT_DOUBLE_EQ(r.Values(0), 2.0);
  TVec h = Vec({-2.5, -1.5, 0.5, 2.5, -0.7});
  r.Round(h);  // half away from zero
  EXPECT_EQ(Values(r), (std::vector<double>{-3, -2, 1, 3, -1}));
  r.Trunc(h);
  EXPECT_EQ(Values(r), (std::vector<double>{-2, -1, 0, 2, -0.0}));
  r.Copy(h).ThreshTop(1.0).ThreshBottom(-2.0);
  EXPECT_EQ(Values(r), (std::vector<double>{-2, -1.5, 0.5, 1, -0.7}));
  TVec z = Cplx({{3, 4}, {0.3, 0.4}});
  z.ThreshTop(2.5);  // limits the magnitude, keeps the phase
  EXPECT_NEAR(std::abs(z.CValues(0) - TCplx(1.5, 2.0)), 0, 1e-15);
  z.ThreshBottom(1.0);
  EXPECT_NEAR(std::abs(z.CValues(1) - TCplx(0.6, 0.8)), 0, 1e-15);
  TVec c = Cplx({{0, M_PI / 2}});
  c.Exp();
  EXPECT_NEAR(std::abs(c.CValues(0) - TCplx(0, 1)), 0, 1e-15);
  EXPECT_THROW(c.Cbrt(), EVecError);
}

TEST(TVecReorder, RotateDownSampleScatter) {
  TVec v = Vec({0, 1, 2, 3, 4});
  v.Rotate(2);  // numpy.roll(x, 2)
  EXPECT_EQ(Values(v), (std::vector<double>{3, 4, 0, 1, 2}));
  v.Rotate(-2);
  v.Rotate(-7);  // == -2
  EXPECT_EQ(Values(v), (std::vector<double>{2, 3, 4, 0, 1}));

  TVec stereo = Vec({10, 20, 11, 21, 12, 22});
  TVec ch;
  ch.DownSample(stereo, 2, 1);
  EXPECT_EQ(Values(ch), (std::vector<double>{20, 21, 22}));
  ch.DownSample(stereo, 4, 3);
  EXPECT_EQ(Values(ch), (std::vector<double>{21}));
  stereo.DownSample(stereo, 3, 0);  // in place
  EXPECT_EQ(Values(stereo), (std::vector<double>{10, 21}));
  EXPECT_THROW(ch.DownSample(stereo, 2, 2), EVecError);

  TVec mux(6);
  mux.Scatter(Vec({1, 2, 3}), 0, 2).Scatter(Vec({-1, -2, -3}), 1, 2);
  EXPECT_EQ(Values(mux), (std::vector<double>{1, -1, 2, -2, 3, -3}));
  EXPECT_THROW(mux.Scatter(Vec({1, 2, 3, 4}), 0, 2), EVecError);
}

TEST(TVecStatistics, AgainstDirectFormulas) {
  TVec v = Vec({2, -4, 4, 4, 5, 5, 7, 9});
  int i;
  EXPECT_EQ(v.Max(i), 9);
  EXPECT_EQ(i, 7);
  EXPECT_EQ(v.Min(i), -4);
  EXPECT_EQ(i, 1);
  double mx, mn;
  v.MaxMin(mx, mn);
  EXPECT_EQ(mx, 9);
  EXPECT_EQ(mn, -4);
  EXPECT_DOUBLE_EQ(v.Mean(), 4.0);
  // Sample standard deviation (N − 1), as numpy.std(ddof=1).
  EXPECT_DOUBLE_EQ(v.StdDev(), std::sqrt((4 + 64 + 0 + 0 + 1 + 1 + 9 + 25) / 7.0));
  EXPECT_DOUBLE_EQ(v.RMS(), std::sqrt((4 + 16 + 16 + 16 + 25 + 25 + 49 + 81) / 8.0));
  EXPECT_DOUBLE_EQ(v.Norm(), std::sqrt(232.0));
  TVec z = Cplx({{1, 1}, {-3, 0}, {0, 0.5}});
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
  v.Replace(std::nan(""), 0.0);
  v.Replace(-inf, -1.0);
  v.Replace(1.0, 7.0, 0.0001);
  EXPECT_EQ(Values(v), (std::vector<double>{0.0, inf, -1.0, 7.0, 2.0}));
  v.ReplaceNonFinite(3.0);
  EXPECT_EQ(v.Values(1), 3.0);
  v.RemoveDC();
  EXPECT_NEAR(v.Mean(), 0.0, 1e-15);
  TVec z = Cplx({{1, 2}, {3, 4}});
  z.RemoveDC();
  EXPECT_EQ(z.CValues(0), TCplx(-1, -1));
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
  TVec re, im;
  re.RealPart(zc);
  im.ImagPart(zc);
  EXPECT_GT(im.StdDev(), 0.8);
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
  EXPECT_EQ(m.Rows(), 2);
  EXPECT_EQ(m.Cols(), 3);
  for (int r = 0; r < 2; ++r)
    for (int c = 0; c < 3; ++c) m.CValues(r, c) = TCplx(r + 1, c);
  TVec row;
  m.GetRow(row, 1);
  EXPECT_EQ(row.Length(), 3);
  EXPECT_EQ(row.CValues(2), TCplx(2, 2));
  TMtx p;
  p.PowerSpectrum(m);
  EXPECT_EQ(p.Rows(), 2);
  EXPECT_EQ(p.Cols(), 3);
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
  EXPECT_EQ(list[2].Length(), 5);
  list.Delete(0);
  EXPECT_EQ(list[1].Length(), 5);
  EXPECT_THROW(list.Delete(2), EVecError);
}
