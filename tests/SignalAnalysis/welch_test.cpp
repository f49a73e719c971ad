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

struct TWelchData {
  double fs = 0;
  int n = 0, frames = 0;
  std::vector<std::vector<double>> r;
};

TWelchData Load() {
  TWelchData d;
  d.r = test::ReadRecords("ana_welch.f64");
  if (d.r.size() != 7) return d;
  d.fs = d.r[0][0];
  d.n = static_cast<int>(d.r[0][1]);
  d.frames = static_cast<int>(d.r[0][2]);
  return d;
}

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

TEST(Welch, OneSidedAveragedPowerMatchesScipy) {
  const TWelchData d = Load();
  ASSERT_EQ(d.r.size(), 7u);
  const TVec x = test::ToVec(d.r[1]);
  // Hamming's fixed correction 1.85185185 carries 9 digits: 2·10⁻⁹ on a power.
  const std::pair<TSignalWindowType, double> cases[] = {{wtHanning, 1e-12}, {wtHamming, 3e-9}, {wtBartlett, 1e-12}};
  for (int c = 0; c < 3; ++c) {
    TRig rig(d.fs);
    rig->SetWindow(cases[c].first);
    Average(rig, x, d.n, d.frames);
    ASSERT_EQ(rig->Length(), d.n / 2);
    ASSERT_EQ(rig->Stats()->Averaged(), static_cast<unsigned>(d.frames));
    const std::vector<double>& p = d.r[2 + c];
    double top = 0, err = 0;
    for (double v : p) top = std::max(top, v);
    for (int k = 0; k < d.n / 2; ++k) {
      const double ours = (k == 0 ? 1.0 : 2.0) * rig->Amplt().Values(k);
      err = std::max(err, std::fabs(ours - p[k]) / std::max(p[k], 1e-6 * top));
    }
    EXPECT_LT(err, cases[c].second) << "window " << cases[c].first;
    EXPECT_EQ(rig->LineFrequency(d.n / 8), d.n / 8 * d.fs / d.n);
  }
}

TEST(Welch, TwoSidedAveragedPowerOfAComplexSignalMatchesScipy) {
  const TWelchData d = Load();
  ASSERT_EQ(d.r.size(), 7u);
  const TVec xc = test::ToVec(d.r[5], true);
  TRig rig(d.fs);
  rig->SetWindow(wtHanning);
  Average(rig, xc, d.n, d.frames);
  ASSERT_EQ(rig->Length(), d.n);
  const std::vector<double>& p = d.r[6];  // FFT order
  double top = 0, err = 0;
  for (double v : p) top = std::max(top, v);
  for (int i = 0; i < d.n; ++i) {
    const int k = (i + d.n / 2) % d.n;  // line i lies at −fs/2 + i·fs/n
    err = std::max(err, std::fabs(rig->Amplt().Values(i) - p[k]) / std::max(p[k], 1e-6 * top));
  }
  EXPECT_LT(err, 1e-12);
  int peak = 0;
  rig->Amplt().Max(peak);
  EXPECT_NEAR(rig->LineFrequency(peak), -1500.0, d.fs / d.n);
}
