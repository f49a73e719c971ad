// Updates after the first frame allocate nothing: work vectors, window and FFT plans are
// kept. Skipped under the address sanitizer (see allocation_counter.h).
#include <gtest/gtest.h>

#include "analyzer_helpers.h"

#include "../common/allocation_counter.h"

using namespace ondrix;
using namespace ondrix::testing;

namespace {

/// Allocations made by `frames` updates after two warm-up frames (-1 if the counter is off).
long AllocationsOfUpdates(TRig& rig, int frames) {
  std::vector<TVec> data;
  for (int k = 0; k < frames + 2; ++k) data.push_back(Sum(Sine(4096, 48000.0, 1000.0 + k, 1.0), Noise(4096, k, 0.01)));
  rig.Feed(data[0]);
  rig.Feed(data[1]);
  return AllocationsOf([&] {
    for (int k = 0; k < frames; ++k) rig.Feed(data[k + 2]);
  });
}

}  // namespace

TEST(AnalyzerAllocation, UpdatesAfterTheFirstFrameAllocateNothing) {
  ONDRIX_REQUIRE_ALLOCATION_COUNTING();
  TRig averaged(48000.0, wtHanning);
  averaged->Stats()->SetAveraging(avLinearInf);
  averaged->Stats()->SetCalcStdDev(true);
  averaged->Peaks()->SetTraceMethod(ptLargest);
  averaged->Peaks()->SetLargestCount(3);
  averaged->Bands()->SetThirdOctaveBands();
  EXPECT_EQ(AllocationsOfUpdates(averaged, 20), 0);

  TRig harmonics(48000.0, wtBlackmanHarris);
  harmonics->SetLogarithmic(true);
  harmonics->Peaks()->SetTraceMethod(ptAmpltHarmonics);
  harmonics->Peaks()->Interpolation()->SetMethod(imNumeric);
  harmonics->Peaks()->Interpolation()->SetHarmonics(true);
  EXPECT_EQ(AllocationsOfUpdates(harmonics, 20), 0);
}

// The two-channel and bispectrum analyzers, and the bispectrum kernels, after their first frame.
TEST(AnalyzerAllocation, CrossAndBispectrumUpdatesAfterTheFirstFrameAllocateNothing) {
  ONDRIX_REQUIRE_ALLOCATION_COUNTING();
  std::vector<TVec> data;
  for (int k = 0; k < 8; ++k) data.push_back(Sum(Sine(1024, 8000.0, 500.0 + k, 1.0), Noise(1024, k, 0.1)));
  const auto count = [&](const std::function<void(const TVec&, const TVec&)>& feed) {
    feed(data[0], data[1]);
    feed(data[2], data[3]);
    return AllocationsOf([&] {
      for (int k = 4; k < 8; ++k) feed(data[k], data[k - 4]);
    });
  };
  for (bool recursive : {true, false}) {
    TCrossRig cross(8000.0, wtHanning);
    cross->SetLogarithmic(true);
    cross.ca().SetTransform(ctTransferFunction);
    cross.ca().SetRecursive(recursive);
    EXPECT_EQ(count([&](const TVec& a, const TVec& b) { cross.Feed(a, b); }), 0) << recursive;
  }
  for (TBicoherenceType type : {bctModified, bctDefault}) {
    for (bool lines : {false, true}) {
      TBiRig bi(8000.0);
      bi.ba().SetBicoherenceType(type);
      bi.ba().SetSingleLinesOnly(lines);
      bi.ba().SetLines(Vec({1000.0, 2500.0}));
      EXPECT_EQ(count([&](const TVec& a, const TVec&) { bi.Feed(a); }), 0) << type << lines;
    }
  }
  // Sums of the whole plane wait in batches: a run of frames past a batch allocates nothing.
  TBiRig sums(8000.0);
  sums.ba().SetRecursive(false);
  sums.Feed(data[0]);
  EXPECT_EQ(AllocationsOf([&] {
              for (int k = 0; k < 20; ++k) sums.Feed(data[k % 8]);
            }),
            0);
}

// The signal analyzer, every transform behind integration, mean removal and rotation.
TEST(SignalAnalyzerAllocation, UpdatesAfterTheFirstAllocateNothing) {
  ONDRIX_REQUIRE_ALLOCATION_COUNTING();
  const TVec b = Noise(2048, 2);
  for (int t = ttWindow; t <= ttCplxCepstrum; ++t) {
    TTimeRig rig(Noise(2048, 1), 1.0, &b);
    TSignalAnalyzer& an = rig.an;
    an.SetTransform(static_cast<TTimeTransform>(t));
    an.SetWindow(wtHanning);
    an.SetIntegration(inTwice);
    an.SetRemoveDC(true);
    an.SetRotation(5);
    an.SetCorrTaps2(50);
    an.Update();
    EXPECT_EQ(AllocationsOf([&] { for (int k = 0; k < 5; ++k) an.Update(); }), 0) << t;
  }
}
