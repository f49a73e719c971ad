// Streaming filter states against SciPy (tests/gen_filter_reference.py); every state fed in random
// blocks (1-sample blocks included) equals the stream filtered at once. Also the block median,
// integration and differentiation.
#include <gtest/gtest.h>

#include <cmath>
#include <string>

#include "filter_test_util.h"
#include "ondrix/sigcore/block_median.h"
#include "ondrix/sigcore/filter_state.h"
#include "ondrix/sigcore/fir_kernels.h"
#include "ondrix/sigcore/integrate.h"
#include "ondrix/sigcore/fir_design.h"
#include "ondrix/sigcore/iir_design.h"

using namespace ondrix;
using namespace ondrix::test;

namespace {

// Runs a test body with the AVX2 kernels (where the CPU has them) and with the portable ones.
class Kernels : public ::testing::TestWithParam<bool> {
protected:
  void SetUp() override { kernels::UsePortableKernels(GetParam()); }
  void TearDown() override { kernels::UsePortableKernels(false); }
};

}  // namespace

INSTANTIATE_TEST_SUITE_P(FilterState, Kernels, ::testing::Values(false, true),
                         [](const auto& info) { return info.param ? "Portable" : "Native"; });

// Rate changes with and without phases, real and complex taps and data.
TEST_P(Kernels, FirMatchesUpfirdnAndIsChunkInvariant) {
  const auto r = ReadRecords("filt_upfirdn.f64");
  ASSERT_EQ(r.size(), 24u);
  const TVec xr = ToVec(r[0]), xc = ToVec(r[1], true), hr = ToVec(r[2]), hc = ToVec(r[3], true);
  for (size_t c = 4; c < r.size(); c += 2) {
    const auto& p = r[c];
    const int up = static_cast<int>(p[0]), uph = static_cast<int>(p[1]);
    const int down = static_cast<int>(p[2]), dph = static_cast<int>(p[3]);
    const bool cx = p[4] != 0, ch = p[5] != 0;
    SCOPED_TRACE("up " + std::to_string(up) + "/" + std::to_string(uph) + " down " + std::to_string(down) + "/" +
                 std::to_string(dph) + (cx ? " complex data" : "") + (ch ? " complex taps" : ""));
    const TVec& x = cx ? xc : xr;
    const TVec ref = ToVec(r[c + 1], cx || ch);
    TFirState st;
    FirInit(ch ? hc : hr, st, up, uph, down, dph);
    EXPECT_EQ(FirOutputLength(st, x.Length()), ref.Length());
    TVec whole;
    FirFilter(x, whole, st);
    EXPECT_LT(RelMaxError(whole, ref), 1e-12);
    for (unsigned seed : {1u, 2u, 3u}) {
      TFirState s2;
      FirInit(ch ? hc : hr, s2, up, uph, down, dph);
      const TVec parts = InBlocks(x, RandomBlocks(x.Length(), seed), [&](const TVec& a, TVec& b) { FirFilter(a, b, s2); });
      EXPECT_LT(MaxAbsDiff(parts, whole), 1e-12 * MaxAbs(whole));
    }
  }
}

// The one-sample step of a 101-tap single-rate filter continues the block stream, both ways.
TEST_P(Kernels, FirOneSampleStepJoinsTheBlockStream) {
  TVec h(101);
  FirImpulse(h, {0.3}, 2.0, wtKaiser, ftLowpass, 8.0);
  const TVec x = Noise(5000, 7);
  TFirState a, c;
  FirInit(h, a);
  FirInit(h, c);
  TVec whole;
  FirFilter(x, whole, a);
  for (int i = 0; i < 400; ++i) EXPECT_NEAR(FirOneSample(x.Values(i), c), whole.Values(i), 1e-12) << i;
  TVec rest(x.Length() - 400), y;
  rest.Copy(x, 400, 0, rest.Length());
  FirFilter(rest, y, c);
  for (int i = 0; i < y.Length(); i += 50) EXPECT_NEAR(y.Values(i), whole.Values(400 + i), 1e-12);
  // The one-sample step needs a real single-rate filter.
  TFirState d;
  FirInit(h, d, 2, 0, 1, 0);
  EXPECT_THROW(FirOneSample(1.0, d), EVecError);
}

