#include "ondrix/OndrixTools/TMarks.h"

#include <bit>
#include <cmath>
#include <memory>
#include <cstring>
#include <vector>

#include "ondrix/framework/TStream.h"

namespace ondrix {

static_assert(sizeof(double) == 8 && std::endian::native == std::endian::little,
              "the mark stream is written as native little-endian doubles");

void TMarkRecord::Assign(const TMarkRecord& Src) {
  Freq = Src.Freq;
  Amplt = Src.Amplt;
  Phase = Src.Phase;
  Time = Src.Time;
}

void TMarkRecord::Assign(const TMarkRecordDouble& Src) {
  Freq = Src.Freq;
  Amplt = Src.Amplt;
  Phase = Src.Phase;
  Time = Src.Time;
}

TMarkList::~TMarkList() { Clear(); }

int TMarkList::Add(const TMarkRecord& Rec) {
  auto r = std::make_unique<TMarkRecord>();
  r->Assign(Rec);
  int i = TList::Add(r.get());
  r.release();  // the list owns it from here on
  return i;
}

int TMarkList::Add(double Freq, double Amplt, double Phase, double Time) {
  TMarkRecord r;
  r.Freq = Freq;
  r.Amplt = Amplt;
  r.Phase = Phase;
  r.Time = Time;
  return Add(r);
}

void TMarkList::Assign(const TMarkList& Source) {
  if (&Source == this) return;
  Clear();
  for (int i = 0; i < Source.Count(); ++i) Add(Source.Values(i));
}

void TMarkList::Clear() {
  for (int i = 0; i < Count(); ++i) delete static_cast<TMarkRecord*>(Items(i));
  TList::Clear();
}

void TMarkList::Delete(int i) {
  if (i > Count() - 1) return;
  if (i < 0) {
    TList::Delete(i);  // raises the index error
    return;
  }
  delete static_cast<TMarkRecord*>(Items(i));
  TList::Delete(i);
}

namespace {

double Field(const TMarkRecord& r, TSortType f) {
  switch (f) {
    case srtFreq: return r.Freq;
    case srtAmplt: return r.Amplt;
    case srtPhase: return r.Phase;
    case srtTime: return r.Time;
  }
  return r.Freq;
}

}  // namespace

void TMarkList::SortBy(TSortType f) {
  TList::Sort([f](void* a, void* b) {
    double x = Field(*static_cast<TMarkRecord*>(a), f);
    double y = Field(*static_cast<TMarkRecord*>(b), f);
    if (std::isnan(x) || std::isnan(y)) return 0;
    return x < y ? -1 : (x > y ? 1 : 0);
  });
}

void TMarkList::Sort() { SortBy(sortType_); }
void TMarkList::SortFreq() { SortBy(srtFreq); }
void TMarkList::SortAmplt() { SortBy(srtAmplt); }
void TMarkList::SortPhase() { SortBy(srtPhase); }
void TMarkList::SortTime() { SortBy(srtTime); }

void WriteArrayOfRecords(const TMarkRecordDouble* Array, TStream& Stream, int Count) {
  Stream.WriteBuffer(Array, static_cast<std::int64_t>(Count) * sizeof(TMarkRecordDouble));
}

void ReadArrayOfRecords(TStream& Stream, TMarkRecordDouble* Array, int Count) {
  Stream.Read(Array, static_cast<std::int64_t>(Count) * sizeof(TMarkRecordDouble));
}

void TMarkList::SaveToStream(TStream& Stream) const {
  std::vector<TMarkRecordDouble> block(static_cast<std::size_t>(Count()) + 1);
  block[0].Time = static_cast<double>(Count());  // the header's fourth double is the count
  for (int k = 0; k < Count(); ++k) block[k + 1] = Values(k).ToDouble();
  WriteArrayOfRecords(block.data(), Stream, Count() + 1);
}

void TMarkList::LoadFromStream(TStream& Stream) {
  Clear();
  TMarkRecordDouble header;
  ReadArrayOfRecords(Stream, &header, 1);
  constexpr const char* kWhat = "TMarkList: mark count";
  constexpr std::int64_t kSize = sizeof(TMarkRecordDouble);
  // A cut last record reads as zeros, so it may lack up to kSize − 1 bytes; no more.
  const int n = CheckCount(Stream, RoundToInt32(header.Time, 0, INT32_MAX, kWhat), kSize, kWhat, kSize - 1);
  if (n == 0) return;
  std::vector<TMarkRecordDouble> records(static_cast<std::size_t>(n));
  ReadArrayOfRecords(Stream, records.data(), n);
  for (const TMarkRecordDouble& d : records) {
    TMarkRecord r;
    r.Assign(d);
    Add(r);
  }
}

}  // namespace ondrix
