// Peak search, refinement (with its fallbacks), harmonics, tracing, order axis and the
// main-lobe width rule.
#include <gtest/gtest.h>

#include "analyzer_helpers.h"
#include "ondrix/sigcore/peak_fit.h"

using namespace ondrix;
using namespace ondrix::testing;

namespace {

/// An analyzer that records the frequencies and main-lobe widths its AmpltEst is asked for.
class TProbe : public TSpectrumAnalyzer {
public:
  using TSpectrumAnalyzer::TSpectrumAnalyzer;
  std::vector<double> asked;
  std::vector<int> lobe;
  double AmpltEst(double f) override {
    asked.push_back(f);
    lobe.push_back(MainlobeWidth());
    return TSpectrumAnalyzer::AmpltEst(f);
  }
};

using TProbeRig = TRigOf<TProbe>;

void Largest(TSpectrumAnalyzer& an, int count, TInterpolationMethod m) {
  an.Peaks()->SetTraceMethod(ptLargest);
  an.Peaks()->SetLargestCount(count);
  an.Peaks()->Interpolation()->SetMethod(m);
}

/// An AR spectrum with a sharp peak near 50.3 Hz: a tone in a little noise, Burg, order 20,
/// 512 samples at 512 Hz (1 Hz per line).
void ArRig(TRig& rig, TInterpolationMethod m) {
  rig->SetMethod(smBurg);
  rig->SetAROrder(20);
  Largest(*rig.an, 1, m);
  rig.Feed(Sum(Sine(512, 512.0, 50.3, 1.0, 0.2), Noise(512, 77, 0.01)));
}

}  // namespace

TEST(PeakInterpolation, NumericFindsAToneBetweenTwoLinesWithinItsPrecision) {
  const double f = 200.37, A = 1.3;  // 1024 samples at 1024 Hz: Δ = 1 Hz
  const TVec x = Sine(1024, 1024.0, f, A, 0.5);
  for (TInterpolationPrecision p : {ip2, ip4, ip6}) {
    TProbeRig rig(1024.0, wtHanning);
    Largest(*rig.an, 1, imNumeric);
    rig->Peaks()->Interpolation()->SetPrecision(p);
    rig.Feed(x);
    ASSERT_EQ(rig->Peaks()->Count(), 1);
    const double P = rig->Peaks()->Interpolation()->PrecisionDivisor();
    // A hill climb whose last step h (> Δ/P, so at most 2Δ/P) leaves an error below h; the
    // image of the real tone moves the maximum by less than 10⁻⁷ Δ with this window.
    const TMarkRecord& m = rig->Peaks()->GetMarks(0);
    EXPECT_NEAR(m.Freq, f, 2.0 / P + 1e-7) << p;
    // Read between the lines at the refined frequency: the window's main lobe falls by less
    // than δ² (δ the frequency error in lines) from its top.
    EXPECT_NEAR(m.Amplt, A / 2, A / 2 * (4.0 / (P * P) + 1e-7)) << p;
    // The last step: Δ/8 halved while above Δ/P (Δ/64 for ip2). Every probe lies on the grid
    // of that step around the result, and the last ones one step from it.
    double h = 1.0 / 8;
    while (h / 2 > 1.0 / P) h /= 2;
    double smallest = 1e300;
    for (double f : rig.an->asked)
      if (std::fabs(f - m.Freq) > h * 1e-6) smallest = std::min(smallest, std::fabs(f - m.Freq));
    EXPECT_NEAR(smallest, h, h * 1e-6) << p;
  }
}