// Long filters take the FFT (overlap-save) path on long blocks and direct sums on short
// ones: the stream agrees with direct sums, and across block splits (filtered in place) within 1e-12.
TEST_P(Kernels, FirLongFiltersByFftAgree) {
  for (int taps : {80, 101, 700}) {
    SCOPED_TRACE(std::to_string(taps) + " taps");
    TVec h(taps);
    FirImpulse(h, {0.1, 0.3}, 2.0, wtBlackman, ftBandpass, 0);
    const TVec x = Noise(30000, 17);
    TFirState a, b;
    FirInit(h, a);
    FirInit(h, b);
    EXPECT_GT(a.FftSize, 0);
    TVec whole;
    FirFilter(x, whole, a);
    double err = 0;
    for (int i = 0; i < x.Length(); i += 37) {
      double s = 0;
      for (int k = 0; k < taps && k <= i; ++k) s += h.Values(k) * x.Values(i - k);
      err = std::max(err, std::fabs(s - whole.Values(i)));
    }
    EXPECT_LT(err, 1e-12 * MaxAbs(whole));
    std::vector<int> blocks = RandomBlocks(9997, 23, 50);  // then long blocks up to 30000
    for (int len : {9000, 1, 2, 8000, 3000}) blocks.push_back(len);
    const TVec parts = InBlocks(x, blocks, [&](const TVec& in, TVec& out) {
      out = in;
      FirFilter(out, out, b);
    });
    EXPECT_LT(MaxAbsDiff(parts, whole), 1e-12 * MaxAbs(whole));
    // Plain arrays in the same blocks take the same path as the vectors: equal to the bit.
    TFirState d;
    FirInit(h, d);
    TVec raw(x.Length());
    for (int at = 0, k = 0; at < x.Length(); at += blocks[k++]) {
      const int n = std::min(blocks[k], x.Length() - at);
      FirFilter(x.PValues() + at, n, raw.PValues() + at, d);
    }
    EXPECT_EQ(MaxAbsDiff(raw, parts), 0.0);
    EXPECT_THROW(FirFilter(raw.PValues(), 10, raw.PValues() + 5, d), EVecError);  // overlapping
  }
  TFirState rate, cplx;
  FirInit(TVec(5), rate, 2);
  FirInit(Noise(5, 3, 1.0, true), cplx);
  double in[4] = {}, out[4];
  EXPECT_THROW(FirFilter(in, 4, out, rate), EVecError);
  EXPECT_THROW(FirFilter(in, 4, out, cplx), EVecError);
}

// A real stream that turns complex: the past carries over with zero imaginary parts.
TEST(FirState, DataTurningComplex) {
  TVec h(15);
  FirImpulse(h, {0.4}, 2.0, wtHamming, ftLowpass, 0);
  const TVec z = Noise(300, 3, 1.0, true);
  TVec zr(z);  // first 100 samples real
  for (int i = 0; i < 100; ++i) zr.CValues(i) = TCplx(z.CValues(i).real(), 0.0);
  for (int up : {1, 3}) {
    TFirState one, parts;
    FirInit(h, one, up, 1, 2, 1);
    FirInit(h, parts, up, 1, 2, 1);
    TVec whole;
    FirFilter(zr, whole, one);
    TVec head(100), tail(200, true), y1, y2;
    for (int i = 0; i < 100; ++i) head.Values(i) = z.CValues(i).real();
    tail.Copy(zr, 100, 0, 200);
    FirFilter(head, y1, parts);
    EXPECT_FALSE(y1.Complex());
    FirFilter(tail, y2, parts);
    ASSERT_TRUE(y2.Complex());
    ASSERT_EQ(y1.Length() + y2.Length(), whole.Length());
    for (int i = 0; i < y1.Length(); ++i) EXPECT_NEAR(y1.Values(i), whole.CValues(i).real(), 1e-13);
    for (int i = 0; i < y2.Length(); ++i) EXPECT_LT(std::abs(y2.CValues(i) - whole.CValues(y1.Length() + i)), 1e-13);
  }
  TFirState none;
  TVec y;
  EXPECT_THROW(FirFilter(z, y, none), EVecError);
}

