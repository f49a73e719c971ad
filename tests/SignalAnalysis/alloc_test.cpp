// Updates after the first frame allocate nothing: work vectors, window and FFT plans are
// kept. Skipped under the address sanitizer (see allocation_counter.h).
#include <gtest/gtest.h>

#include "analyzer_helpers.h"

#include "../common/allocation_counter.h"

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
  AllocationCounter counter;
  for (int k = 0; k < frames; ++k) rig.Feed(data[k + 2]);
  return counter.Valid() ? counter.Count() : -1;
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
