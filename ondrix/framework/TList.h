// TList: the platform's list of untyped pointers, base of lists that own their items.
#pragma once

#include <functional>
#include <vector>

#include "ondrix/framework/TObject.h"

namespace ondrix {

/// Comparison for TList::Sort: negative, zero or positive as Item1 sorts before, with, or
/// after Item2.
using TListSortCompare = std::function<int(void* Item1, void* Item2)>;

/// A list of untyped pointers (not owned). Descendants that own their items override
/// Delete and Clear. Index errors raise EListError "List index out of bounds (<i>)".
class TList : public TObject {
public:
  ONDRIX_CLASS_INFO()

  TList() = default;
  TList(const TList&) = delete;
  TList& operator=(const TList&) = delete;

  int Count() const noexcept { return static_cast<int>(items_.size()); }
  /// Grows (with nullptr) or shrinks the list; shrinking does not call Delete.
  /// EListError "List count out of bounds (<n>)" for a negative count.
  void SetCount(int NewCount);

  void* Items(int i) const;
  void SetItems(int i, void* Item);
  void* First() const { return Items(0); }
  void* Last() const { return Items(Count() - 1); }

  /// Appends Item; returns its index.
  int Add(void* Item);
  /// Inserts Item before position i (0..Count).
  void Insert(int i, void* Item);
  /// Removes entry i.
  virtual void Delete(int i);
  /// Empties the list.
  virtual void Clear();
  /// Index of the first entry equal to Item, or -1.
  int IndexOf(const void* Item) const noexcept;
  /// Deletes the first entry equal to Item; returns its former index, or -1.
  int Remove(void* Item);
  void Exchange(int i, int j);
  /// Moves entry CurIndex to NewIndex, shifting those between.
  void Move(int CurIndex, int NewIndex);

  /// Sorts ascending by Compare with a quicksort: not stable, O(log n) stack depth, and
  /// memory-safe even when Compare is inconsistent (e.g. 0 for NaN keys); with such a
  /// comparison the order is unspecified but the entries are a permutation of the old ones.
  void Sort(const TListSortCompare& Compare);

protected:
  /// Raises EListError "List index out of bounds (i)" unless 0 <= i < Count.
  void CheckIndex(int i) const;
  std::vector<void*>& List() noexcept { return items_; }

private:
  std::vector<void*> items_;
};

}  // namespace ondrix
