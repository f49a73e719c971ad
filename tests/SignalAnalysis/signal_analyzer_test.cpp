// The signal analyzer: transforms against NumPy/SciPy (tests/data/ta_*.f64, from
// tests/gen_timeanalysis_reference.py), setter rules, integration across frames, point searches
// on a sampled cosine, and the report's statistics of a sine.
#include <gtest/gtest.h>

#include "../common/block_source.h"
#include "../sigcore/reference_records.h"
#include "analyzer_helpers.h"
#include "ondrix/framework/TStream.h"
#include "ondrix/vec/calcbase.h"

using namespace ondrix;
using namespace ondrix::testing;

TEST(SignalAnalyzer, TransformsMatchNumpyAndScipy) {
  const auto c = test::ReadRecords("ta_corr.f64"), d = test::ReadRecords("ta_dct.f64"),
             p = test::ReadRecords("ta_cepstrum.f64");
  ASSERT_TRUE(c.size() == 8 && d.size() == 3 && p.size() == 5);
  const int taps1 = static_cast<int>(c[0][0]), taps2 = static_cast<int>(c[0][1]);
  const TVec x = test::ToVec(c[1]), y = test::ToVec(c[2]), dx = test::ToVec(d[0]), px = test::ToVec(p[0]);
  for (int type = ctNormal; type <= ctUnbiased; ++type)
    EXPECT_TRUE(Near(TTimeRig(x, 100).Run([&](TSignalAnalyzer& a) {
      a.SetTransform(ttAutoCorr), a.SetCorrTaps1(taps1), a.SetAutoCorrType(static_cast<TAutoCorrType>(type));
    }), test::ToVec(c[3 + type]), 1e-12)) << type;
  EXPECT_TRUE(Near(TTimeRig(dx, 1).Run([](TSignalAnalyzer& a) { a.SetTransform(ttDct); }), test::ToVec(d[1]), 1e-13));
  EXPECT_TRUE(Near(TTimeRig(dx, 1).Run([](TSignalAnalyzer& a) { a.SetTransform(ttInverseDct); }), test::ToVec(d[2]), 1e-13));
  EXPECT_TRUE(Near(TTimeRig(px, 1).Run([](TSignalAnalyzer& a) { a.SetTransform(ttRealCepstrum); }), test::ToVec(p[1]), 1e-12));
  EXPECT_TRUE(Near(TTimeRig(px, 1).Run([](TSignalAnalyzer& a) { a.SetTransform(ttRealCepstrum), a.SetWindow(wtHanning); }),
                   test::ToVec(p[2]), 1e-12));
  TTimeRig cc(px, 1);
  EXPECT_TRUE(Near(cc.Run([](TSignalAnalyzer& a) { a.SetTransform(ttCplxCepstrum); }), test::ToVec(p[3]), 1e-11));
  EXPECT_EQ(cc.an.CepstrumDelay(), p[4][0]);
  // Input 0 is the first factor (lag k pairs x[n] with y[n + k]); element 0 is lag −CorrTaps2.
  TTimeRig cross(x, 100, &y);
  EXPECT_TRUE(Near(cross.Run([&](TSignalAnalyzer& a) { a.SetTransform(ttCrossCorr), a.SetCorrTaps1(taps1), a.SetCorrTaps2(taps2); }),
                   test::ToVec(c[6]), 1e-12));
  EXPECT_DOUBLE_EQ(cross.an.StartTime(), -taps2 / 100.0);
  EXPECT_TRUE(Near(TTimeRig(x, 1).Run([&](TSignalAnalyzer& a) {
    a.SetTransform(ttAutoCorr), a.SetAutoCorrType(ctBiased), a.SetCorrTaps1(taps1), a.SetRemoveDC(true);
    a.SetRotation(static_cast<int>(c[0][2])), a.SetScaleFactor(c[0][3]);
  }), test::ToVec(c[7]), 1e-12));
}

TEST(SignalAnalyzer, CorrTapsRulesAndASingleInputCrossCorrelation) {
  TTimeRig rig(Noise(50, 1), 1);
  EXPECT_EQ(rig.Run([](TSignalAnalyzer& a) { a.SetTransform(ttCrossCorr); }).Length(), 0);
  rig.an.SetCorrTaps1(1);
  rig.an.SetCorrTaps2(1);  // one input: ignored
  EXPECT_EQ(rig.an.CorrTaps1(), 2);
  EXPECT_EQ(rig.an.CorrTaps2(), 0);
  rig.an.Inputs()->Add()->SetInput(&rig.x);
  rig.an.SetCorrTaps1(10);
  for (const auto& [in, stored] : {std::pair(-3, 0), std::pair(10, 9), std::pair(5, 5)}) {
    rig.an.SetCorrTaps2(in);
    EXPECT_EQ(rig.an.CorrTaps2(), stored) << in;
  }
  rig.an.SetCorrTaps1(4);
  EXPECT_EQ(rig.an.CorrTaps2(), 3);
  TMemoryStream m;  // settings load before the inputs are linked: CorrTaps2 still arrives
  rig.an.SaveToStream(m);
  m.Seek(0, soFromBeginning);
  TSignalAnalyzer b(nullptr);
  b.LoadFromStream(m);
  EXPECT_EQ(b.CorrTaps2(), 3);
}

