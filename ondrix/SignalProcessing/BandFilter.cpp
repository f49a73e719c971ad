#include "ondrix/SignalProcessing/BandFilter.h"

#include <cmath>
#include <cstring>
#include <nlohmann/json.hpp>

#include "ondrix/framework/ClassBuilder.h"
#include "ondrix/framework/Settings.h"

namespace ondrix {

void TBandFilterRecord::Assign(const TBandFilterRecord& Src) {
  FreqStart = Src.FreqStart;
  FreqStop = Src.FreqStop;
  Gain = Src.Gain;
  Ripple = Src.Ripple;
  Extra = Src.Extra;
  Flag = Src.Flag;
}

void TBandFilterRecord::Assign(const TBandFilterRecordDouble& Src) {
  FreqStart = Src.FreqStart;
  FreqStop = Src.FreqStop;
  Gain = Src.Gain;
  Ripple = Src.Ripple;
  Extra = Src.Extra;
  Flag = Src.Flag;
}

double TBandFilterRecord::Deviation() const {
  double r = std::pow(10.0, -Ripple / 20.0);
  return IsStopBand() ? r : (1.0 - r) / 2.0;
}

// --- TBandFilterList -------------------------------------------------------------------------

const TClassInfo& TBandFilterList::StaticClassInfo() {
  static const TClassInfo info = TClassBuilder<TBandFilterList, TStreamedList>("TBandFilterList").Build();
  return info;
}

TBandFilterList::~TBandFilterList() { Clear(); }

int TBandFilterList::Add(const TBandFilterRecord& Rec) {
  auto r = std::make_unique<TBandFilterRecord>();
  r->Assign(Rec);
  int i = TList::Add(r.get());
  owned_.push_back(std::move(r));
  return i;
}

int TBandFilterList::Add(double FreqStart, double FreqStop, double Gain, double Ripple) {
  TBandFilterRecord r;
  r.FreqStart = FreqStart;
  r.FreqStop = FreqStop;
  r.Gain = Gain;
  r.Ripple = Ripple;
  return Add(r);
}

int TBandFilterList::AddPointer(TBandFilterRecord* Rec) { return TList::Add(Rec); }

void TBandFilterList::Delete(int i) {
  auto* r = Items(i);  // checks the index
  TStreamedList::Delete(i);
  std::erase_if(owned_, [r](const auto& p) { return p.get() == r; });
}

void TBandFilterList::Assign(const TBandFilterList& Src) {
  if (&Src == this) return;
  Clear();
  for (int i = 0; i < Src.Count(); ++i) Add(*Src.Items(i));
}

void TBandFilterList::Sort() {
  TList::Sort([](void* a, void* b) {
    double x = static_cast<TBandFilterRecord*>(a)->FreqStart, y = static_cast<TBandFilterRecord*>(b)->FreqStart;
    return x < y ? -1 : (x > y ? 1 : 0);
  });
}

bool TBandFilterList::DeleteOverlapingBands() {
  Sort();
  bool deleted = false;
  for (int i = Count() - 2; i >= 0; --i) {
    if (i + 1 < Count() && !(Items(i + 1)->FreqStart > Items(i)->FreqStop)) {
      Delete(i + 1);
      deleted = true;
    }
  }
  return deleted;
}

TFilterError TBandFilterList::CheckFilter(int& Index, double Nyquist) const {
  Index = -1;
  if (Count() < 2) return ferNeedTwoBands;
  for (int i = 0; i < Count(); ++i) {
    const TBandFilterRecord& b = *Items(i);
    Index = i;
    if (std::isnan(b.FreqStart) || std::isnan(b.FreqStop) || b.FreqStart > b.FreqStop) return ferInvalidBand;
    if (b.FreqStart < 0.0 || b.FreqStop > Nyquist) return ferRangeError;
    if (i > 0 && !(b.FreqStart > Items(i - 1)->FreqStop)) return ferOverlappingBands;
    if (i > 0 && b.IsStopBand() && Items(i - 1)->IsStopBand()) return ferConsecutiveStopBands;
    if (!(b.Gain >= 0.0) || !(b.Ripple > 0.0) || !std::isfinite(b.Ripple) || !(b.Deviation() < 1.0))
      return ferGainRipple;
  }
  Index = -1;
  return ferNone;
}

void TBandFilterList::SaveToStream(TStream& Stream) const {
  std::vector<TBandFilterRecordDouble> block(static_cast<std::size_t>(Count()) + 1);
  block[0].FreqStart = static_cast<double>(Count());
  for (int i = 0; i < Count(); ++i) block[i + 1] = Items(i)->ToDouble();
  Stream.WriteBuffer(block.data(), static_cast<std::int64_t>(block.size() * sizeof(TBandFilterRecordDouble)));
}

void TBandFilterList::LoadFromStream(TStream& Stream) {
  Clear();
  TBandFilterRecordDouble header;
  Stream.ReadBuffer(&header, sizeof header);
  constexpr const char* kWhat = "TBandFilterList: band count";
  const int n = CheckCount(Stream, RoundToInt32(header.FreqStart, 0, INT32_MAX, kWhat),
                           sizeof(TBandFilterRecordDouble), kWhat);
  std::vector<TBandFilterRecordDouble> bands(static_cast<std::size_t>(n));
  Stream.ReadBuffer(bands.data(), static_cast<std::int64_t>(bands.size() * sizeof(TBandFilterRecordDouble)));
  for (const auto& d : bands) {
    TBandFilterRecord r;
    r.Assign(d);
    Add(r);
  }
}

void TBandFilterList::SaveToJson(TFiler::TJson& Value) const {
  Value = TFiler::TJson::array();
  for (int i = 0; i < Count(); ++i) {
    const TBandFilterRecord& b = *Items(i);
    TFiler::TJson j = TFiler::TJson::object();
    j["FreqStart"] = DoubleToSettingsJson(b.FreqStart);
    j["FreqStop"] = DoubleToSettingsJson(b.FreqStop);
    j["Gain"] = DoubleToSettingsJson(b.Gain);
    j["Ripple"] = DoubleToSettingsJson(b.Ripple);
    if (b.Extra != 0.0 || std::signbit(b.Extra)) j["Extra"] = DoubleToSettingsJson(b.Extra);
    if (b.Flag != 0) j["Flag"] = b.Flag;
    Value.push_back(std::move(j));
  }
}

void TBandFilterList::LoadFromJson(const TFiler::TJson& Value) {
  if (!Value.is_array()) throw EJsonPropertyError("", "an array of bands expected");
  std::vector<TBandFilterRecord> bands(Value.size());
  for (std::size_t i = 0; i < Value.size(); ++i) {
    TJsonRecordReader r(Value[i], i);
    TBandFilterRecord& b = bands[i];
    b.FreqStart = r.Double("FreqStart");
    b.FreqStop = r.Double("FreqStop");
    b.Gain = r.Double("Gain");
    b.Ripple = r.Double("Ripple");
    b.Extra = r.Double("Extra", 0.0);
    b.Flag = static_cast<unsigned char>(r.Integer("Flag", 0, 255, 0));
    r.Finish();
  }
  Clear();
  for (const TBandFilterRecord& b : bands) Add(b);
}

// --- TFilterList ---------------------------------------------------------------------------

const TClassInfo& TFilterList::StaticClassInfo() {
  static const TClassInfo info = TClassBuilder<TFilterList, TStreamTemplates>("TFilterList").Build();
  return info;
}

TFilterList::TFilterList(TObject* AOwner) : TStreamTemplates(AOwner), bands_(std::make_unique<TBandFilterList>(AOwner)) {
  TStreamTemplates::SetTemplate(bands_.get());
}

TFilterList::~TFilterList() { TStreamTemplates::SetTemplate(nullptr); }

void TFilterList::Assign(const TPersistent& Source) {
  if (auto* src = dynamic_cast<const TFilterList*>(&Source)) {
    if (src == this) return;
    TStreamTemplates::Assign(Source);
    bands_->Assign(*src->bands_);
    return;
  }
  TStreamTemplates::Assign(Source);
}

void TFilterList::DefineProperties(TFiler& Filer) {
  TStreamTemplates::DefineProperties(Filer);
  Filer.DefineJsonProperty(
      "Bands",
      [this](const TFiler::TJson& j, bool apply) {
        TBandFilterList bands;
        bands.LoadFromJson(j);
        if (apply) bands_->Assign(bands);
      },
      // Left out when empty only with no snapshot selected: loading the selection refills it.
      [this](TFiler::TJson& j) { bands_->SaveToJson(j); }, true, bands_->Count() == 0 && TemplateIndex() < 0);
  // Files written before the bands were JSON hold the list's stream image.
  Filer.DefineBinaryProperty("Bands", [this](TStream& s) { bands_->LoadFromStream(s); }, nullptr, false);
}

}  // namespace ondrix
