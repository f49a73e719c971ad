// Averaged power spectra against scipy.signal.welch (tests/data/ana_welch.f64, written by
// tests/gen_analyzer_reference.py) where the two parameterisations agree: non-overlapping
// segments, the mean removed per segment, periodic windows, scaling='spectrum'. The analyzer's
// power type is |X|²/(Σw)² per line; welch doubles the one-sided lines between 0 Hz and fs/2.
#include <gtest/gtest.h>

#include <cmath>

#include "../sigcore/reference_records.h"
#include "analyzer_helpers.h"

using namespace ondrix;
using namespace ondrix::testing;

namespace {

/// The records of tests/data/ana_welch.f64 and its parameters.
class Welch : public ::testing::Test {
protected:
  void SetUp() override {
    ASSERT_EQ(r.size(), 7u);
    fs = r[0][0];
    n = static_cast<int>(r[0][1]);
    frames = static_cast<int>(r[0][2]);
  }
  const std::vector<std::vector<double>> r = test::ReadRecords("ana_welch.f64");
  double fs = 0;
  int n = 0, frames = 0;
};

/// Runs a linear average of the power spectra of every segment of x.
void Average(TRig& rig, const TVec& x, int n, int frames) {
  rig->SetSpectrumType(stPower);
  rig->Stats()->SetAveraging(avLinearInf);
  TVec seg(n, x.Complex());
  for (int f = 0; f < frames; ++f) {
    seg.Copy(x, f * n, 0, n);
    rig.Feed(seg);
  }
}

}  // namespace

TEST_F(Welch, OneSidedAveragedPowerMatchesScipy) {
  const TVec x = test::ToVec(r[1]);
  // Hamming's fixed correction 1.85185185 carries 9 digits: 2·10⁻⁹ on a power.
  const std::pair<TSignalWindowType, double> cases[] = {{wtHanning, 1e-12}, {wtHamming, 3e-9}, {wtBartlett, 1e-12}};
  for (int c = 0; c < 3; ++c) {
    TRig rig(fs);
    rig->SetWindow(cases[c].first);
    Average(rig, x, n, frames);
    ASSERT_EQ(rig->Length(), n / 2);
    ASSERT_EQ(rig->Stats()->Averaged(), static_cast<unsigned>(frames));
    const std::vector<double>& p = r[2 + c];
    double top = 0, err = 0;
    for (double v : p) top = std::max(top, v);
    for (int k = 0; k < n / 2; ++k) {
      const double ours = (k == 0 ? 1.0 : 2.0) * rig->Amplt().Values(k);
      err = std::max(err, std::fabs(ours - p[k]) / std::max(p[k], 1e-6 * top));
    }
    EXPECT_LT(err, cases[c].second) << "window " << cases[c].first;
    EXPECT_EQ(rig->LineFrequency(n / 8), n / 8 * fs / n);
  }
}

TEST_F(Welch, TwoSidedAveragedPowerOfAComplexSignalMatchesScipy) {
  const TVec xc = test::ToVec(r[5], true);
  TRig rig(fs);
  rig->SetWindow(wtHanning);
  Average(rig, xc, n, frames);
  ASSERT_EQ(rig->Length(), n);
  const std::vector<double>& p = r[6];  // FFT order
  double top = 0, err = 0;
  for (double v : p) top = std::max(top, v);
  for (int i = 0; i < n; ++i) {
    const int k = (i + n / 2) % n;  // line i lies at −fs/2 + i·fs/n
    err = std::max(err, std::fabs(rig->Amplt().Values(i) - p[k]) / std::max(p[k], 1e-6 * top));
  }
  EXPECT_LT(err, 1e-12);
  int peak = 0;
  rig->Amplt().Max(peak);
  EXPECT_NEAR(rig->LineFrequency(peak), -1500.0, fs / n);
}
