// The band check of a design against a response known in closed form: a Butterworth
// low-pass, |H(f)|² = 1 / (1 + (f/fc)^(2n)), falling steadily from 0 dB at f = 0.
#include <gtest/gtest.h>

#include <cmath>
#include <vector>

#include "ondrix/sigcore/filter_response.h"

using namespace ondrix;

TEST(CheckBands, RippleAndAttenuationOfAButterworthResponse) {
  const double fc = 0.3;
  const auto gainDb = [&](double f) { return -10 * std::log10(1 + std::pow(f / fc, 10)); };
  TVec freqs(1001), db(1001);
  for (int i = 0; i <= 1000; ++i) {
    freqs.Values(i) = i / 1000.0;
    db.Values(i) = gainDb(freqs.Values(i));
  }
  const double ripple = -gainDb(0.2), atten = -gainDb(0.4);
  // The far passband comes first: the stopband is measured against the top of all passbands.
  std::vector<TBandCheck> bands = {{0.9, 1.0, false, 100.0},
                                   {0.0, 0.2, false, ripple - 0.005},
                                   {0.4, 1.0, true, atten + 0.005},
                                   {0.2001, 0.2009, false, 1.0}};  // between two grid points
  CheckBands(freqs, db, bands);
  EXPECT_NEAR(bands[1].Achieved, ripple, 1e-12);
  EXPECT_NEAR(bands[2].Achieved, atten, 1e-12);
  EXPECT_TRUE(bands[1].Met && bands[2].Met && bands[2].Sampled);  // within the slack
  EXPECT_FALSE(bands[3].Sampled || bands[3].Met);
  bands[1].Specified = ripple - 0.02;
  bands[2].Specified = atten + 0.02;
  CheckBands(freqs, db, bands);
  EXPECT_FALSE(bands[1].Met || bands[2].Met);
}