// Steady block sizes reuse the state's memory and the output's: the delay line of a
// rate-changing filter, the overlap-save buffers of a long single-rate one.
TEST(FirState, NoReallocationInSteadyState) {
  const TVec x = Noise(1024, 5);
  for (int taps : {64, 200}) {
    TVec h(taps), y;
    FirImpulse(h, {0.3}, 2.0, wtHamming, ftLowpass, 0);
    TFirState st;
    FirInit(h, st, taps == 64 ? 2 : 1, 0, taps == 64 ? 3 : 1, 0);
    FirFilter(x, y, st);
    const double* buffer = taps == 64 ? st.Line.data() : st.FftFrame.data();
    const double* out = y.PValues();
    for (int i = 0; i < 10; ++i) FirFilter(x, y, st);
    EXPECT_EQ(taps == 64 ? st.Line.data() : st.FftFrame.data(), buffer) << taps;
    EXPECT_EQ(y.PValues(), out) << taps;
  }
}

TEST_P(Kernels, IirMatchesSosfiltAndIsChunkInvariant) {
  const auto r = ReadRecords("filt_sosfilt.f64");
  ASSERT_EQ(r.size(), 15u);
  for (size_t c = 0; c < r.size(); c += 5) {
    SCOPED_TRACE("case " + std::to_string(c / 5));
    const TVec sos = ToVec(r[c]);
    for (int cplx = 0; cplx < 2; ++cplx) {
      const TVec x = ToVec(r[c + 1 + 2 * cplx], cplx), ref = ToVec(r[c + 2 + 2 * cplx], cplx);
      TIirState st;
      IirInit(sos, st, cplx);
      TVec whole;
      IirFilter(x, whole, st);
      EXPECT_LT(RelMaxError(whole, ref), 1e-9);
      for (unsigned seed : {4u, 5u}) {
        TIirState s2;
        IirInit(sos, s2, false);  // a complex stream widens a real state on its first block
        const TVec parts = InBlocks(x, RandomBlocks(x.Length(), seed), [&](const TVec& a, TVec& b) { IirFilter(a, b, s2); });
        // Every sample takes the same operations whatever the split: equal to the bit.
        EXPECT_EQ(MaxAbsDiff(parts, whole), 0.0);
      }
    }
  }
  // Seven and thirteen sections (the kernel runs four at a time), filtered in place: a plain
  // transposed direct form II, as sosfilt computes it, is the reference.
  for (const TZeroPole& zp : {EllipticFilter(13, 0.5, 70, {0.3}, ftLowpass),
                              EllipticFilter(13, 0.5, 70, {0.2, 0.35}, ftBandstop)}) {
    TVec sos;
    ZeroPoleToSos(zp, sos);
    const TVec x = Noise(3000, 31);
    TVec ref(x);
    for (int k = 0; k < sos.Length() / 6; ++k) {
      const double* q = sos.PValues() + 6 * k;
      double z1 = 0, z2 = 0;
      for (int i = 0; i < ref.Length(); ++i) {
        const double v = ref.Values(i);
        const double out = q[0] * v + z1;
        z1 = q[1] * v - q[4] * out + z2;
        z2 = q[2] * v - q[5] * out;
        ref.Values(i) = out;
      }
    }
    TIirState st;
    IirInit(sos, st);
    const TVec y = InBlocks(x, RandomBlocks(3000, 41, 200), [&](const TVec& a, TVec& b) {
      b = a;
      IirFilter(b, b, st);
    });
    EXPECT_LT(RelMaxError(y, ref), 1e-10) << sos.Length() / 6 << " sections";
  }
  // Plain arrays: a complex block widens a used real state as a vector does, then real data is
  // refused; and a malformed section list.
  TIirState sv, sr;
  IirInit(ToVec(r[0]), sv);
  TVec x = Noise(100, 9), y;
  IirFilter(x, y, sv);
  sr = sv;
  const TVec z = Noise(100, 10, 1.0, true);
  TVec zv, zr(100, true);
  IirFilter(z, zv, sv);
  IirFilter(z.PValues(), 100, zr.PValues(), true, sr);
  EXPECT_EQ(MaxAbsDiff(zv, zr), 0.0);
  EXPECT_THROW(IirFilter(x.PValues(), 100, y.PValues(), false, sr), EVecError);
  EXPECT_THROW(IirInit(TVec(7), sr), EVecError);  // not whole sections
  EXPECT_THROW(IirInit(TVec(6), sr), EVecError);  // a0 = 0
}

