// The chirp-z zoom: settings rules, the frequency axis and the amplitude scale.
#include <gtest/gtest.h>

#include "analyzer_helpers.h"

using namespace ondrix;
using namespace ondrix::testing;

namespace {

/// A chirp-z zoom from start to stop Hz in steps of step Hz, with the given window.
void Zoom(TRig& rig, TSignalWindowType window, double start, double stop, double step) {
  rig->SetMethod(smCZT);
  rig->SetWindow(window);
  rig->CZT()->SetStopFrequency(stop);  // first: a start above the stop would push it
  rig->CZT()->SetStartFrequency(start);
  rig->CZT()->SetFrequencyStep(step);
}

}  // namespace

TEST(ZoomSettings, StartAndStopPushEachOtherAndStepAndStartRadiusAreClamped) {
  TSpectrumAnalyzer an(nullptr);
  TSpectrumCZT& z = *an.CZT();
  EXPECT_EQ(z.StartFrequency(), 0.0);
  EXPECT_EQ(z.FrequencyStep(), 0.0078125);
  EXPECT_EQ(z.StopFrequency(), 0.5);
  z.SetStopFrequency(500);
  z.SetStartFrequency(1000);
  EXPECT_EQ(z.StartFrequency(), 1000);
  EXPECT_EQ(z.StopFrequency(), 1000);
  z.SetStartFrequency(200);
  z.SetStopFrequency(100);
  EXPECT_EQ(z.StartFrequency(), 100);
  EXPECT_EQ(z.StopFrequency(), 100);
  z.SetFrequencyStep(-1);
  z.SetStartRadius(-0.5);
  z.SetStopRadius(-0.5);
  EXPECT_EQ(z.FrequencyStep(), 0.0);
  EXPECT_EQ(z.StartRadius(), 0.0);
  EXPECT_EQ(z.StopRadius(), -0.5);
  z.SetStopFrequency(130);
  z.SetStartFrequency(120);
  z.SetFrequencyStep(0.3);  // 33.3 points: truncated
  EXPECT_EQ(z.PointCount(), 33);
  z.SetFrequencyStep(0);
  EXPECT_EQ(z.PointCount(), TSpectrumCZT::kMaxPoints);
}

// The kernel's values: tests/sigcore/czt_test.cpp; here the settings it is given and the scale.
TEST(Zoom, ATonesReadsItsAmplitudeAndTheAxisCarriesTheInputOffset) {
  const double fs = 1000.0;
  const int L = 800;
  TRig rig(fs);
  Zoom(rig, wtBlackman, -260.0, -240.0, 0.25);
  rig.source->SetComplex(true);
  rig.Feed(ComplexTone(L, fs, -251.25, 0.6, 0.4));
  ASSERT_EQ(rig->Length(), 80);
  const int k = rig->LineOf(-251.25);
  EXPECT_DOUBLE_EQ(rig->LineFrequency(k), -251.25);
  EXPECT_NEAR(rig->Amplt().Values(k), 0.6, 0.6 * 1e-8);  // the table factor's 9 digits
  // A real tone reads half its amplitude; its image at −f is 500 lines of the frame away.
  TRig real(fs);
  Zoom(real, wtHanning, 240.0, 260.0, 0.25);
  real.source->SetBandWidthL(50.0);  // the frame's band starts at 50 Hz
  real.Feed(Sine(L, fs, 251.25, 0.6));
  EXPECT_DOUBLE_EQ(real->BandWidthL(), 290.0);
  EXPECT_NEAR(real->Amplt().Values(45), 0.3, 0.3 * 1e-7);
  EXPECT_DOUBLE_EQ(real->LineFrequency(45), 290.0 + 45 * 0.25);
}
