// Hostile inputs (tests/data/hostile, described in its README): each loader refuses them with
// a fixed message, quickly, without an allocation sized by the bad field, and leaves what it
// was loading into as it was or empty. Settings that load save a text that loads back the same.
#include <gtest/gtest.h>
#include <malloc.h>

#include <atomic>
#include <chrono>
#include <cstdlib>
#include <fstream>
#include <functional>
#include <iterator>
#include <limits>
#include <new>

#include "ondrix/OndrixTools/OndrixTools.h"
#include "ondrix/framework/Registry.h"
#include "ondrix/framework/Settings.h"
#include "ondrix/framework/errors.h"
#include "processing_helpers.h"

#if defined(__SANITIZE_ADDRESS__)
#define ONDRIX_HOSTILE_ASAN 1
#elif defined(__has_feature)
#if __has_feature(address_sanitizer)
#define ONDRIX_HOSTILE_ASAN 1
#endif
#endif

using namespace ondrix;
using ondrix::testing::Raises;

namespace {

#ifdef ONDRIX_HOSTILE_ASAN
constexpr double kSeconds = 1.0;  // instrumented code, and the sanitizer's own allocator
constexpr bool kCountBytes = false;
#else
constexpr double kSeconds = 0.1;
constexpr bool kCountBytes = true;
#endif

// Live and peak bytes obtained through operator new (the sanitizer owns it, so not there).
std::atomic<std::int64_t> gLive{0};
std::atomic<std::int64_t> gPeak{0};

}  // namespace

#ifndef ONDRIX_HOSTILE_ASAN
// The compiler sees free() reach pointers from operator new once these are inlined; both are ours.
#if !defined(__clang__)
#pragma GCC diagnostic ignored "-Wmismatched-new-delete"
#endif
void* operator new(std::size_t n) {
  void* p = std::malloc(n ? n : 1);
  if (!p) throw std::bad_alloc();
  gLive += static_cast<std::int64_t>(malloc_usable_size(p));
  if (gLive > gPeak) gPeak = gLive.load();  // the tests run on one thread
  return p;
}
static void Release(void* p) noexcept {
  if (p) gLive -= static_cast<std::int64_t>(malloc_usable_size(p));
  std::free(p);
}
void operator delete(void* p) noexcept { Release(p); }
void operator delete(void* p, std::size_t) noexcept { Release(p); }
#endif

namespace {

struct TOutcome {
  std::string Message;  // empty: nothing was raised
  double Seconds = 0.0;
  std::int64_t PeakBytes = 0;
  int Held = -1;  // entries the target holds afterwards
};

TOutcome Measure(const std::function<void()>& Load, const std::function<int()>& Held) {
  TOutcome o;
  const std::int64_t before = gLive;
  gPeak = before;
  const auto t0 = std::chrono::steady_clock::now();
  try {
    Load();
  } catch (const std::exception& e) {
    o.Message = e.what();
  }
  o.Seconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - t0).count();
  o.PeakBytes = gPeak - before;
  o.Held = Held();
  return o;
}

// Each target starts with two entries of its own: a load that failed half way through would
// leave another count.
TOutcome StringStreamList(TMemoryStream& In, const std::string&) {
  TStringStreamList l;
  for (const char* name : {"kept", "kept too"}) l.Add(name);
  return Measure([&] { l.LoadFromStream(In); }, [&] { return l.Count(); });
}

TOutcome Templates(TMemoryStream& In, const std::string&) {
  TStreamTemplates t(nullptr);  // no owner: the class name expected is ""
  for (const char* name : {"kept", "kept too"}) t.Templates().Add(name);
  return Measure([&] { t.LoadFromStream(In); }, [&] { return t.Templates().Count(); });
}

TOutcome FilterTemplates(TMemoryStream& In, const std::string&) {
  TSignalFilter f(nullptr);
  for (const char* name : {"kept", "kept too"}) f.Filters()->AddCopyTemplate(name);
  return Measure([&] { f.Filters()->LoadFromStream(In); }, [&] { return f.Filters()->Templates().Count(); });
}

TOutcome MarksThenSort(TMemoryStream& In, const std::string&) {
  TMarkList l;
  for (double f : {1.0, 2.0}) l.Add(f, 1.0);
  return Measure([&] { l.LoadFromStream(In), l.Sort(); }, [&] { return l.Count(); });
}

