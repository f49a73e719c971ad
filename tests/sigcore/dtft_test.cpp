// The single-frequency transform against the closed form of a geometric series.
#include <gtest/gtest.h>

#include <cmath>

#include "ondrix/sigcore/dtft.h"

using namespace ondrix;

TEST(Dtft, TonesMatchTheGeometricSeries) {
  // Σ_{n<N} A·e^(2πi·(f0 − f)·n) = A·(1 − q^N) / (1 − q), q = e^(2πi·(f0 − f)).
  const auto series = [](TCplx A, double f0, double f, int N) {
    const TCplx q = std::polar(1.0, 2 * M_PI * (f0 - f));
    return A * (1.0 - std::pow(q, N)) / (1.0 - q);
  };
  const double f0 = 0.1234567, phi = 0.4;
  for (int N : {1, 63, 64, 100000}) {
    TVec c(N + 5, true), r(N + 5);  // elements past N are not read
    for (int n = 0; n < N + 5; ++n)
      c.CValues(n) = std::polar(1.0, 2 * M_PI * f0 * n + phi), r.Values(n) = c.CValues(n).real();
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
