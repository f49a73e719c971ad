// TSignalRead: a source that reads a signal file frame by frame; TSignalReadList: a bank of
// readers.
#pragma once

#include <cstdint>
#include <memory>
#include <vector>

#include "ondrix/FileSignal/ACMConverter.h"
#include "ondrix/FileSignal/BinaryRecords.h"
#include "ondrix/FileSignal/FileStorage.h"
#include "ondrix/OndrixTools/Collections.h"

namespace ondrix {

/// What the frame counts count: frames of the selected record, or whole records.
enum TFraming { frSingleRecord, frAcrossAllRecords };

/// When a continuous reader ends: after the last frame that starts inside the selection
/// (its tail zero-padded), after the last full frame, or after a last frame shortened to
/// the samples left.
enum TLastFrameCheck { lfcZeroPadded, lfcLastFullBlock, lfcAdjustLength };

/// Reads one frame of Length values (channels interleaved) per pull from the selected record
/// of FileName, starting at RecordPosition, and advances by one frame less the overlap.
///
/// Positions, selections and frame lengths count samples per channel ("frame" = Length div
/// ChannelCount); times are in seconds. The file opens on the first read (a position change
/// on a missing file is silently skipped; OpenFile and a pull raise "File not found: ").
/// Values are delivered unscaled in their stored range (a 16-bit wave sample is -32768 ..
/// 32767; 8-bit wave data is centred by subtracting 128), then multiplied by ScaleFactor.
/// A read that fails leaves the previous frame in Data.
class TSignalRead : public TFileStorage {
public:
  ONDRIX_CLASS_INFO()

  explicit TSignalRead(TComponent* AOwner);
  ~TSignalRead() override;

  // --- File --------------------------------------------------------------------------------

  /// Closes a previous file, parses the new one's header(s) and selects record 0.
  void OpenFile() override;
  void CloseFile() override;
  /// The format's description, " Hz, ", "Ch: " and ", Records: " with their values.
  std::string FormatDescription() const;
  /// "Binary DAT", ...; for wave the codec's tag description.
  std::string FormatTagDescription() const;
  /// The codec behind wave files.
  TACMConverter& Converter() noexcept { return *converter_; }

  // --- Record ------------------------------------------------------------------------------

  int NumberOfRecords() const noexcept { return numberOfRecords_; }
  int RecordNumber() const noexcept { return recordNumber_; }
  /// While the file is open: selects the record (clamped to the records there are) and
  /// rewinds to its start. "Record number: <n> not found!" when it cannot be reached.
  void SetRecordNumber(int Value);
  /// Samples per channel of the selected record.
  int RecordLength() const noexcept { return recordLength_; }
  /// Duration of the selected record in seconds.
  double RecordTime() const noexcept { return recordTime_; }
  /// Precision of the stored values.
  TPrecision Precision() const noexcept { return precision_; }

  // --- Position and framing ----------------------------------------------------------------

  int RecordPosition() const noexcept { return recordPosition_; }
  /// Reads the frame at Value (negative: 0).
  void SetRecordPosition(int Value);
  double RecordTimePosition() const noexcept { return recordTimePosition_; }
  /// Reads the frame at the sample of time Value (s).
  void SetRecordTimePosition(double Value);
  int FrameNumber() const noexcept { return frameNumber_; }
  /// Reads frame Value of the frame grid (step: frame less overlap).
  void SetFrameNumber(int Value);
  TFraming Framing() const noexcept { return framing_; }
  void SetFraming(TFraming Value);
  TLastFrameCheck LastFrameCheck() const noexcept { return lastFrameCheck_; }
  void SetLastFrameCheck(TLastFrameCheck Value) noexcept { lastFrameCheck_ = Value; }
  bool Loop() const noexcept { return loop_; }
  void SetLoop(bool Value) noexcept { loop_ = Value; }
  /// Overlap of consecutive frames in percent of the frame (0 .. 100).
  double OverlappingPercent() const noexcept { return overlappingPercent_; }
  void SetOverlappingPercent(double Value);
  /// Overlap of consecutive frames in samples.
  int OverlappingSamples() const noexcept { return overlappingSamples_; }
  void SetOverlappingSamples(int Value);
  /// Factor applied to every frame read; 0 stores 1.
  double ScaleFactor() const noexcept { return scaleFactor_; }
  void SetScaleFactor(double Value) noexcept { scaleFactor_ = Value == 0.0 ? 1.0 : Value; }
  /// Where FirstFrame starts.
  int SelectionStart() const noexcept { return selectionStart_; }
  void SetSelectionStart(int Value) noexcept { selectionStart_ = Value; }
  /// Where reading stops; negative: at the end of the record.
  int SelectionStop() const noexcept { return selectionStop_; }
  void SetSelectionStop(int Value);
  /// Wave files: insist on frames of exactly Length values from the codec.
  bool ForceLength() const noexcept { return forceLength_; }
  void SetForceLength(bool Value) noexcept { forceLength_ = Value; }
  int MaxFrames() const noexcept { return maxFrames_; }
  double FramesPerSecond() const noexcept { return framesPerSecond_; }

