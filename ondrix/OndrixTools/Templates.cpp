#include "ondrix/OndrixTools/Templates.h"

#include <memory>
#include <vector>

#include "ondrix/framework/ClassBuilder.h"
#include "ondrix/vec/calcbase.h"
#include "ondrix/vec/exceptions.h"

namespace ondrix {

// --- TStringStreamList ---------------------------------------------------------------------

const TClassInfo& TStringStreamList::StaticClassInfo() {
  static const TClassInfo info = TClassBuilder<TStringStreamList, TStringList>("TStringStreamList").Build();
  return info;
}

TStringStreamList::~TStringStreamList() { Clear(); }

int TStringStreamList::Add(const std::string& Name) {
  int i = TStringList::Add(Name);
  SetOwnedObject(i, std::make_unique<TMemoryStream>());
  return i;
}

TMemoryStream* TStringStreamList::Streams(int i) const { return static_cast<TMemoryStream*>(Objects(i)); }

void TStringStreamList::Assign(const TPersistent& Source) {
  if (auto* src = dynamic_cast<const TStringStreamList*>(&Source)) {
    if (src == this) return;
    Clear();
    TMemoryStream tmp;
    src->SaveToStream(tmp);
    tmp.SetPosition(0);
    LoadFromStream(tmp);
    return;
  }
  // Names only: the base assignment attaches no streams by this path.
  TStringList::Assign(Source);
}

void TStringStreamList::SaveToStream(TStream& Stream) const {
  std::string text = Text();
  WriteInt32LE(Stream, static_cast<std::int32_t>(text.size()));
  if (!text.empty()) Stream.WriteBuffer(text.data(), static_cast<std::int64_t>(text.size()));
  for (int i = 0; i < Count(); ++i) {
    TMemoryStream* s = Streams(i);
    std::int64_t n = s ? s->Size() : 0;
    WriteInt32LE(Stream, static_cast<std::int32_t>(n));
    if (n > 0) Stream.WriteBuffer(s->Memory(), n);
  }
}

void TStringStreamList::LoadFromStream(TStream& Stream) {
  // The length fields are read without a size check (a missing one reads as 0), but what they
  // announce must be in the stream before anything is allocated for it.
  auto readBlock = [&Stream](const char* What) {
    std::int32_t n = 0;
    Stream.Read(&n, 4);
    std::string bytes(static_cast<std::size_t>(CheckCount(Stream, n, 1, What)), '\0');
    Stream.ReadBuffer(bytes.data(), n);
    return bytes;
  };
  // Everything is read before the list changes, so a bad stream leaves it as it was.
  const std::string text = readBlock("TStringStreamList: names length");
  TStringList names;
  names.SetText(text);
  std::vector<std::string> data;
  for (int i = 0; i < names.Count(); ++i) data.push_back(readBlock("TStringStreamList: entry size"));
  BeginUpdate();
  try {
    SetText(text);
    for (int i = 0; i < Count(); ++i) {
      const std::string& d = data[static_cast<std::size_t>(i)];
      Streams(i)->WriteBuffer(d.data(), static_cast<std::int64_t>(d.size()));
      Streams(i)->SetPosition(0);
    }
  } catch (...) {
    EndUpdate();
    throw;
  }
  EndUpdate();
}

void TStringStreamList::AppendFromStream(TStream& Stream) {
  TStringStreamList tmp;
  tmp.LoadFromStream(Stream);
  AppendFromList(tmp);
}

void TStringStreamList::AppendFromList(const TStringStreamList& List) {
  for (int i = 0; i < List.Count(); ++i) {
    int k = Add(List.Strings(i));
    if (TMemoryStream* src = List.Streams(i)) {
      Streams(k)->WriteBuffer(src->Memory(), src->Size());
      Streams(k)->SetPosition(0);
    }
  }
}

void TStringStreamList::DefineProperties(TFiler& Filer) {
  Filer.DefineBinaryProperty(
      "Data", [this](TStream& s) { LoadFromStream(s); }, [this](TStream& s) { SaveToStream(s); }, Count() > 0);
}

// --- TStreamedList -------------------------------------------------------------------------

const TClassInfo& TStreamedList::StaticClassInfo() {
  static const TClassInfo info = TClassBuilder<TStreamedList, TList>("TStreamedList").Build();
  return info;
}

void TStreamedList::Clear() {
  for (int i = Count() - 1; i >= 0; --i) Delete(i);
  TList::Clear();
}

// --- TStreamTemplates ----------------------------------------------------------------------

const TClassInfo& TStreamTemplates::StaticClassInfo() {
  static const TClassInfo info =
      TClassBuilder<TStreamTemplates, TPersistent>("TStreamTemplates")
          .Prop("Templates", &TStreamTemplates::TemplatesPtr)
          .Prop("TemplateIndex", &TStreamTemplates::TemplateIndex, &TStreamTemplates::SetTemplateIndex, -1)
          .Prop("TemplateName", &TStreamTemplates::TemplateName, &TStreamTemplates::SetTemplateName)
          .Stored(false)
          .Build();
  return info;
}

TStreamTemplates::TStreamTemplates(TObject* AOwner) : owner_(AOwner) {}

std::string TStreamTemplates::OwnerClassName() const { return owner_ ? owner_->ClassName() : std::string(); }

void TStreamTemplates::SetTemplateIndex(int New) {
  if (New == templateIndex_) return;
  const int count = templates_.Count();
  if (templateIndex_ >= 0 && templateIndex_ <= count - 1 && template_) {
    TMemoryStream* s = templates_.Streams(templateIndex_);
    s->Clear();
    template_->SaveToStream(*s);
    s->SetPosition(0);
  }
  if (New >= 0 && New <= count - 1) {
    TMemoryStream* s = templates_.Streams(New);
    s->SetPosition(0);
    if (template_) template_->LoadFromStream(*s);
    s->SetPosition(0);
    templateIndex_ = New;
  } else {
    templateIndex_ = -1;
  }
}

std::string TStreamTemplates::TemplateName() const {
  if (templateIndex_ >= 0 && templateIndex_ <= templates_.Count() - 1) return templates_.Strings(templateIndex_);
  return {};
}

void TStreamTemplates::SetTemplateName(const std::string& Name) {
  int i = templates_.IndexOf(Name);
  if (i != -1) SetTemplateIndex(i);
}

int TStreamTemplates::AddTemplate(const std::string& Name) {
  int i = templates_.Add(Name);
  SetTemplateIndex(-1);
  if (template_) template_->SaveToStream(*templates_.Streams(i));
  SetTemplateIndex(i);
  return i;
}

int TStreamTemplates::AddCopyTemplate(const std::string& Name) {
  int i = templates_.Add(Name);
  if (template_) template_->SaveToStream(*templates_.Streams(i));
  templates_.Streams(i)->SetPosition(0);
  return i;
}

void TStreamTemplates::Consolidate() {
  int i = templateIndex_;
  SetTemplateIndex(-1);
  SetTemplateIndex(i);
}

void TStreamTemplates::Delete(int i) {
  templates_.Delete(i);
  if (i == templateIndex_)
    templateIndex_ = -1;
  else if (i < templateIndex_)
    --templateIndex_;
}

void TStreamTemplates::Clear() {
  templates_.Clear();
  templateIndex_ = -1;
}

void TStreamTemplates::Update() {
  if (template_) template_->Update();
}

void TStreamTemplates::Assign(const TPersistent& Source) {
  if (auto* src = dynamic_cast<const TStreamTemplates*>(&Source)) {
    if (src == this) return;
    templateIndex_ = -1;
    templates_.Assign(src->templates_);
    SetTemplateIndex(src->templateIndex_);
    return;
  }
  TPersistent::Assign(Source);
}

void TStreamTemplates::SaveToStream(TStream& Stream) {
  Consolidate();
  std::vector<std::uint8_t> name = EncodeShortString(OwnerClassName());
  Stream.WriteBuffer(name.data(), static_cast<std::int64_t>(name.size()));
  WriteInt32LE(Stream, templateIndex_);
  templates_.SaveToStream(Stream);
}

void TStreamTemplates::LoadFromStream(TStream& Stream) {
  SetTemplateIndex(-1);
  std::uint8_t len = 0;
  Stream.ReadBuffer(&len, 1);
  std::string name(len, '\0');
  if (len > 0) Stream.ReadBuffer(name.data(), len);
  if (name != OwnerClassName()) ERaise("Data format type missmatch: " + name + " <> " + OwnerClassName());
  std::int32_t index = ReadInt32LE(Stream);
  templates_.LoadFromStream(Stream);
  SetTemplateIndex(index);
}

void TStreamTemplates::SaveToFile(const std::string& FileName) {
  TFileStream f(FileName, fmCreate);
  SaveToStream(f);
}

void TStreamTemplates::LoadFromFile(const std::string& FileName) {
  if (!FileExists(FileName)) return;
  TFileStream f(FileName, fmOpenRead | fmShareDenyWrite);
  LoadFromStream(f);
}

}  // namespace ondrix
