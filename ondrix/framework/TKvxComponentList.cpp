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
  items_.clear();  // items owned as components go with the component tree
  while (!unowned_.empty()) {
    std::unique_ptr<TKvxComponent> victim = std::move(unowned_.back());
    unowned_.pop_back();
  }
}

void TKvxComponentList::CheckIndex(int i) const {
  if (i < 0 || i >= GetCount()) throw EListError("List index out of bounds (" + std::to_string(i) + ")");
}

TKvxComponent* TKvxComponentList::Add() {
  std::unique_ptr<TKvxComponent> item = AddItem();
  TKvxComponent* raw = item.get();
  if (OwnItemsAsComponents()) {
    InsertComponent(std::move(item));  // Notification(opInsert) lists it
    if (IndexOf(raw) < 0) items_.push_back(raw);
  } else {
    if (ComponentState().Contains(csDesigning)) item->SetDesigning(true);
    unowned_.push_back(std::move(item));
    items_.push_back(raw);
  }
  return raw;
}

void TKvxComponentList::Delete(int i) {
  CheckIndex(i);
  // Out of the list before its destructor runs, so nobody finds a half-destroyed item.
  TKvxComponent* item = items_[static_cast<std::size_t>(i)];
  items_.erase(items_.begin() + i);
  if (item->Owner() == this) {
    std::unique_ptr<TComponent> victim = RemoveComponent(item);
    return;
  }
  for (auto it = unowned_.begin(); it != unowned_.end(); ++it) {
    if (it->get() == item) {
      std::unique_ptr<TKvxComponent> victim = std::move(*it);
      unowned_.erase(it);
      return;
    }
  }
}

void TKvxComponentList::Notification(TComponent* AComponent, TOperation Operation) {
  if (OwnItemsAsComponents() && AComponent && AComponent->Owner() == this) {
    auto* item = dynamic_cast<TKvxComponent*>(AComponent);
    if (Operation == opInsert && item && IndexOf(item) < 0) items_.push_back(item);
  }
  if (Operation == opRemove) std::erase(items_, AComponent);
  TKvxComponent::Notification(AComponent, Operation);
}

void TKvxComponentList::SetCount(int NewCount) {
  if (NewCount < 0) throw EListError("List count out of bounds (" + std::to_string(NewCount) + ")");
  while (GetCount() > NewCount) Delete(GetCount() - 1);
  while (GetCount() < NewCount) Add();
}

TKvxComponent* TKvxComponentList::Items(int i) const {
  CheckIndex(i);
  return items_[static_cast<std::size_t>(i)];
}

int TKvxComponentList::IndexOf(const TKvxComponent* Item) const noexcept {
  for (std::size_t i = 0; i < items_.size(); ++i) {
    if (items_[i] == Item) return static_cast<int>(i);
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
  for (TKvxComponent* item : items_)
    if (item->Owner() != this) item->SetDesigning(Value);  // owned ones follow their owner
}

void TKvxComponentList::DefineProperties(TFiler& Filer) {
  TKvxComponent::DefineProperties(Filer);
  Filer.DefineBinaryProperty(
      "Items", [this](TStream& s) { ReadItems(s); }, [this](TStream& s) { WriteItems(s); },
      GetCount() > 0 && !OwnItemsAsComponents());
}

void TKvxComponentList::WriteItems(TStream& Stream) const {
  WriteInt32LE(Stream, static_cast<std::int32_t>(GetCount()));
  for (TKvxComponent* item : items_) item->SaveTemplateToStream(Stream);
}

void TKvxComponentList::ReadItems(TStream& Stream) {
  // Each item's settings begin with their 4-byte length.
  const std::int32_t n = ReadCountLE(Stream, 4, "TKvxComponentList: item count");
  SetCount(n);
  for (TKvxComponent* item : items_) item->LoadTemplateFromStream(Stream);
}

}  // namespace ondrix
