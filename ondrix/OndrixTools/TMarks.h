// Marks: annotated points (frequency, amplitude, phase, time) of signals and spectra.
#pragma once

#include "ondrix/framework/TList.h"

namespace ondrix {

class TStream;

/// The on-stream form of one mark: four little-endian doubles, 32 bytes.
struct TMarkRecordDouble {
  double Freq = 0.0;
  double Amplt = 0.0;
  double Phase = 0.0;
  double Time = 0.0;
};
static_assert(sizeof(TMarkRecordDouble) == 32);

/// One mark: frequency (Hz), amplitude, phase and time (s).
class TMarkRecord : public TObject {
public:
  double Freq = 0.0;
  double Amplt = 0.0;
  double Phase = 0.0;
  double Time = 0.0;

  void Assign(const TMarkRecord& Src);
  void Assign(const TMarkRecordDouble& Src);
  TMarkRecordDouble ToDouble() const { return {Freq, Amplt, Phase, Time}; }
};

/// Which field TMarkList::Sort orders by.
enum TSortType { srtFreq, srtAmplt, srtPhase, srtTime };

/// A list that owns its marks. The stream form is a 32-byte header (three reserved zero
/// doubles and the mark count as a double) followed by 32 bytes per mark.
class TMarkList : public TList {
public:
  TMarkList() = default;
  ~TMarkList() override;

  /// Appends a copy of Rec (the caller keeps Rec); returns its index.
  int Add(const TMarkRecord& Rec);
  /// Appends a mark from its four fields; returns its index.
  int Add(double Freq, double Amplt, double Phase = 0.0, double Time = 0.0);
  /// The list's own record i (EListError when out of range).
  TMarkRecord& Values(int i) const { return *static_cast<TMarkRecord*>(Items(i)); }
  /// Copies Rec's fields into record i.
  void SetValue(int i, const TMarkRecord& Rec) { Values(i).Assign(Rec); }

  /// Clear, then a copy of each of Source's marks in order.
  void Assign(const TMarkList& Source);
  /// Frees every record, then empties the list.
  void Clear() override;
  /// Frees and removes record i when i ≤ Count − 1; a larger i is ignored, a negative one
  /// raises the list's index error.
  void Delete(int i) override;

  TSortType SortType() const noexcept { return sortType_; }
  /// Stores the sort field; does not sort.
  void SetSortType(TSortType Value) noexcept { sortType_ = Value; }
  /// Sorts ascending by SortType's field (not stable; NaN keys compare equal to anything).
  void Sort();
  void SortFreq();
  void SortAmplt();
  void SortPhase();
  void SortTime();

  /// Writes the header and every mark with one Write.
  void SaveToStream(TStream& Stream) const;
  /// Clear, then reads a list written by SaveToStream. A short read is not detected:
  /// records that were not filled read as zeros. A count that is not a number, is negative
  /// or announces more than the stream holds (beyond a cut last record) raises EReadError
  /// "TMarkList: mark count out of range".
  void LoadFromStream(TStream& Stream);

private:
  void SortBy(TSortType Field);
  TSortType sortType_ = srtFreq;
};

/// Writes Count records with one call of the stream's Write.
void WriteArrayOfRecords(const TMarkRecordDouble* Array, TStream& Stream, int Count);
/// Reads Count records with one call of the stream's Read; unfilled records stay as given.
void ReadArrayOfRecords(TStream& Stream, TMarkRecordDouble* Array, int Count);

}  // namespace ondrix
