// The cross-spectrum analyzer: csd, welch, coherence and H1 against scipy.signal on the same
// frames (tests/data/cross_scipy.f64, written by tests/gen_cross_reference.py); the edge cases
// and the two accumulation modes.
#include <gtest/gtest.h>

#include <string>

#include "../sigcore/reference_records.h"
#include "analyzer_helpers.h"
#include "ondrix/framework/TStream.h"

using namespace ondrix;
using namespace ondrix::testing;

namespace {

/// Largest relative difference of got[k]·factor from ref[k], k = 1 .. count − 1, over the
/// lines where |ref| is above 10⁻⁶ of its largest value.
double RelErr(const TVec& got, const TVec& ref, int count, double factor) {
  double top = 0, err = 0;
  for (int k = 1; k < count; ++k) top = std::max(top, std::abs(At(ref, k)));
  for (int k = 1; k < count; ++k) {
    const double r = std::abs(At(ref, k));
    if (r > 1e-6 * top) err = std::max(err, std::abs(factor * At(got, k) - At(ref, k)) / r);
  }
  return err;
}

}  // namespace

TEST(CrossSpectrum, AveragesMatchScipyOnTheSameOverlappedFrames) {
  const auto r = test::ReadRecords("cross_scipy.f64");
  ASSERT_EQ(r.size(), 8u);
  const double fs = r[0][0];
  const int n = static_cast<int>(r[0][1]), hop = n - static_cast<int>(r[0][2]);
  const TVec x = test::ToVec(r[1]), y = test::ToVec(r[2]);
  const TVec pxy = test::ToVec(r[3], true), pxx = test::ToVec(r[4]), pyy = test::ToVec(r[5]);
  const TVec coh = test::ToVec(r[6]), h1 = test::ToVec(r[7]);
  for (bool recursive : {true, false}) {
    TCrossRig rig(fs, wtHanning);
    rig.ca().SetRecursive(recursive);
    rig.FeedStreams(x, y, n, hop);
    if (!recursive) rig->UpdateSpectrum();
    ASSERT_EQ(rig.ca().CrossSpectrum().Length(), n / 2);
    // Our lines are |X|²/(Σw)²; welch and csd double the one-sided lines above 0 Hz.
    EXPECT_LT(RelErr(rig.ca().CrossSpectrum(), pxy, n / 2, 2.0), 1e-9) << recursive;
    EXPECT_LT(RelErr(rig.ca().InputSpectrum(), pxx, n / 2, 2.0), 1e-9);
    EXPECT_LT(RelErr(rig.ca().OutputSpectrum(), pyy, n / 2, 2.0), 1e-9);
    EXPECT_LT(RelErr(rig.ca().Coherence(), coh, n / 2, 1.0), 1e-9);
    TVec h(pxy);  // H1 = Pxy / Pxx with its phase: scipy's h1 record holds |H1| only
    for (int k = 1; k < n / 2; ++k) h.CValues(k) /= pxx.Values(k);
    EXPECT_LT(RelErr(rig.ca().TransferFunction(), h, n / 2, 1.0), 1e-9);
    // What the component shows, per Transform.
    const struct {
      TCrossTransform t;
      TSpectrumType type;
      const TVec& ref;
      double factor;
    } shown[] = {{ctCoherence, stAmplitude, coh, 1.0},
                 {ctTransferFunction, stAmplitude, h1, 1.0},
                 {ctCrossSpectrum, stPower, pxy, 2.0},
                 {ctOutputSpectrum, stPower, pyy, 2.0}};
    for (const auto& s : shown) {
      rig.ca().SetTransform(s.t);
      rig->SetSpectrumType(s.type);
      rig->BrowseCrossSpectrum();
      ASSERT_EQ(rig->Length(), n / 2);
      TVec ref;
      ref.Mag(s.ref);
      EXPECT_LT(RelErr(rig->Amplt(), ref, n / 2, s.factor), 1e-9) << s.t;
      EXPECT_NEAR(rig->LineFrequency(10), 10 * fs / n, 1e-12);
    }
    rig.ca().SetTransform(ctTransferFunction);
    rig->SetSpectrumType(stComplex);  // real and imaginary parts in Amplt and Phase
    rig->BrowseCrossSpectrum();
    for (int k = 1; k < n / 2; ++k) {
      const TCplx h1 = rig.ca().TransferFunction().CValues(k);
      ASSERT_LT(std::abs(TCplx(rig->Amplt().Values(k), rig->Phase().Values(k)) - h1), 1e-12 * std::abs(h1)) << k;
    }
  }
}

TEST(CrossSpectrum, IdenticalChannelsHaveUnitTransferInEveryType) {
  TCrossRig rig(1000.0, wtHanning);
  rig->SetOutput(rig.x);  // the same signal on both inputs
  rig.ca().SetTransform(ctTransferFunction);
  for (int f = 0; f < 4; ++f) rig.Feed(Noise(256, 100 + f));
  const std::pair<TSpectrumType, double> types[] = {{stAmplitude, 1.0}, {stRmsAmplitude, std::sqrt(0.5)},
                                                    {stPower, 1.0}, {stDoubleAmplitude, 2.0}, {stComplex, 1.0}};
  for (const auto& [type, want] : types) {
    rig->SetSpectrumType(type);
    rig->BrowseCrossSpectrum();
    for (int k = 1; k < rig->Length(); ++k) {
      ASSERT_NEAR(rig->Amplt().Values(k), want, 1e-12) << type << " " << k;
      ASSERT_NEAR(rig->Phase().Values(k), 0.0, 1e-12) << type << " " << k;
    }
  }
}

