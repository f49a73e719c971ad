// Amplitude calibration, axis, phase post-processing and the edge cases of one update.
#include <gtest/gtest.h>

#include "analyzer_helpers.h"

using namespace ondrix;
using namespace ondrix::testing;

namespace {

constexpr int kN = 4096;
constexpr double kFs = 4096.0;  // 1 Hz per line
constexpr int kBin = 1024;      // a quarter of the frame: the image of a real tone lies N/2 away

/// Relative amplitude tolerance of a tone at a line, by window: the exponential window's fixed
/// correction factor is 4·10⁻⁵ low; windows that are not cosine sums also let the image of a real
/// tone (at −f) leak into the line. Kaiser runs at 200 dB here, where that leakage is below 10⁻⁹;
/// the exponential window's is (a/N)/2 = 2.8·10⁻⁴ (a = ln 10).
double ToneTol(TSignalWindowType w, bool complex) {
  switch (w) {
    case wtKaiser: return complex ? 1e-12 : 1e-9;
    case wtExponent: return 4.1e-5 + (complex ? 0.0 : 2.9e-4);
    default: return 1e-12;
  }
}

}  // namespace

// A real tone at a line reads its amplitude by type; a complex one reads its amplitude on the
// two-sided axis. Each window's factor: tests/sigcore/windows_test.cpp; here the rectangular
// path, a table factor, a computed one at the given attenuation and the exponential window.
TEST(AnalyzerAmplitude, ToneAtALineReadsItsTypeForEveryWindow) {
  const double A = 1.7, Ac = 0.8, fc = -700.0;
  const TVec x = Sine(kN, kFs, kBin, A, 0.3), z = ComplexTone(kN, kFs, fc, Ac, 1.1);
  const double expected[4] = {A / 2, A / 2 * std::sqrt(2.0) / 2, A * A / 4, A};
  for (TSignalWindowType window : {wtRectangular, wtHanning, wtKaiser, wtExponent}) {
    for (int type = 0; type < 4; ++type) {
      TRig rig(kFs, window);
      rig->SetSidelobeAtt(200.0);
      rig->SetSpectrumType(static_cast<TSpectrumType>(type));
      rig.Feed(x);
      ASSERT_EQ(rig->Length(), kN / 2);
      ASSERT_DOUBLE_EQ(rig->LineFrequency(kBin), kBin);
      const double tol = ToneTol(window, false) * (type == 2 ? 2 : 1);
      EXPECT_NEAR(rig->Amplt().Values(kBin), expected[type], expected[type] * tol)
          << "window " << window << " type " << type;
    }
    TRig rig(kFs, window);
    rig.Feed(z);
    ASSERT_EQ(rig->Length(), kN);
    ASSERT_DOUBLE_EQ(rig->BandWidthL(), -kFs / 2);
    const int k = rig->LineOf(fc);
    ASSERT_DOUBLE_EQ(rig->LineFrequency(k), fc);
    EXPECT_NEAR(rig->Amplt().Values(k), Ac, Ac * ToneTol(window, true)) << "window " << window;
  }
}

TEST(AnalyzerAmplitude, DecibelsOfThePowerTypeEqualThoseOfTheAmplitudeType) {
  const TVec x = Sum(Sine(1024, 1024.0, 100.0, 1.0), Noise(1024, 7, 1e-8));  // noise: no empty lines
  for (TLogType lt : {ltAbsolute, ltRelative}) {
    TRig amp(1024.0, wtHanning), pow(1024.0, wtHanning);
    for (TRig* r : {&amp, &pow}) {
      (*r)->SetLogarithmic(true);
      (*r)->SetLogType(lt);
    }
    pow->SetSpectrumType(stPower);
    amp.Feed(x);
    pow.Feed(x);
    EXPECT_LT(MaxDiff(amp->Amplt(), pow->Amplt()), 1e-9);
    // 10·log10 of a squared amplitude, floored at the span below the top.
    EXPECT_NEAR(amp->Amplt().Values(100), lt == ltAbsolute ? 20 * std::log10(0.5) : 0.0, 1e-6);
    EXPECT_GE(amp->Amplt().Min(), amp->Amplt().Max() - 120.0 - 1e-12);
  }
}

TEST(AnalyzerAmplitude, AxisOfRealAndComplexFramesWithZeroPadding) {
  TRig rig(48000.0);
  rig->SetZeroPadding(2);
  rig.Feed(Noise(1000, 5));  // N = LargestExp2(1000)·2 = 2048
  EXPECT_EQ(rig->TransformLength(), 2048);
  EXPECT_EQ(rig->Length(), 1024);
  EXPECT_DOUBLE_EQ(rig->HzRes(), 48000.0 / 2048);
  EXPECT_DOUBLE_EQ(rig->BandWidthL(), 0.0);
  EXPECT_DOUBLE_EQ(rig->ActualZeroPadding(), 2.048);
  TVec z(1000, true);
  z.RandGauss(9, 0, 1);
  rig.Feed(z);
  EXPECT_EQ(rig->Length(), 2048);
  EXPECT_DOUBLE_EQ(rig->BandWidthL(), -24000.0);
  // Without ConjFlip the lines stay in FFT order from 0 Hz.
  rig->SetConjFlip(false);
  rig.Feed(ComplexTone(1000, 48000.0, -3000.0, 1.0));
  EXPECT_DOUBLE_EQ(rig->BandWidthL(), 0.0);
  EXPECT_EQ(rig->Amplt().Max(), rig->Amplt().Values(2048 - 128));
}

