// Generator lines and filter bands in settings files: JSON arrays people can write by hand.
#include <gtest/gtest.h>

#include <cstring>
#include <nlohmann/json.hpp>

#include "processing_helpers.h"
#include "ondrix/framework/Registry.h"
#include "ondrix/framework/Settings.h"
#include "tests/common/property_table.h"

namespace ondrix::testing {

void RegisterPropertyTableClasses() {
  RegisterClass(TComponent::StaticClassInfo());
  RegisterOndrixToolsClasses();
  RegisterSignalProcessingClasses();
}

namespace {

using json = nlohmann::ordered_json;

// Two tones and "+" feeding a one-band differentiator, as a person would write it.
constexpr const char* kHandWritten = R"({"class": "TComponent", "name": "Graph", "components": [
  {"class": "TSignalGenerator", "name": "Gen",
   "properties": {"Length": 64, "SamplingFrequency": 8000,
     "Sounds": {"properties": {"Template": [
       {"function": "Sine", "params": [440, 0, 1]},
       {"function": "sine", "params": [1800, 30, 0.5]},
       {"operator": "add"}]}}}},
  {"class": "TSignalFilter", "name": "Filt",
   "properties": {"Input": "Gen", "Response": "rstDifferentiator",
     "Filters": {"properties": {"Bands": [{"FreqStart": 0, "FreqStop": 0.8, "Gain": 1, "Ripple": 1}]}}}}]})";

// The same graph as saved before lines and bands were JSON, a snapshot "one tone" selected.
constexpr const char* kOldForm = R"({"class": "TComponent", "name": "Graph", "components": [
  {"class": "TSignalGenerator", "name": "Gen",
   "properties": {"Length": 64, "SamplingFrequency": 8000.0, "Sounds": {
     "properties": {"Templates": {"binary": {"Data": "CgAAAG9uZSB0b25lDQqYAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAABAAAAAAEAAAAAAAAAAACAe0AAAAAAAAAAAAAAAAAAAPA/AAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAABAAAAAAAAAAAAAAAAAAA="}},
                    "TemplateIndex": 0},
     "binary": {"Template": "AAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAADAAAAAAEAAAAAAAAAAACAe0AAAAAAAAAAAAAAAAAAAPA/AAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAABAAAAAAAAAAAAAAAAAAABAAAAAAAAAAAAIJxAAAAAAAAAPkAAAAAAAADgPwAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAQAAAAAAAAAAAAAAAAAAAQEAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAEAAAAAAAAAAAAAAAAAAA=="}}}},
  {"class": "TSignalFilter", "name": "Filt",
   "properties": {"Input": "Gen", "Response": "rstDifferentiator",
     "Filters": {"binary": {"Bands": "AAAAAAAA8D8AAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAJqZmZmZmek/AAAAAAAA8D8AAAAAAADwPwAAAAAAAAAAAA=="}}}}]})";

class SettingsJson : public ::testing::Test {
protected:
  void SetUp() override {
    RegisterClass(TComponent::StaticClassInfo());
    RegisterSignalProcessingClasses();
  }

  /// The graph of kHandWritten built in code; with Snapshot, also kOldForm's "one tone".
  static std::unique_ptr<TComponent> Build(bool Snapshot) {
    auto form = std::make_unique<TComponent>(nullptr);
    form->SetName("Graph");
    auto* g = new TSignalGenerator(form.get());
    g->SetName("Gen");
    g->SetSamplingFrequency(8000);
    g->SetLength(64);
    g->Sounds()->Template()->Add(FunctionLine(funSine, {440, 0, 1}));
    if (Snapshot) g->Sounds()->AddTemplate("one tone");
    g->Sounds()->Template()->Add(FunctionLine(funSine, {1800, 30, 0.5}));
    g->Sounds()->Template()->Add(OperatorLine(opAdd));
    auto* f = new TSignalFilter(form.get());
    f->SetName("Filt");
    f->SetInput(g);
    f->SetResponse(rstDifferentiator);
    f->Bands().Add(0.0, 0.8, 1.0, 1.0);
    return form;
  }

