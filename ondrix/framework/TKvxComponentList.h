// TKvxComponentList: a component that owns a list of components of one class.
#pragma once

#include <memory>
#include <vector>

#include "ondrix/framework/TKvxComponent.h"

namespace ondrix {

/// Owns a bank of like components, created through the abstract AddItem.
///
/// By default items have no owner (Owner() is nullptr): the list holds and destroys them, and
/// they store with the list as the binary property "Items" (count, then each item's
/// template), so a list in a settings file keeps its items' settings but not their links.
/// A list whose OwnItemsAsComponents() is true makes itself the items' owner instead: they
/// are its owned components (and store as such), and a component inserted into the list
/// becomes an item.
class TKvxComponentList : public TKvxComponent {
public:
  ONDRIX_CLASS_INFO()

  explicit TKvxComponentList(TComponent* AOwner) : TKvxComponent(AOwner) {}
  ~TKvxComponentList() override;

  /// Creates one item through AddItem, appends it and returns it.
  virtual TKvxComponent* Add();
  /// Destroys item i; EListError "List index out of bounds (i)" when out of range.
  virtual void Delete(int i);
  int GetCount() const noexcept { return static_cast<int>(items_.size()); }
  /// Creates items (AddItem) or deletes them from the end until there are NewCount.
  /// EListError "List count out of bounds (<n>)" for a negative count.
  void SetCount(int NewCount);
  /// Item i; EListError when out of range.
  TKvxComponent* Items(int i) const;
  /// Index of an item, or -1.
  int IndexOf(const TKvxComponent* Item) const noexcept;

  /// Copies the settings of item SrcIndex to each item in DstIndices through the property
  /// table with block assignment on (links are not copied); SrcIndex itself is skipped.
  /// EListError for an index out of range (checked before anything is copied).
  void Propagate(int SrcIndex, const std::vector<int>& DstIndices);

  /// Also sets csDesigning of the items.
  void SetDesigning(bool Value) override;
  /// Defines the binary property "Items".
  void DefineProperties(TFiler& Filer) override;

protected:
  /// Creates one new item of the list's class (not yet in the list).
  virtual std::unique_ptr<TKvxComponent> AddItem() = 0;
  /// Whether items are owned as components of the list (see the class comment).
  virtual bool OwnItemsAsComponents() const { return false; }
  /// Keeps the items in step with the owned components when the list owns them.
  void Notification(TComponent* AComponent, TOperation Operation) override;

private:
  void CheckIndex(int i) const;
  void WriteItems(TStream& Stream) const;
  void ReadItems(TStream& Stream);

  std::vector<TKvxComponent*> items_;                   // in list order
  std::vector<std::unique_ptr<TKvxComponent>> unowned_;  // items not owned as components
};

}  // namespace ondrix