  /// Samples from RecordPosition to the end of the selection.
  int SamplesLeft() const noexcept;
  /// No frame left to read, by LastFrameCheck.
  bool IsEndOfFile() const noexcept;

  // --- Navigation --------------------------------------------------------------------------

  /// Reads at RecordPosition, then advances one frame less the overlap.
  void NextFrame();
  /// Reads at RecordPosition, then steps back one frame less the overlap.
  void PrevFrame();
  /// Reads at SelectionStart; the next position is one frame less the overlap from 0.
  void FirstFrame();
  /// Reads the record's last frame; the position moves to the record's end.
  void LastFrame();

  TNotifyEvent OnRecordPositionChange;  ///< after each frame read
  TNotifyEvent OnProcessAll;            ///< stored only

  /// Reads the next frame (or ends), by Continuous, Loop and LastFrameCheck.
  TPipeState InternalUpdate() override;
  /// Keeps the overlap in samples in step with the frame length.
  void UpdateSetLength(TObject* Sender) override;

private:
  void ReadFrame(int p);
  void ReadBinaryFrame(int p);
  void ReadTextFrame(int p);
  void ReadWaveFrame(int p);
  void OpenBinary();
  void OpenText();
  void OpenWave();
  void SelectRecord(int r);
  void UpdateFrameCounts();
  bool Loading() const noexcept { return ComponentState().Contains(csLoading); }
  int Frame() const noexcept;

  std::unique_ptr<TACMConverter> converter_;
  std::vector<TBinaryRecord> records_;  // binary formats: every record's header
  TVec textRecord_;                     // text formats: the whole record
  std::vector<std::uint8_t> bytes_;     // binary frame bytes

  // Wave: the "data" chunk and where the last read ended.
  std::int64_t waveDataOffset_ = 0, waveDataSize_ = 0, waveLastEnd_ = -1;
  int waveNextPosition_ = 0;
  int waveTargetBits_ = 16;

  int numberOfRecords_ = 0, recordNumber_ = 0, recordLength_ = 0;
  double recordTime_ = 0, recordFs_ = 0;
  TPrecision precision_ = prDouble;
  bool recordComplex_ = false;
  int recordPosition_ = 0, frameNumber_ = 0, maxFrames_ = 0;
  double recordTimePosition_ = 0, framesPerSecond_ = 0;
  TFraming framing_ = frSingleRecord;
  TLastFrameCheck lastFrameCheck_ = lfcZeroPadded;
  bool loop_ = false, forceLength_ = true;
  double overlappingPercent_ = 0, scaleFactor_ = 1.0;
  int overlappingSamples_ = 0, selectionStart_ = 0, selectionStop_ = -1;
};

/// A bank of readers.
class TSignalReadList : public TSignalList {
public:
  ONDRIX_CLASS_INFO()
  explicit TSignalReadList(TComponent* AOwner) : TSignalList(AOwner) {}
  TSignalRead* Items(int i) const { return static_cast<TSignalRead*>(TAnalysisList::Items(i)); }
  /// Writes item i: copies Value's settings into it.
  void SetItems(int i, const TSignalRead& Value) { Items(i)->Assign(Value); }
  /// CloseFile on every item.
  void CloseFiles();

protected:
  std::unique_ptr<TKvxComponent> AddItem() override;
};

}  // namespace ondrix
