// Updates after the first frame allocate nothing: work vectors, window and FFT plans are
// kept. The C library's heap entry points are interposed in this test binary to count calls
// (operator new and the vectors' aligned storage end up there); under the address sanitizer,
// which owns them, the test is skipped.
#include <gtest/gtest.h>

#include <atomic>
#include <cstddef>

#include "analyzer_helpers.h"

#if defined(__SANITIZE_ADDRESS__)
#define ONDRIX_COUNT_ALLOCATIONS 0
#else
#define ONDRIX_COUNT_ALLOCATIONS 1
namespace {
std::atomic<long> gAllocations{0};
std::atomic<bool> gCounting{false};
void Count() {
  if (gCounting.load(std::memory_order_relaxed)) ++gAllocations;
}
}  // namespace

extern "C" {
void* __libc_malloc(std::size_t);
void* __libc_calloc(std::size_t, std::size_t);
void* __libc_realloc(void*, std::size_t);
void* __libc_memalign(std::size_t, std::size_t);
void* malloc(std::size_t n) { return Count(), __libc_malloc(n); }
void* calloc(std::size_t n, std::size_t m) { return Count(), __libc_calloc(n, m); }
void* realloc(void* p, std::size_t n) { return Count(), __libc_realloc(p, n); }
void* aligned_alloc(std::size_t a, std::size_t n) { return Count(), __libc_memalign(a, n); }
}
#endif

using namespace ondrix;
using namespace ondrix::testing;

#if ONDRIX_COUNT_ALLOCATIONS
namespace {

/// Allocations made by `frames` updates after two warm-up frames (-1 if the counter is off).
long AllocationsOfUpdates(TRig& rig, int frames) {
  std::vector<TVec> data;
  for (int k = 0; k < frames + 2; ++k) data.push_back(Sum(Sine(4096, 48000.0, 1000.0 + k, 1.0), Noise(4096, k, 0.01)));
  rig.Feed(data[0]);
  rig.Feed(data[1]);
  gCounting = true;
  int* volatile probe = new int(1);  // the counter must see this one
  delete probe;
  const long seen = gAllocations.exchange(0);
  for (int k = 0; k < frames; ++k) rig.Feed(data[k + 2]);
  gCounting = false;
  return seen == 1 ? gAllocations.exchange(0) : -1;
}

}  // namespace
#endif

TEST(AnalyzerAllocation, UpdatesAfterTheFirstFrameAllocateNothing) {
#if !ONDRIX_COUNT_ALLOCATIONS
  GTEST_SKIP() << "allocation counting needs the C library's allocator (not under the sanitizer)";
#else
  TRig averaged(48000.0);
  averaged->SetWindow(wtHanning);
  averaged->Stats()->SetAveraging(avLinearInf);
  averaged->Stats()->SetCalcStdDev(true);
  averaged->Peaks()->SetTraceMethod(ptLargest);
  averaged->Peaks()->SetLargestCount(3);
  averaged->Bands()->SetThirdOctaveBands();
  EXPECT_EQ(AllocationsOfUpdates(averaged, 20), 0);

  TRig harmonics(48000.0);
  harmonics->SetWindow(wtBlackmanHarris);
  harmonics->SetLogarithmic(true);
  harmonics->Peaks()->SetTraceMethod(ptAmpltHarmonics);
  harmonics->Peaks()->Interpolation()->SetMethod(imNumeric);
  harmonics->Peaks()->Interpolation()->SetHarmonics(true);
  EXPECT_EQ(AllocationsOfUpdates(harmonics, 20), 0);
#endif
}
