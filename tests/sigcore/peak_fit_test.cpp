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

}  // namespace
}  // namespace ondrix
