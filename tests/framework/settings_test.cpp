// JSON settings files, settings streams and templates.
#include <gtest/gtest.h>
#include <unistd.h>

#include <cmath>
#include <filesystem>
#include <nlohmann/json.hpp>

#include "test_components.h"

namespace ondrix::test {
namespace {

using nlohmann::json;

class Settings : public ::testing::Test {
protected:
  void SetUp() override { RegisterTestClasses(); }
};

// Root owns A (TTestNode), B (TTestDerived, which owns Inner and C) and L (a list of two items).
// Links: Root->B, A->B.C, B->A, C->Root, item link of A's collection -> B.
std::unique_ptr<TTestNode> MakeTree() {
  auto root = std::make_unique<TTestNode>(nullptr);
  root->SetName("Root");
  auto* a = new TTestNode(root.get());
  a->SetName("A");
  auto* b = new TTestDerived(root.get());
  b->SetName("B");
  auto* c = new TTestNode(b);
  c->SetName("C");
  auto* l = new TTestNodeList(root.get());
  l->SetName("L");
  l->SetCount(2);
  static_cast<TTestNode*>(l->Items(1))->SetCaption("second item");
  static_cast<TTestNode*>(l->Items(1))->SetMode(tmAuto);

  root->SetInput(b);
  root->SetCaption("Ünïcode ok");
  root->Blob = {0, 1, 2, 253, 254, 255, 7};
  a->SetInput(c);
  a->SetGain(0.1);
  a->SetCoeffs(TFloatArray{true, {1.0, -0.0, INFINITY, -INFINITY, 1e-300, 3.0}});
  a->Sub()->SetAlpha(0.75);
  auto* item = static_cast<TTestItem*>(a->Items()->Add());
  item->SetLabel("first");
  item->SetWeight(2.5);
  item->SetTarget(b);
  a->Items()->Add();
  b->SetInput(a);
  b->SetExtra(17);
  b->SetGain(1.0);  // differs from TTestDerived's default 2.0
  b->SetMode(tmFast);
  b->Inner()->SetGain(5);
  c->SetInput(root.get());
  c->SetCount(0);
  return root;
}

TEST_F(Settings, RoundTripOfAnOwnedTreeWithLinksBinaryAndCollections) {
  std::unique_ptr<TTestNode> original = MakeTree();
  const std::string text = SaveComponentToJson(*original);
  std::unique_ptr<TComponent> loaded = LoadComponentFromJson(text);

  // Saving what was loaded gives the same file.
  EXPECT_EQ(SaveComponentToJson(*loaded), text);

  auto* root = dynamic_cast<TTestNode*>(loaded.get());
  ASSERT_NE(root, nullptr);
  auto* a = dynamic_cast<TTestNode*>(root->FindComponent("A"));
  auto* b = dynamic_cast<TTestDerived*>(root->FindComponent("B"));
  ASSERT_TRUE(a && b);
  auto* c = dynamic_cast<TTestNode*>(b->FindComponent("C"));
  ASSERT_TRUE(c);
  // Links point into the new tree.
  EXPECT_EQ(root->Input(), b);
  EXPECT_EQ(a->Input(), c);
  EXPECT_EQ(b->Input(), a);
  EXPECT_EQ(c->Input(), root);
  // Inner, made by B's constructor, is loaded into, not added again.
  EXPECT_EQ(b->ComponentCount(), 2);
  EXPECT_EQ(b->Inner()->Gain(), 5);
  EXPECT_EQ(a->Items()->Item(0)->Target(), b);
  EXPECT_EQ(a->Items()->Item(1)->Target(), nullptr);
  // Values the second save above would write alike had they been read wrong.
  EXPECT_EQ(a->Gain(), 0.1);
  const TFloatArray coeffs = a->Coeffs();
  ASSERT_EQ(coeffs.Values.size(), 6u);
  EXPECT_TRUE(std::signbit(coeffs.Values[1]));
  EXPECT_EQ(coeffs.Values[3], -INFINITY);
  EXPECT_EQ(coeffs.Values[4], 1e-300);
  // csLoading is set while setters run, cleared after; Loaded once per component.
  EXPECT_TRUE(c->LoadingSeenBySetter);
  for (TTestNode* n : {root, a, static_cast<TTestNode*>(b), c}) {
    EXPECT_FALSE(n->ComponentState().Contains(csLoading));
    EXPECT_EQ(n->LoadedCalls, 1);
  }
}

TEST_F(Settings, FileLeavesOutDefaultsAndNamesLinksAndEnums) {
  std::unique_ptr<TTestNode> original = MakeTree();
  const json j = json::parse(SaveComponentToJson(*original));
  EXPECT_EQ(j["name"], "Root");
  EXPECT_FALSE(j["properties"].contains("Count"));   // default 3
  EXPECT_FALSE(j["properties"].contains("Serial"));  // read-only
  EXPECT_FALSE(j["properties"].contains("Name"));
  EXPECT_EQ(j["properties"]["Input"], "B");
  const json& a = j["components"][0];
  EXPECT_EQ(a["properties"]["Input"], "B.C");
  EXPECT_EQ(a["properties"]["Sub"]["properties"]["Alpha"], 0.75);
  EXPECT_FALSE(a["properties"]["Sub"]["properties"].contains("Order"));
  EXPECT_EQ(a["properties"]["Coeffs"]["values"][2], "Infinity");
  EXPECT_EQ(a["properties"]["Items"][0]["properties"]["Target"], "B");
  const json& b = j["components"][1];
  EXPECT_EQ(b["properties"]["Gain"], 1.0);  // differs from the republished default 2
  EXPECT_EQ(b["properties"]["Mode"], "tmFast");
  EXPECT_EQ(b["components"][1]["properties"]["Input"], "");  // C's link to the root itself
  EXPECT_EQ(j["binary"]["Blob"], "AAEC/f7/Bw==");
}

TEST_F(Settings, LoadIntoOwnerResolvesSiblingLinks) {
  TComponent form(nullptr);
  auto* source = new TTestNode(&form);
  source->SetName("Source");
  auto* filter = new TTestNode(&form);
  filter->SetName("Filter");
  filter->SetInput(source);
  const std::string text = SaveComponentToJson(*filter);
  EXPECT_EQ(json::parse(text)["properties"]["Input"], "^Source");

  // Not into the same owner (same name), but into a fresh owner with its own Source.
  TComponent form2(nullptr);
  auto* source2 = new TTestNode(&form2);
  source2->SetName("Source");
  TComponent* loaded = LoadComponentFromJson(text, form2);
  EXPECT_EQ(loaded->Owner(), &form2);
  EXPECT_EQ(static_cast<TTestNode*>(loaded)->Input(), source2);
  EXPECT_THROW(LoadComponentFromJson(text, form2), EReadError);  // Filter exists there now
  EXPECT_EQ(form2.ComponentCount(), 2);
  // Without an owner the "^" link cannot be resolved.
  EXPECT_THROW(LoadComponentFromJson(text), EReadError);
}

TEST_F(Settings, LinksThatCannotBeNamedAreWriteErrors) {
  TTestNode a(nullptr);
  TTestNode unnamed(nullptr);
  a.SetInput(&unnamed);
  EXPECT_THROW(SaveComponentToJson(a), EWriteError);
  TComponent owner(nullptr);
  auto* child = new TTestNode(&owner);
  a.SetInput(child);  // outside the saved tree and unnamed
  EXPECT_THROW(SaveComponentToJson(a), EWriteError);
}

struct TMalformed {
  const char* Label;
  const char* Json;
  const char* Needle;  // part of the expected message
};

TEST_F(Settings, MalformedFilesRaiseAndLeaveNothingBehind) {
  const TMalformed cases[] = {
      {"bad json", R"({"class": "TTestNode", )", "Invalid settings"},
      {"duplicate name", R"({"class": "TTestNode", "name": "R", "components": [
          {"class": "TTestNode", "name": "X"}, {"class": "TTestNode", "name": "X", "properties": {"Count": 2}}]})",
       "R/X: duplicate component name"},
      {"not an object", R"([1, 2])", "the root"},
      {"unknown child class",
       R"({"class": "TTestNode", "name": "R", "components": [{"class": "TNoSuch", "name": "K"}]})",
       "R/K: Class TNoSuch not found"},
      {"unknown property", R"({"class": "TTestNode", "name": "R", "properties": {"Gian": 1}})",
       "unknown property Gian of class TTestNode"},
      {"type mismatch",
       R"({"class": "TTestNode", "name": "R", "components": [{"class": "TTestNode", "name": "K", "properties": {"Count": "three"}}]})",
       "R/K.Count: an integer expected"},
      {"bad enum", R"({"class": "TTestNode", "properties": {"Mode": "tmWarp"}})", "unknown value \"tmWarp\""},
      {"read-only", R"({"class": "TTestNode", "properties": {"Serial": 4}})", "read-only"},
      {"dangling link",
       R"({"class": "TTestNode", "name": "R", "components": [{"class": "TTestNode", "name": "K", "properties": {"Input": "Ghost"}}]})",
       "R/K.Input: no component named \"Ghost\""},
      {"link of wrong class",
       R"({"class": "TTestNode", "name": "R", "properties": {"Input": "O"}, "components": [{"class": "TTestOther", "name": "O"}]})",
       "does not fit"},
      {"nested error",
       R"({"class": "TTestNode", "name": "R", "properties": {"Items": [{"properties": {"Label": "x"}}, {"properties": {"Weight": true}}]}})",
       "R.Items[1].Weight: a number expected"},
      {"bad base64", R"({"class": "TTestNode", "name": "R", "binary": {"Blob": "@@@"}})", "base64"},
      {"unknown binary", R"({"class": "TTestNode", "name": "R", "binary": {"Blub": ""}})", "unknown binary property Blub"},
      {"unknown key", R"({"class": "TTestNode", "name": "R", "propertys": {}})", "unknown entry \"propertys\""},
      {"bad name", R"({"class": "TTestNode", "name": "1R"})", "valid component name"},
      {"bad float array", R"({"class": "TTestNode", "properties": {"Coeffs": {"complex": true, "values": [1]}}})",
       "even number"},
      {"JSON property field of wrong type",
       R"({"class": "TTestNode", "name": "R", "properties": {"Points": [{"x": 1, "y": 2}, {"x": "a", "y": 1}]}})",
       "R.Points[1].x: a number expected"},
      {"JSON property record missing a field", R"({"class": "TTestNode", "name": "R", "properties": {"Points": [{"x": 1}]}})",
       "R.Points[0]: \"y\" expected"},
      {"JSON property record with an unknown field",
       R"({"class": "TTestNode", "name": "R", "properties": {"Points": [{"x": 1, "y": 2, "z": 3}]}})",
       "R.Points[0]: unknown entry \"z\""},
      {"JSON property given in both forms",
       R"({"class": "TTestNode", "name": "R", "properties": {"Points": []}, "binary": {"Points": ""}})",
       "R: property Points is given both as JSON and as binary data"},
  };
  TComponent owner(nullptr);
  auto* existing = new TTestNode(&owner);
  existing->SetName("Existing");
  const std::size_t liveBefore = TTestNode::Live().size();
  for (const TMalformed& c : cases) {
    for (bool withOwner : {false, true}) {
      const auto load = [&] { withOwner ? (void)LoadComponentFromJson(c.Json, owner) : (void)LoadComponentFromJson(c.Json); };
      EXPECT_THAT(load, RaisesWith<EReadError>(c.Needle)) << c.Label;
      EXPECT_EQ(owner.ComponentCount(), 1) << c.Label;
      EXPECT_EQ(TTestNode::Live().size(), liveBefore) << c.Label;
    }
  }
}

