// Updates after the first frame allocate nothing: work vectors, window and FFT plans are
// kept. Skipped under the address sanitizer (see allocation_counter.h).
#include <gtest/gtest.h>

#include <functional>

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
  TSignal x(nullptr), y(nullptr);
  x.SetSamplingFrequency(8000.0);
  y.SetSamplingFrequency(8000.0);
  for (bool recursive : {true, false}) {
    TCrossSpectrumAnalyzer cross(nullptr);
    cross.SetInput(&x);
    cross.SetOutput(&y);
    cross.SetWindow(wtHanning);
    cross.SetLogarithmic(true);
    cross.CrossAnalyzer()->SetTransform(ctTransferFunction);
    cross.CrossAnalyzer()->SetRecursive(recursive);
    EXPECT_EQ(count([&](const TVec& a, const TVec& b) { x.SetData(a), y.SetData(b), cross.Update(); }), 0) << recursive;
  }
  for (TBicoherenceType type : {bctModified, bctDefault}) {
    for (bool lines : {false, true}) {
      TBiSpectrumAnalyzer bi(nullptr);
      bi.SetInput(&x);
      bi.Stats()->SetAveraging(avLinearInf);
      bi.BiAnalyzer()->SetBicoherenceType(type);
      bi.BiAnalyzer()->SetSingleLinesOnly(lines);
      TVec rows(2);
      rows.Values(0) = 1000.0, rows.Values(1) = 2500.0;
      bi.BiAnalyzer()->SetLines(rows);
      EXPECT_EQ(count([&](const TVec& a, const TVec&) { x.SetData(a), bi.Update(); }), 0) << type << lines;
    }
  }
  // Sums of the whole plane wait in batches: a run of frames past a batch allocates nothing.
  TBiSpectrumAnalyzer sums(nullptr);
  sums.SetInput(&x);
  sums.Stats()->SetAveraging(avLinearInf);
  sums.BiAnalyzer()->SetRecursive(false);
  x.SetData(data[0]);
  sums.Update();
  EXPECT_EQ(AllocationsOf([&] {
              for (int k = 0; k < 20; ++k) x.SetData(data[k % 8]), sums.Update();
            }),
            0);
}

// The signal analyzer, every transform behind integration, mean removal and rotation.
TEST(SignalAnalyzerAllocation, UpdatesAfterTheFirstAllocateNothing) {
  ONDRIX_REQUIRE_ALLOCATION_COUNTING();
  TSignal a(nullptr), b(nullptr);
  a.SetData(Noise(2048, 1));
  b.SetData(Noise(2048, 2));
  for (int t = ttWindow; t <= ttCplxCepstrum; ++t) {
    TSignalAnalyzer an(nullptr);
    an.SetInput(&a);
    an.Inputs()->Add()->SetInput(&b);
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
