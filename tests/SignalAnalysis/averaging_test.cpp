// Frame averaging (TSpectrumStats and the analyzer's complex modes): every mode against an
// independent computation over the frames, the freeze of the finite modes, the reset rules,
// the deviation and the confidence limits.
#include <gtest/gtest.h>

#include <climits>

#include "analyzer_helpers.h"

using namespace ondrix;
using namespace ondrix::testing;

namespace {

constexpr int kL = 256;
constexpr double kRate = 256.0;

/// Frame k: a tone whose amplitude and phase change from frame to frame, plus noise.
TVec Frame(int k) {
  return Sum(Sine(kL, kRate, 32.0, 1.0 + 0.1 * k, 0.7 * k), Noise(kL, 100 + k, 0.2));
}

/// Per-line mean Σ w·x and deviation √(Σ w·(x − mean)² / (1 − Σ w²)) of vs, in two passes: for
/// equal weights the sample deviation (n − 1).
std::pair<TVec, TVec> MeanAndDeviation(const std::vector<TVec>& vs, const std::vector<double>& w) {
  TVec mean(vs[0].Length()), sd(vs[0].Length());
  double w2 = 0;
  for (double x : w) w2 += x * x;
  for (int i = 0; i < mean.Length(); ++i) {
    double s = 0, v = 0;
    for (size_t k = 0; k < vs.size(); ++k) s += w[k] * vs[k].Values(i);
    for (size_t k = 0; k < vs.size(); ++k) v += w[k] * std::pow(vs[k].Values(i) - s, 2);
    mean.Values(i) = s;
    sd.Values(i) = std::sqrt(v / (1 - w2));
  }
  return {mean, sd};
}

/// The averaged value of one line set to each of seq in turn.
std::vector<double> Drive(TAveraging mode, unsigned averages, int expDecay, const std::vector<double>& seq) {
  TSpectrumAnalyzer an(nullptr);
  an.SetPhaseMode(pmIgnore);
  an.SetLength(1);
  an.Stats()->SetAveraging(mode);
  an.Stats()->SetAverages(averages);
  an.Stats()->SetExpDecay(expDecay);
  std::vector<double> out;
  for (double v : seq) {
    an.Amplt().Values(0) = v;
    an.Stats()->Update();
    out.push_back(an.Stats()->AveragedSpectrum().Amplt().Values(0));
  }
  return out;
}
}  // namespace

TEST(Averaging, LinearAndExponentialMeanDeviationAndLimitsMatchTheFrames) {
  const int frames = 12;
  std::vector<TVec> amplt, phase;  // of each frame, from an analyzer without averaging
  TRig plain(kRate);
  for (int k = 0; k < frames; ++k) {
    plain.Feed(Frame(k));
    amplt.push_back(plain->Amplt());
    phase.push_back(plain->Phase());
  }
  for (TAveraging mode : {avLinearInf, avExponentInf}) {
    // Exponential: frame k of n weighs (1/4)·(3/4)^(n−1−k), the first (3/4)^(n−1).
    std::vector<double> w(frames, 1.0 / frames);
    if (mode == avExponentInf)
      for (int k = 0; k < frames; ++k) w[k] = std::pow(0.75, frames - 1 - k) * (k == 0 ? 1.0 : 0.25);
    TRig rig(kRate);
    rig->Stats()->SetAveraging(mode);
    rig->Stats()->SetExpDecay(4);
    rig->Stats()->SetCalcStdDev(true);
    rig->Stats()->SetCalcLimits(true);
    rig->Stats()->SetConfidenceInterval(95.0);
    EXPECT_NEAR(rig->Stats()->ConfidenceFactor(), 1.959963984540054, 1e-14);  // scipy.stats.norm.ppf(0.975)
    for (int k = 0; k < frames; ++k) rig.Feed(Frame(k));
    EXPECT_EQ(rig->Stats()->Averaged(), static_cast<unsigned>(frames));  // neither mode stops
    const auto [mean, sd] = MeanAndDeviation(amplt, w);
    const auto [pmean, psd] = MeanAndDeviation(phase, w);
    EXPECT_TRUE(Near(rig->Amplt(), mean, 1e-13)) << mode;
    EXPECT_TRUE(Near(rig->Phase(), pmean, 1e-13)) << mode;
    const TSpectrumStats& st = *rig->Stats();
    ASSERT_EQ(st.StdDev().Count(), 2);
    EXPECT_TRUE(Near(st.StdDev()[0], sd, 1e-10)) << mode;
    EXPECT_TRUE(Near(st.StdDev()[1], psd, 1e-10)) << mode;
    ASSERT_EQ(st.UpperLimit().Count(), 2);
    for (int i = 0; i < kL / 2; ++i) {
      EXPECT_NEAR(st.UpperLimit()[0].Values(i), mean.Values(i) + 1.959963984540054 * sd.Values(i), 1e-10);
      EXPECT_NEAR(st.LowerLimit()[0].Values(i), mean.Values(i) - 1.959963984540054 * sd.Values(i), 1e-10);
    }
  }
}

