// Settings files of a small graph, class registration, and component templates.
#include <gtest/gtest.h>

#include "ondrix/OndrixTools/OndrixTools.h"
#include "ondrix/framework/ClassBuilder.h"
#include "ondrix/framework/Registry.h"
#include "ondrix/framework/Settings.h"

using namespace ondrix;

namespace {

/// A processing stage that publishes its Input, as processing components do.
class TStage : public TSignal {
public:
  ONDRIX_CLASS_INFO()
  explicit TStage(TComponent* owner) : TSignal(owner) { SetUsesInputs(true); }
};

const TClassInfo& TStage::StaticClassInfo() {
  static const TClassInfo info = TClassBuilder<TStage, TSignal>("TStage")
                                     .Prop("Input", &TStage::GetInput, &TStage::SetInput)
                                     .Stored(&TStage::InputsStored)
                                     .Build();
  return info;
}

/// A multi-input stage that publishes its Inputs collection.
class TMixer : public TSignal {
public:
  ONDRIX_CLASS_INFO()
  explicit TMixer(TComponent* owner) : TSignal(owner) {
    SetMultiChannel(true);
    SetUsesInputs(true);
  }
};

const TClassInfo& TMixer::StaticClassInfo() {
  static const TClassInfo info =
      TClassBuilder<TMixer, TSignal>("TMixer").Prop("Inputs", &TMixer::Inputs).Build();
  return info;
}

struct Registered {
  Registered() {
    RegisterClass(TComponent::StaticClassInfo());  // the "form" that owns the graph
    RegisterClass(TSpectrumList::StaticClassInfo());  // not among the unit's streamable classes
    RegisterClass(TStage::StaticClassInfo());
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

TEST(SettingsFile, SmallGraphRoundTrip) {
  TComponent form(nullptr);
  form.SetDesigning(true);  // links are stored at design time
  auto* src = new TSignal(&form);
  src->SetName("Source");
  src->SetLength(4);
  for (int i = 0; i < 4; ++i) src->Values(i) = 0.5 * i;
  auto* stage = new TStage(&form);
  stage->SetName("Stage");
  stage->SetInput(src);
  auto* mix = new TMixer(&form);
  mix->SetName("Mix");
  mix->Inputs()->Add()->SetInput(src);
  mix->Inputs()->Add()->SetInput(stage);
  auto* spec = new TSpectrum(&form);
  spec->SetName("Spec");
  spec->Marks().Add(50.0, 1.0);

  std::string json = SaveComponentToJson(form);
  // Marks are binary data: left out at design time, so check a run-time save separately.
  std::unique_ptr<TComponent> back = LoadComponentFromJson(json);
  ASSERT_EQ(back->ComponentCount(), 4);
  auto* src2 = dynamic_cast<TSignal*>(back->FindComponent("Source"));
  auto* stage2 = dynamic_cast<TStage*>(back->FindComponent("Stage"));
  auto* mix2 = dynamic_cast<TMixer*>(back->FindComponent("Mix"));
  auto* spec2 = dynamic_cast<TSpectrum*>(back->FindComponent("Spec"));
  ASSERT_TRUE(src2 && stage2 && mix2 && spec2);  // values: signalprocessing_tests' PropertyTable
  EXPECT_EQ(stage2->Input(), src2);
  ASSERT_EQ(mix2->Inputs()->Count(), 2);
  EXPECT_EQ(mix2->Inputs()->Items(1)->Input(), stage2);
  // The loaded graph is live: destroying a source clears the links to it.
  delete src2;
  EXPECT_EQ(stage2->Input(), nullptr);
  EXPECT_EQ(mix2->Inputs()->Items(0)->Input(), nullptr);

  // At run time samples and marks are stored too, and links are not.
  form.SetDesigning(false);
  std::unique_ptr<TComponent> run = LoadComponentFromJson(SaveComponentToJson(form));
  auto* src3 = dynamic_cast<TSignal*>(run->FindComponent("Source"));
  auto* spec3 = dynamic_cast<TSpectrum*>(run->FindComponent("Spec"));
  ASSERT_EQ(src3->Length(), 4);
  EXPECT_EQ(src3->Values(3), 1.5);
  ASSERT_EQ(spec3->Marks().Count(), 1);
  EXPECT_EQ(spec3->Marks().Values(0).Freq, 50.0);
  EXPECT_EQ(dynamic_cast<TStage*>(run->FindComponent("Stage"))->Input(), nullptr);
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
  EXPECT_FALSE(dst.GetBlockAssign());
  EXPECT_FALSE(dst.Inputs()->BlockAssign());
}

TEST(Lists, SignalListOwnsItsItemsSpectrumListDoesNot) {
  TComponent form(nullptr);
  auto* signals = new TSignalList(&form);
  signals->SetName("Signals");
  auto* spectra = new TSpectrumList(&form);
  spectra->SetName("Spectra");
  signals->SetCount(3);
  spectra->SetCount(2);
  EXPECT_EQ(signals->Items(0)->Owner(), signals);
  EXPECT_EQ(signals->ComponentCount(), 3);
  EXPECT_EQ(spectra->Items(0)->Owner(), nullptr);
  EXPECT_EQ(spectra->ComponentCount(), 0);

  signals->Items(1)->SetSamplingFrequency(44100.0);
  spectra->Items(1)->SetHarmonics(3);
  std::unique_ptr<TComponent> back = LoadComponentFromJson(SaveComponentToJson(form));
  auto* s2 = dynamic_cast<TSignalList*>(back->FindComponent("Signals"));
  auto* p2 = dynamic_cast<TSpectrumList*>(back->FindComponent("Spectra"));
  ASSERT_TRUE(s2 && p2);
  ASSERT_EQ(s2->Count(), 3);  // once, as owned components, not again as list data
  EXPECT_EQ(s2->Items(1)->SamplingFrequency(), 44100.0);
  ASSERT_EQ(p2->Count(), 2);
  EXPECT_EQ(p2->Items(1)->Harmonics(), 3);

  delete signals->Items(0);  // an owned item destroyed directly leaves the list
  EXPECT_EQ(signals->Count(), 2);
  signals->Delete(0);
  EXPECT_EQ(signals->Count(), 1);
  EXPECT_EQ(signals->ComponentCount(), 1);
}
