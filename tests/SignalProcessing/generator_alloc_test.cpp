// Per-block work of the generator allocates nothing after the first block. The C library's
// heap entry points are interposed in this test binary to count calls (operator new and the
// vectors' aligned storage end up there); under the address sanitizer, which owns them, the
// test is skipped.
#include <gtest/gtest.h>

#include <atomic>
#include <cstddef>

#include "generator_helpers.h"

#if defined(__SANITIZE_ADDRESS__)
#define ONDRIX_COUNT_ALLOCATIONS 0
#else
#define ONDRIX_COUNT_ALLOCATIONS 1
namespace {
std::atomic<long> gAllocations{0};
std::atomic<bool> gCounting{false};
void Count() {
  if (gCounting.load(std::memory_order_relaxed)) ++gAllocations;
}
}  // namespace

extern "C" {
void* __libc_malloc(std::size_t);
void* __libc_calloc(std::size_t, std::size_t);
void* __libc_realloc(void*, std::size_t);
void* __libc_memalign(std::size_t, std::size_t);
void* malloc(std::size_t n) { return Count(), __libc_malloc(n); }
void* calloc(std::size_t n, std::size_t m) { return Count(), __libc_calloc(n, m); }
void* realloc(void* p, std::size_t n) { return Count(), __libc_realloc(p, n); }
void* aligned_alloc(std::size_t a, std::size_t n) { return Count(), __libc_memalign(a, n); }
}
#endif

using namespace ondrix;
using namespace ondrix::testing;

TEST(GeneratorAllocation, BlocksAfterTheFirstAllocateNothing) {
#if !ONDRIX_COUNT_ALLOCATIONS
  GTEST_SKIP() << "allocation counting needs the C library's allocator (not under the sanitizer)";
#else
  auto g = Gen(48000.0, 4096, FunctionLine(funSine, {1000.0, 0.0, 1.0}), FunctionLine(funRandGauss, {0.0, 0.1}),
               OperatorLine(opAdd), FunctionLine(funChirp, {100.0, 0.0, 1.0, 0.0, 5000.0, 0.2, 8.0}),
               OperatorLine(opMul), FunctionLine(funImpulse, {0.001, 0.002, 0.0005, 0.0005, 0.5}),
               FunctionLine(funSquare, {50.0, 0.0, 1.0, 0.0}),
               OperatorLine(opAdd), OperatorLine(opAdd), FunctionLine(funConstant, {0.1}), OperatorLine(opAdd),
               OperatorLine(opLimit, {1.0, -1.0}));
  g->Pull();  // the first block prepares the lines
  gCounting = true;
  int* volatile probe = new int(1);  // the counter must see this one
  delete probe;
  ASSERT_EQ(gAllocations.exchange(0), 1);
  for (int b = 0; b < 20; ++b) g->Pull();
  gCounting = false;
  EXPECT_EQ(gAllocations.load(), 0);
#endif
}
