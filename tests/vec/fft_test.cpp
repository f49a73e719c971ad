// TVec transforms against NumPy / SciPy reference data (tests/gen_fft_reference.py).
#include <algorithm>
#include <bit>
#include <cmath>
#include <fstream>
#include <functional>
#include <numbers>
#include <stdexcept>
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

constexpr int kLengths[] = {1, 2, 3, 7, 64, 1000, 4096, 4099};

class FftReference : public ::testing::TestWithParam<int> {
protected:
  int n = GetParam();
  FftRef ref = LoadFftRef(n);
};

TEST_P(FftReference, ComplexInput) {
  TVec y;
  EXPECT_TRUE(Near(y.FFT(ref.z), ref.fftZ));
  EXPECT_TRUE(Near(y.IFFT(ref.z), ref.ifftZ));
}

TEST_P(FftReference, RealInputSpectra) {
  TVec y;
  EXPECT_TRUE(Near(y.FFT(ref.x), FullFromHalf(ref.rfftX, n)));
  EXPECT_TRUE(Near(y.FFTFromReal(ref.x), ref.rfftX));
  // numpy.fft.ifft(x) = conj(fft(x)) / n for real x.
  TVec expected = FullFromHalf(ref.rfftX, n);
  for (int k = 0; k < n; ++k) expected.CValues(k) = std::conj(expected.CValues(k)) / double(n);
  EXPECT_TRUE(Near(y.IFFT(ref.x), expected));
}

TEST_P(FftReference, RealInverse) {
  TVec y;
  // z is not Hermitian: bins above n/2 and the imaginary parts of bins 0 and n/2 are ignored.
  EXPECT_TRUE(Near(y.IFFTToReal(ref.z), ref.irfftZ));
  EXPECT_TRUE(Near(y.IFFTFromHalf(Head(ref.z, n / 2 + 1), n), ref.irfftZ));
  // A longer source is truncated to n/2 + 1 bins, as numpy.fft.irfft does.
  EXPECT_TRUE(Near(y.IFFTFromHalf(ref.z, n), ref.irfftZ));
}

TEST_P(FftReference, DctAndIdct) {
  TVec y;
  EXPECT_TRUE(Near(y.DCT(ref.x), ref.dctX));
  EXPECT_TRUE(Near(y.IDCT(ref.x), ref.idctX));
}

TEST_P(FftReference, InPlaceFormsMatchReference) {
  const struct {
    TVec in;
    std::function<void(TVec&)> op;
    TVec ref;
  } forms[] = {{ref.z, [](TVec& a) { a.FFT(); }, ref.fftZ},
               {ref.z, [](TVec& a) { a.FFT(a); }, ref.fftZ},
               {ref.z, [](TVec& a) { a.IFFT(); }, ref.ifftZ},
               {ref.x, [](TVec& a) { a.FFT(); }, FullFromHalf(ref.rfftX, n)},
               {ref.x, [](TVec& a) { a.FFTFromReal(a); }, ref.rfftX},
               {ref.z, [](TVec& a) { a.IFFTToReal(a); }, ref.irfftZ},
               {Head(ref.z, n / 2 + 1), [&](TVec& a) { a.IFFTFromHalf(a, n); }, ref.irfftZ},
               {ref.x, [](TVec& a) { a.DCT(); }, ref.dctX},
               {ref.x, [](TVec& a) { a.IDCT(a); }, ref.idctX},
               {ref.x, [](TVec& a) { a.IDCT(); }, ref.idctX}};
  for (size_t i = 0; i < std::size(forms); ++i) {
    TVec a = forms[i].in;
    forms[i].op(a);
    EXPECT_TRUE(Near(a, forms[i].ref)) << "form " << i;
  }
}

INSTANTIATE_TEST_SUITE_P(Lengths, FftReference, ::testing::ValuesIn(kLengths));

// Views at odd offsets: a real range one double in is not 16-byte aligned, so these also run
// the unaligned plans.
class FftSubRange : public ::testing::TestWithParam<int> {
protected:
  static constexpr int kPad = 5;
  static constexpr double kMarker = -7.25;
  int n = GetParam();
  FftRef ref = LoadFftRef(n);

  // ref placed at element offset in a vector of n + kPad elements filled with marker values.
  static TVec Embedded(const TVec& v, int offset) {
    TVec big(v.Length() + kPad, v.Complex());
    std::fill(big.PValues(), big.PValues() + big.RealLength(), kMarker);
    big.Copy(v, 0, offset, v.Length());
    big.SetSubRange(offset, v.Length());
    return big;
  }