  /// Three blocks pulled from the graph's filter.
  static std::vector<double> Output(TComponent& Graph) {
    return Pull(dynamic_cast<TSignalFilter&>(*Graph.FindComponent("Filt")), 3);
  }
};

TEST_F(SettingsJson, HandWrittenAndOldFilesGiveTheGraphBuiltInCode) {
  const std::vector<double> expected = Output(*Build(false));
  ASSERT_EQ(expected.size(), 3u * 64u);
  ASSERT_GT(MaxDiff(expected, std::vector<double>(expected.size())), 0.1);  // the outputs compared are not silent

  std::unique_ptr<TComponent> hand = LoadComponentFromJson(kHandWritten);
  EXPECT_EQ(Output(*hand), expected);
  std::unique_ptr<TComponent> plain = Build(false);  // lines and no snapshot to refill them
  plain->SetDesigning(true);                          // so that the link is saved
  EXPECT_EQ(Output(*LoadComponentFromJson(SaveComponentToJson(*plain))), expected);

  std::unique_ptr<TComponent> old = LoadComponentFromJson(kOldForm);
  EXPECT_EQ(Output(*old), expected);
  // Saved again, the old file's lines and bands turn into JSON; the snapshots stay binary.
  const json saved = json::parse(SaveComponentToJson(*old));
  const json built = json::parse(SaveComponentToJson(*Build(true)));
  EXPECT_EQ(saved["components"][0]["properties"]["Sounds"], built["components"][0]["properties"]["Sounds"]);
  EXPECT_EQ(saved["components"][1]["properties"]["Filters"], built["components"][1]["properties"]["Filters"]);
}

TEST_F(SettingsJson, FilesShowLinesAndBandsAsArraysAndRoundTrip) {
  std::unique_ptr<TComponent> form = Build(true);
  form->SetDesigning(true);  // so that the link is saved
  auto* g = static_cast<TSignalGenerator*>(form->FindComponent("Gen"));
  g->Sounds()->Template()->Add(FunctionLine(funRandGauss, {0, 0.1}, true, false));
  g->Sounds()->Template()->Items(3)->Active = false;
  static_cast<TSignalFilter*>(form->FindComponent("Filt"))->Bands().Items(0)->Flag = 3;

  const std::string text = SaveComponentToJson(*form);
  const json j = json::parse(text);
  const json& sounds = j["components"][0]["properties"]["Sounds"];
  EXPECT_EQ(sounds["properties"]["Template"], json::parse(R"([
      {"function": "sine", "params": [440, 0, 1]},
      {"function": "sine", "params": [1800, 30, 0.5]},
      {"operator": "+"},
      {"function": "randgauss", "params": [0, 0.1], "complex": true, "continuous": false, "active": false}])"));
  EXPECT_TRUE(sounds["properties"]["Templates"]["binary"]["Data"].is_string());
  EXPECT_FALSE(sounds.contains("binary"));
  EXPECT_EQ(j["components"][1]["properties"]["Filters"],
            json::parse(R"({"properties": {"Bands": [{"FreqStart": 0, "FreqStop": 0.8, "Gain": 1, "Ripple": 1, "Flag": 3}]}})"));

  std::unique_ptr<TComponent> back = LoadComponentFromJson(text);
  back->SetDesigning(true);
  EXPECT_EQ(SaveComponentToJson(*back), text);
}

