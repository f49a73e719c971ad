// Correlations against numpy.correlate (tests/gen_fft_reference.py) and analytic cases.
#include <algorithm>
#include <string>

#include <gtest/gtest.h>

#include "../common/reference.h"
#include "ondrix/vec/correlation.h"

namespace ondrix {
namespace {

using ondrix::testing::At;
using ondrix::testing::Near;

// The arrays of corr_ref_<name>.f64, in file order; the last four are numpy "full" outputs.
struct CorrRef {
  int nx = 0, ny = 0;
  TVec x, y, xc, yc, autoR, crossR, autoC, crossC;
};

CorrRef LoadCorrRef(const std::string& name, int nx, int ny) {
  testing::TRefReader in("corr_ref_" + name + ".f64");
  CorrRef r{nx, ny, in.Next(nx), in.Next(ny), in.Next(nx, true), in.Next(ny, true),
            in.Next(2 * nx - 1), in.Next(nx + ny - 1), in.Next(2 * nx - 1, true), in.Next(nx + ny - 1, true)};
  EXPECT_TRUE(in.Done());
  return r;
}

const CorrRef& Ref(bool medium) {
  static const CorrRef r[] = {LoadCorrRef("small", 40, 29), LoadCorrRef("medium", 600, 450)};
  return r[medium];
}

// Lags −lo .. hi − 1 out of a numpy "full" correlation whose first factor had nx values
// (lag k at index nx − 1 + k); lags outside it are 0.
TVec Lags(const TVec& full, int nx, int lo, int hi) {
  TVec v(lo + hi, full.Complex());
  const int w = full.Complex() ? 2 : 1;
  for (int j = 0; j < lo + hi; ++j) {
    const int i = nx - 1 + (j - lo);
    if (i >= 0 && i < full.Length()) std::copy_n(full.PValues() + w * i, w, v.PValues() + w * j);
  }
  return v;
}

// v[k] *= f(k) on the real and imaginary parts.
template <class F>
TVec Scaled(TVec v, F f) {
  for (int i = 0; i < v.RealLength(); ++i) v.PValues()[i] *= f(v.Complex() ? i / 2 : i);
  return v;
}

constexpr TCorrMethod kMethods[] = {cmDirect, cmFFT, cmAuto};

TEST(Correlation, AutoCorrMatchesNumpy) {
  for (const CorrRef* r : {&Ref(false), &Ref(true)}) {
    const int n = r->nx;
    for (bool complex : {false, true}) {
      const TVec& x = complex ? r->xc : r->x;
      const TVec& full = complex ? r->autoC : r->autoR;
      for (int lags : {1, 2, 17, n - 1, n, n + 9}) {
        for (TCorrMethod m : kMethods) {
          SCOPED_TRACE(::testing::Message() << "n " << n << (complex ? " complex" : " real")
                                            << " lags " << lags << " method " << m);
          TVec d;
          const TVec expected = Lags(full, n, 0, lags);
          AutoCorrNormal(d, x, lags, m);
          EXPECT_TRUE(Near(d, expected));
          AutoCorrBiased(d, x, lags, m);
          EXPECT_TRUE(Near(d, Scaled(expected, [n](int) { return 1.0 / n; })));
          AutoCorrUnBiased(d, x, lags, m);
          EXPECT_TRUE(
              Near(d, Scaled(expected, [n](int k) { return k < n ? 1.0 / (n - k) : 0.0; })));
        }
      }
    }
  }
}

TEST(Correlation, CrossCorrMatchesNumpy) {
  for (const CorrRef* r : {&Ref(false), &Ref(true)}) {
    const int nx = r->nx, ny = r->ny;
    // (HiLag, LoLag): positive lags only, negative only, both, the full overlap, and beyond it.
    const std::pair<int, int> bounds[] = {{1, 0},       {0, 4},           {5, 3},
                                          {ny, nx - 1}, {ny + 6, nx + 3}, {2, nx + 8}};
    for (bool complex : {false, true}) {
      const TVec& x = complex ? r->xc : r->x;
      const TVec& y = complex ? r->yc : r->y;
      const TVec& full = complex ? r->crossC : r->crossR;
      for (auto [hi, lo] : bounds) {
        for (TCorrMethod m : kMethods) {
          SCOPED_TRACE(::testing::Message() << "nx " << nx << (complex ? " complex" : " real")
                                            << " hi " << hi << " lo " << lo << " method " << m);
          TVec d;
          CrossCorr(d, x, y, hi, lo, m);
          EXPECT_TRUE(Near(d, Lags(full, nx, lo, hi)));
        }
      }
    }
  }
}

// cmAuto changes path at some lag count: the results on either side of the switch match numpy
// (both forced paths do at every lag count: the tests above).
TEST(Correlation, AutomaticSwitchOver) {
  const CorrRef& r = Ref(true);
  const int nx = r.nx, ny = r.ny;
  int first = 1, hi = 1;
  while (first <= nx && !CorrUsesFFT(nx, nx, 0, first)) ++first;
  while (hi <= ny && !CorrUsesFFT(nx, ny, hi, hi)) ++hi;
  ASSERT_TRUE(first > 1 && hi > 1) << "a single lag should be summed directly";
  ASSERT_TRUE(first <= nx / 2 && hi <= ny / 2) << "many lags of a long vector should go through FFTs";
  TVec d;
  for (int lags : {first - 1, first}) {
    AutoCorrNormal(d, r.x, lags);
    EXPECT_TRUE(Near(d, Lags(r.autoR, nx, 0, lags))) << lags;
  }
  for (int h : {hi - 1, hi}) {
    CrossCorr(d, r.xc, r.yc, h, h);
    EXPECT_TRUE(Near(d, Lags(r.crossC, nx, h, h))) << h;
  }
}

// The destination may be a source, and a size-event handler of it may correlate other data.
TEST(Correlation, DestinationMayBeASourceOrCorrelateOnResize) {
  const CorrRef& r = Ref(false);
  TVec x = r.x;
  AutoCorrBiased(x, x, 12);
  EXPECT_TRUE(Near(x, Scaled(Lags(r.autoR, r.nx, 0, 12), [&r](int) { return 1.0 / r.nx; })));
  TVec xc = r.xc, yc = r.yc;
  CrossCorr(xc, xc, r.yc, 7, 5);
  EXPECT_TRUE(Near(xc, Lags(r.crossC, r.nx, 5, 7)));
  CrossCorr(yc, r.xc, yc, 7, 5, cmFFT);
  EXPECT_TRUE(Near(yc, Lags(r.crossC, r.nx, 5, 7)));
  TVec other, d;
  d.OnSetSize = [&](TVec*) { AutoCorrNormal(other, r.y, 20); };
  CrossCorr(d, r.x, r.y, 9, 4);
  EXPECT_TRUE(Near(d, Lags(r.crossR, r.nx, 4, 9)));
  EXPECT_EQ(other.Length(), 20);
}

TEST(Correlation, EdgeCasesAndErrors) {
  TVec d(3), empty, r(5), c(5, true);
  AutoCorrNormal(d, r, 0);
  EXPECT_TRUE(d.Empty());
  AutoCorrBiased(d, empty, 4);
  EXPECT_TRUE(Near(d, TVec(4)));  // no data: all lags are 0, not NaN
  AutoCorrUnBiased(d, empty, 4);
  EXPECT_TRUE(Near(d, TVec(4)));
  EXPECT_THROW(AutoCorrNormal(d, r, -1), EVecError);
  EXPECT_THROW(CrossCorr(d, r, r, -1, 0), EVecError);
  EXPECT_THROW(CrossCorr(d, r, r, 2, -3), EVecError);
  EXPECT_THROW(CrossCorr(d, r, c, 2, 2), EVecError);
}

}  // namespace
}  // namespace ondrix
