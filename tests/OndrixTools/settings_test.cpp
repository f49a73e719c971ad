// Settings files of a small graph, class registration, and component templates.
#include <gtest/gtest.h>

#include "ondrix/framework/Registry.h"
#include "ondrix/framework/Settings.h"
#include "tools_test_components.h"

using namespace ondrix;
using ondrix::toolstest::TGain;
using ondrix::toolstest::TMixer;

namespace {

struct Registered {
  Registered() {
    RegisterClass(TComponent::StaticClassInfo());  // the "form" that owns the graph
    RegisterClass(TSpectrumList::StaticClassInfo());  // not among the unit's streamable classes
    RegisterClass(TGain::StaticClassInfo());
    RegisterClass(TMixer::StaticClassInfo());
  }
};
const Registered kRegistered;

}  // namespace

TEST(Registration, CoreClassesInTheirOrder) {
  auto classes = OndrixToolsClasses();
  std::vector<std::string> names;
  for (auto* c : classes) names.push_back(c->Name);
  EXPECT_EQ(names, (std::vector<std::string>{"TSignal", "TSignalList", "TSpectrum", "TSpectrumItem", "TSignalItem",
                                             "TSpectrumCollection", "TSignalCollection"}));
  for (auto* c : classes) EXPECT_EQ(GetClass(c->Name), c);
  UnRegisterOndrixToolsClasses();
  EXPECT_EQ(GetClass("TSignal"), nullptr);
  RegisterOndrixToolsClasses();
  EXPECT_NE(GetClass("TSignal"), nullptr);
}

TEST(SettingsFile, SmallGraphAndListsRoundTrip) {
  TComponent form(nullptr);
  form.SetDesigning(true);  // links are stored at design time
  auto* src = new TSignal(&form);
  src->SetName("Source");
  src->SetLength(4);
  for (int i = 0; i < 4; ++i) src->Values(i) = 0.5 * i;
  auto* stage = new TGain(&form);
  stage->SetName("Stage");
  stage->SetInput(src);
  auto* mix = new TMixer(&form);
  mix->SetName("Mix");
  mix->Inputs()->Add()->SetInput(src);
  mix->Inputs()->Add()->SetInput(stage);
  auto* spec = new TSpectrum(&form);
  spec->SetName("Spec");
  spec->Marks().Add(50.0, 1.0);

  // Marks are binary data: left out at design time, so checked in a run-time save below.
  std::unique_ptr<TComponent> back = LoadComponentFromJson(SaveComponentToJson(form));
  auto* stage2 = dynamic_cast<TGain*>(back->FindComponent("Stage"));
  auto* mix2 = dynamic_cast<TMixer*>(back->FindComponent("Mix"));
  // Values: signalprocessing_tests' PropertyTable; plain links: framework_tests' Settings.
  ASSERT_TRUE(stage2 && mix2);
  ASSERT_EQ(mix2->Inputs()->Count(), 2);
  EXPECT_EQ(mix2->Inputs()->Items(1)->Input(), stage2);

  // At run time samples and marks are stored too, and links are not. A signal list's items
  // are stored once, as owned components, not again as list data.
  form.SetDesigning(false);
  auto* signals = new TSignalList(&form);
  signals->SetName("Signals");
  signals->SetCount(3);
  signals->Items(1)->SetSamplingFrequency(44100.0);
  auto* spectra = new TSpectrumList(&form);
  spectra->SetName("Spectra");
  spectra->SetCount(2);
  spectra->Items(1)->SetHarmonics(3);
  std::unique_ptr<TComponent> run = LoadComponentFromJson(SaveComponentToJson(form));
  auto* src3 = dynamic_cast<TSignal*>(run->FindComponent("Source"));
  auto* spec3 = dynamic_cast<TSpectrum*>(run->FindComponent("Spec"));
  auto* signals3 = dynamic_cast<TSignalList*>(run->FindComponent("Signals"));
  auto* spectra3 = dynamic_cast<TSpectrumList*>(run->FindComponent("Spectra"));
  ASSERT_TRUE(src3 && spec3 && signals3 && spectra3);
  ASSERT_EQ(src3->Length(), 4);
  EXPECT_EQ(src3->Values(3), 1.5);
  ASSERT_EQ(spec3->Marks().Count(), 1);
  EXPECT_EQ(spec3->Marks().Values(0).Freq, 50.0);
  EXPECT_EQ(dynamic_cast<TGain*>(run->FindComponent("Stage"))->Input(), nullptr);
  ASSERT_EQ(signals3->Count(), 3);
  EXPECT_EQ(signals3->Items(1)->SamplingFrequency(), 44100.0);
  ASSERT_EQ(spectra3->Count(), 2);
  EXPECT_EQ(spectra3->Items(1)->Harmonics(), 3);
}

TEST(Templates, MultiInputLinksSurviveATemplate) {
  TSignal a(nullptr), b(nullptr);
  TMixer src(nullptr);
  src.Inputs()->Add()->SetInput(&a);
  TMixer dst(nullptr);
  dst.Inputs()->Add()->SetInput(&b);
  dst.AssignTemplate(src);
  ASSERT_EQ(dst.Inputs()->Count(), 1);
  EXPECT_EQ(dst.Inputs()->Items(0)->Input(), &b);
  EXPECT_FALSE(dst.Inputs()->BlockAssign());
}

TEST(Lists, SignalListOwnsItsItemsSpectrumListDoesNot) {
  TSignalList signals(nullptr);
  TSpectrumList spectra(nullptr);
  signals.SetCount(3);
  spectra.SetCount(2);
  EXPECT_EQ(signals.Items(0)->Owner(), &signals);
  EXPECT_EQ(signals.ComponentCount(), 3);
  EXPECT_EQ(spectra.Items(0)->Owner(), nullptr);
  EXPECT_EQ(spectra.ComponentCount(), 0);
  delete signals.Items(0);  // an owned item destroyed directly leaves the list
  EXPECT_EQ(signals.Count(), 2);
  signals.Delete(0);
  EXPECT_EQ(signals.Count(), 1);
  EXPECT_EQ(signals.ComponentCount(), 1);
}
