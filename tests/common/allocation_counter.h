// Counts heap allocations in a test binary. The C library's heap entry points are interposed
// (operator new and the vectors' aligned storage end up there); under the address sanitizer,
// which owns them, counting is off. Include this header in exactly one file of a test binary.
#pragma once

#include <gtest/gtest.h>

#include <atomic>
#include <cstddef>
#include <functional>

#if defined(__has_feature)
#if __has_feature(address_sanitizer)  // clang's spelling of gcc's __SANITIZE_ADDRESS__
#define ONDRIX_ASAN_BUILD 1
#endif
#endif
#if defined(__SANITIZE_ADDRESS__) || defined(ONDRIX_ASAN_BUILD)
#define ONDRIX_COUNT_ALLOCATIONS 0
#else
#define ONDRIX_COUNT_ALLOCATIONS 1
#endif

namespace ondrix::testing {

inline std::atomic<long> gAllocations{0};
inline std::atomic<bool> gCountingAllocations{false};

/// Counts the allocations made while it is alive. Valid() checks, with one probing
/// allocation, that the counter sees allocations at all.
class AllocationCounter {
public:
  AllocationCounter() {
    gAllocations = 0;
    gCountingAllocations = true;
    int* volatile probe = new int(1);
    delete probe;
    valid_ = gAllocations.exchange(0) == 1;
  }
  ~AllocationCounter() { gCountingAllocations = false; }
  AllocationCounter(const AllocationCounter&) = delete;
  AllocationCounter& operator=(const AllocationCounter&) = delete;

  bool Valid() const noexcept { return valid_; }
  long Count() const noexcept { return gAllocations.load(); }

private:
  bool valid_ = false;
};

/// Allocations made by Steady, or -1 when the counter does not see allocations at all.
inline long AllocationsOf(const std::function<void()>& Steady) {
  AllocationCounter counter;
  Steady();
  return counter.Valid() ? counter.Count() : -1;
}

}  // namespace ondrix::testing

/// Skips the test where allocations are not counted.
#define ONDRIX_REQUIRE_ALLOCATION_COUNTING() \
  if (!ONDRIX_COUNT_ALLOCATIONS) GTEST_SKIP() << "allocation counting needs the C library's allocator"

#if ONDRIX_COUNT_ALLOCATIONS
extern "C" {
void* __libc_malloc(std::size_t);
void* __libc_calloc(std::size_t, std::size_t);
void* __libc_realloc(void*, std::size_t);
void* __libc_memalign(std::size_t, std::size_t);
inline void OndrixCountAllocation() {
  if (ondrix::testing::gCountingAllocations.load(std::memory_order_relaxed)) ++ondrix::testing::gAllocations;
}
void* malloc(std::size_t n) { return OndrixCountAllocation(), __libc_malloc(n); }
void* calloc(std::size_t n, std::size_t m) { return OndrixCountAllocation(), __libc_calloc(n, m); }
void* realloc(void* p, std::size_t n) { return OndrixCountAllocation(), __libc_realloc(p, n); }
void* aligned_alloc(std::size_t a, std::size_t n) { return OndrixCountAllocation(), __libc_memalign(a, n); }
}
#endif