  // The elements outside the range still hold the marker.
  static ::testing::AssertionResult Untouched(TVec& big, int offset) {
    const int len = big.Length();
    big.SetFullRange();
    for (int i = 0; i < big.Length(); ++i)
      if ((i < offset || i >= offset + len) &&
          At(big, i) != TCplx(kMarker, big.Complex() ? kMarker : 0.0))
        return ::testing::AssertionFailure() << "element " << i << " outside the range changed";
    return ::testing::AssertionSuccess();
  }
};

TEST_P(FftSubRange, SourceViewEqualsCopyOfRange) {
  for (int offset : {1, 3}) {
    TVec x = Embedded(ref.x, offset), z = Embedded(ref.z, offset), y;
    EXPECT_TRUE(Near(y.FFT(z), ref.fftZ));
    EXPECT_TRUE(Near(y.FFT(x), FullFromHalf(ref.rfftX, n)));
    EXPECT_TRUE(Near(y.FFTFromReal(x), ref.rfftX));
    EXPECT_TRUE(Near(y.DCT(x), ref.dctX));
    EXPECT_TRUE(Near(y.IDCT(x), ref.idctX));
    EXPECT_TRUE(Near(y.IFFTToReal(z), ref.irfftZ));
  }
}

TEST_P(FftSubRange, InPlaceOnViewStaysInRange) {
  for (int offset : {1, 4}) {
    TVec z = Embedded(ref.z, offset);
    EXPECT_TRUE(Near(z.FFT(), ref.fftZ));
    EXPECT_TRUE(Untouched(z, offset));
    TVec x = Embedded(ref.x, offset);
    EXPECT_TRUE(Near(x.DCT(), ref.dctX));
    EXPECT_TRUE(Untouched(x, offset));
    // A view cannot turn complex, so the real in-place FFT refuses rather than spill over.
    x = Embedded(ref.x, offset);
    EXPECT_THROW(x.FFT(), EVecError);
    EXPECT_TRUE(Untouched(x, offset));
  }
}

TEST_P(FftSubRange, DestinationView) {
  TVec out = Embedded(ref.x, 1);  // a real range of length n at a misaligned address
  EXPECT_TRUE(Near(out.IFFTToReal(ref.z), ref.irfftZ));
  EXPECT_TRUE(Untouched(out, 1));
  out = Embedded(ref.x, 1);
  EXPECT_TRUE(Near(out.DCT(ref.x), ref.dctX));
  EXPECT_TRUE(Untouched(out, 1));
}

INSTANTIATE_TEST_SUITE_P(Lengths, FftSubRange, ::testing::Values(1, 7, 64, 1000, 4099));

// Missing bins count as zero (numpy.fft.irfft pads): two bins give a DC level plus one cosine.
TEST(FftContract, ShortHalfSpectrumIsZeroPadded) {
  const int n = 10;
  const TCplx c0(3.0, 0.5), c1(1.5, -2.0);  // the imaginary part of bin 0 is ignored
  TVec noise(n, true), half(2, true), y;
  noise.RandGauss(7, 0.0, 1.0);
  y.IFFTFromHalf(noise, n);  // leaves other values in the scratch first
  half.CValues(0) = c0;
  half.CValues(1) = c1;
  y.IFFTFromHalf(half, n);
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

TEST(FftContract, FormsRejectWrongKindOfInput) {
  TVec c(8, true), r(8), out;
  EXPECT_THROW(out.DCT(c), EVecError);
  EXPECT_THROW(out.IDCT(c), EVecError);
  EXPECT_THROW(c.DCT(), EVecError);
  EXPECT_THROW(out.FFTFromReal(c), EVecError);
  EXPECT_THROW(out.IFFTToReal(r), EVecError);
  EXPECT_THROW(out.IFFTFromHalf(r, 8), EVecError);
  EXPECT_THROW(out.IFFTFromHalf(c, -1), EVecError);
  EXPECT_THAT([&] { out.DCT(c); }, RaisesWith<EVecError>("complex"));
}

TEST(FftContract, EmptyGivesEmpty) {
  TVec empty, emptyC(0, true), y(5);
  EXPECT_TRUE(y.FFT(empty).Empty() && y.Complex());
  EXPECT_TRUE(y.FFTFromReal(empty).Empty() && y.Complex());
  EXPECT_TRUE(y.IFFT(emptyC).Empty() && y.Complex());
  EXPECT_TRUE(y.IFFTToReal(emptyC).Empty() && !y.Complex());
  EXPECT_TRUE(y.IFFTFromHalf(emptyC, 0).Empty() && !y.Complex());
  EXPECT_TRUE(y.DCT(empty).Empty());
}

TEST(FftPlans, MadeOncePerShapeAndReused) {
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
}

TEST(FftPlans, ScratchOnlyGrows) {
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
