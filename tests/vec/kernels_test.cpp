// The analyzer's inner loops against their plain definitions.
#include <gtest/gtest.h>

#include <cfloat>
#include <cmath>
#include <complex>
#include <vector>

#include "ondrix/vec/kernels.h"
#include "ondrix/vec/TVec.h"

using namespace ondrix;

TEST(SpectrumKernels, MeanAndWindowedOffset) {
  TVec x(1003);
  x.RandGauss(5, 3.0, 2.0);
  long double s = 0;
  for (int i = 0; i < x.Length(); ++i) s += x.Values(i);
  EXPECT_NEAR(FrameMean(x.PValues(), x.Length()), static_cast<double>(s / x.Length()), 1e-15 * 3);
  EXPECT_EQ(FrameMean(x.PValues(), 0), 0.0);
  std::vector<double> w(1003), y(1003);
  for (int i = 0; i < 1003; ++i) w[i] = 0.5 + 0.001 * i;
  OffsetAndWindow(y.data(), x.PValues(), 1003, 1.5, w.data());
  for (int i = 0; i < 1003; ++i) ASSERT_EQ(y[i], (x.Values(i) - 1.5) * w[i]);
  OffsetAndWindow(y.data(), y.data(), 1003, -1.0, nullptr);  // in place, no window
  for (int i = 0; i < 1003; ++i) ASSERT_EQ(y[i], (x.Values(i) - 1.5) * w[i] + 1.0);
}

TEST(SpectrumKernels, MagnitudesAgreeWithHypotOverTheWholeRange) {
  std::vector<std::complex<double>> z;
  for (double scale : {1e-300, 1e-160, 1e-150, 1e-3, 1.0, 1e150, 1e160, 1e300})
    for (int k = 0; k < 50; ++k) z.emplace_back(scale * std::cos(0.37 * k) * (k + 1), scale * std::sin(1.3 * k));
  z.emplace_back(0.0, 0.0);
  z.emplace_back(DBL_MAX, DBL_MAX);  // overflows: inf, as hypot gives
  std::vector<double> m(z.size());
  Magnitudes(m.data(), z.data(), static_cast<int>(z.size()));
  for (size_t i = 0; i < z.size(); ++i) {
    const double h = std::hypot(z[i].real(), z[i].imag());
    if (std::isinf(h))
      EXPECT_TRUE(std::isinf(m[i]));
    else
      EXPECT_NEAR(m[i], h, 2 * std::numeric_limits<double>::epsilon() * h) << i;  // within 2 ulp
  }
}

TEST(SpectrumKernels, ExtremesSkipNaN) {
  const double x[] = {NAN, 3, -2, 7.5, NAN, 1, -8, 4, 2};
  double mx = 0, mn = 0;
  Extremes(x, 9, mx, mn);
  EXPECT_EQ(mx, 7.5);
  EXPECT_EQ(mn, -8.0);
  Extremes(x + 1, 1, mx, mn);
  EXPECT_EQ(mx, 3.0);
  EXPECT_EQ(mn, 3.0);
}

// Interleaving against its index formula: channel counts around the tile's assumptions, block
// lengths that leave a partial tile, real and complex samples; deinterleaving inverts it.
TEST(ChannelKernels, InterleaveMatchesTheIndexFormulaAndDeinterleaveInvertsIt) {
  for (int width : {1, 2})
    for (int count : {1, 3, 8, 17})
      for (int n : {1, 255, 700}) {
        std::vector<std::vector<double>> ch(count, std::vector<double>(static_cast<std::size_t>(n) * width));
        std::vector<const double*> in;
        for (int c = 0; c < count; ++c) {
          for (std::size_t k = 0; k < ch[c].size(); ++k) ch[c][k] = 1e6 * c + static_cast<double>(k);
          in.push_back(ch[c].data());
        }
        std::vector<double> block(static_cast<std::size_t>(n) * count * width, -1.0);
        InterleaveChannels(block.data(), in.data(), count, n, width);
        for (int k = 0; k < n; ++k)
          for (int c = 0; c < count; ++c)
            for (int j = 0; j < width; ++j)
              ASSERT_EQ(block[(static_cast<std::size_t>(k) * count + c) * width + j], ch[c][k * width + j])
                  << "width " << width << ", " << count << " channels, n " << n;
        std::vector<std::vector<double>> back(count, std::vector<double>(ch[0].size(), -1.0));
        std::vector<double*> out;
        for (auto& b : back) out.push_back(b.data());
        DeinterleaveChannels(out.data(), block.data(), count, n, width);
        ASSERT_EQ(back, ch) << "width " << width << ", " << count << " channels, n " << n;
      }
}
