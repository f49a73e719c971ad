// The round trips of a record list that has a stream image and a JSON form (the generator's
// lines, the filter's bands): what loads from either is written again, and the writing must
// load and write back the same; the JSON of a list must survive a trip through its stream
// image; and a JSON load that fails leaves the list as it was.
#pragma once

#include <nlohmann/json.hpp>
#include <string>

#include "fuzz/fuzz_common.h"
#include "ondrix/framework/TPersistent.h"

namespace ondrix::fuzz {

using TJson = TFiler::TJson;

template <class L>
std::vector<std::uint8_t> StreamImage(const L& List) {
  return Saved([&](TStream& s) { List.SaveToStream(s); });
}

template <class L>
void LoadImage(L& List, const std::vector<std::uint8_t>& Bytes) {
  TMemoryStream m;
  Fill(m, Bytes.data(), Bytes.size());
  List.LoadFromStream(m);
}

/// Json, written by a list, loads into a new list that writes it back unchanged, also after
/// its stream image was loaded into a third.
template <class L>
void CheckJsonRoundTrip(const TJson& Json, const std::string& What) {
  L again;
  FUZZ_CHECK(Clean([&] { again.LoadFromJson(Json); }), What + ": the JSON written cannot be loaded");
  TJson back;
  again.SaveToJson(back);
  CheckSame(Json.dump(), back.dump(), What + ": JSON written, loaded and written again");
  L viaStream;
  FUZZ_CHECK(Clean([&] { LoadImage(viaStream, StreamImage(again)); }), What + ": the stream image cannot be loaded");
  viaStream.SaveToJson(back);
  CheckSame(Json.dump(), back.dump(), What + ": JSON after a trip through the stream image");
}

/// Input: one option byte, then the data. Bit 0 picks the stream image (0) or JSON text (1).
/// Prefill is what the list holds before a JSON load.
template <class L>
void RunListRoundTrips(const std::uint8_t* Data, std::size_t Size, const L& Prefill, const std::string& What) {
  if (Size < 1) return;
  const bool json = (Data[0] & 1) != 0;
  ++Data;
  --Size;
  L list;
  if (!json) {
    TMemoryStream in;
    Fill(in, Data, Size);
    if (!Clean([&] { list.LoadFromStream(in); })) return;
    const std::vector<std::uint8_t> first = StreamImage(list);
    L again;
    FUZZ_CHECK(Clean([&] { LoadImage(again, first); }), What + ": the stream image written cannot be loaded");
    CheckSame(first, StreamImage(again), What + ": stream image written, loaded and written again");
  } else {
    const TJson value = TJson::parse(Data, Data + Size, nullptr, false);
    if (value.is_discarded()) return;
    list.Assign(Prefill);
    const std::vector<std::uint8_t> before = StreamImage(list);
    if (!Clean([&] { list.LoadFromJson(value); })) {
      CheckSame(before, StreamImage(list), What + ": a failed JSON load changed the list");
      return;
    }
  }
  TJson written;
  FUZZ_CHECK(Clean([&] { list.SaveToJson(written); }), What + ": a list that loaded cannot be written as JSON");
  CheckJsonRoundTrip<L>(written, What);
}

}  // namespace ondrix::fuzz