// Where a method does not apply, the line frequency stays: the methods above imNumeric act
// only while ActualZeroPadding is 0 (an FFT estimate makes it at least 1), with the rectangular
// window and not on the power type; imNumeric and Quinn's need an estimate that is not averaged.
TEST(PeakInterpolation, FormulasOnAnAutoregressiveSpectrumAndWhereTheyDoNotApply) {
  for (TInterpolationMethod m : {imQuadratic, imBarycentric, imQuinnFirst, imQuinnSecond, imJain}) {
    TRig rig(512.0);
    ArRig(rig, m);
    int k = 0;
    rig->Amplt().Max(k);
    ASSERT_EQ(k, 50);
    const double a = rig->Amplt().Values(k - 1), b = rig->Amplt().Values(k), c = rig->Amplt().Values(k + 1);
    const TCplx xm = rig->ComplexSpectrum().CValues(k - 1), xk = rig->ComplexSpectrum().CValues(k),
                xp = rig->ComplexSpectrum().CValues(k + 1);
    // The formulas themselves are tested in tests/sigcore/peak_fit_test.cpp.
    double expect = 0;
    switch (m) {
      case imQuadratic: expect = k + 2 * ParabolaVertexOffset(a, b, c); break;  // kept doubled
      case imBarycentric: expect = k + BarycentricOffset(a, b, c); break;
      case imQuinnFirst: expect = k + QuinnFirstOffset(xm, xk, xp); break;
      case imQuinnSecond: expect = k + QuinnSecondOffset(xm, xk, xp); break;
      default: expect = JainPeakLine(k, a, b, c); break;
    }
    const double got = rig->Peaks()->GetMarks(0).Freq;
    EXPECT_NEAR(got, expect, 1e-12) << m;
    EXPECT_NE(got, 50.0) << m;
    EXPECT_LT(std::fabs(got - 50.3), 1.0) << m;

    TRig fft(512.0);
    Largest(*fft.an, 1, m);
    fft.Feed(Sine(512, 512.0, 50.3, 1.0));
    EXPECT_EQ(fft->Peaks()->GetMarks(0).Freq, 50.0) << m;
    ArRig(fft, m);  // an autoregressive estimate after the FFT one
    EXPECT_EQ(fft->Peaks()->GetMarks(0).Freq, fft->LineFrequency(fft->LineOf(fft->Peaks()->GetMarks(0).Freq))) << m;
    for (int skip = 0; skip < 3; ++skip) {  // a Hanning window, the power type, the complex type
      TRig other(512.0, skip == 0 ? wtHanning : wtRectangular);
      if (skip > 0) other->SetSpectrumType(skip == 1 ? stPower : stComplex);
      ArRig(other, m);
      EXPECT_EQ(other->Peaks()->GetMarks(0).Freq, 50.0) << m << " " << skip;
    }
    TRig averaged(512.0);
    averaged->Stats()->SetAveraging(avLinearInf);
    ArRig(averaged, m);  // Averaged is 1 when the peaks are searched
    const bool quinn = m == imQuinnFirst || m == imQuinnSecond;
    EXPECT_NEAR(averaged->Peaks()->GetMarks(0).Freq, quinn ? 50.0 : got, 1e-12) << m;
  }
  TRig numeric(512.0);
  numeric->Stats()->SetAveraging(avLinearInf);
  ArRig(numeric, imNumeric);
  EXPECT_EQ(numeric->Peaks()->GetMarks(0).Freq, 50.0);
}

TEST(PeakSearch, CandidateRuleTakesAPlateauAtItsRightEnd) {
  TSpectrumAnalyzer an(nullptr);
  an.SetLength(10);
  an.Amplt().Copy(Vec({0, 1, 2, 2, 1, 0, 3, 3, 1, 4}));
  an.Peaks()->FindAllPeaks();
  ASSERT_EQ(an.Peaks()->Count(), 2);
  EXPECT_DOUBLE_EQ(an.Peaks()->GetMarks(0).Freq, 3 * an.HzRes());
  EXPECT_DOUBLE_EQ(an.Peaks()->GetMarks(1).Freq, 7 * an.HzRes());  // the last line is never a peak
  EXPECT_EQ(an.Peaks()->GetMarks(1).Amplt, 3.0);
}

