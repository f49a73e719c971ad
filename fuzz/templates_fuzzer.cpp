// Settings templates: the string stream list (a names text, then one stream per name) and
// the templates objects (owner class name, selected index, the list) with no template, the
// generator's lines or the filter's bands behind them, so that selecting a snapshot loads it.
// What loads is written again and must load and write back the same bytes.
//
// Input: one option byte, then the stream. Bit 0 picks the loader (string stream list,
// templates); bits 1-2 the templates' class (plain, generator sounds, filter bands, plain).
#include <functional>
#include <memory>

#include "fuzz/fuzz_common.h"
#include "ondrix/OndrixTools/Templates.h"
#include "ondrix/SignalProcessing/BandFilter.h"
#include "ondrix/SignalProcessing/SignalGenerator.h"

using namespace ondrix;
using namespace ondrix::fuzz;

namespace {

std::unique_ptr<TStreamTemplates> MakeTemplates(int kind) {
  switch (kind) {
    case 1: return std::make_unique<TSignalSounds>();
    case 2: return std::make_unique<TFilterList>();
    default: return std::make_unique<TStreamTemplates>();
  }
}

// Loads bytes into a fresh object made by Make, writes it, loads that into another and checks
// that the second writing is the first.
template <class T>
void RoundTrip(const std::uint8_t* data, std::size_t size, const std::function<std::unique_ptr<T>()>& make,
               const char* what, const std::function<void(T&)>& use = nullptr) {
  TMemoryStream in;
  Fill(in, data, size);
  auto first = make();
  if (!Clean([&] { first->LoadFromStream(in); })) return;
  if (use) use(*first);
  const auto written = Saved([&](TStream& s) { first->SaveToStream(s); });
  auto second = make();
  TMemoryStream m;
  Fill(m, written.data(), written.size());
  FUZZ_CHECK(Clean([&] { second->LoadFromStream(m); }), std::string(what) + ": what was written cannot be loaded");
  CheckSame(written, Saved([&](TStream& s) { second->SaveToStream(s); }),
            std::string(what) + " written, loaded and written again");
}

void Run(const std::uint8_t* data, std::size_t size) {
  if (size < 1) return;
  const int options = data[0];
  if ((options & 1) == 0) {
    RoundTrip<TStringStreamList>(data + 1, size - 1, [] { return std::make_unique<TStringStreamList>(); },
                                 "string stream list");
  } else {
    const int kind = (options >> 1) & 3;
    // Each snapshot is selected in turn, as an editor would, then the loaded selection again.
    auto visit = [](TStreamTemplates& t) {
      const int selected = t.TemplateIndex();
      for (int i = 0; i < t.Templates().Count(); ++i) Clean([&] { t.SetTemplateIndex(i); });
      Clean([&] { t.SetTemplateIndex(selected); });
    };
    RoundTrip<TStreamTemplates>(data + 1, size - 1, [kind] { return MakeTemplates(kind); }, "templates", visit);
  }
}

std::vector<std::uint8_t> WithOptions(std::uint8_t options, std::vector<std::uint8_t> bytes) {
  bytes.insert(bytes.begin(), options);
  return bytes;
}

// Seeds: lists and templates the library writes. The generator's and the filter's hold
// snapshots of real line lists and band layouts, one of them selected.
void WriteSeeds(const std::filesystem::path& dir) {
  TStringStreamList list;
  WriteSeed(dir, "list-empty", WithOptions(0, Saved([&](TStream& s) { list.SaveToStream(s); })));
  for (const char* name : {"first", "", "third, with spaces"}) {
    const int i = list.Add(name);
    const std::string body = std::string(name) + " stream";
    list.Streams(i)->WriteBuffer(body.data(), static_cast<std::int64_t>(i == 1 ? 0 : body.size()));
  }
  WriteSeed(dir, "list-three", WithOptions(0, Saved([&](TStream& s) { list.SaveToStream(s); })));

  TStreamTemplates plain;
  for (const char* name : {"a", "b"}) plain.AddTemplate(name);
  plain.SetTemplateIndex(1);
  WriteSeed(dir, "plain-two", WithOptions(1, Saved([&](TStream& s) { plain.SaveToStream(s); })));

  TSignalSounds sounds;
  sounds.Template()->Add(FunctionLine(funSine, {1000, 0, 1}));
  sounds.AddTemplate("tone");
  sounds.Template()->Add(FunctionLine(funRandGauss, {0, 0.1}));
  sounds.Template()->Add(OperatorLine(opAdd));
  sounds.AddTemplate("tone+noise");
  sounds.Template()->Add(OperatorLine(opLimit, {0.5, -0.5}));
  sounds.AddCopyTemplate("clipped");
  sounds.SetTemplateIndex(0);
  WriteSeed(dir, "sounds-three", WithOptions(1 | 1 << 1, Saved([&](TStream& s) { sounds.SaveToStream(s); })));

  TFilterList filters;
  filters.Template()->Add(0.0, 0.2, 1.0, 0.5);
  filters.Template()->Add(0.25, 0.5, 0.0, 60.0);
  filters.AddTemplate("lowpass");
  filters.Template()->Items(0)->FreqStart = 0.1;
  filters.Template()->Add(0.0, 0.05, 0.0, 40.0);
  filters.Template()->Sort();
  filters.AddTemplate("bandpass");
  WriteSeed(dir, "filters-two", WithOptions(1 | 2 << 1, Saved([&](TStream& s) { filters.SaveToStream(s); })));
}

}  // namespace

extern "C" int LLVMFuzzerInitialize(int* argc, char*** argv) {
  MakeCorpusIfAsked(argc, argv, WriteSeeds);
  return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  Run(data, size);
  return 0;
}
