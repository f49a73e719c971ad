// The spectrum filter on 2^20 samples (1024 frames of 1024) with Smoothing 9, against the same
// filter in NumPy/SciPy (numpy.fft.rfft, scipy.ndimage.median_filter and numpy.fft.irfft per
// frame, bench/spectrum_filter_peer.py) on the same data in the same run; the peer also checks
// our output. Target: ours at least 5x faster (median CPU times).
#include <cmath>
#include <cstdio>
#include <filesystem>
#include <string>

#include <unistd.h>

#include "bench/bench_common.h"
#include "ondrix/SignalProcessing/SignalProcessing.h"

namespace {

using namespace ondrix;
using namespace ondrix::bench;

constexpr int kSamples = 1 << 20;
constexpr int kSmoothing = 9;

const TVec& Samples() {
  static const TVec x = [] {
    TVec v(kSamples);
    v.RandGauss(20240717, 0.0, 0.3);
    for (int n = 0; n < kSamples; ++n) v.Values(n) += std::sin(2 * M_PI * 0.0371 * n);
    return v;
  }();
  return x;
}

/// A filter on a plain signal holding the samples.
struct TRig {
  TSignal source{nullptr};
  TSpectrumFilter filter{nullptr};
  TRig() {
    source.SetSamplingFrequency(48000.0);
    source.SetData(Samples());
    filter.SetInput(&source);
    filter.SetSmoothing(kSmoothing);
  }
};

void BM_SpectrumFilter(benchmark::State& state) {
  TRig rig;
  for (auto _ : state) {
    rig.filter.Pull();
    benchmark::DoNotOptimize(rig.filter.Data().PValues());
  }
  state.SetItemsProcessed(state.iterations() * kSamples);
}
BENCHMARK(BM_SpectrumFilter)->Unit(benchmark::kMillisecond);

}  // namespace

int main(int argc, char** argv) {
  TimeKeeper keeper;
  if (!RunBenchmarks(argc, argv, keeper)) return 1;

  const std::filesystem::path dir =
      std::filesystem::temp_directory_path() / ("ondrix_spectrum_filter_bench_" + std::to_string(getpid()));
  std::filesystem::create_directories(dir);
  WriteF64(dir / "x.f64", Samples());
  {
    TRig rig;
    rig.filter.Pull();
    WriteF64(dir / "y.f64", rig.filter.Data());
  }
  std::printf("\nRunning the NumPy peer (bench/spectrum_filter_peer.py) on the same data...\n");
  const auto peer = RunPeer("spectrum_filter_peer.py", "'" + dir.string() + "' " +
                                                           std::to_string(TSpectrumFilter::FrameLength) + " " +
                                                           std::to_string(kSmoothing));
  std::filesystem::remove_all(dir);
  if (peer.empty()) {
    std::printf("The peer did not run (is /usr/bin/python3 with NumPy and SciPy installed?).\n");
    return 1;
  }
  const double ours = keeper.seconds["BM_SpectrumFilter"], numpy = PeerValue(peer, "numpy");
  std::printf("\n2^20 samples, frames of %d, Smoothing %d (median CPU time):\n", TSpectrumFilter::FrameLength,
              kSmoothing);
  std::printf("  %-40s %8.2f ms\n", "TSpectrumFilter", ours * 1e3);
  std::printf("  %-40s %8.2f ms\n", "NumPy rfft + ndimage.median_filter", numpy * 1e3);
  std::printf("  spectrum filter / NumPy throughput %6.2fx (target >= 5)\n", ours > 0 ? numpy / ours : 0.0);
  std::printf("Cross-check: our output vs NumPy's, max difference / max |y|: %s\n",
              peer.count("check numpy") ? peer.at("check numpy").c_str() : "?");
  return 0;
}
