#include "ondrix/framework/TCollection.h"

#include "ondrix/framework/ClassBuilder.h"
#include "ondrix/framework/errors.h"

namespace ondrix {

namespace {
[[noreturn]] void IndexError(int i) { throw EListError("List index out of bounds (" + std::to_string(i) + ")"); }
}  // namespace

// --- TCollectionItem -------------------------------------------------------------------------

const TClassInfo& TCollectionItem::StaticClassInfo() {
  static const TClassInfo info = TClassBuilder<TCollectionItem, TPersistent>("TCollectionItem").Build();
  return info;
}

int TCollectionItem::Index() const noexcept { return collection_ ? collection_->IndexOf(this) : -1; }

TPersistent* TCollectionItem::GetOwner() const { return collection_; }

void TCollectionItem::Changed() {
  if (collection_ && Index() >= 0) collection_->Changed(this);
}

// --- TCollection -----------------------------------------------------------------------------

const TClassInfo& TCollection::StaticClassInfo() {
  static const TClassInfo info = TClassBuilder<TCollection, TPersistent>("TCollection").Build();
  return info;
}

TCollection::~TCollection() {
  // Items are destroyed last first and out of the list, so none sees a half-cleared collection.
  while (!items_.empty()) {
    std::unique_ptr<TCollectionItem> victim = std::move(items_.back());
    items_.pop_back();
  }
}

TCollectionItem* TCollection::Items(int i) const {
  if (i < 0 || i >= Count()) IndexError(i);
  return items_[static_cast<std::size_t>(i)].get();
}

int TCollection::IndexOf(const TCollectionItem* Item) const noexcept {
  for (std::size_t i = 0; i < items_.size(); ++i) {
    if (items_[i].get() == Item) return static_cast<int>(i);
  }
  return -1;
}

std::unique_ptr<TCollectionItem> TCollection::CreateItem() { return std::make_unique<TCollectionItem>(this); }

TCollectionItem* TCollection::Add() { return Insert(Count()); }

TCollectionItem* TCollection::Insert(int Index) {
  if (Index < 0 || Index > Count()) IndexError(Index);
  std::unique_ptr<TCollectionItem> item = CreateItem();
  TCollectionItem* raw = item.get();
  items_.insert(items_.begin() + Index, std::move(item));
  Changed(nullptr);
  return raw;
}

void TCollection::Delete(int i) {
  if (i < 0 || i >= Count()) IndexError(i);
  std::unique_ptr<TCollectionItem> victim = std::move(items_[static_cast<std::size_t>(i)]);
  items_.erase(items_.begin() + i);
  victim.reset();
  Changed(nullptr);
}

void TCollection::Clear() {
  if (items_.empty()) return;
  BeginUpdate();
  while (!items_.empty()) {
    std::unique_ptr<TCollectionItem> victim = std::move(items_.back());
    items_.pop_back();
  }
  EndUpdate();
}

void TCollection::Assign(const TPersistent& Source) {
  if (&Source == this) return;
  const auto* src = dynamic_cast<const TCollection*>(&Source);
  if (!src) {
    TPersistent::Assign(Source);
    return;
  }
  BeginUpdate();
  try {
    Clear();
    for (int i = 0; i < src->Count(); ++i) Add()->Assign(*src->Items(i));
  } catch (...) {
    EndUpdate();
    throw;
  }
  EndUpdate();
}

void TCollection::EndUpdate() {
  if (updateCount_ > 0 && --updateCount_ == 0) Changed(nullptr);
}

void TCollection::Changed(TCollectionItem* Item) {
  if (updateCount_ == 0) Update(Item);
}

}  // namespace ondrix
