// Rate change by powers of two against SciPy (tests/gen_multirate_reference.py).
#include <gtest/gtest.h>

#include <string>

#include "../common/allocation_counter.h"
#include "filter_test_util.h"
#include "ondrix/sigcore/fir_state.h"
#include "ondrix/sigcore/multirate.h"

using namespace ondrix;
using namespace ondrix::test;

// The designs are SciPy's remez taps of the shortest odd length meeting the ripple, within
// 1e-9 of the largest tap; half-band structural zeros are exact, and no design ends in zeros.
// (The deviation is sampled on a grid of a fixed density per tap: a denser grid, as a fault
// that widens a band's share would give, is slower but not wrong, and picks the same lengths.)
TEST(MultiRateDesign, LowpassAndHilbertMatchScipyRemez) {
  const auto lp = ReadRecords("mr_lowpass.f64");
  ASSERT_EQ(lp.size(), 14u);
  for (size_t c = 0; c < lp.size(); c += 2) {
    const auto& p = lp[c];
    SCOPED_TRACE("pass " + std::to_string(p[0]) + " stop " + std::to_string(p[1]) + " ripple " + std::to_string(p[2]));
    TVec taps;
    MultiRateLowpass(taps, p[0], p[1], p[2], p[3] != 0);
    const TVec ref = ToVec(lp[c + 1]);
    ASSERT_EQ(taps.Length(), ref.Length());
    EXPECT_LT(RelMaxError(taps, ref), 1e-9);
    EXPECT_LE(LowpassDeviation(taps, p[0], p[1]), p[2] * (1 + 1e-6));
    EXPECT_NE(taps.Values(0), 0.0);
    const int mid = (taps.Length() - 1) / 2;
    for (int i = mid % 2; p[0] + p[1] == 1.0 && i < taps.Length(); i += 2)  // half-band zeros
      EXPECT_TRUE(i == mid || taps.Values(i) == 0.0) << i << ": " << taps.Values(i);
  }
  TVec hb;
  HalfBandLowpass(hb, 1e-4, true);
  EXPECT_EQ(hb.Length() % 4, 3);  // 4k + 1 taps would end in zeros
  const auto hi = ReadRecords("mr_hilbert.f64");
  ASSERT_EQ(hi.size(), 6u);
  for (size_t c = 0; c < hi.size(); c += 2) {
    TVec taps;
    HilbertTransformer(taps, hi[c][0], hi[c][1]);
    TVec ref = ToVec(hi[c + 1]);
    ref.Scale(-1.0);  // SciPy's transformer turns cos into −sin, ours into sin
    ASSERT_EQ(taps.Length(), ref.Length());
    EXPECT_LT(RelMaxError(taps, ref), 1e-9);
  }
  TVec t;
  EXPECT_THROW(MultiRateLowpass(t, 0.5, 0.5, 1e-3, true), EVecError);
  EXPECT_THROW(MultiRateLowpass(t, 0.2, 0.4, 0.0, true), EVecError);
  EXPECT_THROW(MultiRateLowpass(t, 0.4999, 0.5001, 1e-9, true), EVecError);  // beyond 10000 taps
  EXPECT_THROW(HilbertTransformer(t, 0.5, 1e-3), EVecError);
}

