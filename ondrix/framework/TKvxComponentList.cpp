#include "ondrix/framework/TKvxComponentList.h"

#include "ondrix/framework/ClassBuilder.h"
#include "ondrix/framework/TStream.h"
#include "ondrix/framework/errors.h"

namespace ondrix {

const TClassInfo& TKvxComponentList::StaticClassInfo() {
  static const TClassInfo info = TClassBuilder<TKvxComponentList, TKvxComponent>("TKvxComponentList").Build();
  return info;
}

TKvxComponentList::~TKvxComponentList() {
  BeginDestroy();
  while (!items_.empty()) {
    std::unique_ptr<TKvxComponent> victim = std::move(items_.back());
    items_.pop_back();
  }
}

void TKvxComponentList::CheckIndex(int i) const {
  if (i < 0 || i >= GetCount()) throw EListError("List index out of bounds (" + std::to_string(i) + ")");
}

TKvxComponent* TKvxComponentList::Add() {
  std::unique_ptr<TKvxComponent> item = AddItem();
  if (ComponentState().Contains(csDesigning)) item->SetDesigning(true);
  items_.push_back(std::move(item));
  return items_.back().get();
}

void TKvxComponentList::Delete(int i) {
  CheckIndex(i);
  // Out of the list before its destructor runs, so nobody finds a half-destroyed item.
  std::unique_ptr<TKvxComponent> victim = std::move(items_[static_cast<std::size_t>(i)]);
  items_.erase(items_.begin() + i);
}

void TKvxComponentList::SetCount(int NewCount) {
  if (NewCount < 0) throw EListError("List count out of bounds (" + std::to_string(NewCount) + ")");
  while (GetCount() > NewCount) Delete(GetCount() - 1);
  while (GetCount() < NewCount) Add();
}

TKvxComponent* TKvxComponentList::Items(int i) const {
  CheckIndex(i);
  return items_[static_cast<std::size_t>(i)].get();
}

int TKvxComponentList::IndexOf(const TKvxComponent* Item) const noexcept {
  for (std::size_t i = 0; i < items_.size(); ++i) {
    if (items_[i].get() == Item) return static_cast<int>(i);
  }
  return -1;
}

void TKvxComponentList::Propagate(int SrcIndex, const std::vector<int>& DstIndices) {
  CheckIndex(SrcIndex);
  for (int d : DstIndices) CheckIndex(d);
  const TKvxComponent& src = *Items(SrcIndex);
  for (int d : DstIndices) {
    if (d != SrcIndex) Items(d)->AssignTemplate(src);
  }
}

void TKvxComponentList::SetDesigning(bool Value) {
  TKvxComponent::SetDesigning(Value);
  for (const auto& item : items_) item->SetDesigning(Value);
}

void TKvxComponentList::DefineProperties(TFiler& Filer) {
  TKvxComponent::DefineProperties(Filer);
  Filer.DefineBinaryProperty(
      "Items", [this](TStream& s) { ReadItems(s); }, [this](TStream& s) { WriteItems(s); }, GetCount() > 0);
}

void TKvxComponentList::WriteItems(TStream& Stream) const {
  WriteInt32LE(Stream, static_cast<std::int32_t>(GetCount()));
  for (const auto& item : items_) item->SaveTemplateToStream(Stream);
}

void TKvxComponentList::ReadItems(TStream& Stream) {
  const std::int32_t n = ReadInt32LE(Stream);
  if (n < 0) throw EReadError("Invalid item count " + std::to_string(n));
  SetCount(n);
  for (const auto& item : items_) item->LoadTemplateFromStream(Stream);
}

}  // namespace ondrix