TEST_F(SettingsJson, EveryFunctionAndOperatorSurvivesTheJsonForm) {
  TFuncSignalList lines;
  for (int f = funSine; f <= funNone; ++f) {
    lines.Add(FunctionLine(static_cast<TFuncSignalType>(f), {1.5, -0.0, NAN, INFINITY, 0, 0, -7}, f % 2 == 0,
                           f % 3 == 0));
  }
  for (int o = opAdd; o <= opNone; ++o) lines.Add(OperatorLine(static_cast<TOperSignalType>(o), {o * 0.25}));
  lines.Items(4)->Active = false;
  TFiler::TJson j;
  lines.SaveToJson(j);
  TFuncSignalList back;
  back.LoadFromJson(j);
  TMemoryStream a, b;
  lines.SaveToStream(a);
  back.SaveToStream(b);
  ASSERT_EQ(a.Size(), b.Size());
  EXPECT_EQ(std::memcmp(a.Memory(), b.Memory(), static_cast<std::size_t>(a.Size())), 0);

  // Names are matched ignoring case and spaces; arithmetic operators also by word.
  back.LoadFromJson(json::parse(R"([{"function": "UNIT IMPULSE"}, {"function": "input3"}, {"operator": "Limit"},
                                    {"operator": "DIV"}, {"operator": "-"}])"));
  EXPECT_EQ(back.Items(0)->FuncType, funUnitImpulse);
  EXPECT_EQ(back.Items(1)->FuncType, funInput3);
  EXPECT_EQ(back.Items(2)->OperType, opLimit);
  EXPECT_EQ(back.Items(3)->OperType, opDiv);
  EXPECT_EQ(back.Items(4)->OperType, opSub);
}

TEST_F(SettingsJson, MalformedArraysNameThePlaceAndChangeNothing) {
  const std::string lines = "/components/0/properties/Sounds/properties/Template";
  const std::string bands = "/components/1/properties/Filters/properties/Bands";
  struct TCase {
    std::string Pointer;  // where in kHandWritten the bad value goes
    const char* Value;
    const char* Needle;
  };
  const TCase cases[] = {
      {lines + "/1/function", R"("sinus")", "Graph/Gen.Sounds.Template[1].function: unknown function \"sinus\""},
      {lines + "/0/params", "[1, 2, 3, 4, 5, 6, 7, 8]", "Template[0].params: at most 7 parameters allowed, 8 given"},
      {lines + "/0/params", R"([1, "x"])", "Template[0].params[1]: a number expected"},
      {lines + "/2/active", R"("yes")", "Template[2].active: true or false expected"},
      {lines + "/2/complex", "true", "Template[2]: unknown entry \"complex\""},
      {lines + "/2/function", R"("sine")", "Template[2]: either \"function\" or \"operator\" expected"},
      {lines, R"({"function": "sine"})", "Graph/Gen.Sounds.Template: an array of lines expected"},
      {"/components/0/properties/Sounds/binary", R"({"Template": ""})",
       "Gen.Sounds: property Template is given both as JSON and as binary data"},
      {bands + "/0/Gain", R"("high")", "Graph/Filt.Filters.Bands[0].Gain: a number expected"},
      {bands + "/0/Flag", "300", "Bands[0].Flag: an integer from 0 to 255 expected"},
  };
  for (const TCase& c : cases) {
    json j = json::parse(kHandWritten);
    j[json::json_pointer(c.Pointer)] = json::parse(c.Value);
    EXPECT_THAT([&] { LoadComponentFromJson(j.dump()); }, RaisesWith<EReadError>(c.Needle)) << c.Pointer;
  }

  // Into an existing generator: the fault is found before anything is applied.
  auto g = Gen(8000.0, 16, FunctionLine(funConstant, {2.0}));
  const std::string text =
      R"({"class": "TSignalGenerator", "properties": {"PhaseUnits": "puDeg", "Sounds": {"properties": {"Template": [{"function": "chirp", "params": []}, {"operator": "+", "params": [1, 2, 3, 4, 5, 6, 7, 8]}]}}}})";
  TMemoryStream m;
  WriteInt32LE(m, static_cast<std::int32_t>(text.size()));
  m.WriteBuffer(text.data(), static_cast<std::int64_t>(text.size()));
  m.SetPosition(0);
  EXPECT_THROW(g->LoadFromStream(m), EReadError);
  EXPECT_EQ(g->PhaseUnits(), puRad);
  ASSERT_EQ(g->Sounds()->Template()->Count(), 1);
  EXPECT_EQ(g->Sounds()->Template()->Items(0)->FuncType, funConstant);
}

}  // namespace
}  // namespace ondrix::testing