TOutcome Lines(TMemoryStream& In, const std::string&) {
  TFuncSignalList l;
  for (double f : {440.0, 880.0}) l.Add(FunctionLine(funSine, {f}));
  return Measure([&] { l.LoadFromStream(In); }, [&] { return l.Count(); });
}

TOutcome Bands(TMemoryStream& In, const std::string&) {
  TBandFilterList l;
  for (double f : {0.0, 0.2}) l.Add(f, f + 0.1, 1.0, 1.0);
  return Measure([&] { l.LoadFromStream(In); }, [&] { return l.Count(); });
}

TOutcome SettingsFile(TMemoryStream&, const std::string& Text) {
  RegisterOndrixToolsClasses();
  RegisterSignalProcessingClasses();
  TComponent owner(nullptr);
  for (const char* name : {"Kept", "KeptToo"}) (new TComponent(&owner))->SetName(name);
  return Measure([&] { LoadComponentFromJson(Text, owner); }, [&] { return owner.ComponentCount(); });
}

struct THostile {
  const char* File;
  TOutcome (*Load)(TMemoryStream&, const std::string&);
  const char* Message;  // what() ends with it (settings put the place in front)
  int Held;             // 2: the target was left as it was; 0: it was emptied
};

void PrintTo(const THostile& H, std::ostream* Out) { *Out << H.File; }

const THostile kHostile[] = {
    {"string-stream-list-4-bytes.bin", StringStreamList, "TStringStreamList: names length out of range", 2},
    {"string-stream-list-length-2g.bin", StringStreamList, "TStringStreamList: names length out of range", 2},
    {"templates-entry-2g.bin", Templates, "TStringStreamList: names length out of range", 2},
    {"templates-truncated-name.bin", Templates, "TStringStreamList: names length out of range", 2},
    {"filter-templates-entry-2g.bin", FilterTemplates, "TStringStreamList: entry size out of range", 2},
    {"marks-count-64m.bin", MarksThenSort, "TMarkList: mark count out of range", 0},
    {"marks-85-bytes.bin", MarksThenSort, "TMarkList: mark count out of range", 0},
    {"lines-kind-60.bin", Lines, "TFuncSignalList: line kind out of range", 0},
    {"lines-operator-99.bin", Lines, "TFuncSignalList: operator out of range", 0},
    {"band-list-huge-float.bin", Bands, "TBandFilterList: band count out of range", 0},
    {"band-list-1e300.bin", Bands, "TBandFilterList: band count out of range", 0},
    {"settings-bands-1e300.json", SettingsFile,
     "Invalid settings at <TSignalFilter>.Filters.Bands: TBandFilterList: band count out of range", 2},
    {"settings-template-index.json", SettingsFile, "TBandFilterList: band count out of range", 2},
    {"settings-slow.json", SettingsFile,
     "Invalid settings at Root/Gen1.Sounds.Templates.Data: TStringStreamList: entry size out of range", 2},
    {"settings-slow-2.json", SettingsFile,
     "Invalid settings at Root/Gen1.Sounds.Templates.Data: TStringStreamList: names length out of range", 2},
    {"settings-length-2g.json", SettingsFile,
     "Invalid settings at Gen.Length: TVec: length 2000000000 out of range (at most 268435456)", 2},
    {"settings-lines-function-200.json", SettingsFile,
     "Invalid settings at Gen.Sounds.Template: TFuncSignalList: function out of range", 2},
    {"settings-length-173m.json", SettingsFile,
     "Invalid settings at Gen.Length: TSignal: length 173575202 out of range (a settings file may ask for at most "
     "16777216 values)",
     2},
    {"settings-spectrum-length-9m-complex.json", SettingsFile,
     "Invalid settings at Spec.Length: TSpectrum: length 9000000 out of range (a settings file may ask for at most "
     "16777216 values)",
     2},
};

class HostileInput : public ::testing::TestWithParam<THostile> {};

std::string HostileFile(const std::string& Name) {
  std::ifstream file(ONDRIX_TEST_DATA_DIR "/hostile/" + Name, std::ios::binary);
  EXPECT_TRUE(file) << Name;
  return {std::istreambuf_iterator<char>(file), {}};
}

}  // namespace