TEST_F(Settings, SettingsStreamRestoresEveryValueIncludingDefaults) {
  TComponent owner(nullptr);
  auto* source = new TTestNode(&owner);
  source->SetName("Source");
  auto* n = new TTestNode(&owner);
  n->SetInput(source);
  n->Blob = {1, 2, 3};
  TMemoryStream saved;
  n->SaveToStream(saved);

  // The stream is a byte count and that much JSON.
  saved.SetPosition(0);
  const std::int32_t length = ReadInt32LE(saved);
  EXPECT_EQ(length + 4, saved.Size());

  n->SetCount(99);  // back to the default 3 on loading, although 3 is the default
  n->SetInput(nullptr);
  n->Blob.clear();
  saved.SetPosition(0);
  n->LoadFromStream(saved);
  EXPECT_EQ(n->Count(), 3);
  EXPECT_EQ(n->Input(), source);
  EXPECT_EQ(n->Blob, (std::vector<std::uint8_t>{1, 2, 3}));
  EXPECT_EQ(n->LoadedCalls, 1);
  EXPECT_FALSE(n->ComponentState().Contains(csLoading));
}

// A settings stream as components write it: the text's byte count, then the text.
void WriteSettingsText(TMemoryStream& m, const std::string& text) {
  WriteInt32LE(m, static_cast<std::int32_t>(text.size()));
  m.WriteBuffer(text.data(), static_cast<std::int64_t>(text.size()));
  m.SetPosition(0);
}

