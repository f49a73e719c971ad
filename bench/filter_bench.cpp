// Filtering and filter design against SciPy on the same data, in one run:
// - a 101-tap FIR (FirFilter) on 2^23 samples, against scipy.signal.oaconvolve and lfilter;
// - an 8th-order Butterworth lowpass in second-order sections (IirFilter), against sosfilt;
// - an 8th-order elliptic design to sections, against scipy.signal.ellip(output='sos');
// - a 255-tap Parks-McClellan design, against scipy.signal.remez.
// Our side runs under Google Benchmark (median CPU time of 5 interleaved repetitions); the
// peer, bench/filter_peer.py under /usr/bin/python3, reads the same inputs from a temporary
// directory, prints its median CPU times and checks our outputs against lfilter / sosfilt.
// At the end the throughputs and the speed ratios are printed with their targets.
#include <benchmark/benchmark.h>

#include "bench/bench_common.h"

#include <cstdio>
#include <filesystem>
#include <fstream>
#include <map>
#include <memory>
#include <sstream>
#include <string>
#include <vector>

#include <unistd.h>

#include "ondrix/sigcore/filter_state.h"
#include "ondrix/sigcore/fir_design.h"
#include "ondrix/sigcore/iir_design.h"
#include "ondrix/sigcore/remez.h"

namespace {

using namespace ondrix::bench;

using namespace ondrix;

constexpr int kSamples = 1 << 23;
constexpr int kTaps = 101;

struct Data {
  TVec x, h, sos;
  Data() {
    x.Size(kSamples, false);
    x.RandGauss(20240517, 0.0, 1.0);
    h.Size(kTaps, false);
    FirImpulse(h, {0.3}, 2.0, wtKaiser, ftLowpass, 8.0);
    ZeroPoleToSos(ButterFilter(8, {0.2}, ftLowpass), sos);
  }
};

const Data& Inputs() {
  static const Data d;
  return d;
}

void BM_Fir101(benchmark::State& state) {
  const Data& d = Inputs();
  TFirState st;
  FirInit(d.h, st);
  TVec y;
  for (auto _ : state) {
    FirFilter(d.x, y, st);
    benchmark::DoNotOptimize(y.PValues());
  }
  state.SetItemsProcessed(state.iterations() * kSamples);
}

void BM_Fir101_Blocks4096(benchmark::State& state) {
  const Data& d = Inputs();
  TFirState st;
  FirInit(d.h, st);
  TVec blk(4096), y;
  for (auto _ : state) {
    for (int p = 0; p < kSamples; p += 4096) {
      blk.Copy(d.x, p, 0, 4096);
      FirFilter(blk, y, st);
    }
    benchmark::DoNotOptimize(y.PValues());
  }
  state.SetItemsProcessed(state.iterations() * kSamples);
}

void BM_Sos8(benchmark::State& state) {
  const Data& d = Inputs();
  TIirState st;
  IirInit(d.sos, st);
  TVec y;
  for (auto _ : state) {
    IirFilter(d.x, y, st);
    benchmark::DoNotOptimize(y.PValues());
  }
  state.SetItemsProcessed(state.iterations() * kSamples);
}

void BM_EllipDesign(benchmark::State& state) {
  TVec sos;
  for (auto _ : state) {
    ZeroPoleToSos(EllipticFilter(8, 0.5, 60.0, {0.3}, ftLowpass), sos);
    benchmark::DoNotOptimize(sos.PValues());
  }
}

void BM_Remez255(benchmark::State& state) {
  TVec taps;
  for (auto _ : state) {
    remez(taps, 255, {0, 0.2, 0.21, 0.5}, {1, 0}, {}, rtBandpass, 1.0);
    benchmark::DoNotOptimize(taps.PValues());
  }
}

BENCHMARK(BM_Fir101)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_Fir101_Blocks4096)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_Sos8)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_EllipDesign)->Unit(benchmark::kMicrosecond);
BENCHMARK(BM_Remez255)->Unit(benchmark::kMillisecond);

}  // namespace

int main(int argc, char** argv) {
  TimeKeeper keeper;
  if (!RunBenchmarks(argc, argv, keeper)) return 1;

  // The peer's inputs and our outputs for its cross-check.
  const Data& d = Inputs();
  const std::filesystem::path dir =
      std::filesystem::temp_directory_path() / ("ondrix_filter_bench_" + std::to_string(getpid()));
  std::filesystem::create_directories(dir);
  WriteF64(dir / "x.f64", d.x);
  WriteF64(dir / "h.f64", d.h);
  WriteF64(dir / "sos.f64", d.sos);
  {
    TFirState fs;
    FirInit(d.h, fs);
    TVec y;
    FirFilter(d.x, y, fs);
    WriteF64(dir / "y_fir.f64", y);
    TIirState is;
    IirInit(d.sos, is);
    IirFilter(d.x, y, is);
    WriteF64(dir / "y_sos.f64", y);
  }
  std::printf("\nRunning the SciPy peer (bench/filter_peer.py) on the same data...\n");
  const auto peer = RunPeer("filter_peer.py", "'" + dir.string() + "'");
  std::filesystem::remove_all(dir);
  if (peer.empty()) {
    std::printf("The peer did not run (is /usr/bin/python3 with SciPy installed?).\n");
    return 1;
  }

  const auto ours = [&](const char* k) {
    const auto it = keeper.seconds.find(k);
    return it == keeper.seconds.end() ? 0.0 : it->second;
  };
  const double n = kSamples;
  std::printf("\n%-44s %12s %12s %9s %8s\n", "work (median CPU time)", "ours", "SciPy", "speed-up", "target");
  const auto row = [&](const char* what, double us, double them, const char* target, bool perSample) {
    if (perSample)
      std::printf("%-44s %8.1f MS/s %8.1f MS/s %8.2fx %8s\n", what, n / us * 1e-6, n / them * 1e-6, them / us, target);
    else
      std::printf("%-44s %9.2f us %9.2f us %8.2fx %8s\n", what, us * 1e6, them * 1e6, them / us, target);
  };
  row("FIR 101 taps, 2^23 samples vs oaconvolve", ours("BM_Fir101"), PeerValue(peer, "oaconvolve"), ">= 2", true);
  row("FIR 101 taps, 2^23 samples vs lfilter", ours("BM_Fir101"), PeerValue(peer, "lfilter"), "-", true);
  row("FIR 101 taps, blocks of 4096 vs oaconvolve", ours("BM_Fir101_Blocks4096"), PeerValue(peer, "oaconvolve"), "-", true);
  row("SOS Butterworth order 8 vs sosfilt", ours("BM_Sos8"), PeerValue(peer, "sosfilt"), ">= 1.5", true);
  row("elliptic order 8 design vs ellip(sos)", ours("BM_EllipDesign"), PeerValue(peer, "ellip"), ">= 10", false);
  row("remez 255 taps vs scipy remez", ours("BM_Remez255"), PeerValue(peer, "remez"), "-", false);
  std::printf("Cross-check of our outputs: FIR vs lfilter %s, SOS vs sosfilt %s (max relative difference)\n",
              peer.count("check fir") ? peer.at("check fir").c_str() : "?",
              peer.count("check sos") ? peer.at("check sos").c_str() : "?");
  return 0;
}