TEST(PeakSearch, LargestPeaksInAmplitudeOrderAndWithinTheBand) {
  const TVec x = Sum(Sum(Sine(4096, 4096.0, 300, 0.5), Sine(4096, 4096.0, 900, 1.0)), Sine(4096, 4096.0, 1500, 0.2));
  TRig rig(4096.0);
  Largest(*rig.an, 2, imNone);
  rig.Feed(x);
  ASSERT_EQ(rig->Peaks()->Count(), 2);
  EXPECT_EQ(rig->Peaks()->GetMarks(0).Freq, 900.0);
  EXPECT_EQ(rig->Peaks()->GetMarks(1).Freq, 300.0);
  const auto only1500 = [&] {
    rig.Feed(x);
    ASSERT_EQ(rig->Peaks()->Count(), 1);
    EXPECT_EQ(rig->Peaks()->GetMarks(0).Freq, 1500.0);
  };
  rig->Peaks()->SetLargestCount(1);
  rig->Peaks()->SetUseFullBandwidth(false);
  rig->Peaks()->SetBandwidthL(1000);
  rig->Peaks()->SetBandwidthH(1e9);  // clamped to the top of the spectrum
  EXPECT_DOUBLE_EQ(rig->Peaks()->BandwidthH(), 2048.0);
  only1500();
  rig->Peaks()->SetBandwidthH(1500);  // a limit on a line keeps that line
  only1500();
  rig->Peaks()->SetActive(false);  // an inactive search only re-applies the band limits
  rig.source->SetSamplingFrequency(2048.0);
  only1500();
  EXPECT_DOUBLE_EQ(rig->Peaks()->BandwidthH(), 1024.0);
  rig->Peaks()->SetActive(true);
  rig->Peaks()->SetLargestCount(0);
  rig.Feed(x);
  EXPECT_EQ(rig->Peaks()->Count(), 0);
}

// Harmonics by amplitude, their limit at the axis and the THD: Report.MarksThdAndBandsInAlignedColumns.
TEST(PeakSearch, HarmonicsByFrequencyFollowTheMarkNotTheStrongestTone) {
  // The fundamental (500 Hz) is weaker than its second harmonic.
  const TVec y = Sum(Sum(Sine(8192, 8192.0, 500, 0.1), Sine(8192, 8192.0, 1000, 1.0)), Sine(8192, 8192.0, 1500, 0.05));
  TRig byFreq(8192.0, wtHanning);
  byFreq->Peaks()->SetTraceMethod(ptFreqHarmonics);
  byFreq->Peaks()->SetHarmonicsCount(3);
  byFreq->Marks().Add(503.0, 0.0);  // within ±MainlobeWidth/2 lines of the fundamental
  byFreq.Feed(y);
  ASSERT_EQ(byFreq->Peaks()->Count(), 3);
  EXPECT_EQ(byFreq->Peaks()->GetMarks(0).Freq, 500.0);
  EXPECT_EQ(byFreq->Peaks()->GetMarks(2).Freq, 1500.0);
  EXPECT_NEAR(byFreq->THD(), std::hypot(1.0, 0.05) / 0.1 * 100, 1e-8);
}

TEST(PeakSearch, TraceFollowsADriftingToneAndAdjustReadsFixedMarks) {
  TRig rig(4096.0, wtHanning);
  rig->Peaks()->SetTraceMethod(ptCurrent);
  rig->Peaks()->SetTraceInterval(5.0);
  rig.Feed(Sine(4096, 4096.0, 1000, 1.0));
  ASSERT_EQ(rig->Peaks()->Count(), 1);  // an empty list starts with the largest peak
  EXPECT_EQ(rig->Peaks()->GetMarks(0).Freq, 1000.0);
  rig.Feed(Sum(Sine(4096, 4096.0, 1004, 1.0), Sine(4096, 4096.0, 1200, 3.0)));
  EXPECT_EQ(rig->Peaks()->GetMarks(0).Freq, 1004.0);  // the stronger tone is out of reach
  rig->Peaks()->SetTraceMethod(ptNone);
  rig.Feed(Sine(4096, 4096.0, 1004, 0.25));
  EXPECT_EQ(rig->Peaks()->GetMarks(0).Freq, 1004.0);
  EXPECT_NEAR(rig->Peaks()->GetMarks(0).Amplt, 0.125, 1e-12);
  double f = 1100;
  EXPECT_EQ(rig->Peaks()->Find(f), 0);
  EXPECT_EQ(f, 1004.0);
}

