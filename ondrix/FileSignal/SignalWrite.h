// TSignalWrite: a sink that writes the blocks of its input to a signal file; TSignalWriteList:
// a bank of writers.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "ondrix/FileSignal/FileStorage.h"
#include "ondrix/FileSignal/Riff.h"
#include "ondrix/FileSignal/WaveFormat.h"
#include "ondrix/OndrixTools/Collections.h"
#include "ondrix/vec/precision.h"

namespace ondrix {

/// Value names of TPrecision and TRounding, in ordinal order (for property tables).
const std::vector<std::string>& PrecisionNames();
const std::vector<std::string>& RoundingNames();

/// Writes each block of Input to FileName: blocks are appended to the current record, and a
/// record's header is completed (its count and duration patched) when the record or the file
/// is closed. Call CloseFile when done: until then the header of the open record, the text
/// formats and the wave chunk sizes are incomplete.
///
/// Values are written unscaled: a value of 1000 is stored as 1000 at prSmallInt, rounded by
/// Rounding and saturated at integer precisions. Wave files take prByte (unsigned, 0.0 is
/// stored as 128), prSmallInt, prInt24, prInteger and prSingle; .dat takes any precision;
/// .bin and .dbn store 4- and 8-byte floats; the text formats store shortest round-trip
/// decimals. Only .dat and .sgl store complex data.
class TSignalWrite : public TFileStorage {
public:
  ONDRIX_CLASS_INFO()

  explicit TSignalWrite(TComponent* AOwner);
  ~TSignalWrite() override;

  /// Opening a file truncates it; with AppendFile the stream is then positioned at its end,
  /// which is its start, so earlier contents are never kept.
  bool AppendFile() const noexcept { return appendFile_; }
  void SetAppendFile(bool Value) noexcept { appendFile_ = Value; }
  TRounding Rounding() const noexcept { return rounding_; }
  void SetRounding(TRounding Value) noexcept { rounding_ = Value; }
  /// Stored only: records are always appended.
  int RecordNumber() const noexcept { return recordNumber_; }
  void SetRecordNumber(int Value) noexcept { recordNumber_ = Value; }
  TPrecision Precision() const noexcept { return precision_; }
  void SetPrecision(TPrecision Value) noexcept { precision_ = Value; }
  /// Text of the wave file's "ISFT" entry.
  const std::string& AuthorInfo() const noexcept { return authorInfo_; }
  void SetAuthorInfo(const std::string& Value) { authorInfo_ = Value; }
  /// Values written to the current record (all channels).
  int TotalRecordLength() const noexcept { return totalRecordLength_; }
  void SetTotalRecordLength(int) noexcept {}
  int RecordLength() const noexcept { return ChannelCount() > 0 ? totalRecordLength_ / ChannelCount() : 0; }
  double RecordTime() const noexcept { return RecordLength() / SamplingFrequency(); }

  /// Closes an open file, then creates FileName ("FileName = '' !" when it is empty).
  void SaveFile();
  /// Writes the input's block as a whole record (header and values).
  void SaveRecord();
  /// Closes an open record and writes the header of a new one.
  void InitRecord();
  /// Appends the input's block to the open record (opening the file and a record if needed).
  void SaveBlock();
  /// Completes the open record's header.
  void CloseRecord();
  /// Completes the record and the file, and closes it.
  void CloseFile() override;
  /// SaveFile, SaveRecord and CloseFile with AppendFile set.
  void AppendRecord();
  /// Writes the input's current block as a one-record file of that name.
  void SaveDataToFile(const std::string& AFileName);

  /// Takes the input's channel count and sampling frequency, then SaveBlock.
  TPipeState InternalUpdate() override;

private:
  const TSignal& Source() const;
  void TakeInputFormat();
  void WriteHeader(const TSignal& in);
  void WriteBlock(const TSignal& in);
  void WriteTextLines(const TSignal& in);
  void FinishWave();

  std::vector<std::uint8_t> bytes_;
  TVec shifted_;  // prByte wave data, offset so that 0.0 is stored as 128
  TRiffChunk riffChunk_, dataChunk_;
  TACMWaveFormat waveFormat_;
  std::int64_t recordStart_ = 0;
  double recordFs_ = 1.0;
  bool recordOpen_ = false, headerOnly_ = false, appendFile_ = false;
  TRounding rounding_ = rnRound;
  TPrecision precision_ = prDouble;
  int recordNumber_ = 0, totalRecordLength_ = 0;
  std::string authorInfo_;
};

/// A bank of writers.
class TSignalWriteList : public TSignalList {
public:
  ONDRIX_CLASS_INFO()
  explicit TSignalWriteList(TComponent* AOwner) : TSignalList(AOwner) {}
  TSignalWrite* Items(int i) const { return static_cast<TSignalWrite*>(TAnalysisList::Items(i)); }
  /// Writes item i: copies Value's settings into it.
  void SetItems(int i, const TSignalWrite& Value) { Items(i)->Assign(Value); }
  /// SaveFile on every item.
  void SaveFiles();
  /// CloseFile on every item.
  void CloseFiles();

protected:
  std::unique_ptr<TKvxComponent> AddItem() override;
};

}  // namespace ondrix
