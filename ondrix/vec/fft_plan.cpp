#include "ondrix/vec/fft_plan.h"

#include <algorithm>
#include <functional>
#include <memory>
#include <mutex>
#include <new>
#include <string>
#include <type_traits>
#include <unordered_map>

#include "ondrix/vec/exceptions.h"

namespace ondrix {

namespace {

struct PlanDeleter {
  void operator()(fftw_plan plan) const noexcept { fftw_destroy_plan(plan); }
};
using PlanHandle = std::unique_ptr<std::remove_pointer_t<fftw_plan>, PlanDeleter>;

struct FftwFree {
  void operator()(double* p) const noexcept { fftw_free(p); }
};
using AlignedDoubles = std::unique_ptr<double[], FftwFree>;

AlignedDoubles AllocAligned(std::size_t doubles) {
  AlignedDoubles p(fftw_alloc_real(doubles > 0 ? doubles : 1));
  if (!p) throw std::bad_alloc();
  return p;
}

struct PlanKey {
  TFftKind kind;
  int n;
  bool inPlace;
  bool aligned;
  bool operator==(const PlanKey&) const = default;
};

struct PlanKeyHash {
  std::size_t operator()(const PlanKey& k) const noexcept {
    std::size_t h = std::hash<int>()(k.n);
    return h * 31 + static_cast<std::size_t>(k.kind) * 4 + (k.inPlace ? 2 : 0) +
           (k.aligned ? 1 : 0);
  }
};

// FFTW's planner is not thread-safe, executing a finished plan is: every plan is made under
// one mutex and never changed afterwards.
struct PlanCache {
  std::mutex mutex;
  std::unordered_map<PlanKey, PlanHandle, PlanKeyHash> plans;
};

PlanCache& Cache() {
  static PlanCache cache;
  return cache;
}

bool IsAligned(const void* p) {
  return fftw_alignment_of(static_cast<double*>(const_cast<void*>(p))) == 0;
}

// Plans on arrays of our own, so that a planner flag stronger than FFTW_ESTIMATE (which
// overwrites the arrays) could never touch caller data. A plan for unaligned data is made
// with FFTW_UNALIGNED, which makes it valid for arrays of any alignment.
PlanHandle MakePlan(const PlanKey& key) {
  const std::size_t n = static_cast<std::size_t>(key.n);
  const std::size_t halfBins = n / 2 + 1;
  std::size_t inDoubles = 2 * n, outDoubles = 2 * n;
  switch (key.kind) {
    case fkR2C:
      inDoubles = n;
      outDoubles = 2 * halfBins;
      break;
    case fkC2R:
      inDoubles = 2 * halfBins;
      outDoubles = n;
      break;
    case fkDct2:
    case fkDct3:
      inDoubles = outDoubles = n;
      break;
    default:
      break;
  }
  AlignedDoubles inBuf = AllocAligned(key.inPlace ? std::max(inDoubles, outDoubles) : inDoubles);
  AlignedDoubles outBuf = key.inPlace ? nullptr : AllocAligned(outDoubles);
  double* in = inBuf.get();
  double* out = key.inPlace ? in : outBuf.get();
  auto* cin = reinterpret_cast<fftw_complex*>(in);
  auto* cout = reinterpret_cast<fftw_complex*>(out);

  const unsigned flags = FFTW_ESTIMATE | (key.aligned ? 0u : FFTW_UNALIGNED);
  const int len = key.n;
  fftw_plan plan = nullptr;
  switch (key.kind) {
    case fkForward:
      plan = fftw_plan_dft_1d(len, cin, cout, FFTW_FORWARD, flags);
      break;
    case fkBackward:
      plan = fftw_plan_dft_1d(len, cin, cout, FFTW_BACKWARD, flags);
      break;
    case fkR2C:
      plan = fftw_plan_dft_r2c_1d(len, in, cout, flags);
      break;
    case fkC2R:
      plan = fftw_plan_dft_c2r_1d(len, cin, out, flags);
      break;
    case fkDct2:
      plan = fftw_plan_r2r_1d(len, in, out, FFTW_REDFT10, flags);
      break;
    case fkDct3:
      plan = fftw_plan_r2r_1d(len, in, out, FFTW_REDFT01, flags);
      break;
  }
  return PlanHandle(plan);
}

}  // namespace

fftw_plan FftPlan(TFftKind kind, int n, const void* in, const void* out) {
  if (n < 1) throw EVecError("FFT: cannot plan a transform of " + std::to_string(n) + " points");
  const PlanKey key{kind, n, in == out, IsAligned(in) && IsAligned(out)};
  PlanCache& cache = Cache();
  std::lock_guard<std::mutex> lock(cache.mutex);
  if (auto it = cache.plans.find(key); it != cache.plans.end()) return it->second.get();
  PlanHandle plan = MakePlan(key);
  if (!plan)
    throw EVecError("FFT: FFTW could not plan a transform of " + std::to_string(n) + " points");
  fftw_plan raw = plan.get();
  cache.plans.emplace(key, std::move(plan));
  return raw;
}

std::size_t FftPlanCount() {
  PlanCache& cache = Cache();
  std::lock_guard<std::mutex> lock(cache.mutex);
  return cache.plans.size();
}

double* FftScratch(std::size_t doubles) {
  thread_local AlignedDoubles buffer;
  thread_local std::size_t capacity = 0;
  if (doubles > capacity) {
    buffer = AllocAligned(doubles);
    capacity = doubles;
  }
  return buffer.get();
}

}  // namespace ondrix
