#include "ondrix/FileSignal/SignalRead.h"

#include <algorithm>
#include <cmath>
#include <cstring>

#include "ondrix/FileSignal/Riff.h"
#include "ondrix/FileSignal/TextFormats.h"
#include "ondrix/framework/ClassBuilder.h"
#include "ondrix/framework/TStream.h"
#include "ondrix/vec/calcbase.h"

namespace ondrix {

namespace {

bool IsBinary(TFileFormat f) { return f == ffDat || f == ffBin || f == ffDbn; }
bool IsText(TFileFormat f) { return f == ffSgl || f == ffSfs || f == ffAsc; }

// A reading position or count computed in double, brought into int range.
int ToInt(double x) {
  if (!(x > -2147483648.0)) return x != x ? 0 : std::numeric_limits<int>::min();
  if (x >= 2147483647.0) return std::numeric_limits<int>::max();
  return static_cast<int>(x);
}

}  // namespace

const TClassInfo& TSignalRead::StaticClassInfo() {
  static const TClassInfo info =
      TClassBuilder<TSignalRead, TFileStorage>("TSignalRead")
          .Enum("Framing", &TSignalRead::Framing, &TSignalRead::SetFraming, {"frSingleRecord", "frAcrossAllRecords"},
                frSingleRecord)
          .Enum("LastFrameCheck", &TSignalRead::LastFrameCheck, &TSignalRead::SetLastFrameCheck,
                {"lfcZeroPadded", "lfcLastFullBlock", "lfcAdjustLength"}, lfcZeroPadded)
          .Prop("Loop", &TSignalRead::Loop, &TSignalRead::SetLoop, false)
          .Prop("OverlappingPercent", &TSignalRead::OverlappingPercent, &TSignalRead::SetOverlappingPercent, 0.0)
          .Prop("OverlappingSamples", &TSignalRead::OverlappingSamples, &TSignalRead::SetOverlappingSamples, 0)
          .Prop("RecordNumber", &TSignalRead::RecordNumber, &TSignalRead::SetRecordNumber, 0)
          .Prop("RecordPosition", &TSignalRead::RecordPosition, &TSignalRead::SetRecordPosition, 0)
          .Prop("RecordTimePosition", &TSignalRead::RecordTimePosition, &TSignalRead::SetRecordTimePosition)
          .Stored(false)
          .Prop("FrameNumber", &TSignalRead::FrameNumber, &TSignalRead::SetFrameNumber, 0)
          .Prop("ScaleFactor", &TSignalRead::ScaleFactor, &TSignalRead::SetScaleFactor, 1.0)
          .Prop("SelectionStart", &TSignalRead::SelectionStart, &TSignalRead::SetSelectionStart, 0)
          .Prop("SelectionStop", &TSignalRead::SelectionStop, &TSignalRead::SetSelectionStop, -1)
          .Prop("ForceLength", &TSignalRead::ForceLength, &TSignalRead::SetForceLength, true)
          .Prop("NumberOfRecords", &TSignalRead::NumberOfRecords)
          .Prop("RecordLength", &TSignalRead::RecordLength)
          .Prop("RecordTime", &TSignalRead::RecordTime)
          .Prop("MaxFrames", &TSignalRead::MaxFrames)
          .Prop("FramesPerSecond", &TSignalRead::FramesPerSecond)
          .Prop("Precision", &TSignalRead::Precision)
          .Build();
  return info;
}

TSignalRead::TSignalRead(TComponent* AOwner)
    : TFileStorage(AOwner), converter_(std::make_unique<TACMConverter>()) {
  SetUsesInputs(false);
}

TSignalRead::~TSignalRead() {
  BeginDestroy();
  CloseFile();
}

int TSignalRead::Frame() const noexcept { return ChannelCount() > 0 ? Length() / ChannelCount() : Length(); }

// --- Opening -------------------------------------------------------------------------------

void TSignalRead::OpenFile() {
  CloseFile();
  if (!FileExists(FileName())) ERaise("File not found: " + FileName());
  try {
    if (IsBinary(FileFormat()))
      OpenBinary();
    else if (IsText(FileFormat()))
      OpenText();
    else
      OpenWave();
    SetFileIsOpen(true);
    SelectRecord(0);
  } catch (...) {
    CloseFile();
    throw;
  }
}

void TSignalRead::OpenBinary() {
  fileStream_ = std::make_unique<TFileStream>(FileName(), fmOpenRead | fmShareDenyWrite);
  fileSize_ = fileStream_->Size();
  records_ = ScanBinaryRecords(*fileStream_, FileFormat());
  numberOfRecords_ = static_cast<int>(records_.size());
}

void TSignalRead::OpenText() {
  strings_.LoadFromFile(FileName());
  fileSize_ = static_cast<std::int64_t>(strings_.Text().size());
  switch (FileFormat()) {
    case ffSgl:
      if (strings_.Count() == 0) ERaise(FileName() + ": Strings.Count = 0!");
      numberOfRecords_ = SglRecordCount(strings_);
      break;
    case ffSfs: {
      double duration = 0;
      ParseSfs(strings_, textRecord_, duration);
      recordTime_ = duration;
      numberOfRecords_ = 1;
      break;
    }
    default: {
      double fs = 0;
      ParseAsc(strings_, textRecord_, fs);
      recordTime_ = textRecord_.Length() / fs;
      numberOfRecords_ = 1;
      break;
    }
  }
}

void TSignalRead::OpenWave() {
  try {
    riff_ = std::make_unique<TRiffFile>(FileName(), TRiffFile::rmRead);
  } catch (const std::exception&) {
    ERaise("Error opening audio file!");
  }
  fileSize_ = riff_->FileSize();
  riff_->Seek(0);
  TRiffChunk riff, fmt, data;
  if (!riff_->Descend(riff, nullptr, FourCC("RIFF"), FourCC("WAVE"))) ERaise("Error in mmIoDescend!");
  if (!riff_->Descend(fmt, &riff, FourCC("fmt "))) ERaise("Error in mmIoDescend!");
  // Only the first kSize bytes of a longer record are kept: nothing a decoder needs is beyond.
  TACMWaveFormat& src = converter_->SrcFormat();
  src = TACMWaveFormat{};
  const auto fmtBytes = static_cast<std::int64_t>(std::min<std::uint32_t>(fmt.Size, TACMWaveFormat::kSize));
  if (fmtBytes < 16) ERaise("Error reading audio file: the \"fmt \" chunk holds " + std::to_string(fmt.Size) + " bytes");
  if (riff_->Read(src.Bytes.data(), fmtBytes) != fmtBytes) ERaise("Unable to read the file: mmioRead error!");
  if (fmtBytes < 18) src.SetCbSize(0);
  if (src.Channels() == 0) ERaise("Error reading audio file: the format has no channels");
  if (src.SamplesPerSec() == 0) ERaise("Error reading audio file: the sampling frequency is 0");
  if (src.AvgBytesPerSec() == 0 || src.BlockAlign() == 0)
    ERaise("Error reading audio file: the format gives no byte rate or block size");
  riff_->Seek(riff.DataOffset + 4);
  if (!riff_->Descend(data, &riff, FourCC("data"))) ERaise("Error in mmIoDescend!");
  waveDataOffset_ = data.DataOffset;
  waveDataSize_ = data.Size;

  converter_->SuggestPCMFormat();
  const TACMWaveFormat& pcm = converter_->DstFormat();
  precision_ = WavePrecision(pcm);
  waveTargetBits_ = pcm.BitsPerSample();
  SetChannelCount(pcm.Channels());
  recordTime_ = static_cast<double>(waveDataSize_) / src.AvgBytesPerSec();
  recordLength_ = ToInt(std::round(src.SamplesPerSec() * recordTime_));
  numberOfRecords_ = 1;
}

void TSignalRead::CloseFile() {
  converter_->Close();
  riff_.reset();
  fileStream_.reset();
  strings_.Clear();
  textRecord_.Size(0, false);
  records_.clear();
  fileSize_ = 0;
  recordPosition_ = 0;
  waveLastEnd_ = -1;
  SetFileIsOpen(false);
}

std::string TSignalRead::FormatTagDescription() const {
  if (FileFormat() == ffWav) return TACMConverter::FormatTagDescription(converter_->SrcFormat());
  return FileFormatDescription(FileFormat());
}

std::string TSignalRead::FormatDescription() const {
  return FormatTagDescription() + ", " + FloatToStr(SamplingFrequency()) + " Hz, Ch: " + std::to_string(ChannelCount()) +
         ", Records: " + std::to_string(numberOfRecords_);
}

// --- Records -------------------------------------------------------------------------------

void TSignalRead::SetRecordNumber(int Value) {
  if (!FileIsOpen() || Value == recordNumber_) return;
  SelectRecord(Value);
}

void TSignalRead::SelectRecord(int r) {
  r = std::clamp(r, 0, std::max(numberOfRecords_ - 1, 0));
  if (numberOfRecords_ == 0) ERaise("Record number: " + std::to_string(r) + " not found!");
  double fs = 0;
  recordComplex_ = false;
  switch (FileFormat()) {
    case ffDat: {
      const TBinaryRecord& rec = records_[static_cast<std::size_t>(r)];
      recordLength_ = rec.RecordLength();
      recordTime_ = rec.RecordTime;
      fs = rec.SamplingFrequency;
      precision_ = rec.Precision;
      recordComplex_ = rec.Complex;
      SetChannelCount(rec.ChannelCount);
      break;
    }
    case ffBin:
    case ffDbn: {
      // The scan ends at an empty record: records after it are not reached.
      recordLength_ = 0;
      recordTime_ = 0;
      precision_ = FileFormat() == ffBin ? prSingle : prDouble;
      for (int k = 0; k <= r && records_[static_cast<std::size_t>(k)].Count > 0; ++k) {
        if (k < r) continue;
        recordLength_ = records_[static_cast<std::size_t>(k)].Count;
        recordTime_ = records_[static_cast<std::size_t>(k)].RecordTime;
        fs = records_[static_cast<std::size_t>(k)].SamplingFrequency;
      }
      SetChannelCount(1);
      break;
    }
    case ffSgl:
      ParseSglRecord(strings_, r, textRecord_, recordTime_);
      recordLength_ = textRecord_.Length();
      recordComplex_ = textRecord_.Complex();
      fs = recordLength_ / recordTime_;
      precision_ = prDouble;
      SetChannelCount(1);
      break;
    case ffSfs:
    case ffAsc:
      recordLength_ = textRecord_.Length();
      fs = recordLength_ / recordTime_;
      precision_ = prDouble;
      SetChannelCount(1);
      break;
    case ffWav: fs = converter_->DstFormat().SamplesPerSec(); break;
  }
  recordFs_ = fs;
  if (fs > 0 && std::isfinite(fs)) SetSamplingFrequency(fs);
  recordNumber_ = r;
  recordPosition_ = 0;
  frameNumber_ = 0;
  recordTimePosition_ = 0;
  waveLastEnd_ = -1;
  UpdateFrameCounts();
}

// --- Reading a frame -----------------------------------------------------------------------

void TSignalRead::ReadFrame(int p) {
  if (Loading() || !Active()) return;
  if (!FileIsOpen()) {
    if (!FileExists(FileName())) return;
    OpenFile();
  }
  p = std::max(p, 0);
  if (IsBinary(FileFormat()))
    ReadBinaryFrame(p);
  else if (IsText(FileFormat()))
    ReadTextFrame(p);
  else
    ReadWaveFrame(p);
  if (recordFs_ > 0 && std::isfinite(recordFs_)) SetSamplingFrequency(recordFs_);
  recordPosition_ = p;
  recordTimePosition_ = recordLength_ > 0 ? static_cast<double>(p) / recordLength_ * recordTime_ : 0.0;
  // Text records are held whole in memory, so the number is shown as 0 once read, as built.
  if (IsText(FileFormat())) recordNumber_ = 0;
  if (scaleFactor_ != 1.0) Data().Scale(scaleFactor_);
  if (OnRecordPositionChange) OnRecordPositionChange(this);
  UpdateFrameCounts();
}

void TSignalRead::ReadBinaryFrame(int p) {
  const int n = Length();
  TVec& data = Data();
  data.Size(n, recordComplex_);
  const int perSample = recordComplex_ ? 2 : 1;
  int got = 0;
  if (recordNumber_ < static_cast<int>(records_.size()) && recordLength_ > 0) {
    const TBinaryRecord& rec = records_[static_cast<std::size_t>(recordNumber_)];
    const std::int64_t first = static_cast<std::int64_t>(p) * rec.ChannelCount;
    const std::int64_t want = std::clamp<std::int64_t>(rec.Count - first, 0, n);
    if (want > 0) {
      const int size = rec.ValueSize();
      bytes_.resize(static_cast<std::size_t>(want * size));
      fileStream_->SetPosition(rec.DataOffset + first * size);
      got = static_cast<int>(fileStream_->Read(bytes_.data(), want * size) / size);
      DecodeValues(bytes_.data(), static_cast<std::size_t>(got) * perSample, data.PValues(), precision_);
    }
  }
  std::fill(data.PValues() + static_cast<std::ptrdiff_t>(got) * perSample, data.PValues() + data.RealLength(), 0.0);
}

void TSignalRead::ReadTextFrame(int p) {
  TVec& data = Data();
  data.Size(Length(), textRecord_.Complex());
  const int perSample = textRecord_.Complex() ? 2 : 1;
  const int count = std::clamp(textRecord_.Length() - p, 0, Length());
  if (count > 0)
    std::memcpy(data.PValues(), textRecord_.PValues() + static_cast<std::ptrdiff_t>(p) * perSample,
                sizeof(double) * static_cast<std::size_t>(count * perSample));
  std::fill(data.PValues() + static_cast<std::ptrdiff_t>(count) * perSample, data.PValues() + data.RealLength(), 0.0);
}

void TSignalRead::ReadWaveFrame(int p) {
  TACMConverter& c = *converter_;
  const bool exact = c.SuggestSampleCount(forceLength_ ? Length() : -1);
  if (forceLength_ && !exact)
    ERaise("The suggested Length of the data block can not be used with the current audio format!");
  const std::int64_t size = waveDataSize_;
  const std::int64_t block = std::clamp<std::int64_t>(c.GetBlockSize(), 1, std::max<std::int64_t>(size, 1));
  std::int64_t start = 0;
  if (recordLength_ > 0)
    start = std::llround(static_cast<double>(p) / recordLength_ * static_cast<double>(size) / block) * block;
  start = std::clamp<std::int64_t>(start, 0, size);
  // Reads stop at the end of "data": what follows is other chunks.
  const std::int64_t want = std::min<std::int64_t>(c.SrcByteCount(), size - start);
  if (start != waveLastEnd_) c.Reset();
  riff_->Seek(waveDataOffset_ + start);
  const std::int64_t read = want > 0 ? riff_->Read(c.SrcBuffer(), want) : 0;
  if (read < 0) ERaise("Unable to read the file: mmioRead error!");
  const std::int64_t whole = read / block * block;
  c.SetInitialByteCount(static_cast<int>(whole));
  c.Convert();
  const int bytesPerValue = std::max(waveTargetBits_ / 8, 1);
  const int produced = std::min(c.GetFinalByteCount() / bytesPerValue, Length());

  TVec& data = Data();
  data.Size(Length(), false);
  double* v = data.PValues();
  DecodeValues(c.DstBuffer(), static_cast<std::size_t>(produced), v, precision_);
  if (precision_ == prByte)
    for (int i = 0; i < produced; ++i) v[i] -= 128.0;
  std::fill(v + produced, v + data.Length(), 0.0);

  waveLastEnd_ = start + whole;
  waveNextPosition_ =
      size > 0 ? ToInt(std::round(static_cast<double>(start + whole) / static_cast<double>(size) * recordLength_)) : 0;
  // A tail shorter than a block never decodes, and a header whose byte rate gives fewer
  // samples than blocks maps a block to no sample: either way the next frame must move on.
  if (whole == 0)
    waveNextPosition_ = recordLength_;
  else
    waveNextPosition_ = std::max(waveNextPosition_, ToInt(p + 1.0));
}

// --- Frame counts and positions ------------------------------------------------------------

void TSignalRead::UpdateFrameCounts() {
  if (Length() == 0) return;
  const int frame = Frame();
  if (framing_ == frAcrossAllRecords) {
    maxFrames_ = numberOfRecords_;
    framesPerSecond_ = 1.0;
    frameNumber_ = recordNumber_;
    return;
  }
  const double step = (1.0 - 0.01 * overlappingPercent_) * frame;
  if (!(step > 0)) {
    // Full overlap never advances: there is one frame, wherever it is.
    maxFrames_ = 0;
    frameNumber_ = 0;
    return;
  }
  if (selectionStop_ > 0) {
    maxFrames_ = ToInt(std::trunc((selectionStop_ - frame) / step));
    if (recordTime_ > 0) framesPerSecond_ = maxFrames_ / (selectionStop_ / SamplingFrequency());
  } else {
    maxFrames_ = ToInt(std::trunc((recordLength_ - frame) / step));
    if (recordTime_ > 0) framesPerSecond_ = maxFrames_ / recordTime_;
  }
  frameNumber_ = ToInt(std::trunc(recordPosition_ / step));
}

void TSignalRead::SetFraming(TFraming Value) {
  framing_ = Value;
  UpdateFrameCounts();
}

void TSignalRead::SetOverlappingPercent(double Value) {
  overlappingPercent_ = std::isnan(Value) ? 0.0 : std::clamp(Value, 0.0, 100.0);
  overlappingSamples_ = ToInt(std::round(Frame() * overlappingPercent_ * 0.01));
  UpdateFrameCounts();
}

void TSignalRead::SetOverlappingSamples(int Value) {
  overlappingSamples_ = std::max(Value, 0);
  const int frame = Frame();
  if (Length() > 0 && frame > 0)
    overlappingPercent_ = std::min(static_cast<double>(overlappingSamples_) / frame, 1.0) * 100.0;
  UpdateFrameCounts();
}

void TSignalRead::SetSelectionStop(int Value) {
  if (Value == selectionStop_) return;
  selectionStop_ = Value;
  UpdateFrameCounts();
}

void TSignalRead::UpdateSetLength(TObject* Sender) {
  TFileStorage::UpdateSetLength(Sender);
  SetOverlappingPercent(overlappingPercent_);
}

void TSignalRead::SetRecordPosition(int Value) {
  recordPosition_ = std::max(Value, 0);
  ReadFrame(recordPosition_);
}

void TSignalRead::SetRecordTimePosition(double Value) {
  if (recordTime_ > 0)
    SetRecordPosition(ToInt(std::round(recordLength_ / recordTime_ * Value)));
  else
    SetRecordPosition(0);
}

void TSignalRead::SetFrameNumber(int Value) {
  frameNumber_ = Value;
  ReadFrame(ToInt(std::trunc(Frame() * (1.0 - 0.01 * overlappingPercent_) * Value)));
}

int TSignalRead::SamplesLeft() const noexcept {
  const int stop = selectionStop_ < 0 ? recordLength_ : std::min(selectionStop_, recordLength_);
  return stop - recordPosition_;
}

bool TSignalRead::IsEndOfFile() const noexcept {
  if (lastFrameCheck_ == lfcLastFullBlock) return Frame() > SamplesLeft();
  return SamplesLeft() < 1;
}

// --- Navigation ----------------------------------------------------------------------------

void TSignalRead::NextFrame() {
  ReadFrame(recordPosition_);
  if (FileFormat() == ffWav && overlappingSamples_ == 0 && FileIsOpen())
    recordPosition_ = waveNextPosition_;
  else
    recordPosition_ += Frame() - overlappingSamples_;
}

void TSignalRead::PrevFrame() {
  ReadFrame(recordPosition_);
  recordPosition_ = std::max(0, recordPosition_ - (Frame() - overlappingSamples_));
}

void TSignalRead::FirstFrame() {
  ReadFrame(selectionStart_);
  recordPosition_ = Frame() - overlappingSamples_;
}

void TSignalRead::LastFrame() {
  ReadFrame(recordLength_ - Frame());
  recordPosition_ = recordLength_;
}

// --- Pull step -----------------------------------------------------------------------------

TPipeState TSignalRead::InternalUpdate() {
  if (!FileIsOpen()) OpenFile();
  if (!Continuous()) {
    ReadFrame(recordPosition_);
    return pipeOK;
  }
  if (loop_) {
    if (IsEndOfFile())
      FirstFrame();
    else
      NextFrame();
    return pipeOK;
  }
  if (IsEndOfFile()) return pipeEnd;
  // A frame without one sample of every channel would never advance.
  if (Frame() < 1) ERaise("Length is smaller than ChannelCount!");
  if (lastFrameCheck_ == lfcAdjustLength) {
    // Length counts values over all channels: the short frame keeps every channel.
    const int left = SamplesLeft();
    if (left >= 1 && left <= Frame() - 1) SetLength(left * ChannelCount());
  }
  NextFrame();
  return pipeOK;
}

// --- List ----------------------------------------------------------------------------------

const TClassInfo& TSignalReadList::StaticClassInfo() {
  static const TClassInfo info = TClassBuilder<TSignalReadList, TSignalList>("TSignalReadList").Build();
  return info;
}

void TSignalReadList::CloseFiles() {
  for (int i = 0; i < Count(); ++i) Items(i)->CloseFile();
}

std::unique_ptr<TKvxComponent> TSignalReadList::AddItem() { return std::make_unique<TSignalRead>(nullptr); }

}  // namespace ondrix