TEST_F(Settings, MalformedSettingsStreamLeavesTheComponentUnchanged) {
  TTestNode n(nullptr);
  n.SetGain(4);
  n.Items()->Add();
  // Enabled and Items come before the bad Mode in the table; nothing may be applied.
  TMemoryStream m;
  WriteSettingsText(m, R"({"class": "TTestNode", "properties": {"Enabled": false, "Items": [], "Gain": 8, "Mode": 2}})");
  EXPECT_THROW(n.LoadFromStream(m), EReadError);
  EXPECT_TRUE(n.Enabled());
  EXPECT_EQ(n.Gain(), 4);
  EXPECT_EQ(n.Items()->Count(), 1);
  EXPECT_FALSE(n.ComponentState().Contains(csLoading));

  // A malformed JSON property is found before the published properties are applied.
  n.Points = {{1, 2}};
  TMemoryStream p;
  WriteSettingsText(p, R"({"class": "TTestNode", "properties": {"Gain": 8, "Points": [{"x": 5, "y": 6}, 7]}})");
  EXPECT_THAT([&] { n.LoadFromStream(p); }, RaisesWith<EReadError>(".Points[1]: an object expected"));
  EXPECT_EQ(n.Gain(), 4);
  EXPECT_EQ(n.Points, (std::vector<std::pair<double, double>>{{1, 2}}));

  // Settings of an unrelated class, and a truncated stream.
  TMemoryStream o;
  WriteSettingsText(o, R"({"class": "TTestOther"})");
  EXPECT_THROW(n.LoadFromStream(o), EReadError);
  TMemoryStream shortStream;
  WriteInt32LE(shortStream, 100);
  shortStream.SetPosition(0);
  EXPECT_THROW(n.LoadFromStream(shortStream), EReadError);
}

