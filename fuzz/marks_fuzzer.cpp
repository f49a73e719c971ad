// The mark list's stream (a 32-byte header whose fourth double is the count, then 32 bytes
// per mark): loaded, sorted, written again, and the writing must load and write back the same.
//
// Input: one option byte, then the stream. Bits 0-1 pick the field to sort by, bit 2 skips
// the sort.
#include <cmath>

#include "fuzz/fuzz_common.h"
#include "ondrix/OndrixTools/TMarks.h"

using namespace ondrix;
using namespace ondrix::fuzz;

namespace {

double Key(const TMarkRecord& r, TSortType f) {
  switch (f) {
    case srtFreq: return r.Freq;
    case srtAmplt: return r.Amplt;
    case srtPhase: return r.Phase;
    case srtTime: return r.Time;
  }
  return r.Freq;
}

void Run(const std::uint8_t* data, std::size_t size) {
  if (size < 1) return;
  const auto field = static_cast<TSortType>(data[0] & 3);
  const bool sort = (data[0] & 4) == 0;
  TMemoryStream in;
  Fill(in, data + 1, size - 1);

  TMarkList marks;
  if (!Clean([&] { marks.LoadFromStream(in); })) return;
  // Only the count's bytes bound the list: 32 bytes a mark, the last one possibly cut short.
  FUZZ_CHECK(static_cast<std::size_t>(marks.Count()) * 32 <= size - 1,
             std::to_string(marks.Count()) + " marks from " + std::to_string(size - 1) + " bytes");
  if (sort) {
    marks.SetSortType(field);
    marks.Sort();
    bool nan = false;
    for (int i = 0; i < marks.Count(); ++i) nan = nan || std::isnan(Key(marks.Values(i), field));
    // NaN keys compare equal to anything, so only lists without one have a defined order.
    for (int i = 1; i < marks.Count() && !nan; ++i)
      FUZZ_CHECK(Key(marks.Values(i - 1), field) <= Key(marks.Values(i), field),
                 "marks out of order at " + std::to_string(i));
  }

  const auto first = Saved([&](TStream& s) { marks.SaveToStream(s); });
  TMarkList again;
  TMemoryStream m;
  Fill(m, first.data(), first.size());
  FUZZ_CHECK(Clean([&] { again.LoadFromStream(m); }), "the marks written cannot be loaded");
  FUZZ_CHECK(again.Count() == marks.Count(), "mark count after the round trip");
  CheckSame(first, Saved([&](TStream& s) { again.SaveToStream(s); }), "marks written, loaded and written again");
}

// Seeds: lists the library writes (empty, one mark, a few with NaN and infinite fields, one
// per sort field), and one whose last record is cut short.
void WriteSeeds(const std::filesystem::path& dir) {
  constexpr double inf = INFINITY;
  const struct {
    const char* name;
    std::uint8_t options;
    std::vector<TMarkRecordDouble> marks;
  } seeds[] = {
      {"empty", 0, {}},
      {"one", 1, {{1000, 0.5, 90, 0.25}}},
      {"peaks-by-freq", 0, {{3000, 0.1, 0, 1}, {1000, 1, -45, 0}, {2000, 0.3, 180, 0.5}, {1000, 2, 0, 0.1}}},
      {"by-amplitude", 1, {{50, -3, 0, 0}, {60, 7.5, 0, 0}, {70, 1e-300, 0, 0}}},
      {"by-time-unsorted", 7, {{1, 1, 1, 3}, {2, 2, 2, 1}, {3, 3, 3, 2}}},
      {"nan-inf", 2, {{NAN, 1, inf, -inf}, {-0.0, NAN, 1, 2}, {5, 5, -inf, NAN}}},
  };
  for (const auto& s : seeds) {
    TMarkList l;
    for (const TMarkRecordDouble& r : s.marks) l.Add(r.Freq, r.Amplt, r.Phase, r.Time);
    std::vector<std::uint8_t> bytes = Saved([&](TStream& m) { l.SaveToStream(m); });
    bytes.insert(bytes.begin(), s.options);
    WriteSeed(dir, s.name, bytes);
    if (s.marks.size() == 4) {
      bytes.resize(bytes.size() - 9);  // the last mark loses its time and a byte of its phase
      WriteSeed(dir, "cut-last-mark", bytes);
    }
  }
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
