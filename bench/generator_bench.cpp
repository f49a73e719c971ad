// "Sine + gaussian noise" in blocks of 4096 samples through TSignalGenerator, against the same
// blocks computed with NumPy (bench/generator_peer.py, run in the same process run through
// /usr/bin/python3). Prints both throughputs and the NumPy / generator time ratio (above 1:
// the generator is faster).
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <map>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include <benchmark/benchmark.h>

#include "bench/bench_common.h"

#include "ondrix/SignalProcessing/SignalProcessing.h"

namespace {

using namespace ondrix::bench;

using namespace ondrix;

constexpr int kN = 4096;
constexpr double kFs = 48000.0, kFreq = 1000.0, kSd = 0.1;

std::unique_ptr<TSignalGenerator> SinePlusNoise() {
  auto g = std::make_unique<TSignalGenerator>(nullptr);
  g->SetSamplingFrequency(kFs);
  g->SetLength(kN);
  TFuncSignalList* lines = g->Sounds()->Template();
  lines->Add(FunctionLine(funSine, {kFreq, 0.0, 1.0}));
  lines->Add(FunctionLine(funRandGauss, {0.0, kSd}));
  lines->Add(OperatorLine(opAdd));
  return g;
}

void BM_Generator_SinePlusNoise(benchmark::State& state) {
  auto g = SinePlusNoise();
  g->Pull();  // prepares the lines
  for (auto _ : state) {
    g->Pull();
    benchmark::DoNotOptimize(g->Data().PValues());
    benchmark::ClobberMemory();
  }
  state.SetItemsProcessed(state.iterations() * kN);
}

// The two parts alone, to see where the time goes.
void BM_Generator_SineOnly(benchmark::State& state) {
  auto g = SinePlusNoise();
  g->Sounds()->Template()->Delete(2);
  g->Sounds()->Template()->Delete(1);
  g->Pull();
  for (auto _ : state) {
    g->Pull();
    benchmark::DoNotOptimize(g->Data().PValues());
  }
  state.SetItemsProcessed(state.iterations() * kN);
}

void BM_Generator_NoiseOnly(benchmark::State& state) {
  auto g = SinePlusNoise();
  g->Sounds()->Template()->Delete(2);
  g->Sounds()->Template()->Delete(0);
  g->Pull();
  for (auto _ : state) {
    g->Pull();
    benchmark::DoNotOptimize(g->Data().PValues());
  }
  state.SetItemsProcessed(state.iterations() * kN);
}

BENCHMARK(BM_Generator_SinePlusNoise);
BENCHMARK(BM_Generator_SineOnly);
BENCHMARK(BM_Generator_NoiseOnly);


/// Runs the NumPy peer; its median CPU times per block in ns (default and legacy generator), or
/// zeros when it could not run.
std::pair<double, double> NumpyNsPerBlock() {
  const auto peer = RunPeer("generator_peer.py", "2000 5");
  return {PeerValue(peer, "numpy_ns_per_block"), PeerValue(peer, "numpy_legacy_ns_per_block")};
}

}  // namespace

int main(int argc, char** argv) {
  TimeKeeper keeper;
  if (!RunBenchmarks(argc, argv, keeper, /*interleave=*/false)) return 1;

  const auto ours = keeper.times.find("BM_Generator_SinePlusNoise");
  if (ours == keeper.times.end()) return 0;
  const auto [numpy, legacy] = NumpyNsPerBlock();
  auto msps = [](double nsPerBlock) { return kN / nsPerBlock * 1e3; };
  std::printf("\nsine + gaussian noise, blocks of %d samples, median CPU time per block:\n", kN);
  std::printf("  TSignalGenerator  %10.1f ns  %8.1f Msamples/s\n", ours->second, msps(ours->second));
  if (numpy <= 0) {
    std::printf("  NumPy peer did not run (/usr/bin/python3 with numpy needed)\n");
    return 0;
  }
  std::printf("  NumPy             %10.1f ns  %8.1f Msamples/s\n", numpy, msps(numpy));
  std::printf("  NumPy / generator time ratio: %.2f\n", numpy / ours->second);
  if (legacy > 0) {
    std::printf("  NumPy, legacy generator (polar Box-Muller) %10.1f ns  %8.1f Msamples/s, ratio %.2f\n",
                legacy, msps(legacy), legacy / ours->second);
  }
  return 0;
}
