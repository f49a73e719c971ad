// The window-model peak fit against tones whose frequency and amplitude are known, with the
// magnitudes computed by direct summation of the DFT.
#include <gtest/gtest.h>

#include <cmath>
#include <complex>

#include "ondrix/sigcore/peak_fit.h"
#include "ondrix/sigcore/windows.h"

namespace ondrix {
namespace {

/// |DFT| of w·A·cos(2π·cycles·n/L + φ) on every line, scaled so that a tone on a line reads A.
TVec Lines(const TVec& w, int L, double cycles, double A, double phi) {
  TVec m(L / 2);
  double sw = 0.0;
  for (int n = 0; n < w.Length(); ++n) sw += w.Values(n);
  for (int k = 0; k < L / 2; ++k) {
    std::complex<double> s = 0.0;
    for (int n = 0; n < w.Length(); ++n)
      s += w.Values(n) * A * std::cos(2 * M_PI * cycles * n / L + phi) * std::polar(1.0, -2 * M_PI * k * n / L);
    m.Values(k) = 2.0 * std::abs(s) / sw;
  }
  return m;
}

// The coarse grid only brackets the minimum for the golden-section search that follows: a grid
// that stops one point short of +0.5 still brackets it (the search interval reaches 0.5), so
// the offset and amplitude come out the same.
TEST(PeakFit, RecoversFrequencyAndAmplitudeForEveryWindowAndPadding) {
  const int N = 256;
  for (TSignalWindowType type : {wtRectangular, wtHanning, wtHamming, wtFlatTop, wtBlackmanHarris, wtKaiser}) {
    for (int pad : {1, 2}) {
      TVec w;
      GenerateWindow(type, w, N);
      const int L = N * pad, k0 = 40 * pad, half = MainLobeHalfWidth(w, L);
      for (double delta : {-0.5, -0.31, 0.0, 0.07, 0.25, 0.49}) {
        const TPeakFit fit = FitWindowPeak(w, L, Lines(w, L, k0 + delta, 0.8, 0.3), k0, half);
        // what the tone's image at negative frequency, 80 natural lines away, leaves: the
        // rectangular window's slow sidelobes put it into the lines next to the peak
        const double tol = type == wtRectangular ? 1e-2 : 2e-3;
        EXPECT_NEAR(fit.Offset, delta, tol) << "window " << type << " pad " << pad << " delta " << delta;
        EXPECT_NEAR(fit.Amplitude, 0.8, 0.8 * tol) << "window " << type << " pad " << pad << " delta " << delta;
      }
    }
  }
}

TEST(PeakFit, MainLobeWidthsAndDegenerateInputs) {
  TVec rect, hann, flat;
  GenerateWindow(wtRectangular, rect, 64);
  GenerateWindow(wtHanning, hann, 64);
  GenerateWindow(wtFlatTop, flat, 64);
  EXPECT_EQ(MainLobeHalfWidth(rect, 64), 1);
  EXPECT_EQ(MainLobeHalfWidth(hann, 64), 1);
  EXPECT_EQ(MainLobeHalfWidth(hann, 256), 7);  // first null 8 lines out at 4× padding
  EXPECT_GE(MainLobeHalfWidth(flat, 64), 2);

  const TVec m = Lines(hann, 64, 10.2, 1.0, 0.0);
  EXPECT_EQ(FitWindowPeak(hann, 64, m, -1, 1).Amplitude, 0.0);
  EXPECT_EQ(FitWindowPeak(hann, 32, m, 10, 1).Offset, 0.0);  // transform shorter than the window
  EXPECT_EQ(FitWindowPeak(hann, 64, m, m.Length(), 1).Amplitude, 0.0);
  EXPECT_NEAR(FitWindowPeak(hann, 64, m, 10, 1).Offset, 0.2, 2e-3);
}

// The three-line estimators on lines whose tone position is known in closed form.
TEST(PeakEstimators, RecoverTheToneOfTheirModelsAndHillClimbConverges) {
  const auto sinc = [](double x) { return x == 0 ? 1.0 : std::fabs(std::sin(M_PI * x) / (M_PI * x)); };
  // Line m of the rectangular-window DFT of exp(2πi·ν·n/N), n < N (a geometric series).
  const int N = 1024;
  const auto line = [&](double nu, int m) {
    return (1.0 - std::polar(1.0, 2 * M_PI * (nu - m))) / (1.0 - std::polar(1.0, 2 * M_PI * (nu - m) / N));
  };
  for (double d : {-0.49, -0.2, 0.013, 0.31, 0.49}) {
    const auto parabola = [&](double x) { return 3.0 - 0.7 * (x - d) * (x - d); };
    EXPECT_NEAR(ParabolaVertexOffset(parabola(-1), parabola(0), parabola(1)), d, 1e-14) << d;
    EXPECT_NEAR(JainPeakLine(7, sinc(-1 - d), sinc(-d), sinc(1 - d)), 7 + d, 1e-13) << d;
    const TCplx xm = line(100 + d, 99), xk = line(100 + d, 100), xp = line(100 + d, 101);
    // Both are exact as N grows, to O(1/N²).
    EXPECT_NEAR(QuinnFirstOffset(xm, xk, xp), d, 2e-6) << d;
    EXPECT_NEAR(QuinnSecondOffset(xm, xk, xp), d, 2e-6) << d;
  }
  // Two equal top lines: the tone lies halfway between them. Masses 1, 2, 3: centre 1/3.
  EXPECT_TRUE(ParabolaVertexOffset(0, 1, 1) == 0.5 && BarycentricOffset(0, 1, 1) == 0.5);
  EXPECT_EQ(JainPeakLine(3, 0, 1, 1), 3.5);
  EXPECT_NEAR(BarycentricOffset(3, 2, 1), -1.0 / 3, 1e-16);
  // Degenerate lines: points on a line, a zero sum, a zero centre line.
  EXPECT_TRUE(ParabolaVertexOffset(1, 2, 3) == 0.0 && BarycentricOffset(1, 0, -1) == 0.0);
  EXPECT_TRUE(std::isnan(QuinnFirstOffset(1.0, 0.0, 1.0)) && std::isnan(QuinnSecondOffset(1.0, 0.0, 1.0)));
  // τ evaluated in NumPy.
  EXPECT_NEAR(QuinnTau(0.0), -0.01031036307982877, 1e-16);
  EXPECT_NEAR(QuinnTau(1.0), 0.20711309833764796, 1e-15);
  EXPECT_NEAR(QuinnTau(0.25), 0.08592684451211693, 1e-15);
  // The hill climb stops within its last step.
  for (double minStep : {1e-2, 1e-6}) {
    const double x = ClimbToMaximum([](double x) { return -std::pow(x - 0.3217, 2); }, 0.0, 0.125, minStep);
    EXPECT_LE(std::fabs(x - 0.3217), 2 * minStep) << minStep;
  }
}

}  // namespace
}  // namespace ondrix