TEST_P(HostileInput, RaisesAFixedMessageQuicklyAndSmall) {
  const THostile& h = GetParam();
  const std::string bytes = HostileFile(h.File);
  ASSERT_FALSE(bytes.empty()) << h.File;
  TMemoryStream in;
  in.WriteBuffer(bytes.data(), static_cast<std::int64_t>(bytes.size()));
  in.SetPosition(0);

  const TOutcome o = h.Load(in, bytes);
  ASSERT_FALSE(o.Message.empty()) << "nothing raised";
  EXPECT_TRUE(o.Message.ends_with(h.Message)) << o.Message;
  EXPECT_LT(o.Seconds, kSeconds);
  EXPECT_EQ(o.Held, h.Held);
  RecordProperty("seconds", std::to_string(o.Seconds));
  // A few kilobytes for the objects a load builds, then a small multiple of the input.
  if (kCountBytes) {
    RecordProperty("peak_bytes", std::to_string(o.PeakBytes));
    EXPECT_LE(o.PeakBytes, 4096 + 16 * static_cast<std::int64_t>(bytes.size()));
  }
}

INSTANTIATE_TEST_SUITE_P(Files, HostileInput, ::testing::ValuesIn(kHostile));  // PrintTo names the file

TEST(HostileInput, CountsAreCheckedBeforeTheyAreConverted) {
  constexpr double inf = std::numeric_limits<double>::infinity();
  for (double bad : {std::nan(""), inf, -inf, -1.0, 2147483648.0, 1e300})
    EXPECT_THROW(RoundToInt32(bad, 0, INT32_MAX, "count"), EReadError) << bad;
  EXPECT_EQ(RoundToInt32(2147483647.4, 0, INT32_MAX, "count"), INT32_MAX);
  EXPECT_EQ(RoundToInt32(2.5, 0, 9, "count"), 2);  // ties to even
  TMemoryStream m;
  m.SetSize(100);
  m.SetPosition(35);  // 65 bytes left: 8 records of 8 bytes and 1 byte of a ninth
  EXPECT_EQ(CheckCount(m, 8, 8, "count"), 8);
  EXPECT_THROW(CheckCount(m, 9, 8, "count"), EReadError);
  EXPECT_EQ(CheckCount(m, 9, 8, "count", 7), 9);  // the ninth may be cut short
  EXPECT_THROW(CheckCount(m, 10, 8, "count", 7), EReadError);  // a tenth is not there at all
  EXPECT_THROW(CheckCount(m, INT32_MAX, std::int64_t{1} << 40, "count"), EReadError);  // the product overflows
  EXPECT_THAT([&] { CheckCount(m, -1, 1, "TLoader: size"); }, Raises<EReadError>("TLoader: size out of range"));
}

TEST(HostileInput, DeeplyNestedComponentsAreRefusedAtAFixedDepth) {
  // 100,000 levels: past the limit the reader stops before the stack or the place names grow
  RegisterSignalProcessingClasses();
  std::string text;
  for (int i = 0; i < 100000; ++i) text += R"({"class": "TSignalBuffer", "components": [)";
  for (int i = 0; i < 100000; ++i) text += "]}";
  const TOutcome o = Measure([&] { (void)LoadComponentFromJson(text); }, [] { return 0; });
  EXPECT_TRUE(o.Message.ends_with("components nested deeper than 64 levels")) << o.Message.substr(0, 200);
  EXPECT_LT(o.Seconds, 20 * kSeconds);
}

// Settings that loaded into a state their own saving did not reproduce: what loads is saved,
// and that text must load back and save the same.
TEST(HostileInput, SettingsThatLoadSaveATextThatLoadsBackTheSame) {
  RegisterClass(TComponent::StaticClassInfo());
  RegisterOndrixToolsClasses();
  RegisterSignalProcessingClasses();
  for (const char* file : {"settings-spectrum-amplt-only.json", "settings-spectrum-fs-49.json",
                           "settings-spectrum-dt-0.json", "settings-sounds-selected-empty.json",
                           "settings-filter-selected-empty.json"}) {
    const std::string first = SaveComponentToJson(*LoadComponentFromJson(HostileFile(file)));
    EXPECT_EQ(SaveComponentToJson(*LoadComponentFromJson(first)), first) << file;
  }
  // A rate of 0 keeps no time step that Complex, set after it, could turn back into a rate.
  const auto spectrum = LoadComponentFromJson(HostileFile("settings-spectrum-fs-0-complex.json"));
  EXPECT_EQ(dynamic_cast<const TSpectrum&>(*spectrum).SamplingFrequency(), 0.0);
}