TEST_F(Settings, JsonPropertiesFollowThePublishedOnesAndReadTheirOlderBinaryForm) {
  TTestNode n(nullptr);
  n.SetName("N");
  n.SetGain(2);
  n.Points = {{1.0, -0.0}, {3.0, NAN}};
  const std::string text = SaveComponentToJson(n);
  const auto props = nlohmann::ordered_json::parse(text)["properties"];
  EXPECT_EQ((--props.end()).key(), "Points");
  EXPECT_EQ(props["Points"], nlohmann::ordered_json::parse(R"([{"x": 1.0, "y": -0.0}, {"x": 3.0, "y": "NaN"}])"));
  std::unique_ptr<TComponent> loaded = LoadComponentFromJson(text);
  const auto& points = static_cast<TTestNode&>(*loaded).Points;
  ASSERT_EQ(points.size(), 2u);
  EXPECT_TRUE(std::signbit(points[0].second));
  EXPECT_TRUE(std::isnan(points[1].second));
  EXPECT_EQ(SaveComponentToJson(*loaded), text);

  // Empty is the default: left out of files, written in settings streams, where it must
  // replace what the receiving object holds.
  TTestNode empty(nullptr);
  EXPECT_FALSE(json::parse(SaveComponentToJson(empty))["properties"].contains("Points"));
  EXPECT_EQ(json::parse(SaveSettingsToJson(empty))["properties"]["Points"], json::array());
  TMemoryStream m;
  empty.SaveToStream(m);
  m.SetPosition(0);
  n.LoadFromStream(m);
  EXPECT_TRUE(n.Points.empty());

  // The older binary form: doubles 1, 2, 3, -4.
  std::unique_ptr<TComponent> old =
      LoadComponentFromJson(R"({"class": "TTestNode", "binary": {"Points": "AAAAAAAA8D8AAAAAAAAAQAAAAAAAAAhAAAAAAAAAEMA="}})");
  EXPECT_EQ(static_cast<TTestNode&>(*old).Points, (std::vector<std::pair<double, double>>{{1, 2}, {3, -4}}));
}

