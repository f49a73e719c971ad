#include "ondrix/FileSignal/BinaryRecords.h"

#include <array>
#include <bit>
#include <cmath>
#include <string>

#include "ondrix/framework/TStream.h"
#include "ondrix/vec/exceptions.h"

namespace ondrix {

namespace {

// Channel counts beyond this are taken for corruption, not recordings.
constexpr std::int32_t kMaxChannels = 65535;
// A signal's scale divides frame lengths (up to 2^31) by the rate and back: outside these
// bounds its sampling time overflows or turns subnormal, and the rate reads as 0 or inf.
constexpr double kMinSamplingFrequency = 1e-290, kMaxSamplingFrequency = 1e290;

[[noreturn]] void BadRecord(std::size_t index, const std::string& what) {
  ERaise("Error reading audio file: record " + std::to_string(index) + " " + what);
}

std::uint64_t GetLE(const std::uint8_t* p, int n) {
  std::uint64_t v = 0;
  for (int i = n - 1; i >= 0; --i) v = (v << 8) | p[i];
  return v;
}

void PutLE(std::uint8_t* p, std::uint64_t v, int n) {
  for (int i = 0; i < n; ++i) p[i] = static_cast<std::uint8_t>(v >> (8 * i));
}

std::int32_t GetInt32(const std::uint8_t* p) { return static_cast<std::int32_t>(GetLE(p, 4)); }

// Reads a header with the record's index for the messages; false at the end of the stream.
bool ReadHeader(TStream& Stream, TFileFormat Format, std::size_t index, TBinaryRecord& r) {
  const int size = BinaryHeaderSize(Format);
  std::array<std::uint8_t, 24> h{};
  r = TBinaryRecord{};
  r.HeaderOffset = Stream.Position();
  const std::int64_t got = Stream.Read(h.data(), size);
  if (got == 0) return false;
  if (got < size) BadRecord(index, "has a truncated header");
  r.DataOffset = r.HeaderOffset + size;
  r.Count = GetInt32(h.data());
  if (r.Count < 0) BadRecord(index, "has a negative value count");
  if (Format == ffDat) {
    r.SamplingFrequency = std::bit_cast<double>(GetLE(h.data() + 4, 8));
    const std::int32_t precision = GetInt32(h.data() + 12);
    const std::int32_t complex = GetInt32(h.data() + 16);
    r.ChannelCount = GetInt32(h.data() + 20);
    if (precision < prDouble || precision > prInt24) BadRecord(index, "has an unknown precision");
    if (complex != 0 && complex != 1) BadRecord(index, "has a complex flag other than 0 or 1");
    if (r.ChannelCount < 1 || r.ChannelCount > kMaxChannels) BadRecord(index, "has a bad channel count");
    if (!(std::isfinite(r.SamplingFrequency) && r.SamplingFrequency > 0))
      BadRecord(index, "has a sampling frequency that is not positive");
    r.Precision = static_cast<TPrecision>(precision);
    r.Complex = complex == 1;
    r.RecordTime = r.RecordLength() / r.SamplingFrequency;
  } else {
    r.Precision = Format == ffBin ? prSingle : prDouble;
    r.RecordTime = Format == ffBin ? std::bit_cast<float>(static_cast<std::uint32_t>(GetLE(h.data() + 4, 4)))
                                   : std::bit_cast<double>(GetLE(h.data() + 4, 8));
    const bool timeOk = r.Count == 0 ? std::isfinite(r.RecordTime) && r.RecordTime >= 0
                                     : std::isfinite(r.RecordTime) && r.RecordTime > 0;
    if (!timeOk) BadRecord(index, "has a duration that is not positive");
    r.SamplingFrequency = r.Count == 0 ? 0.0 : r.Count / r.RecordTime;
  }
  if (r.SamplingFrequency != 0 &&
      !(r.SamplingFrequency >= kMinSamplingFrequency && r.SamplingFrequency <= kMaxSamplingFrequency))
    BadRecord(index, "has a sampling frequency out of range");
  const std::int64_t left = Stream.Size() - r.DataOffset;
  if (static_cast<std::int64_t>(r.Count) * r.ValueSize() > left) BadRecord(index, "runs past the end of the file");
  return true;
}

}  // namespace

int BinaryHeaderSize(TFileFormat Format) {
  switch (Format) {
    case ffDat: return 24;
    case ffBin: return 8;
    case ffDbn: return 12;
    default: ERaise("Not a binary record format: " + std::string(FileFormatExtension(Format)));
  }
}

TBinaryRecord ReadBinaryRecordHeader(TStream& Stream, TFileFormat Format) {
  TBinaryRecord r;
  if (!ReadHeader(Stream, Format, 0, r)) BadRecord(0, "is missing");
  return r;
}

std::vector<TBinaryRecord> ScanBinaryRecords(TStream& Stream, TFileFormat Format) {
  std::vector<TBinaryRecord> records;
  Stream.SetPosition(0);
  TBinaryRecord r;
  while (ReadHeader(Stream, Format, records.size(), r)) {
    records.push_back(r);
    Stream.SetPosition(r.EndOffset());
  }
  return records;
}

void WriteBinaryRecordHeader(TStream& Stream, TFileFormat Format, const TBinaryRecord& Record) {
  std::array<std::uint8_t, 24> h{};
  PutLE(h.data(), static_cast<std::uint32_t>(Record.Count), 4);
  if (Format == ffDat) {
    PutLE(h.data() + 4, std::bit_cast<std::uint64_t>(Record.SamplingFrequency), 8);
    PutLE(h.data() + 12, static_cast<std::uint32_t>(Record.Precision), 4);
    PutLE(h.data() + 16, Record.Complex ? 1u : 0u, 4);
    PutLE(h.data() + 20, static_cast<std::uint32_t>(Record.ChannelCount), 4);
  } else if (Format == ffBin) {
    PutLE(h.data() + 4, std::bit_cast<std::uint32_t>(static_cast<float>(Record.RecordTime)), 4);
  } else {
    PutLE(h.data() + 4, std::bit_cast<std::uint64_t>(Record.RecordTime), 8);
  }
  Stream.WriteBuffer(h.data(), BinaryHeaderSize(Format));
}

}  // namespace ondrix