TEST(SignalAnalyzer, IntegratesFramesAsOneStream) {
  // 2 units at 10 Hz in frames of 5: a ramp 0.2·n once, a parabola 0.01·n² twice (the
  // trapezoid is exact on both), with no step at the frame boundary.
  TBlockSource src(1, 10.0);
  TVec c(5);
  c.SetVal(2.0);
  src.Blocks = {c, c, c, c};
  TSignalAnalyzer once(nullptr), twice(nullptr);
  once.SetIntegration(inOnce);
  twice.SetIntegration(inTwice);
  once.SetInput(&src);
  twice.SetInput(&src);
  for (int f = 0; f < 2; ++f) {
    ASSERT_EQ(once.Pull(), pipeOK);
    twice.Update();
    for (int i = 0, n = 5 * f; i < 5; ++i, ++n) {
      EXPECT_NEAR(once.Data().Values(i), 0.2 * n, 1e-14) << n;
      EXPECT_NEAR(twice.Data().Values(i), 0.01 * n * n, 1e-14) << n;
    }
  }
  once.ResetIntegrator();
  once.Pull();
  EXPECT_EQ(once.Data().Values(0), 0.0);
}

TEST(SignalAnalyzer, SearchesACosineAndItsEnds) {
  // 1.7·cos(2π·3.3·(t − 0.011)) at 100 Hz: maxima at 0.011 + k/3.3, minima half a period
  // later, crossings a quarter period from them; none on a sample.
  TVec x(100);
  for (int i = 0; i < 100; ++i) x.Values(i) = 1.7 * std::cos(2 * M_PI * 3.3 * (i / 100.0 - 0.011));
  TTimeRig rig(x, 100);
  rig.Run();
  const double T = 1 / 3.3;
  double at[] = {0.3, 0.5, 0.45, 0.0, 0.99};
  EXPECT_NEAR(rig.an.NearestMaximum(at[0]), 1.7, 2e-3);
  EXPECT_NEAR(rig.an.NearestMinimum(at[1]), -1.7, 2e-3);
  ASSERT_TRUE(rig.an.ZeroCrossing(at[2]));
  EXPECT_EQ(rig.an.NearestMinimum(at[3]), x.Values(0));  // the first sample starts an ascent
  EXPECT_NEAR(at[0], 0.011 + T, 2e-4);  // parabolic refinement: within 2 % of a sample
  EXPECT_NEAR(at[1], 0.011 + 1.5 * T, 2e-4);
  EXPECT_NEAR(at[2], 0.011 + 1.25 * T, 5e-4);  // linear interpolation
  EXPECT_EQ(at[3], 0.0);
  EXPECT_EQ(rig.an.NearestMinimum(at[4]), x.Values(99));  // the last sample ends a descent: no parabola
  EXPECT_EQ(at[4], 0.99);
  TTimeRig edge(Vec({1, 0, -1, 0}), 1);  // the zero between + and − is the crossing, the last zero none
  edge.Run();
  ASSERT_TRUE(edge.an.ZeroCrossing(at[0] = 3));
  EXPECT_EQ(at[0], 1.0);
  TTimeRig empty(TVec(0), 1);
  empty.Run();
  EXPECT_TRUE(std::isnan(empty.an.NearestMaximum(at[0])));
}

TEST(SignalAnalyzer, ReportsTheStatisticsOfASine) {
  // Whole periods sampled at the peaks: mean 0, RMS A/√2, crest √2, kurtosis 1.5.
  TTimeRig rig(Sine(400, 400.0, 4.0, 3.0), 400);
  rig.Run();
  const TSignalStatistics s = rig.an.Report()->Statistics();
  const std::pair<double, double> got[] = {{s.Mean, 0.0},       {s.RMS, 3 / M_SQRT2}, {s.StdDev, 3 / M_SQRT2},
                                           {s.PeakToPeak, 6.0},  {s.Crest, M_SQRT2},   {s.Skewness, 0.0},
                                           {s.Kurtosis, 1.5}};
  for (const auto& [value, expected] : got) EXPECT_NEAR(value, expected, 1e-12);
  const std::string text = rig.an.Report()->Text();
  EXPECT_NE(text.find(AlignString("Samples", SignalTextColumnWidth) + "400"), std::string::npos) << text;
  EXPECT_NE(text.find(AlignString("Crest factor", SignalTextColumnWidth) + FormatSample("0.00000E+00", M_SQRT2)),
            std::string::npos);
}