// Decimating, filter-last and interpolating cascades, real and complex data, designed, raw and
// dense random taps, with rectification: equal to upfirdn stage by stage within 1e-12, and
// bit-identical whatever the block split.
TEST(MultiRateCascade, MatchesUpfirdnStageByStageInAnyBlocks) {
  const auto r = ReadRecords("mr_cascade.f64");
  ASSERT_EQ(r.size(), 8u + 2 * 17);
  const TVec xr = ToVec(r[0]), xc = ToVec(r[1], true);
  for (size_t c = 8; c < r.size(); c += 2) {
    const auto& p = r[c];
    const auto mode = static_cast<TCascadeMode>(static_cast<int>(p[0]));
    const int stages = static_cast<int>(p[1]), set = static_cast<int>(p[3]), rect = static_cast<int>(p[4]);
    SCOPED_TRACE("mode " + std::to_string(mode) + ", " + std::to_string(stages) + " stages, taps " +
                 std::to_string(set) + (p[2] != 0 ? ", complex" : "") + ", rectify " + std::to_string(rect));
    const TVec hb = ToVec(r[2 + 2 * set]), last = ToVec(r[3 + 2 * set]);
    TVec x = p[2] != 0 ? xc : xr;
    if (mode == cmInterpolate) x.SetLength(301);
    const bool cplxOut = p[2] != 0 && rect < 0;  // rectified data are real
    const TVec ref = ToVec(r[c + 1], cplxOut);
    TRateCascade whole;
    CascadeInit(whole, mode, stages, hb, last, rect);
    TVec y;
    CascadeFilter(x, y, whole);
    EXPECT_LT(RelMaxError(y, ref), 1e-12);
    for (unsigned seed : {1u, 2u}) {
      TRateCascade cs;
      CascadeInit(cs, mode, stages, hb, last, rect);
      const TVec parts = InBlocks(x, RandomBlocks(x.Length(), seed, 90), [&](const TVec& a, TVec& b) { CascadeFilter(a, b, cs); });
      EXPECT_EQ(MaxAbsDiff(parts, y), 0.0);
    }
  }
}

// The 2:1 stage equals the general polyphase state on the same stream, odd blocks and real
// blocks that turn complex mid-stream included, and after a reset equals a new state.
TEST(MultiRateCascade, StageAgreesWithPolyphaseState) {
  const TVec h = Noise(23, 5), x = Noise(600, 6, 1.0, true);
  for (TRate2Mode mode : {r2Down, r2Up, r2Same}) {
    SCOPED_TRACE(mode);
    TRate2State s;
    Rate2Init(h, s, mode);
    for (int round = 0; round < 2; ++round) {
      TFirState f;
      FirInit(h, f, mode == r2Up ? 2 : 1, 0, mode == r2Down ? 2 : 1, 0);
      // Odd blocks of real data, then complex blocks.
      TVec a, b, blk;
      int pos = 0;
      for (int len : {7, 1, 30, 13, 50, 3, 100}) {
        blk.Size(len, true);
        blk.Copy(x, pos, 0, len);
        if (pos < 51) blk.RealPart(TVec(blk));
        pos += len;
        EXPECT_EQ(Rate2OutputLength(s, len), FirOutputLength(f, len));
        Rate2Filter(blk, a, s);
        FirFilter(blk, b, f);
        EXPECT_LT(RelMaxError(a, b), 1e-13) << "block at " << pos;
      }
      Rate2Reset(s);  // the second round starts from rest, as a new state
    }
  }
  TRate2State s;
  TVec y;
  EXPECT_THROW(Rate2Filter(h, y, s), EVecError);  // not initialised
  EXPECT_THROW(Rate2Init(TVec(3, true), s, r2Down), EVecError);
}

// Once blocks of the largest length have passed, a cascade allocates nothing.
TEST(MultiRateCascade, BlocksAfterTheFirstAllocateNothing) {
#if !ONDRIX_COUNT_ALLOCATIONS
  GTEST_SKIP() << "allocation counting needs the C library's allocator (not under the sanitizer)";
#else
  TVec hb, last;
  HalfBandLowpass(hb, 1e-4, true);
  MultiRateLowpass(last, 0.45, 0.55, 1e-4, true);
  TRateCascade dec, itp, dem;
  CascadeInit(dec, cmDecimate, 4, hb, last, 2);
  CascadeInit(itp, cmInterpolate, 4, hb, last);
  CascadeInit(dem, cmDecimateFilterLast, 4, hb, last);
  TVec x = Noise(4096, 1), xc = Noise(4096, 2, 1.0, true), y;
  CascadeFilter(x, y, dec);
  CascadeFilter(x, y, itp);
  CascadeFilter(xc, y, dem);
  ondrix::testing::AllocationCounter counter;
  ASSERT_TRUE(counter.Valid());
  for (int b = 0; b < 10; ++b) {
    x.SetLength(4096 - b);  // odd and even, never longer than the first
    CascadeFilter(x, y, dec);
    CascadeFilter(x, y, itp);
    CascadeFilter(xc, y, dem);
  }
  EXPECT_EQ(counter.Count(), 0);
#endif
}
