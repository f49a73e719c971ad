// TCollection / TCollectionItem: an owned, ordered list of persistent items of one class.
#pragma once

#include <memory>
#include <vector>

#include "ondrix/framework/TPersistent.h"

namespace ondrix {

class TCollection;

/// One item of a TCollection. Items are created by their collection (CreateItem) and
/// destroyed by it; an item's published properties are what settings files store for it.
class TCollectionItem : public TPersistent {
public:
  ONDRIX_CLASS_INFO()

  /// Creates an item for ACollection; the collection inserts it (Add, Insert).
  explicit TCollectionItem(TCollection* ACollection) : collection_(ACollection) {}
  TCollectionItem(const TCollectionItem&) = delete;
  TCollectionItem& operator=(const TCollectionItem&) = delete;

  TCollection* Collection() const noexcept { return collection_; }
  /// Position in the collection, or -1 while not inserted.
  int Index() const noexcept;
  /// The collection.
  TPersistent* GetOwner() const override;

protected:
  /// Tells the collection that this item changed (TCollection::Update).
  void Changed();

private:
  TCollection* collection_;
};

/// An ordered list of items, owned by the collection. Descendants give their item class by
/// overriding CreateItem. Assign copies item-wise.
class TCollection : public TPersistent {
public:
  ONDRIX_CLASS_INFO()

  /// Creates an empty collection belonging to AOwner (reported by GetOwner).
  explicit TCollection(TPersistent* AOwner = nullptr) : owner_(AOwner) {}
  ~TCollection() override;
  TCollection(const TCollection&) = delete;
  TCollection& operator=(const TCollection&) = delete;

  int Count() const noexcept { return static_cast<int>(items_.size()); }
  /// Item i; EListError "List index out of bounds (i)" when out of range.
  TCollectionItem* Items(int i) const;
  /// Index of an item, or -1.
  int IndexOf(const TCollectionItem* Item) const noexcept;

  /// Appends a new item (made by CreateItem) and returns it.
  virtual TCollectionItem* Add();
  /// Inserts a new item at Index (0..Count) and returns it.
  TCollectionItem* Insert(int Index);
  /// Destroys item i; EListError when out of range.
  virtual void Delete(int i);
  /// Destroys every item, last first.
  virtual void Clear();

  /// Item-wise copy from another collection: Clear, then Add and Assign each source item.
  void Assign(const TPersistent& Source) override;

  /// Suspends Update calls; EndUpdate of the outermost level calls Update(nullptr).
  void BeginUpdate() noexcept { ++updateCount_; }
  void EndUpdate();
  int UpdateCount() const noexcept { return updateCount_; }

  TPersistent* GetOwner() const override { return owner_; }

  /// Creates a detached item of the collection's item class. Base: a TCollectionItem.
  virtual std::unique_ptr<TCollectionItem> CreateItem();

protected:
  friend class TCollectionItem;
  /// Told of changes: Item changed, or (nullptr) the set of items changed. Not called while
  /// updates are suspended. Base: nothing.
  virtual void Update(TCollectionItem* Item) { (void)Item; }
  void Changed(TCollectionItem* Item);

private:
  TPersistent* owner_;
  std::vector<std::unique_ptr<TCollectionItem>> items_;
  int updateCount_ = 0;
};

}  // namespace ondrix
