// TVecList: an owning list of vectors.
#pragma once

#include <memory>
#include <vector>

#include "ondrix/vec/TVec.h"

namespace ondrix {

/// Owns a list of TVec objects; references stay valid while the list keeps the item.
class TVecList {
public:
  int Count() const noexcept { return static_cast<int>(items_.size()); }
  /// Grows with new empty vectors or drops vectors from the end.
  void SetCount(int n) {
    if (n < 0) ERaise("TVecList.SetCount: negative count");
    while (Count() > n) items_.pop_back();
    while (Count() < n) items_.push_back(std::make_unique<TVec>());
  }
  /// Appends a new empty vector and returns it.
  TVec& Add() {
    items_.push_back(std::make_unique<TVec>());
    return *items_.back();
  }
  TVec& operator[](int i) { return *items_.at(static_cast<std::size_t>(i)); }
  const TVec& operator[](int i) const { return *items_.at(static_cast<std::size_t>(i)); }
  void Delete(int i) {
    if (i < 0 || i >= Count()) ERaise("TVecList.Delete: index out of range");
    items_.erase(items_.begin() + i);
  }
  void Clear() { items_.clear(); }

private:
  std::vector<std::unique_ptr<TVec>> items_;
};

}  // namespace ondrix
