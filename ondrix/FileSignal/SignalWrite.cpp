#include "ondrix/FileSignal/SignalWrite.h"

#include <cmath>
#include <ctime>

#include "ondrix/FileSignal/BinaryRecords.h"
#include "ondrix/FileSignal/TextFormats.h"
#include "ondrix/framework/ClassBuilder.h"
#include "ondrix/framework/TStream.h"
#include "ondrix/vec/calcbase.h"

namespace ondrix {

namespace {

bool IsWaveWritable(TPrecision p) {
  return p == prSingle || p == prInteger || p == prSmallInt || p == prByte || p == prInt24;
}

// The host's date and time, as the wave "ICRD" entry carries it.
std::string NowText() {
  const std::time_t t = std::time(nullptr);
  std::tm local{};
  localtime_r(&t, &local);
  char text[32];
  std::strftime(text, sizeof text, "%Y-%m-%d %H:%M:%S", &local);
  return text;
}

}  // namespace

const std::vector<std::string>& PrecisionNames() {
  static const std::vector<std::string> names = {"prDouble", "prSingle", "prInteger", "prCardinal",
                                                 "prSmallInt", "prWord", "prShortInt", "prByte",
                                                 "prMuLaw", "prALaw", "prInt24"};
  return names;
}

const std::vector<std::string>& RoundingNames() {
  static const std::vector<std::string> names = {"rnRound", "rnTrunc", "rnFloor", "rnCeil"};
  return names;
}

const TClassInfo& TSignalWrite::StaticClassInfo() {
  static const TClassInfo info =
      TClassBuilder<TSignalWrite, TFileStorage>("TSignalWrite")
          .Prop("Input", &TSignalWrite::GetInput, &TSignalWrite::SetInput)
          .Stored(&TSignalWrite::InputsStored)
          .Prop("AppendFile", &TSignalWrite::AppendFile, &TSignalWrite::SetAppendFile, false)
          .Enum("Rounding", &TSignalWrite::Rounding, &TSignalWrite::SetRounding, RoundingNames(), rnRound)
          .Prop("RecordNumber", &TSignalWrite::RecordNumber, &TSignalWrite::SetRecordNumber, 0)
          .Enum("Precision", &TSignalWrite::Precision, &TSignalWrite::SetPrecision, PrecisionNames(), prDouble)
          .Prop("AuthorInfo", &TSignalWrite::AuthorInfo, &TSignalWrite::SetAuthorInfo, std::string())
          .Prop("TotalRecordLength", &TSignalWrite::TotalRecordLength, &TSignalWrite::SetTotalRecordLength)
          .Stored(false)
          .Prop("RecordLength", &TSignalWrite::RecordLength)
          .Prop("RecordTime", &TSignalWrite::RecordTime)
          .Build();
  return info;
}

TSignalWrite::TSignalWrite(TComponent* AOwner) : TFileStorage(AOwner) { SetUsesInputs(true); }

TSignalWrite::~TSignalWrite() {
  BeginDestroy();
  // Finishing the file keeps what was written readable; a failure cannot be reported here.
  try {
    CloseFile();
  } catch (...) {
  }
}

const TSignal& TSignalWrite::Source() const {
  if (!Input()) ERaise("Input = nil!");
  return *Input();
}

void TSignalWrite::TakeInputFormat() {
  if (!Input()) return;
  SetChannelCount(Input()->ChannelCount());
  SetSamplingFrequency(Input()->SamplingFrequency());
}

// --- File ----------------------------------------------------------------------------------

void TSignalWrite::SaveFile() {
  CloseFile();
  if (FileName().empty()) ERaise("FileName = '' !");
  TakeInputFormat();
  switch (FileFormat()) {
    case ffSgl:
    case ffSfs: strings_.Clear(); break;
    case ffWav: {
      waveFormat_ = MakeWaveWriteFormat(precision_, ChannelCount(), SamplingFrequency());
      try {
        riff_ = std::make_unique<TRiffFile>(FileName(), TRiffFile::rmCreate);
        TRiffChunk fmt;
        riff_->CreateChunk(riffChunk_, FourCC("RIFF"), FourCC("WAVE"));
        riff_->CreateChunk(fmt, FourCC("fmt "));
        riff_->Write(waveFormat_.Bytes.data(), TACMWaveFormat::kExtensibleSize);
        riff_->Ascend(fmt);
        riff_->CreateChunk(dataChunk_, FourCC("data"));
      } catch (const std::exception&) {
        riff_.reset();
        ERaise("Error creating wave file!");
      }
      break;
    }
    default:
      fileStream_ = std::make_unique<TFileStream>(FileName(), fmCreate);
      if (appendFile_) fileStream_->Seek(0, soFromEnd);
      break;
  }
  SetFileIsOpen(true);
}

void TSignalWrite::CloseFile() {
  if (FileIsOpen()) {
    // The file is closed whatever happens: a failed close must not leave it half open.
    struct TReset {
      TSignalWrite& w;
      ~TReset() {
        w.fileStream_.reset();
        w.riff_.reset();
        w.strings_.Clear();
        w.SetFileIsOpen(false);
        w.totalRecordLength_ = 0;
        w.recordOpen_ = false;
      }
    } reset{*this};
    switch (FileFormat()) {
      case ffSgl:
      case ffSfs:
        CloseRecord();
        if (strings_.Count() > 0) strings_.SaveToFile(FileName());
        break;
      case ffWav: FinishWave(); break;
      default: CloseRecord(); break;
    }
    return;
  }
  strings_.Clear();
  totalRecordLength_ = 0;
  recordOpen_ = false;
}

void TSignalWrite::FinishWave() {
  try {
    riff_->Ascend(dataChunk_);
    TRiffChunk list, entry;
    riff_->CreateChunk(list, FourCC("LIST"), FourCC("INFO"));
    const std::string date = NowText();
    riff_->CreateChunk(entry, FourCC("ICRD"));
    riff_->Write(date.c_str(), static_cast<std::int64_t>(date.size()) + 1);
    riff_->Ascend(entry);
    riff_->CreateChunk(entry, FourCC("ISFT"));
    riff_->Write(authorInfo_.c_str(), static_cast<std::int64_t>(authorInfo_.size()) + 1);
    riff_->Ascend(entry);
    riff_->Ascend(list);
    riff_->Ascend(riffChunk_);
  } catch (const std::exception&) {
    ERaise("Error closing wav file!");
  }
}

// --- Records -------------------------------------------------------------------------------

void TSignalWrite::SaveRecord() {
  const TSignal& in = Source();
  if (!FileIsOpen()) SaveFile();
  if (recordOpen_) CloseRecord();
  recordOpen_ = true;
  totalRecordLength_ = 0;
  WriteHeader(in);
  if (headerOnly_) return;
  WriteBlock(in);
  totalRecordLength_ = in.Length();
}

void TSignalWrite::InitRecord() {
  headerOnly_ = true;
  try {
    SaveRecord();
  } catch (...) {
    headerOnly_ = false;
    throw;
  }
  headerOnly_ = false;
}

void TSignalWrite::SaveBlock() {
  if (!Active()) return;
  const TSignal& in = Source();
  if (FileFormat() == ffSgl) ERaise("Block save not supported for this FileFormat!");
  if (!FileIsOpen()) SaveFile();
  if (!recordOpen_) InitRecord();
  WriteBlock(in);
  totalRecordLength_ += in.Length();
}

void TSignalWrite::CloseRecord() {
  if (!recordOpen_) return;
  const std::int64_t samples = totalRecordLength_;
  switch (FileFormat()) {
    case ffDat:
    case ffBin:
    case ffDbn: {
      if (!fileStream_) ERaise("FileStream = nil");
      const std::int64_t end = fileStream_->Position();
      fileStream_->SetPosition(recordStart_);
      TBinaryRecord r;
      r.Count = totalRecordLength_;
      r.RecordTime = samples / recordFs_;
      if (FileFormat() == ffDat) {
        WriteInt32LE(*fileStream_, r.Count);
      } else {
        WriteBinaryRecordHeader(*fileStream_, FileFormat(), r);
      }
      fileStream_->SetPosition(end);
      break;
    }
    case ffSfs:
      if (strings_.Count() > 1) {
        strings_.SetStrings(0, std::to_string(samples));
        strings_.SetStrings(1, FloatToStr(samples * (1.0 / recordFs_)));
      }
      break;
    default: break;
  }
  recordOpen_ = false;
}

void TSignalWrite::WriteHeader(const TSignal& in) {
  recordFs_ = in.SamplingFrequency();
  switch (FileFormat()) {
    case ffDat:
    case ffBin:
    case ffDbn: {
      if (!fileStream_) ERaise("FileStream = nil");
      recordStart_ = fileStream_->Position();
      TBinaryRecord r;
      r.Count = in.Length();
      r.SamplingFrequency = in.SamplingFrequency();
      r.Precision = precision_;
      r.Complex = in.Complex();
      r.ChannelCount = in.ChannelCount();
      WriteBinaryRecordHeader(*fileStream_, FileFormat(), r);
      break;
    }
    case ffSfs:
      strings_.Clear();
      strings_.Add(std::to_string(in.Length()));
      strings_.Add(FormatSample("0.###", in.SamplingTime()));
      strings_.Add("");
      break;
    case ffSgl:
      // A .sgl record is written whole: count, duration, values, and an empty line.
      if (headerOnly_) break;
      strings_.Add(std::to_string(in.Length()));
      strings_.Add(FloatToStr(in.SamplingTime()));
      break;
    default: break;  // .asc has no header; wave's is written with the file
  }
}

void TSignalWrite::WriteBlock(const TSignal& in) {
  const TVec& v = in.Data();
  const TFileFormat format = FileFormat();
  if (v.Complex() && format != ffDat && format != ffSgl)
    ERaise("Complex data can not be saved in this FileFormat!");
  switch (format) {
    case ffDat:
    case ffBin:
    case ffDbn: {
      if (!fileStream_) ERaise("FileStream = nil");
      const TPrecision p = format == ffDat ? precision_ : format == ffBin ? prSingle : prDouble;
      bytes_.resize(static_cast<std::size_t>(v.RealLength()) * static_cast<std::size_t>(SizeOfPrecision(p)));
      EncodeValues(v.PValues(), static_cast<std::size_t>(v.RealLength()), bytes_.data(), p, rounding_);
      fileStream_->WriteBuffer(bytes_.data(), static_cast<std::int64_t>(bytes_.size()));
      break;
    }
    case ffWav: {
      if (!riff_) ERaise("FIOHandle = nil");
      if (!IsWaveWritable(precision_) || SizeOfPrecision(precision_) * 8 != waveFormat_.BitsPerSample())
        ERaise("Dynamics not supported WaveFormat.wBitsPerSample = " + std::to_string(waveFormat_.BitsPerSample()));
      const double* src = v.PValues();
      if (precision_ == prByte) {
        // Unsigned 8-bit data is centred on 128; the input is left as it was.
        shifted_.Copy(v);
        shifted_.Add(128.0);
        src = shifted_.PValues();
      }
      bytes_.resize(static_cast<std::size_t>(v.Length()) * static_cast<std::size_t>(SizeOfPrecision(precision_)));
      EncodeValues(src, static_cast<std::size_t>(v.Length()), bytes_.data(), precision_, rounding_);
      riff_->Write(bytes_.data(), static_cast<std::int64_t>(bytes_.size()));
      break;
    }
    case ffSgl: {
      std::string row;
      for (int i = 0; i < v.Length(); ++i) {
        if (i > 0) row += ';';
        row += ValueToText(v, i);
      }
      strings_.Add(row);
      strings_.Add("");
      break;
    }
    case ffSfs:
      for (int i = 0; i < v.Length(); ++i) strings_.Add(FloatToStr(v.Values(i)));
      break;
    case ffAsc: WriteTextLines(in); break;
  }
}

void TSignalWrite::WriteTextLines(const TSignal& in) {
  if (!fileStream_) ERaise("FileStream = nil");
  // Time stamps continue from the samples already in the record, one sample period apart.
  const double dt = 1.0 / in.SamplingFrequency();
  const TVec& v = in.Data();
  std::string text;
  for (int i = 0; i < v.Length(); ++i) {
    text += FloatToStr((totalRecordLength_ + i) * dt);
    text += '\t';
    text += FloatToStr(v.Values(i));
    text += "\r\n";
  }
  fileStream_->WriteBuffer(text.data(), static_cast<std::int64_t>(text.size()));
}

void TSignalWrite::AppendRecord() {
  const bool keep = appendFile_;
  appendFile_ = true;
  try {
    SaveFile();
    SaveRecord();
    CloseFile();
  } catch (...) {
    appendFile_ = keep;
    throw;
  }
  appendFile_ = keep;
}

void TSignalWrite::SaveDataToFile(const std::string& AFileName) {
  SetFileName(AFileName);
  SaveFile();
  SaveBlock();
  CloseFile();
}

TPipeState TSignalWrite::InternalUpdate() {
  TakeInputFormat();
  SaveBlock();
  return pipeOK;
}

// --- List ----------------------------------------------------------------------------------

const TClassInfo& TSignalWriteList::StaticClassInfo() {
  static const TClassInfo info = TClassBuilder<TSignalWriteList, TSignalList>("TSignalWriteList").Build();
  return info;
}

void TSignalWriteList::SaveFiles() {
  for (int i = 0; i < Count(); ++i) Items(i)->SaveFile();
}

void TSignalWriteList::CloseFiles() {
  for (int i = 0; i < Count(); ++i) Items(i)->CloseFile();
}

std::unique_ptr<TKvxComponent> TSignalWriteList::AddItem() { return std::make_unique<TSignalWrite>(nullptr); }

}  // namespace ondrix
