// 4096-point FFTs through TVec against raw FFTW (a prepared FFTW_ESTIMATE plan run with the
// new-array execute functions on fftw_malloc'ed arrays): the cost of TVec's plan lookup and
// checks. After the runs the TVec / raw ratios of the median CPU times are printed; the
// target is below 1.10.
#include <algorithm>
#include <cstdio>
#include <map>
#include <memory>
#include <string>
#include <type_traits>
#include <vector>

#include <benchmark/benchmark.h>

#include "bench/bench_common.h"
#include <fftw3.h>

#include "ondrix/vec/TVec.h"

namespace {

using namespace ondrix::bench;

using ondrix::TVec;

constexpr int kN = 4096;

struct PlanDeleter {
  void operator()(fftw_plan p) const noexcept { fftw_destroy_plan(p); }
};
using Plan = std::unique_ptr<std::remove_pointer_t<fftw_plan>, PlanDeleter>;

struct FftwFree {
  void operator()(void* p) const noexcept { fftw_free(p); }
};
template <class T>
using FftwArray = std::unique_ptr<T[], FftwFree>;

FftwArray<double> RealArray(int n) { return FftwArray<double>(fftw_alloc_real(n)); }
FftwArray<fftw_complex> ComplexArray(int n) {
  return FftwArray<fftw_complex>(fftw_alloc_complex(n));
}

TVec Noise(bool complex) {
  TVec v(kN, complex);
  v.RandGauss(12345, 0.0, 1.0);
  return v;
}

void CopyInto(double* dst, const TVec& v) {
  std::copy(v.PValues(), v.PValues() + v.RealLength(), dst);
}

// In-place runs transform their own output again and again, so the values grow to inf and
// NaN; that costs nothing extra with SSE/AVX arithmetic, and TVec and raw see the same data.

void BM_RealHalf_TVec(benchmark::State& state) {
  const TVec x = Noise(false);
  TVec y;
  for (auto _ : state) {
    y.FFTFromReal(x);
    benchmark::DoNotOptimize(y.PValues());
    benchmark::ClobberMemory();
  }
}

void BM_RealHalf_Raw(benchmark::State& state) {
  auto in = RealArray(kN);
  auto out = ComplexArray(kN / 2 + 1);
  CopyInto(in.get(), Noise(false));
  Plan plan(fftw_plan_dft_r2c_1d(kN, in.get(), out.get(), FFTW_ESTIMATE));
  for (auto _ : state) {
    fftw_execute_dft_r2c(plan.get(), in.get(), out.get());
    benchmark::DoNotOptimize(out.get());
    benchmark::ClobberMemory();
  }
}

void BM_RealFull_TVec(benchmark::State& state) {
  const TVec x = Noise(false);
  TVec y;
  for (auto _ : state) {
    y.FFT(x);
    benchmark::DoNotOptimize(y.PValues());
    benchmark::ClobberMemory();
  }
}

void BM_Complex_TVec(benchmark::State& state) {
  const TVec z = Noise(true);
  TVec y;
  for (auto _ : state) {
    y.FFT(z);
    benchmark::DoNotOptimize(y.PValues());
    benchmark::ClobberMemory();
  }
}

void BM_Complex_Raw(benchmark::State& state) {
  auto in = ComplexArray(kN);
  auto out = ComplexArray(kN);
  CopyInto(in.get()[0], Noise(true));
  Plan plan(fftw_plan_dft_1d(kN, in.get(), out.get(), FFTW_FORWARD, FFTW_ESTIMATE));
  for (auto _ : state) {
    fftw_execute_dft(plan.get(), in.get(), out.get());
    benchmark::DoNotOptimize(out.get());
    benchmark::ClobberMemory();
  }
}

void BM_ComplexInPlace_TVec(benchmark::State& state) {
  TVec z = Noise(true);
  for (auto _ : state) {
    z.FFT();
    benchmark::DoNotOptimize(z.PValues());
    benchmark::ClobberMemory();
  }
}

void BM_ComplexInPlace_Raw(benchmark::State& state) {
  auto data = ComplexArray(kN);
  CopyInto(data.get()[0], Noise(true));
  Plan plan(fftw_plan_dft_1d(kN, data.get(), data.get(), FFTW_FORWARD, FFTW_ESTIMATE));
  for (auto _ : state) {
    fftw_execute_dft(plan.get(), data.get(), data.get());
    benchmark::DoNotOptimize(data.get());
    benchmark::ClobberMemory();
  }
}

BENCHMARK(BM_RealHalf_TVec);
BENCHMARK(BM_RealHalf_Raw);
BENCHMARK(BM_RealFull_TVec);
BENCHMARK(BM_Complex_TVec);
BENCHMARK(BM_Complex_Raw);
BENCHMARK(BM_ComplexInPlace_TVec);
BENCHMARK(BM_ComplexInPlace_Raw);


void PrintRatio(const TimeKeeper& k, const char* what, const std::string& ours,
                const std::string& raw) {
  const auto a = k.times.find(ours), b = k.times.find(raw);
  if (a == k.times.end() || b == k.times.end()) return;
  std::printf("  %-44s %6.3f  (%s / %s)\n", what, a->second / b->second, ours.c_str(), raw.c_str());
}

}  // namespace

int main(int argc, char** argv) {
  TimeKeeper keeper;
  if (!RunBenchmarks(argc, argv, keeper)) return 1;
  std::printf("\nTVec / raw FFTW CPU time, median, %d points (target < 1.10):\n", kN);
  PrintRatio(keeper, "real, half spectrum (FFTFromReal vs r2c)", "BM_RealHalf_TVec",
             "BM_RealHalf_Raw");
  PrintRatio(keeper, "complex, out of place (FFT(src) vs c2c)", "BM_Complex_TVec",
             "BM_Complex_Raw");
  PrintRatio(keeper, "complex, in place (FFT() vs in-place c2c)", "BM_ComplexInPlace_TVec",
             "BM_ComplexInPlace_Raw");
  std::printf("For information, not a target:\n");
  PrintRatio(keeper, "real, full spectrum (FFT(real) vs r2c)", "BM_RealFull_TVec",
             "BM_RealHalf_Raw");
  return 0;
}
