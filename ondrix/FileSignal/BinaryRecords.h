// The record headers of the binary signal files (.dat, .bin, .dbn): reading and checking them,
// and indexing a file's records.
#pragma once

#include <cstdint>
#include <vector>

#include "ondrix/FileSignal/FileFormat.h"
#include "ondrix/vec/precision.h"

namespace ondrix {

class TStream;

/// One record of a binary signal file, as its header describes it.
///
/// .dat header: int32 N (values over all channels, a complex value counts once), float64
/// sampling frequency (Hz), int32 precision ordinal, int32 complex flag, int32 channel count.
/// .bin / .dbn header: int32 N (samples), then the duration in seconds as float32 / float64;
/// their values are float32 / float64, one channel, real.
struct TBinaryRecord {
  std::int64_t HeaderOffset = 0;  ///< file offset of the header
  std::int64_t DataOffset = 0;    ///< file offset of the first value
  std::int32_t Count = 0;         ///< N
  double SamplingFrequency = 0;   ///< Hz (.bin / .dbn: N / RecordTime)
  double RecordTime = 0;          ///< seconds (.dat: RecordLength / SamplingFrequency)
  TPrecision Precision = prDouble;
  bool Complex = false;
  int ChannelCount = 1;

  /// Samples per channel.
  int RecordLength() const noexcept { return Count / ChannelCount; }
  /// Bytes of one value (of every channel's sample at one instant: ValueSize · ChannelCount).
  int ValueSize() const { return SizeOfPrecision(Precision, Complex); }
  /// File offset just past the record's values.
  std::int64_t EndOffset() const { return DataOffset + static_cast<std::int64_t>(Count) * ValueSize(); }
};

/// Bytes of a record header of the format (24, 8 or 12).
int BinaryHeaderSize(TFileFormat Format);

/// Reads the header at the stream's position and checks it against the bytes that remain:
/// a negative count or channel count, an unknown precision or complex flag, a sampling
/// frequency or duration that is not finite and positive, or values running past the end
/// raise "Error reading audio file: " and what is wrong. Leaves the position after the
/// header.
TBinaryRecord ReadBinaryRecordHeader(TStream& Stream, TFileFormat Format);

/// Every record of a binary signal file, in order, read from its start until the stream
/// ends; a truncated header raises as ReadBinaryRecordHeader does.
std::vector<TBinaryRecord> ScanBinaryRecords(TStream& Stream, TFileFormat Format);

/// Writes a record header at the stream's position (the count and duration as given).
void WriteBinaryRecordHeader(TStream& Stream, TFileFormat Format, const TBinaryRecord& Record);

}  // namespace ondrix
