// Buffers and channel (de)multiplexing: block sequences, and streams re-blocked or split and
// joined checked against the input stream itself.
#include <gtest/gtest.h>

#include <random>

#include "../common/block_source.h"
#include "processing_helpers.h"
#include "ondrix/vec/exceptions.h"

using namespace ondrix;
using namespace ondrix::testing;

namespace {

TVec Ramp(int n, double start) {
  TVec v(n);
  for (int i = 0; i < n; ++i) v.Values(i) = start + i;
  return v;
}

std::vector<double> Slice(const std::vector<double>& v, std::size_t from, std::size_t n) {
  return {v.begin() + from, v.begin() + from + n};
}

// A source of one stream (0, 1, 2, ...) cut into blocks of random length (multiples of channels).
std::vector<double> FillRandomBlocks(TBlockSource& src, int blocks, int maxFrames, unsigned seed, int channels = 1) {
  std::mt19937 rng(seed);
  std::vector<double> stream;
  for (int b = 0; b < blocks; ++b) {
    const int n = std::uniform_int_distribution<int>(0, maxFrames)(rng) * channels;
    src.Blocks.push_back(Ramp(n, static_cast<double>(stream.size())));
    for (int i = 0; i < n; ++i) stream.push_back(static_cast<double>(stream.size()));
  }
  return stream;
}

// The blocks of every pipeOK pull until pipeEnd.
std::vector<std::vector<double>> PullBlocks(TSignal& s) {
  std::vector<std::vector<double>> out;
  for (int guard = 0; guard < 100000; ++guard) {
    const TPipeState st = s.Pull();
    if (st == pipeEnd) return out;
    if (st == pipeOK) out.push_back(Values(s.Data()));
  }
  ADD_FAILURE() << "no pipeEnd";
  return out;
}

}  // namespace

TEST(SignalIncBuffer, SlidingWindowAndRestart) {
  TBlockSource src;
  for (int b = 0; b < 5; ++b) src.Blocks.push_back(Ramp(10, 100.0 * b));  // A B C D E
  TSignalIncBuffer inc(nullptr);
  inc.SetInput(&src);
  inc.SetFactor(3);
  auto blocks = [](std::initializer_list<int> ids) {
    std::vector<double> v;
    for (int id : ids)
      for (double x : Values(Ramp(10, 100.0 * id))) v.push_back(x);
    return v;
  };
  const std::vector<std::vector<double>> expect{blocks({0}), blocks({0, 1}), blocks({0, 1, 2}), blocks({1, 2, 3})};
  for (const auto& e : expect) {
    ASSERT_EQ(inc.Pull(), pipeOK);
    EXPECT_EQ(Values(inc.Data()), e);
  }
  inc.SetFactor(2);  // 10·2 < 30: start again at one block
  ASSERT_EQ(inc.Pull(), pipeOK);
  EXPECT_EQ(Values(inc.Data()), blocks({4}));
  inc.SetFactor(0);
  EXPECT_EQ(inc.Factor(), 1);
  inc.Reset();
  EXPECT_EQ(inc.Length(), 0);
}

TEST(SignalDecBuffer, SubBlocksLastPartFirstAndOnePullPerFactor) {
  TBlockSource src;
  src.Blocks = {Ramp(100, 0), Ramp(100, 1000), Ramp(3, 0)};
  TSignalDecBuffer dec(nullptr);
  dec.SetInput(&src);
  dec.SetFactor(4);
  for (double base : {0.0, 1000.0})
    for (int k = 3; k >= 0; --k) {
      ASSERT_EQ(dec.Pull(), pipeOK);
      EXPECT_EQ(Values(dec.Data()), Values(Ramp(25, base + 25 * k))) << base << " sub-block " << k;
    }
  for (int k = 0; k < 4; ++k) {  // an input shorter than Factor gives empty blocks
    ASSERT_EQ(dec.Pull(), pipeOK);
    EXPECT_EQ(dec.Length(), 0);
  }
  EXPECT_EQ(dec.Pull(), pipeEnd);
  EXPECT_EQ(dec.Counter(), 0);
  dec.SetFactor(-3);
  EXPECT_EQ(dec.Factor(), 1);
}