TEST_F(Settings, TemplatesLeaveOutLinksAndLargeData) {
  TTestNode source(nullptr);
  TTestNode n(nullptr);
  n.SetInput(&source);
  n.SetGain(6);
  n.SetCoeffs(TFloatArray{false, {1, 2}});
  n.Blob = {5};
  TMemoryStream t;
  n.SaveTemplateToStream(t);
  EXPECT_FALSE(n.GetBlockAssign());
  t.SetPosition(4);
  std::string text(static_cast<std::size_t>(t.Size() - 4), '\0');
  t.ReadBuffer(text.data(), static_cast<std::int64_t>(text.size()));
  const json j = json::parse(text);
  EXPECT_FALSE(j["properties"].contains("Input"));
  EXPECT_FALSE(j["properties"].contains("Coeffs"));
  EXPECT_FALSE(j.contains("binary"));
  EXPECT_EQ(j["properties"]["Gain"], 6);

  TTestNode other(nullptr);
  TTestNode keep(nullptr);
  other.SetInput(&keep);
  t.SetPosition(0);
  other.LoadTemplateFromStream(t);
  EXPECT_EQ(other.Gain(), 6);
  EXPECT_EQ(other.Input(), &keep);
}

TEST_F(Settings, FileVersions) {
  const std::string file = (std::filesystem::temp_directory_path() / ("ondrix_fw_" + std::to_string(::getpid()))).string();
  std::unique_ptr<TTestNode> tree = MakeTree();
  SaveComponentToFile(*tree, file);
  EXPECT_EQ(SaveComponentToJson(*LoadComponentFromFile(file)), SaveComponentToJson(*tree));
  TTestNode n(nullptr);
  TTestNode m(nullptr);
  n.SetCaption("file");
  n.SaveToFile(file);
  m.LoadFromFile(file);
  EXPECT_EQ(m.Caption(), "file");
  n.SetCaption("template");
  n.SaveTemplateToFile(file);
  m.LoadTemplateFromFile(file);
  EXPECT_EQ(m.Caption(), "template");
  std::filesystem::remove(file);
  EXPECT_THROW(m.LoadFromFile(file), EFOpenError);
}

// Record fields: an integer is taken up to and including its bounds.
TEST(JsonRecordReader, IntegerBoundsAreInclusive) {
  const TFiler::TJson rec = {{"lo", 0}, {"hi", 255}, {"over", 256}};
  TJsonRecordReader r(rec, 3);
  EXPECT_EQ(r.Integer("lo", 0, 255, 7), 0);
  EXPECT_EQ(r.Integer("hi", 0, 255, 7), 255);
  EXPECT_EQ(r.Integer("none", 0, 255, 7), 7);
  EXPECT_THROW(r.Integer("over", 0, 255, 7), EJsonPropertyError);
}

}  // namespace
}  // namespace ondrix::test
