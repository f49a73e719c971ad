// Chirp-z transforms against SciPy and direct sums, and the single-frequency transform.
#include <gtest/gtest.h>

#include <cmath>

#include "ondrix/sigcore/czt.h"
#include "ondrix/sigcore/dtft.h"
#include "ondrix/vec/calcbase.h"
#include "filter_test_util.h"

using namespace ondrix;
using namespace ondrix::test;
using ondrix::testing::Near;

namespace {

// Σ x[j]·z^(−j) in long double, the direct definition.
TCplx DirectZ(const TVec& x, std::complex<long double> z) {
  std::complex<long double> acc = 0, zinv = 1.0L / z, p = 1;
  for (int j = 0; j < x.Length(); ++j) {
    acc += std::complex<long double>(At(x, j)) * p;
    p *= zinv;
  }
  return TCplx(static_cast<double>(acc.real()), static_cast<double>(acc.imag()));
}

}  // namespace

// Within 1e-9 of SciPy relative to the largest output; on the unit circle within 1e-12. A
// spiral's chirps span a wide dynamic range (e^±15 in case 2), which costs both Bluestein
// implementations about 3e-10 against the direct sum. The zoom cases are scipy's zoom_fft.
TEST(Czt, MatchesScipyCztAndZoomFft) {
  for (bool zoom : {false, true}) {
    const auto recs = ReadRecords(zoom ? "spec_zoom.f64" : "spec_czt.f64");
    ASSERT_FALSE(recs.empty());
    const int cases = static_cast<int>(recs[0][0]);
    ASSERT_EQ(recs.size(), 1u + 3u * cases);
    for (int c = 0; c < cases; ++c) {
      const auto& p = recs[1 + 3 * c];
      const int m = static_cast<int>(p[1]);
      const TVec x = ToVec(recs[2 + 3 * c], p[zoom ? 5 : 6] != 0), ref = ToVec(recs[3 + 3 * c], true);
      TVec X;
      if (zoom)
        CztZoom(X, x, p[2], (p[3] - p[2]) / m, p[4], m);
      else
        Czt(X, x, m, TCplx(p[2], p[3]), TCplx(p[4], p[5]));
      const bool circle = !zoom && std::fabs(std::abs(TCplx(p[2], p[3])) - 1) < 1e-15 &&
                          std::fabs(std::abs(TCplx(p[4], p[5])) - 1) < 1e-15;
      EXPECT_TRUE(Near(X, ref, circle ? 1e-12 : 1e-9)) << (zoom ? "zoom" : "czt") << " case " << c;
    }
  }
}

// With w given by its angle the points lie exactly on the unit circle. (A complex w such as
// polar(1, −2π/n) is off the circle by its rounding, and its transform drifts accordingly.)
TEST(Czt, FullCircleIsFft) {
  for (int n : {1, 5, 1000, 1024}) {
    const TVec x = Noise(n, n, 1.0, true);
    TVec X, F;
    TCztState st;
    CztInitLog(st, n, n, 0.0, -1.0 / n, 0.0, 0.0);
    Czt(st, X, x);
    F.FFT(x);
    EXPECT_TRUE(Near(X, F, 1e-12)) << n;
    // The zoom form with f0 = 0 and Δf = fs/n as well, and a real input.
    TVec xr;
    xr.RealPart(x);
    CztZoom(X, xr, 0.0, 8000.0 / n, 8000.0, n);
    F.FFT(xr);
    EXPECT_TRUE(Near(X, F, 1e-12)) << n;
  }
}

// Long frames and far-off start frequencies need exact chirp angles: k²/2 grows to 10⁸ here.
TEST(Czt, LongTransformAgainstDirectSum) {
  const int n = 20000, m = 48;
  TVec x = Noise(n, 99);
  for (int i = 0; i < n; ++i) x.Values(i) += std::cos(TWOPI * 0.2345678 * i);
  TCztState st;
  const double fs = 1.0, f0 = 0.2345, df = 1e-5;
  CztZoomInit(st, n, m, f0, df, fs);
  TVec X;
  Czt(st, X, x);
  double worst = 0;
  for (int k = 0; k < m; ++k) {
    const long double ang = 2 * 3.14159265358979323846264338327950288L * (f0 + k * (long double)df);
    const TCplx ref = DirectZ(x, std::polar(1.0L, ang));
    worst = std::max(worst, std::abs(X.CValues(k) - ref));
  }
  EXPECT_LE(worst / MaxAbs(X), 1e-10);
}

