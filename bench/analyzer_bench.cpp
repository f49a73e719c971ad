// The spectrum analyzer against raw FFTW and scipy.signal.welch on the same data, in one run:
// 2^24 samples (a tone plus noise, prepared in memory) cut into 4096 frames of 4096 samples.
// - BM_Analyzer: TSpectrumAnalyzer pulled frame by frame from a source that copies the next
//   frame out of the buffer: mean removal, Hann window, FFT, amplitude spectrum (no phase),
//   linear averaging over all frames, peak and band steps (idle).
// - BM_RawFftwR2C: a FFTW_ESTIMATE r2c plan run on the same frames in the buffer, nothing else.
// - scipy.signal.welch (nperseg 4096, hann, no overlap, detrend 'constant') timed by
//   bench/analyzer_peer.py under /usr/bin/python3 on the same data, which also checks our
//   averaged power spectrum against welch's.
// Our side runs under Google Benchmark (median CPU time of 5 interleaved repetitions). At the
// end the throughputs and the ratios are printed with their targets: analyzer ≥ 4× welch and
// ≥ 0.6× raw FFTW.
#include <benchmark/benchmark.h>

#include "bench/bench_common.h"

#include <cmath>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <map>
#include <memory>
#include <sstream>
#include <string>
#include <type_traits>
#include <vector>

#include <fftw3.h>
#include <unistd.h>

#include "ondrix/SignalAnalysis/SignalAnalysis.h"

namespace {

using namespace ondrix::bench;

using namespace ondrix;

constexpr int kSamples = 1 << 24;
constexpr int kN = 4096;
constexpr int kFrames = kSamples / kN;
constexpr double kFs = 48000.0;

const TVec& Buffer() {
  static const TVec x = [] {
    TVec v(kSamples);
    v.RandGauss(20240611, 0.0, 0.1);
    for (int n = 0; n < kSamples; ++n) v.Values(n) += std::sin(2 * M_PI * 1000.0 * n / kFs) + 0.2;
    return v;
  }();
  return x;
}

/// A source that hands out the buffer frame by frame, round and round.
class TFrameSource : public TSignal {
public:
  explicit TFrameSource(const TVec& buffer) : TSignal(nullptr), buffer_(buffer) {
    SetSamplingFrequency(kFs);
    SetLength(kN);
  }
  TPipeState InternalUpdate() override {
    Data().Copy(buffer_, frame_ * kN, 0, kN);
    frame_ = (frame_ + 1) % kFrames;
    return pipeOK;
  }

private:
  const TVec& buffer_;
  int frame_ = 0;
};

/// The analyzer of the benchmark: Hann, amplitude spectrum without phase, linear average.
std::unique_ptr<TSpectrumAnalyzer> MakeAnalyzer(TSignal& source, TSpectrumType type) {
  auto an = std::make_unique<TSpectrumAnalyzer>(nullptr);
  an->SetWindow(wtHanning);
  an->SetSpectrumType(type);
  an->SetPhaseMode(pmIgnore);
  an->Stats()->SetAveraging(avLinearInf);
  an->SetInput(&source);
  return an;
}

void BM_Analyzer(benchmark::State& state) {
  TFrameSource source(Buffer());
  auto an = MakeAnalyzer(source, stAmplitude);
  for (auto _ : state) {
    an->ResetAveraging();
    for (int f = 0; f < kFrames; ++f) an->Pull();
    benchmark::DoNotOptimize(an->Amplt().PValues());
  }
  state.SetItemsProcessed(state.iterations() * kSamples);
}

struct PlanDeleter {
  void operator()(fftw_plan p) const noexcept { fftw_destroy_plan(p); }
};

void BM_RawFftwR2C(benchmark::State& state) {
  const TVec& x = Buffer();
  fftw_complex* out = fftw_alloc_complex(kN / 2 + 1);
  // Frames lie 32 KiB apart in the vector's aligned storage: one plan fits them all.
  std::unique_ptr<std::remove_pointer_t<fftw_plan>, PlanDeleter> plan(
      fftw_plan_dft_r2c_1d(kN, const_cast<double*>(x.PValues()), out, FFTW_ESTIMATE));
  for (auto _ : state) {
    for (int f = 0; f < kFrames; ++f) fftw_execute_dft_r2c(plan.get(), const_cast<double*>(x.PValues()) + f * kN, out);
    benchmark::DoNotOptimize(out);
    benchmark::ClobberMemory();
  }
  fftw_free(out);
  state.SetItemsProcessed(state.iterations() * kSamples);
}

BENCHMARK(BM_Analyzer)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_RawFftwR2C)->Unit(benchmark::kMillisecond);

}  // namespace

int main(int argc, char** argv) {
  TimeKeeper keeper;
  if (!RunBenchmarks(argc, argv, keeper)) return 1;

  // The peer's input, and our averaged power spectrum for its cross-check.
  const std::filesystem::path dir =
      std::filesystem::temp_directory_path() / ("ondrix_analyzer_bench_" + std::to_string(getpid()));
  std::filesystem::create_directories(dir);
  WriteF64(dir / "x.f64", Buffer());
  {
    TFrameSource source(Buffer());
    auto an = MakeAnalyzer(source, stPower);
    for (int f = 0; f < kFrames; ++f) an->Pull();
    WriteF64(dir / "power.f64", an->Amplt());
  }
  std::printf("\nRunning the SciPy peer (bench/analyzer_peer.py) on the same data...\n");
  const auto peer = RunPeer("analyzer_peer.py", "'" + dir.string() + "' " + std::to_string(kN) +
                          " " + std::to_string(kFs));
  std::filesystem::remove_all(dir);
  if (peer.empty()) {
    std::printf("The peer did not run (is /usr/bin/python3 with SciPy installed?).\n");
    return 1;
  }

  const auto ours = [&](const char* k) {
    const auto it = keeper.seconds.find(k);
    return it == keeper.seconds.end() ? 0.0 : it->second;
  };
  const double analyzer = ours("BM_Analyzer"), raw = ours("BM_RawFftwR2C"), welch = PeerValue(peer, "welch");
  const auto msps = [](double s) { return s > 0 ? kSamples / s * 1e-6 : 0.0; };
  std::printf("\n2^24 samples in %d frames of %d (median CPU time):\n", kFrames, kN);
  std::printf("  %-42s %8.1f ms %9.1f MS/s\n", "analyzer (Hann, amplitude, linear average)", analyzer * 1e3,
              msps(analyzer));
  std::printf("  %-42s %8.1f ms %9.1f MS/s\n", "raw FFTW r2c, same frames", raw * 1e3, msps(raw));
  std::printf("  %-42s %8.1f ms %9.1f MS/s\n", "scipy.signal.welch (hann, nperseg 4096)", welch * 1e3, msps(welch));
  std::printf("  analyzer / welch throughput %6.2fx   (target >= 4)\n", analyzer > 0 ? welch / analyzer : 0.0);
  std::printf("  analyzer / raw FFTW throughput %6.2fx (target >= 0.6)\n", analyzer > 0 ? raw / analyzer : 0.0);
  std::printf("Cross-check: 2 x our averaged power vs welch, lines 1 .. N/2-1: max relative difference %s\n",
              peer.count("check welch") ? peer.at("check welch").c_str() : "?");
  return 0;
}
