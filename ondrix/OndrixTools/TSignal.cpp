#include "ondrix/OndrixTools/TSignal.h"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <string>

#include "ondrix/framework/ClassBuilder.h"
#include "ondrix/framework/TStringList.h"
#include "ondrix/vec/calcbase.h"

namespace ondrix {

int SignalTextColumnWidth = 25;

void CheckLoadedLength(const TComponent& Owner, const TVec& v, int n, const char* Who) {
  if (!Owner.ComponentState().Contains(csLoading) || n < 0 || n > kMaxVecLength) return;
  if (static_cast<std::int64_t>(n) * (v.Complex() ? 2 : 1) > kMaxLoadedValues)
    ERaise(std::string(Who) + ": length " + std::to_string(n) + " out of range (a settings file may ask for at most " +
           std::to_string(kMaxLoadedValues) + " values)");
}

TFloatArray ToFloatArray(const TVec& v) {
  TFloatArray a;
  a.Complex = v.Complex();
  a.Values.assign(v.PValues(), v.PValues() + v.RealLength());
  return a;
}

void FromFloatArray(TVec& v, const TFloatArray& a) {
  int n = static_cast<int>(a.Values.size());
  v.Size(a.Complex ? n / 2 : n, a.Complex);
  if (v.RealLength() > 0) v.CopyFromArray(a.Values.data(), v.RealLength());
}

const TClassInfo& TSignal::StaticClassInfo() {
  static const TClassInfo info =
      TClassBuilder<TSignal, TAnalysis>("TSignal")
          .Prop("ChannelCount", &TSignal::ChannelCount, &TSignal::SetChannelCount, 1)
          .Prop("BandWidth", &TSignal::BandWidth)
          .Prop("Data", &TSignal::DataArray, &TSignal::SetDataArray)
          .Stored(&TSignal::AllowStreaming)
          .Prop("Length", &TSignal::Length, &TSignal::SetLength, 128)
          .Prop("SamplingFrequency", &TSignal::SamplingFrequency, &TSignal::SetSamplingFrequency)
          .Prop("Complex", &TSignal::Complex, &TSignal::SetComplex, false)
          .Build();
  return info;
}

TSignal::TSignal(TComponent* AOwner) : TAnalysis(AOwner) {
  marks_.SetSortType(srtTime);
  data_.OnSetSize = [this](TVec*) { UpdateSetLength(this); };
  SetSamplingFrequency(1.0);
  SetLength(128);
}

TSignal::~TSignal() {
  BeginDestroy();
  data_.OnSetSize = nullptr;
}

void TSignal::SetLength(int n) {
  CheckLoadedLength(*this, data_, n, "TSignal");
  data_.SetLength(n);
}

TFloatArray TSignal::DataArray() const { return ToFloatArray(data_); }
void TSignal::SetDataArray(const TFloatArray& A) { FromFloatArray(data_, A); }

// --- Scale ---------------------------------------------------------------------------------

void TSignal::SetSamplingTime(double T) {
  complex_ = data_.Complex();
  length_ = data_.Length();
  samplingTime_ = T;
  if (!(T > 0)) return;
  stopTime_ = T + startTime_;
  if (length_ < 1) {
    bandWidth_ = 0;
    samplingTime_ = 0;  // an empty signal has no scale
    dt_ = 0;
    hzRes_ = 0;
    return;
  }
  const double perChannel = static_cast<double>(length_) / channelCount_;
  samplingFrequency_ = perChannel / T;
  dt_ = T / perChannel;
  if (complex_) {
    hzRes_ = 1.0 / (2.0 * T);
    bandWidth_ = samplingFrequency_;
  } else {
    hzRes_ = 1.0 / T;
    bandWidth_ = samplingFrequency_ / 2.0;
  }
  SetBandWidthL(bandWidthL_);
}

void TSignal::SetSamplingFrequency(double F) {
  if (F > 0 && channelCount_ > 0)
    SetSamplingTime(static_cast<double>(length_) / channelCount_ / F);
  else
    SetSamplingTime(0);
  samplingFrequency_ = F;
}

void TSignal::SetDt(double D) { SetSamplingTime(static_cast<double>(length_) / channelCount_ * D); }

void TSignal::SetHzRes(double H) { SetSamplingTime(complex_ ? 1.0 / (2.0 * H) : 1.0 / H); }

void TSignal::SetChannelCount(int N) {
  if (N == channelCount_) return;
  channelCount_ = N;
  SetSamplingTime(static_cast<double>(length_) / channelCount_ * dt_);
}

void TSignal::SetBandWidthL(double L) {
  bandWidthL_ = L;
  bandWidthH_ = L + bandWidth_;
}

void TSignal::UpdateSetLength(TObject*) {
  if (samplingFrequency_ > 0 && channelCount_ > 0)
    SetSamplingTime(static_cast<double>(data_.Length()) / channelCount_ / samplingFrequency_);
  else if (samplingTime_ > 0 && length_ > 0)
    SetSamplingTime(static_cast<double>(data_.Length()) * samplingTime_ / length_);
  else
    SetSamplingTime(samplingTime_);
}

// --- Copying and measures ------------------------------------------------------------------

void TSignal::Copy(const TSignal& Src) {
  data_.Copy(Src.data_);
  SetSamplingFrequency(Src.samplingFrequency_);
}

void TSignal::Size(const TSignal& Src) {
  SetComplex(Src.Complex());
  SetLength(Src.Length());
  SetSamplingFrequency(Src.samplingFrequency_);
}

void TSignal::BeforeInternalUpdate() {
  if (!UsesInputs()) return;
  TSignal* src = FormatSource();
  if (!src) return;
  SetChannelCount(src->ChannelCount());
  SetComplex(src->Complex());
  SetBandWidthL(src->BandWidthL());
  SetSamplingFrequency(src->SamplingFrequency());
}

void TSignal::MinMax() {
  if (data_.Length() == 0) {
    maxAmplt_ = minAmplt_ = 0;
    return;
  }
  if (data_.Complex()) {
    maxAmplt_ = std::abs(data_.Maxc());
    minAmplt_ = std::abs(data_.Minc());
  } else {
    data_.MaxMin(maxAmplt_, minAmplt_);
  }
}

double TSignal::Peak() const {
  if (data_.Length() == 0) return 0.0;
  TCplx mean = data_.Meanc();
  return std::max(std::abs(TCplx(maxAmplt_, 0) - mean), std::abs(TCplx(minAmplt_, 0) - mean));
}

double TSignal::Crest() const {
  double rms = data_.Length() > 0 ? data_.RMS() : 0.0;
  return rms > 0 ? Peak() / rms : 0.0;
}

// --- Streaming and text --------------------------------------------------------------------

void TSignal::SaveBinaryStream(TStream& Stream) const { marks_.SaveToStream(Stream); }
void TSignal::LoadBinaryStream(TStream& Stream) { marks_.LoadFromStream(Stream); }

void TSignal::DefineProperties(TFiler& Filer) {
  TAnalysis::DefineProperties(Filer);
  Filer.DefineBinaryProperty(
      "SignalBinaryData", [this](TStream& s) { LoadBinaryStream(s); },
      [this](TStream& s) { SaveBinaryStream(s); },
      AllowStreaming() && !ComponentState().Contains(csDesigning));
}

namespace {

void AddHeader(TStringList& Dst, const std::string& XHeader, const std::string& YHeader) {
  if (!XHeader.empty() || !YHeader.empty()) Dst.Add(AlignString(XHeader, SignalTextColumnWidth) + YHeader);
}

}  // namespace

void TSignal::ValuesToStrings(TStringList& Dst, const std::string& XFormat, const std::string& YFormat,
                              const std::string& XHeader, const std::string& YHeader) const {
  AddHeader(Dst, XHeader, YHeader);
  for (int i = 0; i < data_.Length(); ++i)
    Dst.Add(AlignString(FormatSample(XFormat, i * dt_), SignalTextColumnWidth) + FormatSample(YFormat, data_.Values(i)));
}

void TSignal::MarksToStrings(TStringList& Dst, const std::string& XFormat, const std::string& YFormat,
                             const std::string& XHeader, const std::string& YHeader) const {
  AddHeader(Dst, XHeader, YHeader);
  for (int i = 0; i < marks_.Count(); ++i) {
    const TMarkRecord& m = marks_.Values(i);
    Dst.Add(AlignString(FormatSample(XFormat, m.Time), SignalTextColumnWidth) + FormatSample(YFormat, m.Amplt));
  }
}

}  // namespace ondrix
