#include "ondrix/OndrixTools/Collections.h"

#include <vector>

#include "ondrix/OndrixTools/TSignal.h"
#include "ondrix/OndrixTools/TSpectrum.h"
#include "ondrix/framework/ClassBuilder.h"
#include "ondrix/vec/exceptions.h"

namespace ondrix {

// --- Signal inputs -------------------------------------------------------------------------

const TClassInfo& TSignalItem::StaticClassInfo() {
  static const TClassInfo info = TClassBuilder<TSignalItem, TCollectionItem>("TSignalItem")
                                     .Prop("Input", &TSignalItem::Input, &TSignalItem::SetInput)
                                     .Build();
  return info;
}

TSignalItem::TSignalItem(TCollection* ACollection) : TCollectionItem(ACollection) {
  if (!dynamic_cast<TSignalCollection*>(ACollection)) throw Exception("Collection = nil!");
}

TSignalCollection& TSignalItem::Owner() const { return *static_cast<TSignalCollection*>(Collection()); }

void TSignalItem::SetInput(TSignal* Value) {
  TSignalCollection& c = Owner();
  if (c.BlockAssign()) return;
  if (c.OnSetInput() && input_) input_->SetOnNotifyUpdate(nullptr);
  input_ = Value;
  if (!Value) return;
  if (c.OnSetInput()) Value->SetOnNotifyUpdate(c.OnSetInput());
  Value->FreeNotification(c.OwnerComponent());
}

void TSignalItem::Assign(const TPersistent& Source) {
  if (auto* s = dynamic_cast<const TSignalItem*>(&Source)) {
    SetInput(s->Input());
    return;
  }
  TCollectionItem::Assign(Source);
}

const TClassInfo& TSignalCollection::StaticClassInfo() {
  static const TClassInfo info = TClassBuilder<TSignalCollection, TCollection>("TSignalCollection").Build();
  return info;
}

TSignalCollection::TSignalCollection(TAnalysis* AOwner) : TCollection(AOwner), owner_(AOwner) {}

TSignalCollection::~TSignalCollection() {
  if (!onSetInput_) return;
  for (int i = 0; i < Count(); ++i)
    if (TSignal* s = Items(i)->Input()) s->SetOnNotifyUpdate(nullptr);
}

TSignalItem* TSignalCollection::Add() {
  auto* item = static_cast<TSignalItem*>(TCollection::Add());
  item->OnSetInput = onSetInput_;
  return item;
}

std::unique_ptr<TCollectionItem> TSignalCollection::CreateItem() { return std::make_unique<TSignalItem>(this); }

void TSignalCollection::Assign(const TPersistent& Source) {
  if (!blockAssign_) TCollection::Assign(Source);
}

void TSignalCollection::SetOnSetInput(TNotifyEvent Handler) {
  onSetInput_ = std::move(Handler);
  for (int i = 0; i < Count(); ++i) Items(i)->OnSetInput = onSetInput_;
}

// --- Spectrum inputs -----------------------------------------------------------------------

const TClassInfo& TSpectrumItem::StaticClassInfo() {
  static const TClassInfo info = TClassBuilder<TSpectrumItem, TCollectionItem>("TSpectrumItem")
                                     .Prop("Input", &TSpectrumItem::Input, &TSpectrumItem::SetInput)
                                     .Build();
  return info;
}

TSpectrumItem::TSpectrumItem(TCollection* ACollection) : TCollectionItem(ACollection) {
  if (!dynamic_cast<TSpectrumCollection*>(ACollection)) throw Exception("Collection = nil!");
}

TSpectrumCollection& TSpectrumItem::Owner() const { return *static_cast<TSpectrumCollection*>(Collection()); }

void TSpectrumItem::SetInput(TSpectrum* Value) {
  TSpectrumCollection& c = Owner();
  if (c.BlockAssign()) return;
  if (input_) input_->SetOnNotifyUpdate(nullptr);
  input_ = Value;
  if (!Value) return;
  Value->SetOnNotifyUpdate(c.OnSetInput());
  Value->FreeNotification(c.OwnerComponent());
}

void TSpectrumItem::Assign(const TPersistent& Source) {
  if (auto* s = dynamic_cast<const TSpectrumItem*>(&Source)) {
    SetInput(s->Input());
    return;
  }
  TCollectionItem::Assign(Source);
}

const TClassInfo& TSpectrumCollection::StaticClassInfo() {
  static const TClassInfo info = TClassBuilder<TSpectrumCollection, TCollection>("TSpectrumCollection").Build();
  return info;
}

TSpectrumCollection::TSpectrumCollection(TAnalysis* AOwner) : TCollection(AOwner), owner_(AOwner) {
  if (owner_) owner_->spectrumInputs_.push_back(this);
}

TSpectrumCollection::~TSpectrumCollection() {
  for (int i = 0; i < Count(); ++i)
    if (TSpectrum* s = Items(i)->Input()) s->SetOnNotifyUpdate(nullptr);
  if (owner_) std::erase(owner_->spectrumInputs_, this);
}

TSpectrumItem* TSpectrumCollection::Add() { return static_cast<TSpectrumItem*>(TCollection::Add()); }

std::unique_ptr<TCollectionItem> TSpectrumCollection::CreateItem() { return std::make_unique<TSpectrumItem>(this); }

void TSpectrumCollection::Assign(const TPersistent& Source) {
  if (!blockAssign_) TCollection::Assign(Source);
}

void TSpectrumCollection::SetOnSetInput(TNotifyEvent Handler) {
  onSetInput_ = std::move(Handler);
  for (int i = 0; i < Count(); ++i) Items(i)->OnSetInput = onSetInput_;
}

// --- Lists -----------------------------------------------------------------------------------

const TClassInfo& TSignalList::StaticClassInfo() {
  static const TClassInfo info = TClassBuilder<TSignalList, TAnalysisList>("TSignalList").Build();
  return info;
}

TSignal* TSignalList::Items(int i) const { return static_cast<TSignal*>(TAnalysisList::Items(i)); }

std::unique_ptr<TKvxComponent> TSignalList::AddItem() { return std::make_unique<TSignal>(nullptr); }

const TClassInfo& TSpectrumList::StaticClassInfo() {
  static const TClassInfo info = TClassBuilder<TSpectrumList, TAnalysisList>("TSpectrumList").Build();
  return info;
}

TSpectrum* TSpectrumList::Items(int i) const { return static_cast<TSpectrum*>(TAnalysisList::Items(i)); }

std::unique_ptr<TKvxComponent> TSpectrumList::AddItem() { return std::make_unique<TSpectrum>(nullptr); }

}  // namespace ondrix
