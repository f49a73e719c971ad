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

#include "ondrix/SignalProcessing/SignalProcessing.h"

namespace {

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

class TimeKeeper : public benchmark::ConsoleReporter {
public:
  std::map<std::string, double> times;  // median (or single-run) CPU ns per iteration

  void ReportRuns(const std::vector<Run>& runs) override {
    for (const Run& r : runs) {
      if (r.error_occurred) continue;
      const bool median = r.run_type == Run::RT_Aggregate && r.aggregate_name == "median";
      const bool single = r.run_type == Run::RT_Iteration && r.repetitions <= 1;
      if (median || single) times[r.run_name.function_name] = r.GetAdjustedCPUTime();
    }
    ConsoleReporter::ReportRuns(runs);
  }
};

/// Runs the NumPy peer; its median CPU times per block in ns (default and legacy generator), or
/// negative values.
std::pair<double, double> NumpyNsPerBlock() {
  const std::string script = (std::filesystem::path(__FILE__).parent_path() / "generator_peer.py").string();
  const std::string cmd = "/usr/bin/python3 '" + script + "' 2000 5";
  std::unique_ptr<FILE, int (*)(FILE*)> p(popen(cmd.c_str(), "r"), pclose);
  double ns = -1, legacy = -1;
  if (!p) return {ns, legacy};
  char line[256];
  while (std::fgets(line, sizeof line, p.get())) {
    std::sscanf(line, "numpy_ns_per_block %lf", &ns);
    std::sscanf(line, "numpy_legacy_ns_per_block %lf", &legacy);
  }
  return {ns, legacy};
}

}  // namespace

int main(int argc, char** argv) {
  std::vector<char*> args(argv, argv + argc);
  char reps[] = "--benchmark_repetitions=5";
  char aggregates[] = "--benchmark_report_aggregates_only=true";
  args.insert(args.begin() + 1, {reps, aggregates});
  int count = static_cast<int>(args.size());
  benchmark::Initialize(&count, args.data());
  if (benchmark::ReportUnrecognizedArguments(count, args.data())) return 1;
  TimeKeeper keeper;
  benchmark::RunSpecifiedBenchmarks(&keeper);
  benchmark::Shutdown();

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
