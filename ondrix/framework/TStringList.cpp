#include "ondrix/framework/TStringList.h"

#include "ondrix/framework/ClassBuilder.h"
#include "ondrix/framework/TStream.h"
#include "ondrix/framework/errors.h"

namespace ondrix {

const TClassInfo& TStringList::StaticClassInfo() {
  static const TClassInfo info = TClassBuilder<TStringList, TPersistent>("TStringList").Build();
  return info;
}

TStringList::~TStringList() {
  // Owned objects go last first; a virtual Clear is of no use from here.
  while (!items_.empty()) {
    std::unique_ptr<TObject> owned = std::move(items_.back().Owned);
    items_.pop_back();
  }
}

void TStringList::CheckIndex(int i) const {
  if (i < 0 || i >= Count()) throw EListError("List index out of bounds (" + std::to_string(i) + ")");
}

const std::string& TStringList::Strings(int i) const {
  CheckIndex(i);
  return items_[static_cast<std::size_t>(i)].S;
}

void TStringList::SetStrings(int i, const std::string& S) {
  CheckIndex(i);
  items_[static_cast<std::size_t>(i)].S = S;
  Changed();
}

TObject* TStringList::Objects(int i) const {
  CheckIndex(i);
  return items_[static_cast<std::size_t>(i)].Object;
}

void TStringList::SetObjects(int i, TObject* AObject) {
  CheckIndex(i);
  TEntry& e = items_[static_cast<std::size_t>(i)];
  if (e.Object == AObject) return;
  std::unique_ptr<TObject> old = std::move(e.Owned);
  e.Object = AObject;
  Changed();
}

void TStringList::SetOwnedObject(int i, std::unique_ptr<TObject> AObject) {
  CheckIndex(i);
  TEntry& e = items_[static_cast<std::size_t>(i)];
  std::unique_ptr<TObject> old = std::move(e.Owned);
  e.Object = AObject.get();
  e.Owned = std::move(AObject);
  Changed();
}

int TStringList::Add(const std::string& S) {
  Insert(Count(), S);
  return Count() - 1;
}

int TStringList::AddObject(const std::string& S, TObject* AObject) {
  const int i = Add(S);
  SetObjects(i, AObject);
  return i;
}

void TStringList::Insert(int i, const std::string& S) {
  if (i < 0 || i > Count()) throw EListError("List index out of bounds (" + std::to_string(i) + ")");
  items_.insert(items_.begin() + i, TEntry{S, nullptr, nullptr});
  Changed();
}

void TStringList::Delete(int i) {
  CheckIndex(i);
  std::unique_ptr<TObject> owned = std::move(items_[static_cast<std::size_t>(i)].Owned);
  items_.erase(items_.begin() + i);
  owned.reset();
  Changed();
}

void TStringList::Clear() {
  if (items_.empty()) return;
  BeginUpdate();
  while (Count() > 0) Delete(Count() - 1);
  EndUpdate();
}

int TStringList::IndexOf(std::string_view S) const noexcept {
  for (std::size_t i = 0; i < items_.size(); ++i) {
    if (caseSensitive_ ? items_[i].S == S : SameText(items_[i].S, S)) return static_cast<int>(i);
  }
  return -1;
}

int TStringList::IndexOfObject(const TObject* AObject) const noexcept {
  for (std::size_t i = 0; i < items_.size(); ++i) {
    if (items_[i].Object == AObject) return static_cast<int>(i);
  }
  return -1;
}

std::string TStringList::Text() const {
  std::string text;
  for (const TEntry& e : items_) {
    text += e.S;
    text += "\r\n";
  }
  return text;
}

void TStringList::SetText(const std::string& Value) {
  BeginUpdate();
  try {
    Clear();
    std::size_t pos = 0;
    while (pos < Value.size()) {
      const std::size_t end = Value.find_first_of("\r\n", pos);
      if (end == std::string::npos) {
        Add(Value.substr(pos));
        break;
      }
      Add(Value.substr(pos, end - pos));
      pos = end + 1;
      if (Value[end] == '\r' && pos < Value.size() && Value[pos] == '\n') ++pos;
    }
  } catch (...) {
    EndUpdate();
    throw;
  }
  EndUpdate();
}

void TStringList::SaveToStream(TStream& Stream) const {
  const std::string text = Text();
  Stream.WriteBuffer(text.data(), static_cast<std::int64_t>(text.size()));
}

void TStringList::LoadFromStream(TStream& Stream) {
  const std::int64_t n = Stream.Size() - Stream.Position();
  std::string text(static_cast<std::size_t>(n > 0 ? n : 0), '\0');
  Stream.ReadBuffer(text.data(), static_cast<std::int64_t>(text.size()));
  SetText(text);
}

void TStringList::SaveToFile(const std::string& FileName) const {
  TFileStream f(FileName, fmCreate);
  SaveToStream(f);
}

void TStringList::LoadFromFile(const std::string& FileName) {
  TFileStream f(FileName, fmOpenRead | fmShareDenyWrite);
  LoadFromStream(f);
}

void TStringList::EndUpdate() {
  if (updateCount_ > 0 && --updateCount_ == 0) Changed();
}

void TStringList::Changed() {
  if (updateCount_ == 0 && OnChange) OnChange(this);
}

void TStringList::Assign(const TPersistent& Source) {
  if (&Source == this) return;
  const auto* src = dynamic_cast<const TStringList*>(&Source);
  if (!src) {
    TPersistent::Assign(Source);
    return;
  }
  BeginUpdate();
  try {
    Clear();
    for (const TEntry& e : src->items_) AddObject(e.S, e.Object);
  } catch (...) {
    EndUpdate();
    throw;
  }
  EndUpdate();
}

void TStringList::DefineProperties(TFiler& Filer) {
  Filer.DefineBinaryProperty(
      "Strings", [this](TStream& s) { LoadFromStream(s); }, [this](TStream& s) { SaveToStream(s); }, Count() > 0);
}

}  // namespace ondrix
