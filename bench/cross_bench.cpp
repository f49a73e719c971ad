// The cross-spectrum and bispectrum analyzers against SciPy / NumPy on the same data, in one run.
// - BM_Coherence: TCrossSpectrumAnalyzer over two channels of 2^22 samples (noise and a tone,
//   and the same through an IIR filter plus noise), 4096-point Hann frames every 2048 samples
//   copied into the two input signals, coherence shown: Recursive false (sums, one
//   UpdateSpectrum at the end) and, as BM_CoherenceRecursive, the running average with the
//   coherence recomputed after every frame.
// - BM_Bicoherence: TBiSpectrumAnalyzer, whole-plane modified bicoherence of 2^18 samples in
//   1024 frames of 256 (mean removed, rectangular window), Recursive false; and
//   BM_BicoherenceRecursive with the plane updated after every frame.
// - The peers, timed by bench/cross_peer.py under /usr/bin/python3 on the same data:
//   scipy.signal.coherence (nperseg 4096, noverlap 2048, hann) and a NumPy bicoherence
//   vectorised over frames. The script also checks our results against theirs.
// Our side runs under Google Benchmark (median CPU time of 5 interleaved repetitions). At the
// end the ratios are printed with their goals: coherence >= 10x SciPy, bicoherence >= 20x NumPy.
#include <benchmark/benchmark.h>

#include "bench/bench_common.h"

#include <cmath>
#include <cstdio>
#include <filesystem>
#include <string>

#include <unistd.h>

#include "ondrix/SignalAnalysis/SignalAnalysis.h"

namespace {

using namespace ondrix;
using namespace ondrix::bench;

constexpr int kSamples = 1 << 22;
constexpr int kN = 4096;
constexpr int kHop = kN / 2;
constexpr double kFs = 48000.0;
constexpr int kBiSamples = 1 << 18;
constexpr int kBiN = 256;

struct TChannels {
  TVec x, y;
};

const TChannels& Channels() {
  static const TChannels c = [] {
    TChannels t{TVec(kSamples), TVec(kSamples)};
    t.x.RandGauss(20240713, 0.0, 1.0);
    TVec noise(kSamples);
    noise.RandGauss(20240714, 0.0, 0.1);
    // y: x through a two-pole resonator, plus noise.
    double y1 = 0, y2 = 0;
    for (int n = 0; n < kSamples; ++n) {
      t.x.Values(n) += 0.5 * std::sin(2 * M_PI * 1000.0 * n / kFs);
      const double v = t.x.Values(n) + 1.6 * y1 - 0.81 * y2;
      y2 = y1, y1 = v;
      t.y.Values(n) = 0.1 * v + noise.Values(n);
    }
    return t;
  }();
  return c;
}

const TVec& BiSignal() {
  static const TVec b = [] {
    TVec v(kBiSamples);
    v.RandGauss(20240715, 0.0, 0.3);
    for (int f = 0; f < kBiSamples / kBiN; ++f) {
      const double p1 = 0.37 * f, p2 = 1.13 * f * f;  // coupled phases, varying frame to frame
      for (int i = 0; i < kBiN; ++i) {
        const double w = 2 * M_PI * i / kBiN;
        v.Values(f * kBiN + i) += std::cos(20 * w + p1) + std::cos(33 * w + p2) + std::cos(53 * w + p1 + p2);
      }
    }
    return v;
  }();
  return b;
}

/// The coherence of the two channels, frames copied in from the buffers.
struct TCoherenceRun {
  TSignal x{nullptr}, y{nullptr};
  TCrossSpectrumAnalyzer an{nullptr};

  explicit TCoherenceRun(bool recursive) {
    x.SetSamplingFrequency(kFs);
    y.SetSamplingFrequency(kFs);
    x.SetLength(kN);
    y.SetLength(kN);
    an.SetInput(&x);
    an.SetOutput(&y);
    an.SetWindow(wtHanning);
    an.SetPhaseMode(pmIgnore);
    an.CrossAnalyzer()->SetTransform(ctCoherence);
    an.CrossAnalyzer()->SetRecursive(recursive);
  }
  void Run() {
    const TChannels& c = Channels();
    an.ResetAveraging();
    for (int s = 0; s + kN <= kSamples; s += kHop) {
      x.Data().Copy(c.x, s, 0, kN);
      y.Data().Copy(c.y, s, 0, kN);
      an.Update();
    }
    if (!an.CrossAnalyzer()->Recursive()) an.UpdateSpectrum();
  }
};

/// The whole-plane bicoherence of the frames of BiSignal.
struct TBicoherenceRun {
  TSignal x{nullptr};
  TBiSpectrumAnalyzer an{nullptr};

