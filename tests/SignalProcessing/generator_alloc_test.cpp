// Per-block work of the processing components allocates nothing once blocks have their size.
#include <gtest/gtest.h>

#include "processing_helpers.h"

#include "../common/allocation_counter.h"

using namespace ondrix;
using namespace ondrix::testing;

TEST(SteadyStateAllocation, BlocksAfterTheFirstAllocateNothing) {
  ONDRIX_REQUIRE_ALLOCATION_COUNTING();
  auto every = Gen(48000.0, 4096, FunctionLine(funSine, {1000.0, 0.0, 1.0}), FunctionLine(funRandGauss, {0.0, 0.1}),
                   OperatorLine(opAdd), FunctionLine(funChirp, {100.0, 0.0, 1.0, 0.0, 5000.0, 0.2, 8.0}),
                   OperatorLine(opMul), FunctionLine(funImpulse, {0.001, 0.002, 0.0005, 0.0005, 0.5}),
                   FunctionLine(funSquare, {50.0, 0.0, 1.0, 0.0}), OperatorLine(opAdd), OperatorLine(opAdd),
                   FunctionLine(funConstant, {0.1}), OperatorLine(opAdd), OperatorLine(opLimit, {1.0, -1.0}));
  every->Pull();  // the first block prepares the lines
  EXPECT_EQ(AllocationsOf([&] { for (int b = 0; b < 20; ++b) every->Pull(); }), 0) << "generator";

  auto g = Gen(48000.0, 4096, FunctionLine(funSine, {1000.0, 0.0, 1.0}), FunctionLine(funRandGauss, {0.0, 0.1}),
               OperatorLine(opAdd));
  auto dec = Decimator(16, 4), itp = Interpolator(8), dem = Demodulator(0.01, 0.02),
       env = Decimator<TSignalEnvelopeDetector>(8);
  TSpectrumFilter filter(nullptr);
  filter.SetSmoothing(9);
  std::vector<TSignal*> all{dec.get(), itp.get(), dem.get(), env.get(), &filter};
  for (TSignal* c : all) c->SetInput(g.get()), c->Pull();  // the first block designs and allocates
  EXPECT_EQ(AllocationsOf([&] {
              for (int b = 0; b < 10; ++b)
                for (TSignal* c : all) c->Pull();
            }),
            0) << "multirate and spectrum filter";

  // Buffers, demultiplexer and multiplexer: once the rings have their working size.
  auto tone = Gen(48000.0, 1000, FunctionLine(funSine, {1000.0, 0.0, 1.0}));
  TSignalBuffer stream(nullptr), overlap(nullptr), scroll(nullptr);
  overlap.SetBufferType(bftScrolling);
  overlap.SetUseOverlapping(true);
  overlap.SetOverlapping(50);
  scroll.SetBufferType(bftScrolling);
  TSignalIncBuffer inc(nullptr);
  inc.SetFactor(4);
  TSignalDecBuffer decb(nullptr);
  decb.SetFactor(4);
  TSignalMux mux(nullptr);
  mux.Inputs()->Add()->SetInput(tone.get());
  mux.Inputs()->Add()->SetInput(&stream);
  TSignalDemux demux(nullptr);
  demux.SetInput(&mux);
  demux.SetChannel(1);
  for (TSignalBuffer* b : {&stream, &overlap, &scroll}) b->SetInput(tone.get()), b->SetLength(1000);
  inc.SetInput(tone.get());
  decb.SetInput(tone.get());
  const std::vector<TSignal*> sinks{&overlap, &scroll, &inc, &decb, &demux};
  const auto pull = [&] {
    for (int b = 0; b < 20; ++b)
      for (TSignal* s : sinks) s->Pull();
  };
  pull();
  EXPECT_EQ(AllocationsOf(pull), 0) << "buffers and mux";
  EXPECT_EQ(demux.Length(), 1000);
}
