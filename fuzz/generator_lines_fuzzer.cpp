// The generator's line list: its stream image (a header image holding the count, then 76
// bytes per line) and its JSON form ({"function": "sine", "params": [...]}, {"operator": "+"}),
// each loaded, written again and loaded back (list_round_trip.h).
//
// Input: one option byte, then the data. Bit 0 picks the stream image (0) or JSON text (1).
#include "fuzz/list_round_trip.h"
#include "ondrix/SignalProcessing/FuncSignal.h"

using namespace ondrix;
using namespace ondrix::fuzz;

namespace {

void Run(const std::uint8_t* data, std::size_t size) {
  static const TFuncSignalList* prefill = [] {
    auto* l = new TFuncSignalList;
    l->Add(FunctionLine(funSquare, {50, 0, 2}));
    return l;
  }();
  RunListRoundTrips(data, size, *prefill, "generator lines");
}

// Seeds: line lists the library writes, each as its stream image and as its JSON: a tone, a
// tone plus noise, a clipped chirp, every function and operator once, and lines with
// negative zero, NaN and infinite parameters, inactive and complex lines; and by hand, JSON
// with names in other spellings.
void WriteSeeds(const std::filesystem::path& dir) {
  std::vector<std::pair<std::string, std::vector<TFuncSignalRecord>>> lists;
  auto add = [&](const std::string& name, auto&&... lines) {
    std::vector<TFuncSignalRecord> v;
    (v.push_back(std::move(lines)), ...);
    lists.emplace_back(name, std::move(v));
  };
  add("tone", FunctionLine(funSine, {1000, 0, 1}));
  add("tone-noise", FunctionLine(funSine, {440, 30, 0.5}), FunctionLine(funRandGauss, {0, 0.01}),
      OperatorLine(opAdd));
  add("clipped-chirp", FunctionLine(funChirp, {20, 0, 1, 0, 2000, 0.5, 16}), OperatorLine(opLimit, {0.8, -0.8}),
      OperatorLine(opAbs));
  TFuncSignalRecord inactive = FunctionLine(funTriangle, {100, 90, 1, 0.25}, false, false);
  inactive.Active = false;
  add("odd-values", FunctionLine(funConstant, {-0.0, NAN}, true), FunctionLine(funImpulse, {1, 0, 0.001, 0.002, INFINITY}),
      std::move(inactive), OperatorLine(opNone), FunctionLine(funNone));
  std::vector<TFuncSignalRecord> all;
  for (int f = 0; f < funNone; ++f) all.push_back(FunctionLine(static_cast<TFuncSignalType>(f), {1, 2}));
  for (int o = 0; o < opNone; ++o) all.push_back(OperatorLine(static_cast<TOperSignalType>(o)));
  lists.emplace_back("every-name", std::move(all));
  lists.emplace_back("empty", std::vector<TFuncSignalRecord>{});

  for (const auto& [name, lines] : lists) {
    TFuncSignalList l;
    for (const TFuncSignalRecord& r : lines) l.Add(r);
    std::vector<std::uint8_t> image = StreamImage(l);
    image.insert(image.begin(), 0);
    WriteSeed(dir, "stream-" + name, image);
    TJson j;
    l.SaveToJson(j);
    const std::string text = j.dump();
    std::vector<std::uint8_t> json{1};
    json.insert(json.end(), text.begin(), text.end());
    WriteSeed(dir, "json-" + name, json);
  }
  const std::string hand = R"([{"function": "Unit impulse", "params": [1]}, {"function": "UnitImpulse", )"
                           R"("active": false}, {"operator": "add"}, {"operator": "Limit", "params": ["NaN", -1e308]}])";
  std::vector<std::uint8_t> json{1};
  json.insert(json.end(), hand.begin(), hand.end());
  WriteSeed(dir, "json-hand-written", json);
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
