// Rate change by 8 at 80 dB alias rejection, against scipy.signal.resample_poly and libsoxr:
// - decimation of 2^23 samples in blocks of 4096 (the cascade kernel, and the decimator
//   component pulled from a block source);
// - interpolation of 2^20 samples (2^23 out) in blocks of 4096.
// Every resampler keeps the band up to 0.9 of the lower Nyquist frequency and rejects from 1.1
// of it. Ours: TransBW 0.1, Ripple 1e-4. resample_poly (bench/multirate_peer.py): the shortest
// equiripple filter meeting 1e-4 on those edges. soxr: double-precision engine (SOXR_32_BITQ,
// about 190 dB) and its 15-bit quality with SOXR_DOUBLE_PRECISION (the closest to 80 dB it
// offers), passband_end 0.9 and stopband_begin 1.1, float64 samples. The rejection each one
// achieves is measured in the same run (coherent tones from 1.1 to 7.7 times the new Nyquist
// frequency) and printed beside the speed ratios; the goal is >= 3x resample_poly.
#include <benchmark/benchmark.h>
#include <unistd.h>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <filesystem>
#include <functional>
#include <string>
#include <vector>

#ifdef ONDRIX_HAVE_SOXR
#include <soxr.h>
#endif

#include "bench/bench_common.h"
#include "ondrix/SignalProcessing/SignalProcessing.h"
#include "ondrix/vec/calcbase.h"

