// The filter's band list: its stream image (a 41-byte header image whose first double is the
// count, then 41 bytes per band) and its JSON form ({"FreqStart": 0, "FreqStop": 0.2, "Gain": 1,
// "Ripple": 0.5}), each loaded, written again and loaded back (list_round_trip.h).
//
// Input: one option byte, then the data. Bit 0 picks the stream image (0) or JSON text (1).
#include <cmath>

#include "fuzz/list_round_trip.h"
#include "ondrix/SignalProcessing/BandFilter.h"

using namespace ondrix;
using namespace ondrix::fuzz;

namespace {

void Run(const std::uint8_t* data, std::size_t size) {
  static const TBandFilterList* prefill = [] {
    auto* l = new TBandFilterList;
    l->Add(0.0, 0.2, 1.0, 0.5);
    return l;
  }();
  RunListRoundTrips(data, size, *prefill, "band list");
}

// Seeds: band layouts the library writes, each as its stream image and as its JSON: a low
// pass, a band pass, a one-band differentiator, bands with Extra and Flag set and with NaN,
// infinite and negative zero fields; and by hand, JSON with integer and named values.
void WriteSeeds(const std::filesystem::path& dir) {
  struct TBand {
    double start, stop, gain, ripple, extra = 0;
    unsigned char flag = 0;
  };
  const std::pair<const char*, std::vector<TBand>> layouts[] = {
      {"empty", {}},
      {"lowpass", {{0, 0.2, 1, 0.5}, {0.25, 0.5, 0, 60}}},
      {"bandpass", {{0, 0.05, 0, 40}, {0.1, 0.2, 1, 1}, {0.25, 0.5, 0, 40}}},
      {"differentiator", {{0, 0.8, 1, 1}}},
      {"extra-flag", {{0, 1000, 2, 0.1, 3.5, 1}, {1500, 4000, 0, 80, -1, 255}}},
      {"odd-values", {{NAN, INFINITY, -0.0, 1e-300, -0.0}, {-INFINITY, 0, 1, NAN}}},
  };
  for (const auto& [name, bands] : layouts) {
    TBandFilterList l;
    for (const TBand& b : bands) {
      TBandFilterRecord r;
      r.FreqStart = b.start, r.FreqStop = b.stop, r.Gain = b.gain, r.Ripple = b.ripple, r.Extra = b.extra;
      r.Flag = b.flag;
      l.Add(r);
    }
    std::vector<std::uint8_t> image = StreamImage(l);
    image.insert(image.begin(), 0);
    WriteSeed(dir, std::string("stream-") + name, image);
    TJson j;
    l.SaveToJson(j);
    const std::string text = j.dump();
    std::vector<std::uint8_t> json{1};
    json.insert(json.end(), text.begin(), text.end());
    WriteSeed(dir, std::string("json-") + name, json);
  }
  const std::string hand = R"([{"FreqStart": 0, "FreqStop": 1000, "Gain": 1, "Ripple": 0.1, "Flag": 7}, )"
                           R"({"FreqStart": 1200, "FreqStop": "Infinity", "Gain": 0, "Ripple": 60, "Extra": -2}])";
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
