// The analyzer's settings beyond its property table, the registry, and the property table of
// every class this binary links.
#include <gtest/gtest.h>

#include "analyzer_helpers.h"
#include "ondrix/SignalProcessing/SignalProcessing.h"
#include "ondrix/framework/Registry.h"
#include "ondrix/framework/TStream.h"
#include "tests/common/property_table.h"

using namespace ondrix;
using namespace ondrix::testing;

void ondrix::testing::RegisterPropertyTableClasses() {
  RegisterClass(TComponent::StaticClassInfo());
  RegisterOndrixToolsClasses();
  RegisterSignalProcessingClasses();
  RegisterSignalAnalysisClasses();
}

TEST(AnalyzerSettings, LogSpanValuesAndTheZoomAndBandListTravelWithTheSettings) {
  TSpectrumAnalyzer a(nullptr);
  EXPECT_TRUE(a.MultiChannel());
  EXPECT_TRUE(a.UsesInputs());
  // Sub-object defaults, which the property-table check leaves out (Averages, Averaging: averaging_test).
  EXPECT_EQ(a.Stats()->ExpDecay(), 5);
  EXPECT_EQ(a.Peaks()->Interpolation()->Precision(), ip6);
  const int spans[] = {30, 45, 60, 90, 120, 150, 200, 350};
  for (int s = 0; s < 8; ++s) {
    a.SetLogSpan(static_cast<TLogSpan>(s));
    EXPECT_EQ(a.LogSpanValue(), spans[s]);
  }
  // The property table's move leaves StopFrequency at 0.5: a band is carried here.
  a.CZT()->SetStopFrequency(300.0);
  a.CZT()->SetStartFrequency(200.0);
  a.Bands()->SetOctaveBands(125, 1000);
  TMemoryStream m;
  a.SaveToStream(m);
  m.Seek(0, soFromBeginning);
  TSpectrumAnalyzer b(nullptr);
  b.LoadFromStream(m);
  TSpectrumAnalyzer c(nullptr);
  c.Assign(a);
  for (const TSpectrumAnalyzer* x : {&b, &c}) {
    EXPECT_EQ(x->CZT()->StartFrequency(), 200.0);
    EXPECT_EQ(x->CZT()->StopFrequency(), 300.0);
    ASSERT_EQ(x->Bands()->Count(), 4);
    EXPECT_EQ(x->Bands()->Band(3).NominalFrequency(), 1000.0);
    EXPECT_EQ(x->Bands()->Band(0).StartFrequency(), a.Bands()->Band(0).StartFrequency());
  }
}

TEST(AnalyzerSettings, TheUnitRegistersItsClassesAndItsListsMakeTheirItems) {
  auto made = CreateComponentByName("TSpectrumAnalyzer");
  ASSERT_NE(dynamic_cast<TSpectrumAnalyzer*>(made.get()), nullptr);
  for (const char* name : {"TSpectrumStats", "TSpectrumPeaksAnalyzer", "TSpectrumPeakInterpolation", "TSpectrumCZT",
                           "TSpectrumBandsAnalyzer", "TSpectrumBands", "TBandRecord", "TSpectrumReport",
                           "TCrossSpectrumAnalyzer", "TCrossAnalyzer", "TBiSpectrumAnalyzer", "TBiAnalyzer",
                           "TSignalAnalyzer", "TSignalReport"})
    EXPECT_NE(GetClass(name), nullptr) << name;
  for (const char* name : {"TCrossSpectrumAnalyzerList", "TBiSpectrumAnalyzerList", "TSignalAnalyzerList"}) {
    auto list = CreateComponentByName(name);
    auto* l = dynamic_cast<TAnalysisList*>(list.get());
    ASSERT_NE(l, nullptr) << name;
    l->SetCount(1);
    EXPECT_EQ(std::string(l->Items(0)->ClassName()) + "List", name);
  }
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
