// The analyzer's published properties: defaults, settings streams with the sub-objects and
// their band list, assignment, and the registry.
#include <gtest/gtest.h>

#include "analyzer_helpers.h"
#include "ondrix/framework/Registry.h"
#include "ondrix/framework/TStream.h"

using namespace ondrix;
using namespace ondrix::testing;

TEST(AnalyzerSettings, ConstructorDefaults) {
  TSpectrumAnalyzer an(nullptr);
  EXPECT_TRUE(an.MultiChannel());
  EXPECT_TRUE(an.UsesInputs());
  EXPECT_EQ(an.Method(), smFFT);
  EXPECT_EQ(an.Window(), wtRectangular);
  EXPECT_EQ(an.SidelobeAtt(), 40.0);
  EXPECT_EQ(an.ExpWindow(), 0.01);
  EXPECT_EQ(an.SpectrumType(), stAmplitude);
  EXPECT_EQ(an.ScaleFactor(), 1.0);
  EXPECT_TRUE(an.DCDump());
  EXPECT_FALSE(an.Logarithmic());
  EXPECT_EQ(an.LogType(), ltAbsolute);
  EXPECT_EQ(an.LogSpan(), ls120);
  EXPECT_EQ(an.LogSpanValue(), 120);
  EXPECT_EQ(an.Integration(), inNone);
  EXPECT_EQ(an.AROrder(), 100);
  EXPECT_EQ(an.RunningPhase(), rpRunning);
  EXPECT_EQ(an.PhaseRange(), prPiPi);
  EXPECT_TRUE(an.ConjFlip());
  EXPECT_FALSE(an.ConjExtend());
  EXPECT_EQ(an.Stats()->Averages(), 30u);
  EXPECT_EQ(an.Stats()->ExpDecay(), 5);
  EXPECT_EQ(an.Stats()->Averaging(), avNone);
  EXPECT_EQ(an.Peaks()->Interpolation()->Precision(), ip6);
  const int spans[] = {30, 45, 60, 90, 120, 150, 200, 350};
  for (int s = 0; s < 8; ++s) {
    an.SetLogSpan(static_cast<TLogSpan>(s));
    EXPECT_EQ(an.LogSpanValue(), spans[s]);
  }
}

TEST(AnalyzerSettings, StreamAndAssignCarryTheSubObjects) {
  TSpectrumAnalyzer a(nullptr);
  a.SetMethod(smCZT);
  a.SetWindow(wtKaiser);
  a.SetSidelobeAtt(90.0);
  a.SetSpectrumType(stPower);
  a.SetLogSpan(ls60);
  a.SetRotation(17);
  a.SetConjExtend(true);
  a.Stats()->SetAveraging(avPeakAndDecay);
  a.Stats()->SetExpDecay(7);
  a.Peaks()->SetTraceMethod(ptFreqHarmonics);
  a.Peaks()->Interpolation()->SetMethod(imJain);
  a.Peaks()->SetOrderFrequency(25.0);
  a.CZT()->SetStopFrequency(300.0);
  a.CZT()->SetStartFrequency(200.0);
  a.Bands()->SetOctaveBands(125, 1000);
  a.Report()->SetAmpltFormat("0.000");
  TMemoryStream m;
  a.SaveToStream(m);
  m.Seek(0, soFromBeginning);
  TSpectrumAnalyzer b(nullptr);
  b.LoadFromStream(m);
  TSpectrumAnalyzer c(nullptr);
  c.Assign(a);
  for (const TSpectrumAnalyzer* x : {&b, &c}) {
    EXPECT_EQ(x->Method(), smCZT);
    EXPECT_EQ(x->Window(), wtKaiser);
    EXPECT_EQ(x->SidelobeAtt(), 90.0);
    EXPECT_EQ(x->SpectrumType(), stPower);
    EXPECT_EQ(x->LogSpanValue(), 60);
    EXPECT_EQ(x->Rotation(), 17);
    EXPECT_TRUE(x->ConjExtend());
    EXPECT_EQ(x->Stats()->Averaging(), avPeakAndDecay);
    EXPECT_EQ(x->Stats()->ExpDecay(), 7);
    EXPECT_EQ(x->Peaks()->TraceMethod(), ptFreqHarmonics);
    EXPECT_EQ(x->Peaks()->Interpolation()->Method(), imJain);
    EXPECT_EQ(x->Peaks()->OrderFrequency(), 25.0);
    EXPECT_EQ(x->CZT()->StartFrequency(), 200.0);
    EXPECT_EQ(x->CZT()->StopFrequency(), 300.0);
    ASSERT_EQ(x->Bands()->Count(), 4);
    EXPECT_EQ(x->Bands()->Band(3).NominalFrequency(), 1000.0);
    EXPECT_EQ(x->Bands()->Band(0).StartFrequency(), a.Bands()->Band(0).StartFrequency());
    EXPECT_EQ(x->Report()->AmpltFormat(), "0.000");
  }
}

TEST(AnalyzerSettings, TheUnitRegistersItsClasses) {
  const TClassInfo* c = GetClass("TSpectrumAnalyzer");
  ASSERT_NE(c, nullptr);
  auto made = CreateComponentByName("TSpectrumAnalyzer");
  ASSERT_NE(dynamic_cast<TSpectrumAnalyzer*>(made.get()), nullptr);
  for (const char* name : {"TSpectrumStats", "TSpectrumPeaksAnalyzer", "TSpectrumPeakInterpolation", "TSpectrumCZT",
                           "TSpectrumBandsAnalyzer", "TBandRecord", "TSpectrumReport"})
    EXPECT_NE(GetClass(name), nullptr) << name;
}

TEST(AnalyzerSettings, AutoCalculateUpdatesAtOnce) {
  TRig rig(1024.0);
  rig.source->SetData(Sine(1024, 1024.0, 100, 1.0));
  rig->SetAutoCalculate(true);
  rig->SetSpectrumType(stDoubleAmplitude);
  EXPECT_NEAR(rig->Amplt().Values(100), 1.0, 1e-12);
  rig->SetScaleFactor(2.0);
  EXPECT_NEAR(rig->Amplt().Values(100), 2.0, 1e-12);
  rig->SetIntegration(inOnce);  // marks dirty only
  EXPECT_NEAR(rig->Amplt().Values(100), 2.0, 1e-12);
  EXPECT_TRUE(rig->Dirty());
}
