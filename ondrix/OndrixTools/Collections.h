// Multi-input collections (several upstream signals or spectra of one component) and the
// component lists of plain signals and spectra.
#pragma once

#include "ondrix/OndrixTools/TAnalysis.h"
#include "ondrix/framework/TCollection.h"

namespace ondrix {

class TSignal;
class TSpectrum;
class TSignalCollection;
class TSpectrumCollection;

/// One input of a multi-input component: a weak link to an upstream signal.
class TSignalItem : public TCollectionItem {
public:
  ONDRIX_CLASS_INFO()

  /// Raises "Collection = nil!" unless ACollection is a TSignalCollection.
  explicit TSignalItem(TCollection* ACollection);

  TSignal* Input() const noexcept { return input_; }
  /// Does nothing while the collection is block-assigned. With a collection handler, moves
  /// the handler from the old input's OnNotifyUpdate to the new one's; registers the
  /// collection's owner for free-notification of Value.
  void SetInput(TSignal* Value);
  /// Forgets the input: no event rewiring, no notification.
  void Reset() noexcept { input_ = nullptr; }
  /// Copies the input of another TSignalItem (through SetInput).
  void Assign(const TPersistent& Source) override;

  /// A copy of the collection's handler at the time the item was added.
  TNotifyEvent OnSetInput;

private:
  TSignalCollection& Owner() const;
  TSignal* input_ = nullptr;
};

/// The inputs of a multi-channel component (one item per upstream signal). Its owner is the
/// component that created it; its handler, when set, is wired into each input's
/// OnNotifyUpdate so the owner hears of every input's recomputation.
class TSignalCollection : public TCollection {
public:
  ONDRIX_CLASS_INFO()

  explicit TSignalCollection(TAnalysis* AOwner);
  /// Clears the handler from the inputs it was wired into, so no input calls a dead owner.
  ~TSignalCollection() override;

  TSignalItem* Items(int i) const { return static_cast<TSignalItem*>(TCollection::Items(i)); }
  /// Assigns Item to item i (item Assign).
  void SetItems(int i, const TSignalItem& Item) { Items(i)->Assign(Item); }
  /// Adds an item that gets a copy of the collection's OnSetInput.
  TSignalItem* Add() override;
  std::unique_ptr<TCollectionItem> CreateItem() override;
  /// Item-wise copy, skipped while block-assigned (inputs stay as they are).
  void Assign(const TPersistent& Source) override;

  const TNotifyEvent& OnSetInput() const noexcept { return onSetInput_; }
  /// Stores the handler and copies it into every item (inputs already set are not rewired).
  void SetOnSetInput(TNotifyEvent Handler);
  bool BlockAssign() const noexcept { return blockAssign_; }
  void SetBlockAssign(bool Value) noexcept { blockAssign_ = Value; }
  TAnalysis* OwnerComponent() const noexcept { return owner_; }

private:
  TAnalysis* owner_;
  TNotifyEvent onSetInput_;
  bool blockAssign_ = false;
};

/// One spectrum input of a multi-input component.
class TSpectrumItem : public TCollectionItem {
public:
  ONDRIX_CLASS_INFO()

  /// Raises "Collection = nil!" unless ACollection is a TSpectrumCollection.
  explicit TSpectrumItem(TCollection* ACollection);

  TSpectrum* Input() const noexcept { return input_; }
  /// As TSignalItem::SetInput, except that the old input's OnNotifyUpdate is always cleared
  /// and the new one's always set to the collection's handler, even an empty one.
  void SetInput(TSpectrum* Value);
  void Reset() noexcept { input_ = nullptr; }
  void Assign(const TPersistent& Source) override;

  TNotifyEvent OnSetInput;

private:
  TSpectrumCollection& Owner() const;
  TSpectrum* input_ = nullptr;
};

/// The spectrum inputs of a multi-input component.
class TSpectrumCollection : public TCollection {
public:
  ONDRIX_CLASS_INFO()

  explicit TSpectrumCollection(TAnalysis* AOwner);
  /// Clears the handler from the inputs it was wired into.
  ~TSpectrumCollection() override;

  TSpectrumItem* Items(int i) const { return static_cast<TSpectrumItem*>(TCollection::Items(i)); }
  void SetItems(int i, const TSpectrumItem& Item) { Items(i)->Assign(Item); }
  /// Adds an item; unlike the signal collection it copies no handler (a spectrum item takes
  /// the collection's handler when its input is set).
  TSpectrumItem* Add() override;
  std::unique_ptr<TCollectionItem> CreateItem() override;
  /// Item-wise copy, skipped while block-assigned (inputs stay as they are).
  void Assign(const TPersistent& Source) override;

  const TNotifyEvent& OnSetInput() const noexcept { return onSetInput_; }
  void SetOnSetInput(TNotifyEvent Handler);
  bool BlockAssign() const noexcept { return blockAssign_; }
  void SetBlockAssign(bool Value) noexcept { blockAssign_ = Value; }
  TAnalysis* OwnerComponent() const noexcept { return owner_; }

private:
  TAnalysis* owner_;
  TNotifyEvent onSetInput_;
  bool blockAssign_ = false;
};

/// A bank of plain signals. The list is its items' owner (they are its owned components),
/// unlike TSpectrumList, whose items have no owner; the difference is deliberate.
class TSignalList : public TAnalysisList {
public:
  ONDRIX_CLASS_INFO()
  explicit TSignalList(TComponent* AOwner) : TAnalysisList(AOwner) {}
  TSignal* Items(int i) const;

protected:
  std::unique_ptr<TKvxComponent> AddItem() override;
  bool OwnItemsAsComponents() const override { return true; }
};

/// A bank of plain spectra, whose items have no owner: the list frees them itself.
class TSpectrumList : public TAnalysisList {
public:
  ONDRIX_CLASS_INFO()
  explicit TSpectrumList(TComponent* AOwner) : TAnalysisList(AOwner) {}
  TSpectrum* Items(int i) const;

protected:
  std::unique_ptr<TKvxComponent> AddItem() override;
};

}  // namespace ondrix
