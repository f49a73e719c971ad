// JSON settings files with every class of the library registered: a whole component tree
// (LoadComponentFromJson), or the settings of one component (LoadSettingsFromJson). What loads
// is saved, and the text saved must load into a new tree or component that saves the same
// text (but for trees of large blocks, see kMaxRoundTripValues). Nothing is pulled: loading
// alone must not open files or devices.
//
// Input: one option byte, then the JSON text. Bit 0 picks the tree (0) or one component's
// settings (1); bit 1 puts the tree into a host that owns two more components, so that "^"
// links have something to name (the one component always sits in such a host); bit 2 makes
// the settings ignore links.
#include <memory>
#include <nlohmann/json.hpp>

#include "fuzz/fuzz_common.h"
#include "ondrix/AudioSignal/AudioSignal.h"
#include "ondrix/FileSignal/FileSignal.h"
#include "ondrix/OndrixTools/OndrixTools.h"
#include "ondrix/SignalAnalysis/SignalAnalysis.h"
#include "ondrix/SignalProcessing/SignalProcessing.h"
#include "ondrix/framework/Registry.h"
#include "ondrix/framework/Settings.h"
#include "ondrix/framework/TCollection.h"

using namespace ondrix;
using namespace ondrix::fuzz;

namespace {

void RegisterEverything() {
  RegisterClass(TComponent::StaticClassInfo());
  RegisterOndrixToolsClasses();
  RegisterFileSignalClasses();
  RegisterSignalProcessingClasses();
  RegisterSignalAnalysisClasses();
  RegisterAudioSignalClasses();
}

/// A component that owns a generator "Gen0" and a plain signal "Sig0".
std::unique_ptr<TComponent> MakeHost() {
  auto host = std::make_unique<TComponent>(nullptr);
  host->SetName("Host");
  (new TSignalGenerator(host.get()))->SetName("Gen0");
  (new TSignal(host.get()))->SetName("Sig0");
  return host;
}

/// The registered component class that the settings text names, or nullptr.
const TClassInfo* ClassNamed(const std::string& text) {
  const auto j = nlohmann::json::parse(text, nullptr, false);
  if (!j.is_object() || !j.contains("class") || !j["class"].is_string()) return nullptr;
  const TClassInfo* c = GetClass(j["class"].get<std::string>());
  return c && c->InheritsFrom(TComponent::StaticClassInfo()) ? c : nullptr;
}

// Saving writes every value of a signal's or spectrum's block, and a short file may ask for
// blocks of millions: the round trip, whose time grows with them, is left to trees that hold
// no more values than an input of the largest fuzzed size could spell out.
constexpr std::size_t kMaxRoundTripValues = 1 << 14;

/// The values of the float arrays that saving Obj (and what it owns) writes.
std::size_t StoredValues(const TPersistent& Obj, int Depth = 0) {
  std::size_t n = 0;
  if (Depth > 16) return n;  // sub-objects nest a few levels; components recurse below
  for (const TPropInfo* p : Obj.ClassInfo().AllProperties()) {
    if (!p->IsStored(Obj)) continue;
    if (p->Kind == TPropKind::FloatArray && p->Set) {
      n += std::get<TFloatArray>(p->Get(Obj)).Values.size();
    } else if (p->Kind == TPropKind::Object || p->Kind == TPropKind::Collection) {
      const TPersistent* sub = std::get<TPersistent*>(p->Get(Obj));
      if (const auto* coll = dynamic_cast<const TCollection*>(sub)) {
        for (int i = 0; i < coll->Count(); ++i) n += StoredValues(*coll->Items(i), Depth + 1);
      } else if (sub) {
        n += StoredValues(*sub, Depth + 1);
      }
    }
  }
  if (const auto* c = dynamic_cast<const TComponent*>(&Obj))
    for (int i = 0; i < c->ComponentCount(); ++i) n += StoredValues(*c->Components(i));
  return n;
}

// The tree, with or without a host; the tree saved, loaded into a new host, saves the same.
void RunTree(const std::string& text, bool hosted) {
  std::unique_ptr<TComponent> host = hosted ? MakeHost() : nullptr;
  std::unique_ptr<TComponent> alone;
  TComponent* root = nullptr;
  const bool loaded = Clean([&] {
    if (host)
      root = LoadComponentFromJson(text, *host);
    else
      root = (alone = LoadComponentFromJson(text)).get();
  });
  if (!loaded) {
    if (host) FUZZ_CHECK(host->ComponentCount() == 2, "a failed load left components in its owner");
    return;
  }
  if (StoredValues(*root) > kMaxRoundTripValues) return;
  std::string first;
  FUZZ_CHECK(Clean([&] { first = SaveComponentToJson(*root); }), "the tree loaded cannot be saved");

  std::unique_ptr<TComponent> host2 = hosted ? MakeHost() : nullptr;
  std::unique_ptr<TComponent> alone2;
  TComponent* root2 = nullptr;
  FUZZ_CHECK(Clean([&] {
               if (host2)
                 root2 = LoadComponentFromJson(first, *host2);
               else
                 root2 = (alone2 = LoadComponentFromJson(first)).get();
             }),
             "the tree saved cannot be loaded");
  CheckSame(first, SaveComponentToJson(*root2), "tree saved, loaded and saved again");
}

// One component of the class the text names, inside a host; its settings saved with every
// property load into a new one that saves the same.
void RunSettings(const std::string& text, bool links) {
  const TClassInfo* cls = ClassNamed(text);
  if (!cls) return;
  auto load = [&](const std::string& json, TComponent*& target, std::unique_ptr<TComponent>& host) {
    host = MakeHost();
    std::unique_ptr<TComponent> c = CreateComponentByName(cls->Name);
    c->SetName("Target");
    target = c.get();
    host->InsertComponent(std::move(c));
    LoadSettingsFromJson(*target, json, links);
  };
  std::unique_ptr<TComponent> host, host2;
  TComponent *target = nullptr, *target2 = nullptr;
  if (!Clean([&] { load(text, target, host); }) || StoredValues(*target) > kMaxRoundTripValues) return;
  TSettingsOptions options;
  options.Links = links;
  std::string first;
  FUZZ_CHECK(Clean([&] { first = SaveSettingsToJson(*target, options); }), "the settings loaded cannot be saved");
  FUZZ_CHECK(Clean([&] { load(first, target2, host2); }), "the settings saved cannot be loaded");
  CheckSame(first, SaveSettingsToJson(*target2, options), "settings saved, loaded and saved again");
}

void Run(const std::uint8_t* data, std::size_t size) {
  if (size < 1) return;
  const int options = data[0];
  const std::string text(reinterpret_cast<const char*>(data + 1), size - 1);
  if (options & 1)
    RunSettings(text, (options & 4) == 0);
  else
    RunTree(text, (options & 2) != 0);
}

// Settings saved by the library. Graphs are written by hand, loaded, and saved again (that
// writing is the seed); a generator with lines and snapshots and a filter with band layouts
// are built in code. The settings of single components sit in a host as RunSettings puts them.
void WriteSeeds(const std::filesystem::path& dir) {
  auto seed = [&](const std::string& name, int options, const std::string& json) {
    std::vector<std::uint8_t> bytes{static_cast<std::uint8_t>(options)};
    bytes.insert(bytes.end(), json.begin(), json.end());
    WriteSeed(dir, name, bytes);
  };
  auto tree = [&](const std::string& name, int options, const std::string& text) {
    if (options & 2) {
      auto host = MakeHost();
      seed(name, options, SaveComponentToJson(*LoadComponentFromJson(text, *host)));
    } else {
      seed(name, options, SaveComponentToJson(*LoadComponentFromJson(text)));
    }
  };
  auto one = [&](const std::string& name, int options, const std::string& text) {
    auto host = MakeHost();
    std::unique_ptr<TComponent> c = CreateComponentByName(ClassNamed(text)->Name);
    TComponent* target = c.get();
    target->SetName("Target");
    host->InsertComponent(std::move(c));
    LoadSettingsFromJson(*target, text, (options & 4) == 0);
    TSettingsOptions o;
    o.Links = (options & 4) == 0;
    seed(name, options, SaveSettingsToJson(*target, o));
  };

  tree("graph-generator-filter-analyzer", 0, R"({"class": "TComponent", "name": "Graph", "components": [
    {"class": "TSignalGenerator", "name": "Gen", "properties": {"Length": 32, "SamplingFrequency": 8000,
      "Sounds": {"properties": {"Template": [{"function": "sine", "params": [440, 0, 1]},
        {"function": "randgauss", "params": [0, 0.01]}, {"operator": "+"}]}}}},
    {"class": "TSignalFilter", "name": "Filt", "properties": {"Input": "Gen",
      "Filters": {"properties": {"Bands": [{"FreqStart": 0, "FreqStop": 1000, "Gain": 1, "Ripple": 0.5},
        {"FreqStart": 1500, "FreqStop": 4000, "Gain": 0, "Ripple": 60}]}}}},
    {"class": "TSpectrumAnalyzer", "name": "Spec", "properties": {"Inputs": [{"properties": {"Input": "Filt"}}]}}]})");
  tree("graph-cross-spectrum", 0, R"({"class": "TComponent", "name": "Graph", "components": [
    {"class": "TSignalGenerator", "name": "Gen", "properties": {"Length": 32, "SamplingFrequency": 1000,
      "Sounds": {"properties": {"Template": [{"function": "randuniform", "params": [-1, 1]}]}}}},
    {"class": "TSignalFilter", "name": "Filt", "properties": {"Input": "Gen",
      "Filters": {"properties": {"Bands": [{"FreqStart": 0, "FreqStop": 100, "Gain": 1, "Ripple": 1},
        {"FreqStart": 150, "FreqStop": 500, "Gain": 0, "Ripple": 40}]}}}},
    {"class": "TCrossSpectrumAnalyzer", "name": "Cross", "properties": {"Inputs": [{"properties": {"Input": "Gen"}}],
      "Output": "Filt"}}]})");
  tree("graph-multiplexer", 0, R"({"class": "TComponent", "name": "Graph", "components": [
    {"class": "TSignalGenerator", "name": "Left", "properties": {"Length": 16,
      "Sounds": {"properties": {"Template": [{"function": "square", "params": [0.05, 0, 1]}]}}}},
    {"class": "TSignalGenerator", "name": "Right", "properties": {"Length": 16,
      "Sounds": {"properties": {"Template": [{"function": "triangle", "params": [0.02, 90, 1, 0.5]}]}}}},
    {"class": "TSignalMux", "name": "Mux", "properties": {"Inputs": [{"properties": {"Input": "Left"}},
      {"properties": {"Input": "Right"}}]}},
    {"class": "TSignalDemux", "name": "Second", "properties": {"Input": "Mux", "Channel": 1}},
    {"class": "TSignalBuffer", "name": "Buffer", "properties": {"Input": "Second", "BufferType": "bftStoring"}}]})");
  tree("graph-reader-decimator-writer", 0, R"({"class": "TComponent", "name": "Graph", "components": [
    {"class": "TSignalRead", "name": "Reader", "properties": {"FileName": "in.wav", "Length": 16,
      "LastFrameCheck": "lfcAdjustLength"}},
    {"class": "TSignalDecimator", "name": "Slow", "properties": {"Input": "Reader", "Factor": 4}},
    {"class": "TSignalWrite", "name": "Writer", "properties": {"Input": "Slow", "FileName": "slow.dat"}},
    {"class": "TSpectrumAnalyzer", "name": "Spectrum", "properties": {"Inputs": [{"properties": {"Input": "Slow"}}]}}]})");
  tree("hosted-links-to-owner", 2, R"({"class": "TComponent", "name": "Graph", "components": [
    {"class": "TSignalFilter", "name": "Filt", "properties": {"Input": "^Gen0"}},
    {"class": "TSignalMux", "name": "Mux", "properties": {"Inputs": [{"properties": {"Input": "^Sig0"}},
      {"properties": {"Input": "Filt"}}]}}]})");

  auto form = std::make_unique<TComponent>(nullptr);
  form->SetName("Graph");
  auto* g = new TSignalGenerator(form.get());
  g->SetName("Gen");
  g->SetLength(16);
  g->Sounds()->Template()->Add(FunctionLine(funSine, {440, 0, 1}));
  g->Sounds()->AddTemplate("one tone");
  g->Sounds()->Template()->Add(FunctionLine(funChirp, {20, 0, 1, 0, 2000, 0.5, 16}));
  g->Sounds()->Template()->Add(OperatorLine(opMul));
  g->Sounds()->AddTemplate("modulated");
  auto* f = new TSignalFilter(form.get());
  f->SetName("Filt");
  f->SetInput(g);
  f->Bands().Add(0.0, 0.2, 1.0, 0.5);
  f->Bands().Add(0.25, 0.5, 0.0, 60.0);
  f->Filters()->AddTemplate("lowpass");
  f->Bands().Items(0)->FreqStart = 0.1;
  f->Bands().Add(0.0, 0.05, 0.0, 40.0);
  f->Bands().Sort();
  f->Filters()->AddCopyTemplate("bandpass");
  seed("graph-templates", 0, SaveComponentToJson(*form));

  one("one-filter", 1, R"({"class": "TSignalFilter", "properties": {"Input": "^Gen0", "FirLength": 31,
    "Filters": {"properties": {"Bands": [{"FreqStart": 0, "FreqStop": 0.2, "Gain": 1, "Ripple": 0.5, "Flag": 1}]}}}})");
  one("one-generator-no-links", 1 | 4, R"({"class": "TSignalGenerator", "properties": {"Length": 32,
    "Sounds": {"properties": {"Template": [{"function": "constant", "params": [1, -1]}, {"operator": "exp"}]}}}})");
  one("one-spectrum", 1, R"({"class": "TSpectrumAnalyzer", "properties": {"Inputs": [{"properties": {"Input": "^Sig0"}},
    {"properties": {"Input": "^Gen0"}}]}})");
}

}  // namespace

extern "C" int LLVMFuzzerInitialize(int* argc, char*** argv) {
  RegisterEverything();
  MakeCorpusIfAsked(argc, argv, WriteSeeds);
  return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  Run(data, size);
  return 0;
}
