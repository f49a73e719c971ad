// TVec transforms against NumPy / SciPy reference data (tests/gen_fft_reference.py).
#include <algorithm>
#include <cmath>
#include <functional>
#include <numbers>
#include <string>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

#include "../common/reference.h"
#include "ondrix/vec/TVec.h"
#include "ondrix/vec/fft_plan.h"

namespace ondrix {
namespace {

using ondrix::testing::At;
using ondrix::testing::Near;
using ondrix::testing::RaisesWith;

// Arrays of fft_ref_n<N>.f64, in file order.
struct FftRef {
  TVec x, z, fftZ, ifftZ, rfftX, irfftZ, dctX, idctX;
};

FftRef LoadFftRef(int n) {
  testing::TRefReader in("fft_ref_n" + std::to_string(n) + ".f64");
  FftRef ref{in.Next(n), in.Next(n, true), in.Next(n, true), in.Next(n, true), in.Next(n / 2 + 1, true),
             in.Next(n), in.Next(n), in.Next(n)};
  EXPECT_TRUE(in.Done());
  return ref;
}

// numpy.fft.fft(x) for real x, from the rfft reference and conjugate symmetry.
TVec FullFromHalf(const TVec& half, int n) {
  TVec full(n, true);
  for (int k = 0; k < n; ++k)
    full.CValues(k) = k <= n / 2 ? half.CValues(k) : std::conj(half.CValues(n - k));
  return full;
}

TVec Head(const TVec& v, int count) {
  TVec h(count, v.Complex());
  h.Copy(v, 0, 0, count);
  return h;
}

constexpr int kPad = 5;
constexpr double kMarker = -7.25;

// v placed at element offset in a vector of n + kPad elements filled with marker values, as a view.
TVec Embedded(const TVec& v, int offset) {
  TVec big(v.Length() + kPad, v.Complex());
  std::fill(big.PValues(), big.PValues() + big.RealLength(), kMarker);
  big.Copy(v, 0, offset, v.Length());
  big.SetSubRange(offset, v.Length());
  return big;
}

// The elements outside the view still hold the marker.
::testing::AssertionResult Untouched(TVec& big, int offset) {
  const int len = big.Length();
  big.SetFullRange();
  for (int i = 0; i < big.Length(); ++i)
    if ((i < offset || i >= offset + len) && At(big, i) != TCplx(kMarker, big.Complex() ? kMarker : 0.0))
      return ::testing::AssertionFailure() << "element " << i << " outside the range changed";
  return ::testing::AssertionSuccess();
}

class FftReference : public ::testing::TestWithParam<int> {
protected:
  int n = GetParam();
  FftRef ref = LoadFftRef(n);
};

// Every form, out of place into a reused destination and in place, on a vector and on views
// at offsets 1 and 4 (a real range one double in is not 16-byte aligned: the unaligned plans).
TEST_P(FftReference, EveryFormMatchesReferenceAlsoOnViews) {
  const TVec full = FullFromHalf(ref.rfftX, n);
  TVec ifftX(full);  // numpy.fft.ifft(x) = conj(fft(x)) / n for real x
  for (int k = 0; k < n; ++k) ifftX.CValues(k) = std::conj(full.CValues(k)) / double(n);
  TVec y;
  // z is not Hermitian: the real inverses ignore bins above n/2 and the imaginary parts of
  // bins 0 and n/2, and a longer half spectrum is truncated to n/2 + 1 bins (numpy.fft.irfft).
  const struct {
    TVec in;
    std::function<TVec(TVec&)> op;
    const TVec& ref;
    bool onView;
  } forms[] = {{ref.z, [&](TVec& a) { return y.FFT(a); }, ref.fftZ, true},
               {ref.z, [&](TVec& a) { return y.IFFT(a); }, ref.ifftZ, true},
               {ref.x, [&](TVec& a) { return y.FFT(a); }, full, true},
               {ref.x, [&](TVec& a) { return y.FFTFromReal(a); }, ref.rfftX, true},
               {ref.x, [&](TVec& a) { return y.IFFT(a); }, ifftX, true},
               {ref.z, [&](TVec& a) { return y.IFFTToReal(a); }, ref.irfftZ, true},
               {Head(ref.z, n / 2 + 1), [&](TVec& a) { return y.IFFTFromHalf(a, n); }, ref.irfftZ, true},
               {ref.z, [&](TVec& a) { return y.IFFTFromHalf(a, n); }, ref.irfftZ, true},
               {ref.x, [&](TVec& a) { return y.DCT(a); }, ref.dctX, true},
               {ref.x, [&](TVec& a) { return y.IDCT(a); }, ref.idctX, true},
               {ref.z, [](TVec& a) { return a.FFT(); }, ref.fftZ, true},
               {ref.z, [](TVec& a) { return a.FFT(a); }, ref.fftZ, true},
               {ref.z, [](TVec& a) { return a.IFFT(); }, ref.ifftZ, true},
               {ref.x, [](TVec& a) { return a.FFT(); }, full, false},
               {ref.x, [](TVec& a) { return a.FFTFromReal(a); }, ref.rfftX, false},
               {ref.z, [](TVec& a) { return a.IFFTToReal(a); }, ref.irfftZ, false},
               {Head(ref.z, n / 2 + 1), [&](TVec& a) { return a.IFFTFromHalf(a, n); }, ref.irfftZ, false},
               {ref.x, [](TVec& a) { return a.DCT(); }, ref.dctX, true},
               {ref.x, [](TVec& a) { return a.IDCT(a); }, ref.idctX, true},
               {ref.x, [](TVec& a) { return a.IDCT(); }, ref.idctX, true}};
  for (size_t i = 0; i < std::size(forms); ++i) {
    SCOPED_TRACE("form " + std::to_string(i));
    TVec a = forms[i].in;
    EXPECT_TRUE(Near(forms[i].op(a), forms[i].ref));
    for (int offset : {1, 4}) {
      if (!forms[i].onView) continue;
      TVec v = Embedded(forms[i].in, offset);
      EXPECT_TRUE(Near(forms[i].op(v), forms[i].ref)) << "view at " << offset;
      EXPECT_TRUE(Untouched(v, offset)) << "view at " << offset;
    }
  }
  // A view cannot turn complex, so the real in-place FFT refuses rather than spill over.
  TVec x = Embedded(ref.x, 1);
  EXPECT_THROW(x.FFT(), EVecError);
  EXPECT_TRUE(Untouched(x, 1));
  // A misaligned real view as the destination.
  TVec out = Embedded(ref.x, 1);
  EXPECT_TRUE(Near(out.IFFTToReal(ref.z), ref.irfftZ));
  EXPECT_TRUE(Untouched(out, 1));
  out = Embedded(ref.x, 1);
  EXPECT_TRUE(Near(out.DCT(ref.x), ref.dctX));
  EXPECT_TRUE(Untouched(out, 1));
}

INSTANTIATE_TEST_SUITE_P(Lengths, FftReference, ::testing::Values(1, 2, 3, 7, 64, 1000, 4096, 4099));

// Missing bins count as zero (numpy.fft.irfft pads): two bins give a DC level plus one cosine.
TEST(FftContract, ShortHalfSpectrumIsZeroPadded) {
  const int n = 10;
  const TCplx c0(3.0, 0.5), c1(1.5, -2.0);  // the imaginary part of bin 0 is ignored
  TVec noise(n, true), y;
  noise.RandGauss(7, 0.0, 1.0);
  y.IFFTFromHalf(noise, n);  // leaves other values in the scratch first
  y.IFFTFromHalf(testing::Vec({c0.real(), c0.imag(), c1.real(), c1.imag()}, true), n);
  TVec expected(n);
  for (int t = 0; t < n; ++t)
    expected.Values(t) =
        (c0.real() + 2.0 * (c1 * std::polar(1.0, 2 * std::numbers::pi * t / n)).real()) / n;
  EXPECT_TRUE(Near(y, expected));
}

// A size-event handler of the destination that transforms other data must not disturb the
// result (the real inverse works through per-thread scratch).
TEST(FftContract, SizeEventHandlerMayTransform) {
  const FftRef ref = LoadFftRef(64);
  TVec other, y;
  y.OnSetSize = [&](TVec*) { other.IFFTFromHalf(ref.fftZ, 64); };
  y.IFFTToReal(ref.z);
  EXPECT_TRUE(Near(y, ref.irfftZ));
  EXPECT_EQ(other.Length(), 64);
}

TEST(FftContract, WrongKindOfInputRaisesAndEmptyGivesEmpty) {
  TVec c(8, true), r(8), out;
  EXPECT_THROW(out.IDCT(c), EVecError);
  EXPECT_THROW(c.DCT(), EVecError);
  EXPECT_THROW(out.FFTFromReal(c), EVecError);
  EXPECT_THROW(out.IFFTToReal(r), EVecError);
  EXPECT_THROW(out.IFFTFromHalf(r, 8), EVecError);
  EXPECT_THROW(out.IFFTFromHalf(c, -1), EVecError);
  EXPECT_THAT([&] { out.DCT(c); }, RaisesWith<EVecError>("complex"));
  TVec empty, emptyC(0, true), y(5);
  EXPECT_TRUE(y.FFT(empty).Empty() && y.Complex());
  EXPECT_TRUE(y.FFTFromReal(empty).Empty() && y.Complex());
  EXPECT_TRUE(y.IFFT(emptyC).Empty() && y.Complex());
  EXPECT_TRUE(y.IFFTToReal(emptyC).Empty() && !y.Complex());
  EXPECT_TRUE(y.IFFTFromHalf(emptyC, 0).Empty() && !y.Complex());
  EXPECT_TRUE(y.DCT(empty).Empty());
}

TEST(FftPlans, MadeOncePerShapeScratchOnlyGrows) {
  static int run = 0;  // a length no other test (or earlier repeat) has used
  const int n = 5001 + 2 * run++;
  TVec a(n, true), b(n, true), y1, y2;
  a.RandGauss(1, 0.0, 1.0);
  b.RandGauss(2, 0.0, 1.0);
  const std::size_t before = FftPlanCount();
  y1.FFT(a);
  const std::size_t afterFirst = FftPlanCount();
  EXPECT_EQ(afterFirst, before + 1);
  for (int i = 0; i < 5; ++i) {
    y1.FFT(a);
    y2.FFT(b);
  }
  EXPECT_EQ(FftPlanCount(), afterFirst);
  a.FFT();  // in place is a plan of its own
  a.FFT();
  EXPECT_EQ(FftPlanCount(), afterFirst + 1);
  double* big = FftScratch(4096);
  EXPECT_EQ(FftScratch(100), big);
  EXPECT_EQ(FftScratch(4096), big);
}

// Naive DFT, the independent reference for lengths made on the fly.
TVec NaiveDft(const TVec& x) {
  const int n = x.Length();
  TVec y(n, true);
  for (int k = 0; k < n; ++k) {
    TCplx s = 0.0;
    for (int j = 0; j < n; ++j)
      s += x.CValues(j) * std::polar(1.0, -2 * std::numbers::pi * double(k) * j / n);
    y.CValues(k) = s;
  }
  return y;
}

// Threads plan new sizes at the same time; the planner must be serialised.
TEST(FftPlans, ConcurrentFirstUse) {
  constexpr int kThreads = 4, kSizes = 24, kFirst = 151;
  std::vector<TVec> inputs, expected;
  for (int n = kFirst; n < kFirst + kSizes; ++n) {
    TVec x(n, true);
    x.RandUniform(static_cast<std::uint32_t>(n), -1.0, 1.0);
    expected.push_back(NaiveDft(x));
    inputs.push_back(std::move(x));
  }
  std::vector<std::vector<TVec>> results(kThreads, std::vector<TVec>(kSizes));
  std::vector<std::thread> threads;
  for (int t = 0; t < kThreads; ++t)
    threads.emplace_back([&, t] {
      for (int i = 0; i < kSizes; ++i)
        results[t][(i + t * 7) % kSizes].FFT(inputs[(i + t * 7) % kSizes]);
    });
  for (auto& th : threads) th.join();
  for (int t = 0; t < kThreads; ++t)
    for (int i = 0; i < kSizes; ++i)
      EXPECT_TRUE(Near(results[t][i], expected[i], 1e-11)) << "n " << kFirst + i;
}

}  // namespace
}  // namespace ondrix