TEST(CrossSpectrum, FailuresRaiseTheirMessagesBeforeAnythingChanges) {
  const struct {
    std::function<void(TCrossRig&)> breakIt;
    std::string message;
  } cases[] = {
      {[](TCrossRig& g) { g->SetOutput(nullptr); }, "Output = nil"},
      {[](TCrossRig& g) { g.y->SetSamplingFrequency(999.0); }, "Input.SamplingFrequency <> Output.SamplingFrequency"},
      {[](TCrossRig& g) { g->SetMethod(smBurg); }, "not ((Method = smfFFT) or (Method = smfCZT))"},
  };
  for (const auto& c : cases) {
    TCrossRig rig(1000.0);
    rig.Feed(Noise(128, 1), Noise(128, 2));
    const TVec before = rig.ca().CrossSpectrum();
    c.breakIt(rig);
    rig.x->SetData(Noise(128, 3));
    EXPECT_THAT([&] { rig->Update(); }, Raises<std::exception>("Cross: " + c.message));
    EXPECT_EQ(rig->Stats()->Averaged(), 1u) << c.message;
    EXPECT_EQ(MaxDiff(rig.ca().CrossSpectrum(), before), 0.0) << c.message;
  }
}

// The sums themselves, divided once, meet scipy in AveragesMatchScipyOnTheSameOverlappedFrames.
TEST(CrossSpectrum, WithoutRecursiveSumsWaitForUpdateWhichDividesEachTime) {
  TCrossRig sums(1000.0);
  sums.ca().SetRecursive(false);
  const TVec shownBefore = sums->Amplt();
  for (int f = 0; f < 5; ++f) {
    sums.Feed(Noise(200, 10 + f), Noise(200, 50 + f));
    EXPECT_EQ(MaxDiff(sums->Amplt(), shownBefore), 0.0);  // nothing shown while accumulating
  }
  sums.ca().Update();
  TVec again(sums.ca().OutputSpectrum());
  again.Scale(1.0 / 5);
  sums.ca().Update();
  EXPECT_TRUE(Near(sums.ca().OutputSpectrum(), again, 1e-13));
}

TEST(CrossSpectrum, AveragingModesAndRestarts) {
  TCrossRig rig(1000.0);
  rig->Stats()->SetAveraging(avLinear);
  rig->Stats()->SetAverages(3);
  for (int f = 0; f < 3; ++f) rig.Feed(Noise(128, f), Noise(128, 20 + f));
  const TVec frozen = rig.ca().CrossSpectrum();
  rig.Feed(Noise(128, 9), Noise(128, 29));
  EXPECT_EQ(rig->Stats()->Averaged(), 3u);
  EXPECT_EQ(MaxDiff(rig.ca().CrossSpectrum(), frozen), 0.0);

  rig->Stats()->SetAveraging(avExponentInf);
  rig->Stats()->SetExpDecay(4);
  rig.Feed(Noise(128, 5), Noise(128, 25));
  TVec expected(rig.ca().InstantCrossSpectrum());
  rig.Feed(Noise(128, 6), Noise(128, 26));
  expected.Scale(0.75);
  TVec part(rig.ca().InstantCrossSpectrum());
  part.Scale(0.25);
  expected.Add(part);
  EXPECT_TRUE(Near(rig.ca().CrossSpectrum(), expected, 1e-14));

  // A new frame length starts again. (The three accumulators are always resized together, so
  // each of the analyzer's checks of their lengths and kind would see this change on its own.)
  rig.Feed(Noise(256, 7), Noise(256, 27));
  EXPECT_EQ(rig->Stats()->Averaged(), 1u);
  EXPECT_EQ(MaxDiff(rig.ca().CrossSpectrum(), rig.ca().InstantCrossSpectrum()), 0.0);
}

TEST(CrossSpectrum, SubObjectDefaultsAndStreaming) {
  TCrossSpectrumAnalyzer a(nullptr);
  EXPECT_EQ(a.CrossAnalyzer()->Analysis().ToString(), "[caCoherence,caTransferFunction]");
  a.CrossAnalyzer()->SetAnalysis(TCrossAnalysisSet::FromString("[ caTransferFunction ]"));
  a.CrossAnalyzer()->SetTransform(ctCoherence);  // not stored
  TMemoryStream m;
  a.SaveToStream(m);
  m.Seek(0, soFromBeginning);
  TCrossSpectrumAnalyzer b(nullptr);
  b.LoadFromStream(m);
  EXPECT_EQ(b.CrossAnalyzer()->Analysis(), TCrossAnalysisSet{caTransferFunction});
  EXPECT_EQ(b.CrossAnalyzer()->Transform(), ctInputSpectrum);
  EXPECT_THROW(TCrossAnalysisSet::FromString("[caPower]"), std::exception);
}
