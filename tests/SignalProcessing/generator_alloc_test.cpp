// Per-block work of the generator and of the multirate components allocates nothing after the
// first block. Skipped under the address sanitizer (see allocation_counter.h).
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

// The multirate components behind a generator: blocks after the first allocate nothing
// (here, since this binary's allocation counter lives in this file).
TEST(MultiRateAllocation, BlocksAfterTheFirstAllocateNothing) {
#if !ONDRIX_COUNT_ALLOCATIONS
  GTEST_SKIP() << "allocation counting needs the C library's allocator (not under the sanitizer)";
#else
  auto g = Gen(48000.0, 4096, FunctionLine(funSine, {1000.0, 0.0, 1.0}), FunctionLine(funRandGauss, {0.0, 0.1}),
               OperatorLine(opAdd));
  TSignalDecimator dec(nullptr);
  dec.SetFactor(16);
  dec.SetEnvelopeFactor(4);
  TSignalInterpolator itp(nullptr);
  itp.SetFactor(8);
  TSignalDemodulator dem(nullptr);
  dem.SetSubBandFrequency(0.01);
  dem.SetSubBandWidth(0.02);
  TSignalEnvelopeDetector env(nullptr);
  env.SetFactor(8);
  std::vector<TSignalMultiRate*> all{&dec, &itp, &dem, &env};
  for (TSignalMultiRate* c : all) c->SetInput(g.get());
  for (TSignalMultiRate* c : all) c->Pull();  // the first block designs and allocates
  AllocationCounter counter;
  ASSERT_TRUE(counter.Valid());
  for (int b = 0; b < 10; ++b)
    for (TSignalMultiRate* c : all) c->Pull();
  EXPECT_EQ(counter.Count(), 0);
#endif
}

// Buffers, demultiplexer and multiplexer behind a generator: once the rings have grown to
// their working size, pulls allocate nothing.
TEST(BufferMuxAllocation, SteadyStatePullsAllocateNothing) {
#if !ONDRIX_COUNT_ALLOCATIONS
  GTEST_SKIP() << "allocation counting needs the C library's allocator (not under the sanitizer)";
#else
  auto g = Gen(48000.0, 1000, FunctionLine(funSine, {1000.0, 0.0, 1.0}));
  TSignalBuffer stream(nullptr), overlap(nullptr), scroll(nullptr);
  overlap.SetBufferType(bftScrolling);
  overlap.SetUseOverlapping(true);
  overlap.SetOverlapping(50);
  scroll.SetBufferType(bftScrolling);
  TSignalIncBuffer inc(nullptr);
  inc.SetFactor(4);
  TSignalDecBuffer dec(nullptr);
  dec.SetFactor(4);
  TSignalMux mux(nullptr);
  mux.Inputs()->Add()->SetInput(g.get());
  mux.Inputs()->Add()->SetInput(&stream);
  TSignalDemux demux(nullptr);
  demux.SetInput(&mux);
  demux.SetChannel(1);
  std::vector<TSignal*> sinks{&overlap, &scroll, &inc, &dec, &demux};
  for (TSignalBuffer* b : {&stream, &overlap, &scroll}) {
    b->SetInput(g.get());
    b->SetLength(1000);
  }
  inc.SetInput(g.get());
  dec.SetInput(g.get());
  for (int b = 0; b < 20; ++b)
    for (TSignal* s : sinks) s->Pull();
  AllocationCounter counter;
  ASSERT_TRUE(counter.Valid());
  for (int b = 0; b < 20; ++b)
    for (TSignal* s : sinks) s->Pull();
  EXPECT_EQ(counter.Count(), 0);
  EXPECT_EQ(demux.Length(), 1000);
#endif
}

// The spectrum filter: blocks of a size seen before allocate nothing.
TEST(SpectrumFilterAllocation, BlocksAfterTheFirstAllocateNothing) {
#if !ONDRIX_COUNT_ALLOCATIONS
  GTEST_SKIP() << "allocation counting needs the C library's allocator (not under the sanitizer)";
#else
  auto g = Gen(48000.0, 4096, FunctionLine(funSine, {1000.0, 0.0, 1.0}), FunctionLine(funRandGauss, {0.0, 0.1}),
               OperatorLine(opAdd));
  TSpectrumFilter filter(nullptr);
  filter.SetInput(g.get());
  filter.SetSmoothing(9);
  filter.Pull();
  AllocationCounter counter;
  for (int b = 0; b < 10; ++b) filter.Pull();
  EXPECT_TRUE(counter.Valid() && counter.Count() == 0);
#endif
}