namespace {

using namespace ondrix;
using namespace ondrix::bench;

constexpr int kFactor = 8;
constexpr int kSamples = 1 << 23;
constexpr int kInterpSamples = 1 << 20;
constexpr int kBlock = 4096;

struct Data {
  TVec x, hb, last;
  Data() {
    x.Size(kSamples, false);
    x.RandGauss(20240612, 0.0, 1.0);
    HalfBandLowpass(hb, 1e-4, true);
    MultiRateLowpass(last, 0.45, 0.55, 1e-4, true);
  }
};

const Data& Inputs() {
  static const Data d;
  return d;
}

/// A resampler run block by block: feed(in, n) appends its output for n inputs to out.
using TResampler = std::function<void(const double* in, int n, std::vector<double>& out)>;

TResampler Ours(bool decimate) {
  auto c = std::make_shared<TRateCascade>();
  CascadeInit(*c, decimate ? cmDecimate : cmInterpolate, 3, Inputs().hb, Inputs().last);
  auto blk = std::make_shared<TVec>(), y = std::make_shared<TVec>();
  return [=](const double* in, int n, std::vector<double>& out) {
    blk->Size(n, false);
    blk->CopyFromArray(in, n);
    CascadeFilter(*blk, *y, *c);
    out.insert(out.end(), y->PValues(), y->PValues() + y->Length());
  };
}

#ifdef ONDRIX_HAVE_SOXR
TResampler Soxr(bool decimate, bool precision32) {
  soxr_quality_spec_t q = soxr_quality_spec(precision32 ? SOXR_32_BITQ : SOXR_16_BITQ, SOXR_DOUBLE_PRECISION);
  if (!precision32) q.precision = 15;  // the least soxr accepts: about 90 dB
  q.passband_end = 0.9;
  q.stopband_begin = 1.1;
  const soxr_io_spec_t io = soxr_io_spec(SOXR_FLOAT64_I, SOXR_FLOAT64_I);
  soxr_error_t err = nullptr;
  std::shared_ptr<soxr> s(soxr_create(decimate ? kFactor : 1, decimate ? 1 : kFactor, 1, &err, &io, &q, nullptr),
                          soxr_delete);
  if (err) std::fprintf(stderr, "soxr: %s\n", err);
  auto buf = std::make_shared<std::vector<double>>(kBlock * kFactor + 4096);
  return [=](const double* in, int n, std::vector<double>& out) {
    size_t used = 0, done = 0, made = 0;
    while (used < static_cast<size_t>(n)) {
      soxr_process(s.get(), in + used, n - used, &done, buf->data(), buf->size(), &made);
      used += done;
      out.insert(out.end(), buf->begin(), buf->begin() + static_cast<long>(made));
    }
  };
}
#endif

/// Runs n samples of x through r in blocks; out is reserved once, so only the work is timed.
void RunBlocks(const TResampler& r, const double* x, int n, std::vector<double>& out) {
  out.clear();
  for (int p = 0; p < n; p += kBlock) r(x + p, std::min(kBlock, n - p), out);
}

void Timed(benchmark::State& state, const std::function<TResampler()>& make, bool decimate) {
  const int n = decimate ? kSamples : kInterpSamples;
  std::vector<double> out;
  out.reserve(static_cast<size_t>(decimate ? n / kFactor : n * kFactor) + 65536);
  for (auto _ : state) {
    state.PauseTiming();
    TResampler r = make();
    state.ResumeTiming();
    RunBlocks(r, Inputs().x.PValues(), n, out);
    benchmark::DoNotOptimize(out.data());
  }
  state.SetItemsProcessed(state.iterations() * n);
}

void BM_Decimate8(benchmark::State& s) { Timed(s, [] { return Ours(true); }, true); }
void BM_Interpolate8(benchmark::State& s) { Timed(s, [] { return Ours(false); }, false); }

/// The decimator component pulled block by block from a source that hands out the signal.
class TBlockSource : public TSignal {
public:
  explicit TBlockSource(TComponent* owner) : TSignal(owner) {}
  int pos = 0;
  TPipeState InternalUpdate() override {
    if (pos >= kSamples) return pipeEnd;
    Data().Size(kBlock, false);
    Data().CopyFromArray(::Inputs().x.PValues() + pos, kBlock);
    pos += kBlock;
    return pipeOK;
  }
};

void BM_Decimate8_Component(benchmark::State& state) {
  for (auto _ : state) {
    state.PauseTiming();
    TBlockSource src(nullptr);
    TSignalDecimator d(nullptr);
    d.SetInput(&src);
    d.SetFactor(kFactor);
    d.Delay();  // designs the taps outside the timing
    state.ResumeTiming();
    while (d.Pull() == pipeOK) benchmark::DoNotOptimize(d.Data().PValues());
  }
  state.SetItemsProcessed(state.iterations() * kSamples);
}

BENCHMARK(BM_Decimate8)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_Decimate8_Component)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_Interpolate8)->Unit(benchmark::kMillisecond);
#ifdef ONDRIX_HAVE_SOXR
void BM_Soxr32_Decimate8(benchmark::State& s) { Timed(s, [] { return Soxr(true, true); }, true); }
void BM_Soxr15_Decimate8(benchmark::State& s) { Timed(s, [] { return Soxr(true, false); }, true); }
void BM_Soxr32_Interpolate8(benchmark::State& s) { Timed(s, [] { return Soxr(false, true); }, false); }
void BM_Soxr15_Interpolate8(benchmark::State& s) { Timed(s, [] { return Soxr(false, false); }, false); }
BENCHMARK(BM_Soxr32_Decimate8)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_Soxr15_Decimate8)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_Soxr32_Interpolate8)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_Soxr15_Interpolate8)->Unit(benchmark::kMillisecond);
#endif

/// Worst alias (decimation) or image (interpolation) in dB below a unit tone: coherent tones
/// whose aliases or images fall on bins of a 4096-point segment taken late in the output.
double Rejection(const std::function<TResampler()>& make, bool decimate) {
  constexpr int M = 4096;
  double worst = 0;
  for (double u : decimate ? std::vector<double>{1.1, 1.3, 1.7, 2.5, 4.1, 7.7} : std::vector<double>{0.1, 0.5, 0.9}) {
    const int k = static_cast<int>(std::lround(u * M / 2));
    const int n = decimate ? 8 * kFactor * M : 8 * M;
    std::vector<double> x(static_cast<size_t>(n)), out;
    for (int i = 0; i < n; ++i) x[i] = std::cos(TWOPI * k * i / (decimate ? static_cast<double>(kFactor) * M : M));
    RunBlocks(make(), x.data(), n, out);
    const int len = decimate ? M : M * kFactor;
    TVec seg(len), spec, mag;
    seg.CopyFromArray(out.data() + out.size() - 2 * static_cast<size_t>(len), len);
    spec.FFTFromReal(seg);
    mag.Mag(spec);
    mag.Scale(2.0 / len);
    if (decimate) {
      worst = std::max(worst, mag.Values(k % M <= M / 2 ? k % M : M - k % M));
    } else {
      mag.Values(k) = 0;
      worst = std::max(worst, mag.Max());
    }
  }
  return -20.0 * std::log10(std::max(worst, 1e-300));
}

}  // namespace

