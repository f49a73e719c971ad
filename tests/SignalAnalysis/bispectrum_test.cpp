// The bispectrum analyzer: the averaged planes against NumPy (tests/data/bisp_plane.f64,
// written by tests/gen_cross_reference.py, whose frames hold coupled and free phases), and
// the selection of rows.
#include <gtest/gtest.h>

#include "../sigcore/reference_records.h"
#include "analyzer_helpers.h"

using namespace ondrix;
using namespace ondrix::testing;

TEST(BiSpectrum, AveragedPlanesMatchNumPy) {
  const auto r = test::ReadRecords("bisp_plane.f64");
  ASSERT_EQ(r.size(), 5u);
  const double fs = r[0][0];
  const int L = static_cast<int>(r[0][1]), h = L / 2;
  const TVec x = test::ToVec(r[1]);
  const struct {
    TBiAnalysis transform;
    TBicoherenceType type;
    int record;
  } cases[] = {{hoBicoherence, bctModified, 2}, {hoBicoherence, bctDefault, 3}, {hoBispectrum, bctModified, 4}};
  for (const auto& c : cases) {
    for (bool recursive : {true, false}) {
      TBiRig rig(fs);
      rig.ba().SetTransform(c.transform);
      rig.ba().SetBicoherenceType(c.type);
      rig.ba().SetRecursive(recursive);
      rig.FeedFrames(x, L);
      if (!recursive) {
        EXPECT_EQ(rig.ba().Bispectrum().Length(), 0);
        rig->UpdateSpectrum();
        EXPECT_EQ(rig.ba().AveragedBispectrum().Length(), 0);  // freed after the run
      }
      const TMtx& b = rig.ba().Bispectrum();
      ASSERT_EQ(b.Rows(), h + 1);
      ASSERT_EQ(b.Cols(), h + 1);
      // Bins at 0 Hz hold rounding residue of the removed mean: compared where all three are off 0.
      double err = 0;
      const std::vector<double>& ref = r[c.record];
      for (int i = 1; i <= h; ++i)
        for (int j = 1; j <= h; ++j) {
          if (i + j == L) continue;
          const double want = ref[i * (h + 1) + j];
          err = std::max(err, std::fabs(b.Values(i, j) - want) / want);
        }
      EXPECT_LT(err, 1e-9) << c.transform << c.type << recursive;
    }
  }
}

// The geometry is set only for frames of two bins or more, so `N > 0 && fs > 0` as `||` moves
// only BinWidth() for a negative rate, where RowBin takes both widths as unknown: row 0.
TEST(BiSpectrum, SelectedLinesAreRowsOfThePlane) {
  const double fs = 1000.0;
  const int n = 128, h = n / 2;
  const TVec x = Noise(n * 8, 4);  // any plane: the rows are compared with it
  TBiRig plane(fs), lines(fs);
  plane.FeedFrames(x, n);
  lines.ba().SetSingleLinesOnly(true);
  lines.ba().SetLines(Vec({10 * fs / n + 1.0, 0.6 * fs, 0.0}));  // rows 10, h − 1 (above fs/2) and 0
  lines.FeedFrames(x, n);
  const TMtx& rows = lines.ba().Bispectrum();
  ASSERT_EQ(rows.Rows(), 3);
  const int expect[] = {10, h - 1, 0};
  for (int l = 0; l < 3; ++l)
    for (int j = 0; j <= h; ++j)
      ASSERT_NEAR(rows.Values(l, j), plane.ba().Bispectrum().Values(expect[l], j), 1e-12) << l << " " << j;
  // The shown spectrum is the row nearest Frequency, N/2 lines from 0 Hz.
  lines.ba().SetFrequency(0.59 * fs);
  lines->BrowseBispectrum();
  ASSERT_EQ(lines->Length(), h);
  EXPECT_EQ(lines->Amplt().Values(17), rows.Values(1, 17));
  EXPECT_NEAR(lines->LineFrequency(17), 17 * fs / n, 1e-12);

  TBiRig empty(fs);
  empty.ba().SetSingleLinesOnly(true);
  empty.FeedFrames(x, n);
  EXPECT_EQ(empty.ba().Bispectrum().Length(), 0);
  EXPECT_EQ(empty->Length(), 0);
}

TEST(BiSpectrum, FrameLengthChangeRestartsAndFiniteAveragesFreeze) {
  TBiRig rig(100.0);
  rig.FeedFrames(Noise(64 * 3, 1), 64);
  EXPECT_EQ(rig->Stats()->Averaged(), 3u);
  rig.Feed(Noise(128, 2));
  EXPECT_EQ(rig->Stats()->Averaged(), 1u);
  EXPECT_EQ(rig.ba().AveragedBispectrum().Rows(), 65);
  // One frame: every product is its own mean, so b² is 1 wherever the power is not 0.
  EXPECT_NEAR(rig.ba().Bispectrum().Values(7, 20), 1.0, 1e-12);

  rig->Stats()->SetAveraging(avLinear);
  rig->Stats()->SetAverages(2);
  rig.FeedFrames(Noise(128 * 2, 3), 128);
  const TMtx frozen = rig.ba().Bispectrum();
  rig.Feed(Noise(128, 4));
  EXPECT_EQ(rig->Stats()->Averaged(), 2u);
  EXPECT_EQ(MaxDiff(rig.ba().Bispectrum(), frozen), 0.0);
}

TEST(BiSpectrum, SpectrumOfTheEventAndDefaults) {
  TBiRig rig(8.0);
  rig.ba().SetTransform(hoBispectrum);
  TVec given(8, true);
  for (int k = 0; k < 8; ++k) given.CValues(k) = TCplx(k + 1.0, 0.5 * k);
  rig->OnGetSpectrum = [&](TObject*, TVec& v) { v.Copy(given); };
  rig.Feed(Noise(8, 1));
  const TMtx& b = rig.ba().Bispectrum();
  ASSERT_EQ(b.Rows(), 5);
  const TCplx want = given.CValues(3) * given.CValues(4) * std::conj(given.CValues(7));
  EXPECT_NEAR(b.Values(3, 4), std::cbrt(std::abs(want)), 1e-12);

  TBiSpectrumAnalyzer a(nullptr);  // sub-object defaults are not in the property-table check
  EXPECT_EQ(a.BiAnalyzer()->BicoherenceType(), bctModified);
  EXPECT_TRUE(a.BiAnalyzer()->Recursive());
}
