// Demultiplexing 8 channels of 2^22 samples each and multiplexing them back, in blocks of
// 4096 samples per channel, against memcpy of the same bytes (each value is copied twice:
// out to its channel and back). Target: within 3x of memcpy.
#include <cstring>
#include <vector>

#include "bench/bench_common.h"
#include "ondrix/SignalProcessing/SignalProcessing.h"

namespace {

using namespace ondrix;
using namespace ondrix::bench;

constexpr int kChannels = 8, kBlock = 4096, kBlocks = (1 << 22) / kBlock;

/// Serves the same interleaved block every pull.
class TSource : public TSignal {
public:
  TSource() : TSignal(nullptr) {
    SetChannelCount(kChannels);
    SetLength(kChannels * kBlock);
    for (int i = 0; i < Length(); ++i) Data().Values(i) = i;
  }
  TPipeState InternalUpdate() override { return pipeOK; }
};

void BM_DemuxMux(benchmark::State& state) {
  TComponent graph(nullptr);
  TSource src;
  auto* split = new TSignalDemuxList(&graph);
  split->SetInput(&src);
  split->MatchInputs();
  auto* join = new TSignalMux(&graph);
  join->SetInputList(split);  // the list splits every channel in one pass
  for (auto _ : state) {
    for (int b = 0; b < kBlocks; ++b) join->Pull();
    benchmark::DoNotOptimize(join->Data().PValues());
  }
}
BENCHMARK(BM_DemuxMux)->Unit(benchmark::kMillisecond);

void BM_Memcpy(benchmark::State& state) {
  std::vector<double> a(kChannels * kBlock, 1.0), b(a.size()), c(a.size());
  for (auto _ : state) {
    for (int k = 0; k < kBlocks; ++k) {
      std::memcpy(b.data(), a.data(), a.size() * sizeof(double));
      std::memcpy(c.data(), b.data(), a.size() * sizeof(double));
      benchmark::ClobberMemory();
    }
    benchmark::DoNotOptimize(c.data());
  }
}
BENCHMARK(BM_Memcpy)->Unit(benchmark::kMillisecond);

}  // namespace

int main(int argc, char** argv) {
  TimeKeeper keeper;
  const bool ok = RunBenchmarks(argc, argv, keeper);
  std::printf("\ndemux + mux / memcpy time: %.2f (target <= 3)\n",
              keeper.seconds["BM_DemuxMux"] / keeper.seconds["BM_Memcpy"]);
  return ok ? 0 : 1;
}