int main(int argc, char** argv) {
  TimeKeeper keeper;
  if (!RunBenchmarks(argc, argv, keeper)) return 1;
  const std::filesystem::path dir =
      std::filesystem::temp_directory_path() / ("ondrix_multirate_bench_" + std::to_string(getpid()));
  std::filesystem::create_directories(dir);
  WriteF64(dir / "x.f64", Inputs().x);
  std::printf("\nRunning the SciPy peer (bench/multirate_peer.py) on the same data...\n");
  const auto peer = RunPeer("multirate_peer.py", "'" + dir.string() + "'");
  std::filesystem::remove_all(dir);
  if (peer.empty()) std::printf("The peer did not run (is /usr/bin/python3 with SciPy installed?).\n");

  const auto ours = [&](const char* k) {
    const auto it = keeper.seconds.find(k);
    return it == keeper.seconds.end() ? 0.0 : it->second;
  };
  std::printf("\n%-52s %10s %11s %12s\n", "work (median CPU time)", "MS/s in", "rejection", "ours faster");
  const auto row = [&](const char* what, double sec, double n, double dB, double oursSec) {
    if (sec <= 0) return;
    std::printf("%-52s %10.1f %8.1f dB %11.2fx\n", what, n / sec * 1e-6, dB, oursSec > 0 ? sec / oursSec : 0.0);
  };
  const double dec = ours("BM_Decimate8"), itp = ours("BM_Interpolate8");
  const double ourDec = Rejection([] { return Ours(true); }, true);
  const double ourItp = Rejection([] { return Ours(false); }, false);
  std::printf("decimation by 8, 2^23 samples in blocks of 4096:\n");
  row("  ours (cascade kernel)", dec, kSamples, ourDec, dec);
  row("  ours (TSignalDecimator pulled)", ours("BM_Decimate8_Component"), kSamples, ourDec, dec);
  row("  scipy.signal.resample_poly (whole signal)", PeerValue(peer, "decimate"), kSamples,
      PeerValue(peer, "check decimate_dB"), dec);
#ifdef ONDRIX_HAVE_SOXR
  row("  soxr, 32-bit quality (double precision)", ours("BM_Soxr32_Decimate8"), kSamples,
      Rejection([] { return Soxr(true, true); }, true), dec);
  row("  soxr, 15-bit quality, double precision", ours("BM_Soxr15_Decimate8"), kSamples,
      Rejection([] { return Soxr(true, false); }, true), dec);
#endif
  std::printf("interpolation by 8, 2^20 samples (2^23 out) in blocks of 4096:\n");
  row("  ours (cascade kernel)", itp, kInterpSamples, ourItp, itp);
  row("  scipy.signal.resample_poly (whole signal)", PeerValue(peer, "interpolate"), kInterpSamples,
      PeerValue(peer, "check interpolate_dB"), itp);
#ifdef ONDRIX_HAVE_SOXR
  row("  soxr, 32-bit quality (double precision)", ours("BM_Soxr32_Interpolate8"), kInterpSamples,
      Rejection([] { return Soxr(false, true); }, false), itp);
  row("  soxr, 15-bit quality, double precision", ours("BM_Soxr15_Interpolate8"), kInterpSamples,
      Rejection([] { return Soxr(false, false); }, false), itp);
#else
  std::printf("(libsoxr not found at build time: no soxr rows)\n");
#endif
  std::printf("goal: ours >= 3x resample_poly; resample_poly's filter has %s taps\n",
              peer.count("taps") ? peer.at("taps").c_str() : "?");
  return 0;
}