TEST(PeakSearch, MainlobeWidthIsSetAfterTheSearch) {
  TProbeRig rig(1024.0, wtKaiser);
  rig->SetSidelobeAtt(100.5);
  rig->Marks().Add(100.0, 0.0);  // ptNone reads the mark through AmpltEst
  rig.Feed(Sine(1024, 1024.0, 100, 1.0));
  ASSERT_FALSE(rig.an->lobe.empty());
  EXPECT_EQ(rig.an->lobe.back(), 8);  // the spectrum's initial width
  EXPECT_EQ(rig->MainlobeWidth(), 10);
  rig.Feed(Sine(1024, 1024.0, 100, 1.0));
  EXPECT_EQ(rig.an->lobe.back(), 10);
  const std::pair<double, int> table[] = {{55.0, 6},   {55.1, 8},   {90.0, 8},   {100.0, 9},  {115.5, 12},
                                          {131.0, 14}, {146.0, 16}, {161.0, 17}, {176.0, 18}, {191.0, 19},
                                          {206.0, 21}, {231.0, 23}};
  for (auto [att, width] : table) {
    rig->SetSidelobeAtt(att);
    rig.Feed(Sine(1024, 1024.0, 100, 1.0));
    EXPECT_EQ(rig->MainlobeWidth(), width) << att;
  }
  rig->SetWindow(wtHanning);
  rig.Feed(Sine(1024, 1024.0, 100, 1.0));
  EXPECT_EQ(rig->MainlobeWidth(), 6);
}

TEST(PeakSearch, OrderAxisFollowsTheFundamental) {
  auto tone = [](double f0) {
    return Sum(Sum(Sine(1024, 1024.0, f0, 1.0), Sine(1024, 1024.0, 2 * f0, 0.5)), Sine(1024, 1024.0, 3 * f0, 0.2));
  };
  TRig rig(1024.0);
  rig->Peaks()->SetTraceMethod(ptAmpltHarmonics);
  rig->Peaks()->SetHarmonicsCount(3);
  rig->Peaks()->SetOrderTracing(otFirstPeak);
  rig->Peaks()->SetOrderActive(true);
  for (double f0 : {50.0, 50.0, 60.0}) {
    rig.Feed(tone(f0));
    EXPECT_DOUBLE_EQ(rig->Peaks()->OrderFrequency(), f0);
    ASSERT_EQ(rig->Peaks()->Count(), 3);
    for (int h = 0; h < 3; ++h) EXPECT_NEAR(rig->Peaks()->GetMarks(h).Freq, h + 1.0, 1e-12) << f0;
    EXPECT_NEAR(rig->HzRes(), 1.0 / f0, 1e-15);
    EXPECT_NEAR(rig->LineFrequency(static_cast<int>(2 * f0)), 2.0, 1e-12);
    EXPECT_DOUBLE_EQ(rig->LastHzRes(), 1.0);  // the Hz axis of the update
  }
  // Without the order axis the reference is still traced, in Hz.
  rig->Peaks()->SetOrderActive(false);
  rig->Peaks()->SetOrderTracing(otNthPeak);
  rig->Peaks()->SetOrderPeakNumber(2);
  rig.Feed(tone(40.0));
  EXPECT_DOUBLE_EQ(rig->Peaks()->OrderFrequency(), 80.0);
  EXPECT_EQ(rig->Peaks()->GetMarks(1).Freq, 80.0);
}

TEST(PeakSearch, FilterNotchesThePeakAndLogConvertsTheMarks) {
  TRig rig(1024.0, wtHanning);
  Largest(*rig.an, 1, imNone);
  rig.Feed(Sum(Sine(1024, 1024.0, 100, 2.0), Noise(1024, 4, 1e-4)));
  const double before = rig->Amplt().Values(100);
  EXPECT_NEAR(before, 1.0, 1e-3);
  rig->Peaks()->FilterAll();
  EXPECT_LT(rig->Amplt().Max(), 1e-3 * before);
  EXPECT_FALSE(rig->ComplexSpectrumValid());

  TRig db(1024.0);
  Largest(*db.an, 2, imNone);
  db->SetLogarithmic(true);
  const TVec x = Sum(Sine(1024, 1024.0, 100, 2.0), Sine(1024, 1024.0, 300, 0.2));
  db.Feed(x);
  EXPECT_NEAR(db->Peaks()->GetMarks(0).Amplt, 0.0, 1e-9);  // 20·log10(1)
  EXPECT_NEAR(db->Peaks()->GetMarks(1).Amplt, -20.0, 1e-9);
  db->SetLogType(ltRelative);
  db->SetSpectrumType(stPower);
  db.Feed(x);
  EXPECT_NEAR(db->Peaks()->GetMarks(1).Amplt, -20.0, 1e-9);
}