// Streaming blocks follow each other, overlapping ones start at multiples of the step; the
// samples short of the next block stay buffered.
TEST(SignalBuffer, BlocksStartAtMultiplesOfTheStep) {
  const struct {
    bool overlapping;
    double overlap;
    int step;
  } cases[] = {{false, 0, 64}, {true, 25, 48}, {true, 50, 32}, {true, 90, 6}, {true, 100, 1}};
  for (const auto& c : cases) {
    TBlockSource src;
    const std::vector<double> stream = FillRandomBlocks(src, 30, 100, 11);
    TSignalBuffer buf(nullptr);
    buf.SetInput(&src);
    buf.SetLength(64);
    if (c.overlapping) {
      buf.SetBufferType(bftScrolling);
      buf.SetUseOverlapping(true);
      buf.SetOverlapping(c.overlap);
    }
    const auto blocks = PullBlocks(buf);
    ASSERT_EQ(blocks.size(), (stream.size() - 64) / c.step + 1) << c.overlap;
    for (std::size_t k = 0; k < blocks.size(); ++k)
      ASSERT_EQ(blocks[k], Slice(stream, k * c.step, 64)) << "overlap " << c.overlap << " block " << k;
    EXPECT_EQ(buf.BufferedSamplesCount(), static_cast<int>(stream.size() - blocks.size() * c.step)) << c.overlap;
    EXPECT_FALSE(buf.BufferOverrun());
  }
}

TEST(SignalBuffer, ScrollingShowsNewestSamplesStoringKeepsAllAndSettersClamp) {
  TBlockSource src;
  const std::vector<double> stream = FillRandomBlocks(src, 20, 90, 5);
  TSignalBuffer scroll(nullptr);
  scroll.SetInput(&src);
  scroll.SetLength(50);
  scroll.SetBufferType(bftScrolling);
  std::size_t seen = 0;
  for (std::size_t b = 0; b < src.Blocks.size(); ++b) {
    ASSERT_EQ(scroll.Pull(), pipeOK);
    seen += src.Blocks[b].Length();
    std::vector<double> expect(50, 0.0);  // zeros before the stream's start
    for (std::size_t i = 0; i < 50 && i < seen; ++i) expect[49 - i] = stream[seen - 1 - i];
    ASSERT_EQ(Values(scroll.Data()), expect) << "block " << b;
  }

  src.Next = 0;
  TSignalBuffer store(nullptr);
  store.SetInput(&src);
  store.SetBufferType(bftStoring);
  for (std::size_t b = 0; b < src.Blocks.size(); ++b) ASSERT_EQ(store.Pull(), pipeOK);
  EXPECT_EQ(Values(store.Data()), stream);
  EXPECT_EQ(store.BufferLength(), static_cast<int>(stream.size()));
  store.SetBufferSizeLimit(static_cast<int>(stream.size()));
  src.Next = 0;
  EXPECT_THAT([&] { store.Pull(); }, RaisesWith<Exception>("BufferSizeLimit exceeded!"));
  store.SetBufferSizeLimit(-5);
  EXPECT_EQ(store.BufferSizeLimit(), 0);
  store.SetBufferSizeLimit(300000000);
  EXPECT_EQ(store.BufferSizeLimit(), 268435455);
  store.SetOverlapping(150);
  EXPECT_EQ(store.Overlapping(), 100.0);
  store.ResetBuffer(0);
  EXPECT_EQ(store.BufferLength(), 0);
}

TEST(SignalStoreBuffer, GrowsShiftsAndResets) {
  TBlockSource src;
  const std::vector<double> stream = FillRandomBlocks(src, 30, 100, 9);
  TSignalStoreBuffer store(nullptr);
  store.SetInitialBufferSize(16);
  store.SetInput(&src);
  store.Reset();
  for (std::size_t b = 0; b < src.Blocks.size(); ++b) ASSERT_EQ(store.Pull(), pipeOK);
  EXPECT_EQ(Values(store.Data()), stream);
  EXPECT_GE(store.ActualBufferSize(), static_cast<int>(stream.size()));
  store.Shift(100);
  EXPECT_EQ(Values(store.Data()), Slice(stream, 100, stream.size() - 100));
  store.Reset();
  EXPECT_EQ(store.Length(), 0);
  EXPECT_EQ(store.ActualBufferSize(), 16);
}