TEST(AnalyzerAmplitude, IntegrationDividesByTwoPiF) {
  const TVec x = Sine(kN, kFs, 256, 2.0);
  for (TIntegration in : {inOnce, inTwice, diffOnce, diffTwice}) {
    TRig rig(kFs);
    rig->SetIntegration(in);
    rig.Feed(x);
    const double w = 2 * M_PI * 256;
    const double factor = in == inOnce ? 1 / w : in == inTwice ? 1 / (w * w) : in == diffOnce ? w : w * w;
    EXPECT_NEAR(rig->Amplt().Values(256), 1.0 * factor, 1e-12 * factor) << in;
  }
}

TEST(AnalyzerEdgeCases, ShortTargetLengthRaisesAndAnEmptyInputLeavesTheSpectrum) {
  TRig rig(1.0);
  rig.source->SetData(Noise(300, 1));
  EXPECT_THAT([&] { rig->ApplySpectrumMethod(299, nullptr); }, Raises<Exception>("TargetLength < Input.Length"));
  EXPECT_NO_THROW(rig->ApplySpectrumMethod(300, nullptr));
  rig.Feed(Noise(256, 2));
  const TVec before = rig->Amplt();
  rig.Feed(TVec(0));
  EXPECT_EQ(Values(rig->Amplt()), Values(before));
}

// Every estimate leaves a complex work vector, so a fault in ApplyWindow's real branch cannot show.
TEST(AnalyzerEdgeCases, ApplyWindowScalesOnlyItsRange) {
  TRig rig(1.0, wtHanning);
  rig.Feed(Noise(64, 5));
  const TVec before = rig->ComplexSpectrum();
  rig->ApplyWindow(8, 16);
  TVec w;
  GenerateWindow(wtHanning, w, 16);
  for (int i = 0; i < before.Length(); ++i) {
    const double g = i >= 8 && i < 24 ? w.Values(i - 8) : 1.0;
    EXPECT_EQ(rig->ComplexSpectrum().CValues(i), before.CValues(i) * g) << i;
  }
}

// The guard's `Length() > 0` as `>= 0` changes nothing: Rotate of an empty vector returns at once.
TEST(AnalyzerEdgeCases, RotationRotatesTheFrameButLeavesTheInputAsItWas) {
  const int n = 1024, r = 100;
  const TVec x = Noise(n, 11);
  TRig plain(1.0), rotated(1.0);
  rotated->SetRotation(r);
  for (TRig* g : {&plain, &rotated}) {
    (*g)->SetConjExtend(true);  // the whole circle, so that every bin can be compared
    (*g)->SetConjFlip(false);
    g->Feed(x);
  }
  EXPECT_EQ(Values(rotated.source->Data()), Values(x));
  // x delayed circularly by r: X[k]·e^(−2πi·k·r/n).
  const TVec& X = plain->ComplexSpectrum();
  const TVec& Y = rotated->ComplexSpectrum();
  double err = 0;
  for (int k = 0; k < n; ++k)
    err = std::max(err, std::abs(Y.CValues(k) - X.CValues(k) * std::polar(1.0, -2 * M_PI * k * r / n)));
  EXPECT_LT(err, 1e-10 * std::sqrt(n));
}

TEST(AnalyzerPhase, PhaseRangeShiftsTheCurveInPm360Only) {
  const TVec x = Noise(512, 21);
  for (TPhaseUnits u : {puDeg, puRad}) {
    TRig a(1.0), b(1.0);
    b->SetPhaseRange(prZeroTwoPi);
    for (TRig* g : {&a, &b}) {
      (*g)->SetPhaseUnits(u);
      g->Feed(x);
    }
    // A shift of every line: a wrap into [0, 2π) would leave the positive phases alone.
    const double shift = u == puDeg ? 180.0 : M_PI;
    int positive = 0;
    for (int i = 0; i < a->Length(); ++i) {
      EXPECT_NEAR(b->Phase().Values(i) - a->Phase().Values(i), shift, 1e-12) << i;
      positive += a->Phase().Values(i) > 0;
    }
    EXPECT_GT(positive, 10);
  }
  TRig a(1.0), b(1.0);
  a->SetPhaseMode(pmPhaseDelay);
  b->SetPhaseMode(pmPhaseDelay);
  b->SetPhaseRange(prZeroTwoPi);
  a.Feed(x);
  b.Feed(x);
  EXPECT_EQ(Values(a->Phase()), Values(b->Phase()));
}

TEST(AnalyzerPhase, UnwrapAndDelaysOfADelayedImpulse) {
  const int n = 512, d = 400;  // beyond half the frame: a nearest-branch unwrap fails here
  TVec x(n);
  x.Values(d) = 1.0;
  TRig rig(1000.0);
  rig->SetDCDump(false);
  rig->SetUnwrapPhase(true);
  rig.Feed(x);
  for (int k = 0; k < rig->Length(); ++k) ASSERT_NEAR(rig->Phase().Values(k), -360.0 * k * d / n, 1e-8) << k;

  rig->SetUnwrapPhase(false);
  rig->SetPhaseMode(pmPhaseDelay);
  rig.Feed(x);
  for (int k = 1; k < rig->Length(); ++k) ASSERT_NEAR(rig->Phase().Values(k), d / 1000.0, 1e-12) << k;

  rig->SetPhaseMode(pmGroupDelay);
  rig.Feed(x);
  ASSERT_EQ(rig->Phase().Length(), rig->Length());
  for (int k = 0; k < rig->Length(); ++k) ASSERT_NEAR(rig->Phase().Values(k), d, 1e-9) << k;
}