TEST(Czt, SpiralRadiiAndStateReuse) {
  const int n = 40, m = 25;
  const double fs = 100.0, f0 = 5.0, df = 1.5, r0 = 0.98, r1 = 1.03;
  TCztState st;
  CztZoomInit(st, n, m, f0, df, fs, r0, r1);
  for (std::uint32_t seed : {1u, 2u}) {
    const TVec x = Noise(n, seed, 1.0, true);
    TVec X;
    Czt(st, X, x);
    ASSERT_EQ(X.Length(), m);
    double worst = 0;
    for (int k = 0; k < m; ++k) {
      // Radius geometric from r0 to r1 over the m points, angle 2π·(f0 + kΔf)/fs.
      const long double r = r0 * std::pow((long double)r1 / r0, (long double)k / (m - 1));
      const TCplx ref = DirectZ(x, std::polar(r, 2 * 3.14159265358979323846264338327950288L *
                                                     (f0 + k * df) / fs));
      worst = std::max(worst, std::abs(X.CValues(k) - ref) / std::abs(ref));
    }
    EXPECT_LE(worst, 1e-11) << seed;
    // In place.
    TVec y(x);
    Czt(st, y, y);
    EXPECT_EQ(MaxAbsDiff(y, X), 0.0);
  }
  TVec X;
  EXPECT_THROW(Czt(st, X, TVec(n + 1)), EVecError);
  EXPECT_THROW(CztInit(st, 0, 4, 1.0), EVecError);
  EXPECT_THROW(CztInit(st, 4, 4, 0.0), EVecError);
  EXPECT_THROW(CztZoomInit(st, 4, 4, 0.0, 1.0, 10.0, 0.0, 1.0), EVecError);
  EXPECT_THROW(CztZoomInit(st, 4, 4, 0.0, 1.0, 0.0), EVecError);
}

// The single-frequency transform against the closed form of a geometric series.
TEST(Dtft, TonesMatchTheGeometricSeries) {
  // Σ_{n<N} A·e^(2πi·(f0 − f)·n) = A·(1 − q^N) / (1 − q), q = e^(2πi·(f0 − f)).
  const auto series = [](TCplx A, double f0, double f, int N) {
    const TCplx q = std::polar(1.0, 2 * M_PI * (f0 - f));
    return A * (1.0 - std::pow(q, N)) / (1.0 - q);
  };
  const double f0 = 0.1234567, phi = 0.4;
  for (int N : {1, 63, 64, 100000}) {
    TVec c(N + 5, true), r(N + 5);  // elements past N are not read
    for (int n = 0; n < N + 5; ++n) {
      c.CValues(n) = std::polar(1.0, 2 * M_PI * f0 * n + phi);
      r.Values(n) = c.CValues(n).real();
    }
    for (double f : {0.0, 0.01, 0.1234, 0.37}) {
      const TCplx A = std::polar(1.0, phi), tone = series(A, f0, f, N);
      const TCplx cosine = 0.5 * (tone + series(std::conj(A), -f0, f, N));  // the tones at ±f0
      // Within rounding of the largest possible sum, N; also with f in Hz at fs = 48 kHz.
      EXPECT_LT(std::abs(Dtft(c, N, f) - tone), 1e-11 * N) << N << " " << f;
      EXPECT_LT(std::abs(Dtft(r, N, f) - cosine), 1e-11 * N) << N << " " << f;
      EXPECT_LT(std::abs(Dtft(c, N, f * 48000, 48000) - tone), 1e-11 * N) << N << " " << f;
    }
  }
}
