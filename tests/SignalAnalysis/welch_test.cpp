// Averaged power spectra against scipy.signal.welch (tests/data/ana_welch.f64, written by
// tests/gen_analyzer_reference.py) where the two parameterisations agree: non-overlapping
// segments, the mean removed per segment, periodic windows, scaling='spectrum'. The analyzer's
// power type is |X|²/(Σw)² per line; welch doubles the one-sided lines between 0 Hz and fs/2.
#include <gtest/gtest.h>

#include "../sigcore/reference_records.h"
#include "analyzer_helpers.h"

using namespace ondrix;
using namespace ondrix::testing;

// Two-sided (a complex signal), line i lies at −fs/2 + i·fs/n while welch keeps the FFT order.
TEST(Welch, OneAndTwoSidedAveragedPowerMatchesScipy) {
  const auto r = test::ReadRecords("ana_welch.f64");
  ASSERT_EQ(r.size(), 7u);
  const double fs = r[0][0];
  const int n = static_cast<int>(r[0][1]), frames = static_cast<int>(r[0][2]);
  // Hamming's fixed correction 1.85185185 carries 9 digits: 2·10⁻⁹ on a power.
  const struct {
    TSignalWindowType window;
    int signal, power;  // records
    double tol;
  } cases[] = {{wtHanning, 1, 2, 1e-12}, {wtHamming, 1, 3, 3e-9}, {wtBartlett, 1, 4, 1e-12}, {wtHanning, 5, 6, 1e-12}};
  for (const auto& c : cases) {
    const bool complex = c.signal == 5;
    TRig rig(fs, c.window);
    rig->SetSpectrumType(stPower);
    rig->Stats()->SetAveraging(avLinearInf);
    const TVec x = test::ToVec(r[c.signal], complex);
    TVec seg(n, complex);
    for (int f = 0; f < frames; ++f) rig.Feed(seg.Copy(x, f * n, 0, n));
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
  }
}