TEST(MedianState, MatchesReferenceAndIsChunkInvariant) {
  const auto r = ReadRecords("filt_median.f64");
  ASSERT_EQ(r.size(), 17u);
  const TVec x = ToVec(r[0]);
  for (size_t c = 1; c < r.size(); c += 2) {
    const int len = static_cast<int>(r[c][0]), delay = static_cast<int>(r[c][1]);
    SCOPED_TRACE("length " + std::to_string(len) + " delay " + std::to_string(delay));
    TMedianState st;
    MedianInit(len, st, delay == len / 2 ? -1 : delay);
    EXPECT_EQ(st.Delay, delay);
    TVec whole;
    MedianFilter(x, whole, st);
    EXPECT_LT(MaxAbsDiff(whole, ToVec(r[c + 1])), 1e-15);
    TMedianState s2;
    MedianInit(len, s2, delay);
    const TVec parts = InBlocks(x, RandomBlocks(x.Length(), 8), [&](const TVec& a, TVec& b) { MedianFilter(a, b, s2); });
    EXPECT_EQ(MaxAbsDiff(parts, whole), 0.0);
  }
  // Complex data: the median of each component (the stream code is shared with real data).
  auto median7 = [](const TVec& v) {
    TMedianState st;
    MedianInit(7, st);
    TVec y;
    MedianFilter(v, y, st);
    return y;
  };
  const TVec z = Noise(200, 12, 1.0, true), yz = median7(z);
  EXPECT_EQ(MaxAbsDiff(yz, TVec().RealToCplx(median7(TVec().RealPart(z)), median7(TVec().ImagPart(z)))), 0.0);
  TMedianState a;
  EXPECT_THROW(MedianInit(5, a, 1), EVecError);  // window would reach into the future
  EXPECT_THROW(MedianInit(0, a), EVecError);
  TMedianState delay;
  DelayInit(3, delay);
  TVec y;
  EXPECT_THROW(MedianFilter(z, y, delay), EVecError);
}

TEST(MedianState, IntegerDelay) {
  for (int d : {0, 1, 5, 40}) {
    for (bool cplx : {false, true}) {
      const TVec x = Noise(120, 21, 1.0, cplx);
      TMedianState st, s2;
      DelayInit(d, st);
      DelayInit(d, s2);
      TVec y;
      DelayFilter(x, y, st);
      for (int i = 0; i < 120; ++i)
        EXPECT_EQ(At(y, i), i >= d ? At(x, i - d) : TCplx(0.0)) << d << " " << i;
      const TVec parts = InBlocks(x, RandomBlocks(120, 30 + d), [&](const TVec& a, TVec& b) { DelayFilter(a, b, s2); });
      EXPECT_EQ(MaxAbsDiff(parts, y), 0.0);
    }
  }
  TMedianState m;
  MedianInit(3, m);
  TVec y;
  EXPECT_THROW(DelayFilter(y, y, m), EVecError);
  EXPECT_THROW(DelayInit(-1, m), EVecError);
}

TEST(Envelope, MatchesHilbertMagnitudeAndSmooths) {
  const auto r = ReadRecords("filt_envelope.f64");
  ASSERT_EQ(r.size(), 2u);
  const TVec x = ToVec(r[0]), ref = ToVec(r[1]);
  TVec env;
  EnvelopeDetector(x, env, 1);
  EXPECT_LT(MaxAbsDiff(env, ref), 1e-12);
  // Centred moving average of 5, clipped at the ends.
  TVec sm;
  EnvelopeDetector(x, sm, 5);
  for (int i = 0; i < x.Length(); ++i) {
    const int lo = std::max(i - 2, 0), hi = std::min(i + 2, x.Length() - 1);
    double s = 0;
    for (int k = lo; k <= hi; ++k) s += ref.Values(k);
    EXPECT_NEAR(sm.Values(i), s / (hi - lo + 1), 1e-12);
  }
  // Complex data: the magnitude itself.
  const TVec z = Noise(50, 2, 1.0, true);
  EnvelopeDetector(z, env);
  for (int i = 0; i < 50; ++i) EXPECT_NEAR(env.Values(i), std::abs(z.CValues(i)), 1e-15);
}

