// Per-block work of the generator allocates nothing after the first block. Skipped under the
// address sanitizer (see allocation_counter.h).
#include <gtest/gtest.h>

#include "generator_helpers.h"

#include "../common/allocation_counter.h"

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
  AllocationCounter counter;
  ASSERT_TRUE(counter.Valid());
  for (int b = 0; b < 20; ++b) g->Pull();
  EXPECT_EQ(counter.Count(), 0);
#endif
}