TEST(Averaging, ConfidenceFactorIsZeroUntilTheIntervalIsAssigned) {
  TRig rig(kRate);
  rig->Stats()->SetAveraging(avLinearInf);
  rig->Stats()->SetCalcStdDev(true);
  rig->Stats()->SetCalcLimits(true);
  EXPECT_EQ(rig->Stats()->ConfidenceInterval(), 99.0);
  EXPECT_EQ(rig->Stats()->ConfidenceFactor(), 0.0);
  for (int k = 0; k < 3; ++k) rig.Feed(Frame(k));
  EXPECT_EQ(Values(rig->Stats()->LowerLimit()[0]), Values(rig->Amplt()));
  EXPECT_EQ(Values(rig->Stats()->UpperLimit()[0]), Values(rig->Amplt()));
  rig->Stats()->SetConfidenceInterval(99.0);  // the value it holds: assigned all the same
  EXPECT_NEAR(rig->Stats()->ConfidenceFactor(), 2.5758293035489004, 1e-14);  // norm.ppf(0.995)
  rig->Stats()->SetConfidenceInterval(100.0);
  EXPECT_EQ(rig->Stats()->ConfidenceInterval(), 99.99999);
  rig->Stats()->SetConfidenceInterval(0.5);
  EXPECT_EQ(rig->Stats()->ConfidenceInterval(), 1.0);
  EXPECT_NEAR(rig->Stats()->ConfidenceFactor(), 0.012533469508069276, 1e-15);  // norm.ppf(0.505)
}

TEST(Averaging, LinearAndPeakHoldFreezeAfterAveragesFramesUntilReset) {
  for (TAveraging mode : {avLinear, avPeakHold}) {
    TRig rig(kRate);
    rig->Stats()->SetAveraging(mode);
    ASSERT_EQ(rig->Stats()->Averages(), 30u);
    for (int k = 0; k < 30; ++k) rig.Feed(Frame(k));
    EXPECT_EQ(rig->Stats()->Averaged(), 30u) << mode;
    const std::vector<double> frozen = Values(rig->Amplt());
    for (int k = 30; k < 33; ++k) rig.Feed(Frame(k));  // the 31st and later updates: the tone grows
    EXPECT_EQ(Values(rig->Amplt()), frozen) << mode;
    EXPECT_EQ(rig->Stats()->Averaged(), 30u) << mode;
    rig->ResetAveraging();
    rig.Feed(Frame(40));
    EXPECT_EQ(rig->Stats()->Averaged(), 1u) << mode;
    TRig one(kRate);
    one.Feed(Frame(40));
    EXPECT_EQ(Values(rig->Amplt()), Values(one->Amplt())) << mode;
  }
}

// Driven with spectra set by hand: one line with a known sequence.
// A hold loop that runs one past its lines writes past the vectors' ends: only the sanitizer
// build's run of this test can see it (a heap overflow), the release build cannot.
TEST(Averaging, PeakHoldDropsAfterTheHoldTimeAndPeakAndDecayFallsByOneMinusOneOverExpDecay) {
  // Averages = 3: the 5 of frame 1 is not exceeded for more than 3 frames, so frame 5 takes
  // the current value; frame 7 exceeds the held value.
  EXPECT_EQ(Drive(avPeakHoldInf, 3, 5, {5, 1, 1, 1, 1, 1, 2}), (std::vector<double>{5, 5, 5, 5, 1, 1, 2}));
  EXPECT_EQ(Drive(avPeakAndDecay, 30, 4, {4, 1, 1, 3.5, 0}), (std::vector<double>{4, 3, 2.25, 3.5, 2.625}));
}