TEST(WaveletState, PreparesAndClamps) {
  TWaveletState st;
  WaveletInit(1000, 0, 3, 12, wvDaubechies, st);
  EXPECT_TRUE(st.Prepared);
  EXPECT_EQ(st.MaxLevel, 9);  // 2^9 = 512 <= 1000 < 1024
  EXPECT_EQ(st.Level, 9);
  EXPECT_THROW(WaveletInit(100, 1, 1, 1, 99, st), EVecError);
}

// The centred block median against numpy.median over numpy.pad windows
// (tests/data/ta_median.f64, from tests/gen_timeanalysis_reference.py), and its NaN order.
// The padded copy needs at least n + L - 1 values; a larger buffer changes nothing.
TEST(BlockMedian, MatchesNumpyWithReflectedAndWrappedEnds) {
  const auto r = ReadRecords("ta_median.f64");
  ASSERT_EQ(r.size(), 2 + 2 * r[0].size());
  TVec y;
  for (size_t c = 0; c < 2 * r[0].size(); ++c) {
    BlockMedian(y, ToVec(r[1]), static_cast<int>(r[0][c / 2]), c % 2 ? meWrap : meReflect);
    EXPECT_EQ(MaxAbsDiff(y, ToVec(r[2 + c])), 0.0) << "L " << r[0][c / 2] << " edge " << c % 2;
  }
}

TEST(BlockMedian, NaNSortsAboveNumbersAndBadArgumentsRaise) {
  TVec x = ToVec({5, NAN, 1, 2, 8});
  const double med[] = {NAN, 5, 2, 2, 2};  // windows NaN 5 NaN, 5 NaN 1, ...
  BlockMedian(x, x, 3, meReflect);
  for (int i = 0; i < 5; ++i) EXPECT_TRUE(x.Values(i) == med[i] || (std::isnan(x.Values(i)) && std::isnan(med[i])));
  EXPECT_THROW(BlockMedian(x, x, 0, meWrap), EVecError);
  EXPECT_THROW(BlockMedian(x, TVec(4, true), 3, meWrap), EVecError);
}

// Integration and differentiation against SciPy (tests/gen_timeanalysis_reference.py) and a sampled sine.
TEST(IntegrateDifferentiate, BlocksEqualTheWholeStream) {
  const auto r = ReadRecords("ta_integrate.f64");
  ASSERT_EQ(r.size(), 3u);
  const double dt = 1 / r[0][0];
  TVec x = ToVec(r[1]), ref = ToVec(r[2]), whole;
  TDiffState ds;
  Differentiate(whole, x, dt, ds);
  for (unsigned seed : {1u, 2u, 3u}) {
    std::vector<int> blocks = RandomBlocks(x.Length(), seed);
    blocks.insert(blocks.begin() + seed, 0);  // an empty block changes nothing
    TIntegrateState is;
    TDiffState ds2;
    const TVec y = InBlocks(x, blocks, [&](const TVec& s, TVec& d) { Integrate(d, s, dt, is); });
    EXPECT_LT(MaxAbsDiff(y, ref), 1e-13 * MaxAbs(ref)) << seed;  // scipy
    const TVec z = InBlocks(x, blocks, [&](const TVec& s, TVec& d) { Differentiate(d, s, dt, ds2); });
    EXPECT_EQ(MaxAbsDiff(z, whole), 0.0) << seed;
  }
  // Complex data: each component on its own.
  x.ExtendToComplex(ToVec(r[1])).Scale(TCplx(1, -2));
  ref.ExtendToComplex(ToVec(r[2])).Scale(TCplx(1, -2));
  TIntegrateState is;
  Integrate(whole, x, dt, is);
  EXPECT_LT(MaxAbsDiff(whole, ref), 1e-13 * MaxAbs(ref));
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
