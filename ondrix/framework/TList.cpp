#include "ondrix/framework/TList.h"

#include <utility>

#include "ondrix/framework/ClassBuilder.h"
#include "ondrix/framework/errors.h"

namespace ondrix {

const TClassInfo& TList::StaticClassInfo() {
  static const TClassInfo info = TClassBuilder<TList, TObject>("TList").Build();
  return info;
}

void TList::CheckIndex(int i) const {
  if (i < 0 || i >= Count()) throw EListError("List index out of bounds (" + std::to_string(i) + ")");
}

void TList::SetCount(int NewCount) {
  if (NewCount < 0) throw EListError("List count out of bounds (" + std::to_string(NewCount) + ")");
  items_.resize(static_cast<std::size_t>(NewCount), nullptr);
}

void* TList::Items(int i) const {
  CheckIndex(i);
  return items_[static_cast<std::size_t>(i)];
}

void TList::SetItems(int i, void* Item) {
  CheckIndex(i);
  items_[static_cast<std::size_t>(i)] = Item;
}

int TList::Add(void* Item) {
  items_.push_back(Item);
  return Count() - 1;
}

void TList::Insert(int i, void* Item) {
  if (i < 0 || i > Count()) throw EListError("List index out of bounds (" + std::to_string(i) + ")");
  items_.insert(items_.begin() + i, Item);
}

void TList::Delete(int i) {
  CheckIndex(i);
  items_.erase(items_.begin() + i);
}

void TList::Clear() { items_.clear(); }

int TList::IndexOf(const void* Item) const noexcept {
  for (std::size_t i = 0; i < items_.size(); ++i) {
    if (items_[i] == Item) return static_cast<int>(i);
  }
  return -1;
}

int TList::Remove(void* Item) {
  const int i = IndexOf(Item);
  if (i >= 0) Delete(i);
  return i;
}

void TList::Exchange(int i, int j) {
  CheckIndex(i);
  CheckIndex(j);
  std::swap(items_[static_cast<std::size_t>(i)], items_[static_cast<std::size_t>(j)]);
}

void TList::Move(int CurIndex, int NewIndex) {
  if (CurIndex == NewIndex) return;
  CheckIndex(CurIndex);
  CheckIndex(NewIndex);
  void* item = items_[static_cast<std::size_t>(CurIndex)];
  items_.erase(items_.begin() + CurIndex);
  items_.insert(items_.begin() + NewIndex, item);
}

void TList::Sort(const TListSortCompare& Compare) {
  if (items_.size() < 2) return;
  // Hoare partition around the middle element, as the platform's list sort does. The scans
  // are bounded by L and R explicitly: with a consistent comparison the bounds are never
  // reached (the pivot stops them), so results are unchanged, and with an inconsistent one
  // (x < x, or NaN keys) they keep every access inside the segment. Each partition step
  // leaves both parts strictly smaller than the segment, so the sort always ends.
  void** a = items_.data();
  std::ptrdiff_t L = 0;
  std::ptrdiff_t R = static_cast<std::ptrdiff_t>(items_.size()) - 1;
  struct TRange {
    std::ptrdiff_t L, R;
  };
  std::vector<TRange> pending;  // larger halves wait here; the smaller one is sorted first
  for (;;) {
    while (L < R) {
      std::ptrdiff_t I = L;
      std::ptrdiff_t J = R;
      void* P = a[L + (R - L) / 2];
      do {
        while (I < R && Compare(a[I], P) < 0) ++I;
        while (J > L && Compare(a[J], P) > 0) --J;
        if (I <= J) {
          std::swap(a[I], a[J]);
          ++I;
          --J;
        }
      } while (I <= J);
      // Parts: [L, J] and [I, R], both shorter than [L, R].
      if (J - L < R - I) {
        if (I < R) pending.push_back({I, R});
        R = J;
      } else {
        if (L < J) pending.push_back({L, J});
        L = I;
      }
    }
    if (pending.empty()) break;
    L = pending.back().L;
    R = pending.back().R;
    pending.pop_back();
  }
}

}  // namespace ondrix