TEST(Averaging, ComplexModesAverageTheComplexSpectrum) {
  const int frames = 6;
  // Independent spectra of the frames: rfft scaled by 1/L (rectangular window, DC removed).
  std::vector<TVec> X;
  for (int k = 0; k < frames; ++k) {
    TVec x = Frame(k);
    x.RemoveDC();
    TVec s;
    s.FFTFromReal(x);
    s.Scale(1.0 / kL);
    X.push_back(s);
  }
  for (TAveraging mode : {avCplxLinearInf, avCplxLinear, avCplxExponentInf}) {
    TRig rig(kRate);
    rig->Stats()->SetAveraging(mode);
    rig->Stats()->SetAverages(4);
    rig->Stats()->SetExpDecay(3);
    for (int k = 0; k < frames; ++k) rig.Feed(Frame(k));
    const int used = mode == avCplxLinear ? 4 : frames;
    EXPECT_EQ(rig->Stats()->Averaged(), static_cast<unsigned>(used));
    TVec expect(kL / 2);
    for (int i = 0; i < kL / 2; ++i) {
      TCplx a = 0;
      if (mode == avCplxExponentInf) {
        a = std::pow(2.0 / 3, frames - 1) * X[0].CValues(i);
        for (int k = 1; k < frames; ++k) a += std::pow(2.0 / 3, frames - 1 - k) / 3.0 * X[k].CValues(i);
      } else {
        for (int k = 0; k < used; ++k) a += X[k].CValues(i);
        a /= used;
      }
      expect.Values(i) = std::abs(a);
    }
    EXPECT_TRUE(Near(rig->Amplt(), expect, 1e-12)) << mode;
  }
}

TEST(Averaging, ResetRules) {
  TRig rig(kRate);
  TSpectrumStats& st = *rig->Stats();
  auto run = [&] {
    rig.Feed(Frame(1));
    rig.Feed(Frame(2));
    return st.Averaged();
  };
  EXPECT_EQ(run(), 0u);  // avNone counts nothing
  st.SetAveraging(avLinearInf);
  ASSERT_EQ(run(), 2u);
  // Each change after two averaged frames: whether it restarts the average.
  const std::pair<std::function<void()>, bool> changes[] = {
      {[&] { rig->SetSpectrumType(stRmsAmplitude); }, true},
      {[&] { rig->SetDCDump(false); }, true},
      {[&] { rig->SetIntegration(inOnce); }, true},
      {[&] { rig->SetZeroPadding(2); }, true},
      {[&] { rig->SetLogType(ltRelative), rig->SetLogarithmic(true); }, false},  // dB come after the average
      {[&] { rig->SetRealCepstrum(true); }, true},
      {[&] { st.SetExpDecay(0); }, true},   // stored as 1
      {[&] { st.SetExpDecay(1); }, false},  // unchanged
      {[&] { st.SetCalcStdDev(true); }, true},
      {[&] { st.SetAveraging(avLinear); }, true}};
  for (size_t i = 0; i < std::size(changes); ++i) {
    changes[i].first();
    EXPECT_EQ(st.Averaged(), changes[i].second ? 0u : 2u) << "change " << i;
    if (changes[i].second) {
      ASSERT_EQ(run(), 2u);
    }
  }
  // A new frame length or sampling frequency restarts the average within the update.
  rig.Feed(Noise(2 * kL, 5));
  EXPECT_EQ(st.Averaged(), 1u);
  rig.source->SetSamplingFrequency(2 * kRate);
  rig.Feed(Noise(2 * kL, 6));
  EXPECT_EQ(st.Averaged(), 1u);
  // The count wraps to 0 past its largest value.
  st.SetAveraging(avLinearInf);
  st.SetAveraged(UINT_MAX);
  rig.Feed(Noise(2 * kL, 7));
  EXPECT_EQ(st.Averaged(), 0u);
}