  explicit TBicoherenceRun(bool recursive) {
    x.SetSamplingFrequency(kFs);
    x.SetLength(kBiN);
    an.SetInput(&x);
    an.SetPhaseMode(pmIgnore);
    an.Stats()->SetAveraging(avLinearInf);
    an.BiAnalyzer()->SetRecursive(recursive);
  }
  void Run() {
    const TVec& b = BiSignal();
    an.ResetAveraging();
    for (int s = 0; s + kBiN <= kBiSamples; s += kBiN) {
      x.Data().Copy(b, s, 0, kBiN);
      an.Update();
    }
    if (!an.BiAnalyzer()->Recursive()) an.UpdateSpectrum();
  }
};

void BM_Coherence(benchmark::State& state) {
  TCoherenceRun run(false);
  for (auto _ : state) {
    run.Run();
    benchmark::DoNotOptimize(run.an.Amplt().PValues());
  }
}

void BM_CoherenceRecursive(benchmark::State& state) {
  TCoherenceRun run(true);
  for (auto _ : state) {
    run.Run();
    benchmark::DoNotOptimize(run.an.Amplt().PValues());
  }
}

void BM_Bicoherence(benchmark::State& state) {
  TBicoherenceRun run(false);
  for (auto _ : state) {
    run.Run();
    benchmark::DoNotOptimize(run.an.BiAnalyzer()->Bispectrum().PValues());
  }
}

void BM_BicoherenceRecursive(benchmark::State& state) {
  TBicoherenceRun run(true);
  for (auto _ : state) {
    run.Run();
    benchmark::DoNotOptimize(run.an.BiAnalyzer()->Bispectrum().PValues());
  }
}

BENCHMARK(BM_Coherence)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_CoherenceRecursive)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_Bicoherence)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_BicoherenceRecursive)->Unit(benchmark::kMillisecond);

}  // namespace

int main(int argc, char** argv) {
  TimeKeeper keeper;
  if (!RunBenchmarks(argc, argv, keeper)) return 1;

  const std::filesystem::path dir =
      std::filesystem::temp_directory_path() / ("ondrix_cross_bench_" + std::to_string(getpid()));
  std::filesystem::create_directories(dir);
  WriteF64(dir / "x.f64", Channels().x);
  WriteF64(dir / "y.f64", Channels().y);
  WriteF64(dir / "b.f64", BiSignal());
  {
    TCoherenceRun run(false);
    run.Run();
    WriteF64(dir / "coherence.f64", run.an.Amplt());
    TBicoherenceRun bi(false);
    bi.Run();
    WriteF64(dir / "bicoherence.f64", bi.an.BiAnalyzer()->Bispectrum());
  }
  std::printf("\nRunning the SciPy / NumPy peer (bench/cross_peer.py) on the same data...\n");
  const auto peer = RunPeer("cross_peer.py", "'" + dir.string() + "' " + std::to_string(kN) + " " +
                                                 std::to_string(kHop) + " " + std::to_string(kFs) + " " +
                                                 std::to_string(kBiN));
  std::filesystem::remove_all(dir);
  if (peer.empty()) {
    std::printf("The peer did not run (is /usr/bin/python3 with SciPy installed?).\n");
    return 1;
  }
  const auto ours = [&](const char* k) {
    const auto it = keeper.seconds.find(k);
    return it == keeper.seconds.end() ? 0.0 : it->second;
  };
  const auto ratio = [](double peer, double us) { return us > 0 ? peer / us : 0.0; };
  const double coh = ours("BM_Coherence"), cohRec = ours("BM_CoherenceRecursive");
  const double bic = ours("BM_Bicoherence"), bicRec = ours("BM_BicoherenceRecursive");
  const double scipyCoh = PeerValue(peer, "coherence"), numpyBic = PeerValue(peer, "bicoherence");
  std::printf("\nCoherence of 2 x 2^22 samples, %d-point Hann frames every %d (median CPU time):\n", kN, kHop);
  std::printf("  %-46s %8.1f ms\n", "cross analyzer, sums, one update at the end", coh * 1e3);
  std::printf("  %-46s %8.1f ms\n", "cross analyzer, running average every frame", cohRec * 1e3);
  std::printf("  %-46s %8.1f ms\n", "scipy.signal.coherence", scipyCoh * 1e3);
  std::printf("  ratio sums %6.2fx, running %6.2fx   (goal >= 10)\n", ratio(scipyCoh, coh), ratio(scipyCoh, cohRec));
  std::printf("Whole-plane bicoherence of 2^18 samples, %d-point frames:\n", kBiN);
  std::printf("  %-46s %8.1f ms\n", "bispectrum analyzer, sums, one update", bic * 1e3);
  std::printf("  %-46s %8.1f ms\n", "bispectrum analyzer, running average every frame", bicRec * 1e3);
  std::printf("  %-46s %8.1f ms\n", "NumPy, vectorised over frames", numpyBic * 1e3);
  std::printf("  ratio sums %6.2fx, running %6.2fx   (goal >= 20)\n", ratio(numpyBic, bic), ratio(numpyBic, bicRec));
  std::printf("Cross-checks: coherence max abs difference %s, bicoherence max abs difference %s\n",
              peer.count("check coherence") ? peer.at("check coherence").c_str() : "?",
              peer.count("check bicoherence") ? peer.at("check bicoherence").c_str() : "?");
  return 0;
}