TEST(SignalMux, MuxThreeInputs) {
  TBlockSource in[3];
  for (int i = 0; i < 3; ++i) in[i].Blocks = {Ramp(100, 1000 * i), Ramp(100, 0), Ramp(100, 0)};
  in[2].Blocks[1] = Ramp(99, 0);       // second block: input 2 is short
  in[1].Blocks[2] = TVec(100, true);   // third block: input 1 is complex
  TSignalMux mux(nullptr);
  for (auto& s : in) mux.Inputs()->Add()->SetInput(&s);
  ASSERT_EQ(mux.Pull(), pipeOK);
  ASSERT_EQ(mux.Length(), 300);
  EXPECT_EQ(mux.ChannelCount(), 3);
  for (int k = 0; k < 100; ++k)
    for (int i = 0; i < 3; ++i) ASSERT_EQ(mux.Values(3 * k + i), 1000 * i + k);
  const struct {
    const char* message;
    int failing;  // the first input whose check fails
  } failures[] = {{"(Inputs[i].Input.Length * ChannelCount) <> Self.Length!", 2},
                  {"Inputs[i].Input.Complex <> Self.Complex!", 1}};
  for (const auto& f : failures) {
    mux.Data().Resize(300, false);
    EXPECT_THAT([&] { mux.Pull(); }, RaisesWith<Exception>(f.message));  // after the name
    // Frame 7: the inputs before the failing one are scattered, the failing one's is not.
    for (int i = 0; i < f.failing; ++i) EXPECT_EQ(mux.Values(3 * 7 + i), 7) << f.message;
    EXPECT_EQ(mux.Values(3 * 7 + f.failing), 0) << f.message;
  }
}

TEST(SignalMux, DemuxListAndMuxBackGiveTheStream) {
  for (unsigned seed : {21u, 22u}) {
    TBlockSource src(4);
    const std::vector<double> stream = FillRandomBlocks(src, 40, 70, seed, 4);
    TSignalDemuxList demux(nullptr);
    demux.SetInput(&src);
    TSignalMux mux(nullptr);
    mux.SetInputList(&demux);
    std::vector<double> joined;
    for (std::size_t b = 0; b < src.Blocks.size(); ++b) {
      ASSERT_EQ(mux.Pull(), pipeOK);
      EXPECT_EQ(mux.ChannelCount(), 4);
      const auto v = Values(mux.Data());
      joined.insert(joined.end(), v.begin(), v.end());
    }
    EXPECT_EQ(joined, stream) << "seed " << seed;
    EXPECT_EQ(mux.Pull(), pipeEnd);
  }
  // Items that no longer split the input as matched take their own channels, one by one.
  TBlockSource src(4);
  src.Blocks = {Ramp(40, 0)};
  TSignalDemuxList demux(nullptr);
  demux.SetInput(&src);
  demux.MatchInputs();
  ASSERT_EQ(src.Pull(), pipeOK);
  demux.Items(1)->SetChannel(3);
  demux.Update();
  ASSERT_EQ(demux.Items(1)->Length(), 10);
  EXPECT_EQ(demux.Items(1)->ChannelCount(), 1);
  for (int k = 0; k < 10; ++k) {
    ASSERT_EQ(demux.Items(0)->Values(k), 4 * k);
    ASSERT_EQ(demux.Items(1)->Values(k), 4 * k + 3);
    ASSERT_EQ(demux.Items(3)->Values(k), 4 * k + 3);
  }
  TSignalMux orphan(nullptr);  // the input list is cleared when the list dies
  {
    TSignalDemuxList list(nullptr);
    orphan.SetInputList(&list);
  }
  EXPECT_EQ(orphan.InputList(), nullptr);
}
