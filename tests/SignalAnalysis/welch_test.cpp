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

// One-sided, welch doubles the lines between 0 Hz and fs/2; two-sided (a complex signal),
// line i lies at −fs/2 + i·fs/n while welch keeps the FFT order.
TEST_F(Welch, OneAndTwoSidedAveragedPowerMatchesScipy) {
  // Hamming's fixed correction 1.85185185 carries 9 digits: 2·10⁻⁹ on a power.
  const struct {
    TSignalWindowType window;
    int signal, power;  // records
    double tol;
  } cases[] = {{wtHanning, 1, 2, 1e-12}, {wtHamming, 1, 3, 3e-9}, {wtBartlett, 1, 4, 1e-12}, {wtHanning, 5, 6, 1e-12}};
  for (const auto& c : cases) {
    const bool complex = c.signal == 5;
    TRig rig(fs);
    rig->SetWindow(c.window);
    Average(rig, test::ToVec(r[c.signal], complex), n, frames);
    const int lines = complex ? n : n / 2;
    ASSERT_EQ(rig->Length(), lines);
    ASSERT_EQ(rig->Stats()->Averaged(), static_cast<unsigned>(frames));
    const std::vector<double>& p = r[c.power];
    double top = 0, err = 0;
    for (double v : p) top = std::max(top, v);
    for (int i = 0; i < lines; ++i) {
      const int k = complex ? (i + n / 2) % n : i;
      const double ours = (complex || i == 0 ? 1.0 : 2.0) * rig->Amplt().Values(i);
      err = std::max(err, std::fabs(ours - p[k]) / std::max(p[k], 1e-6 * top));
    }
    EXPECT_LT(err, c.tol) << "window " << c.window << (complex ? ", complex" : "");
    EXPECT_DOUBLE_EQ(rig->LineFrequency(n / 8), (complex ? -fs / 2 : 0.0) + n / 8 * fs / n);
  }
}
