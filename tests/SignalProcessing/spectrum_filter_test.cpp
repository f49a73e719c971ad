// The spectrum filter against a NumPy implementation (tests/data/ta_specfilt.f64, from
// tests/gen_timeanalysis_reference.py), its pass-through, clamping, framing and failure.
#include <gtest/gtest.h>

#include "../sigcore/reference_records.h"
#include "processing_helpers.h"

using namespace ondrix;
using namespace ondrix::testing;

namespace {

/// Filters x once with the given Smoothing (none: the constructor's).
TVec Filter(const TVec& x, int smoothing = -1) {
  TSignal src(nullptr);
  src.SetData(x);
  TSpectrumFilter f(nullptr);
  f.SetInput(&src);
  if (smoothing >= 0) f.SetSmoothing(smoothing);
  f.Update();
  return f.Data();
}

}  // namespace

TEST(SpectrumFilter, SmoothingIsClampedBelow3PassesThroughAndAPartialFrameRaises) {
  TSignal src(nullptr);
  TSpectrumFilter f(nullptr);
  EXPECT_EQ(f.Smoothing(), 0);  // published without a default: not in the property table
  const std::pair<int, int> stored[] = {{1, 2}, {-7, 2}, {3, 3}, {2000, 1000}};
  for (const auto& [in, out] : stored) {
    f.SetSmoothing(in);
    EXPECT_EQ(f.Smoothing(), out) << in;
  }
  TVec x(1000);  // no whole frame, but a pass-through does not frame
  x.RandGauss(5, 0.0, 1.0);
  for (int s : {-1, 1, 2}) EXPECT_TRUE(Near(Filter(x, s), x, 0.0)) << s;
  src.SetData(x);
  f.SetName("SpectrumFilter");
  f.SetInput(&src);
  f.SetSmoothing(9);
  EXPECT_THAT([&] { f.Update(); }, Raises<Exception>("SpectrumFilter: Special filter error!"));
  EXPECT_EQ(f.Length(), 1000);  // resized, not filled
  EXPECT_EQ(Filter(TVec(0), 9).Length(), 0);
}

TEST(SpectrumFilter, FramesMatchNumpyAndAFlatAmplitudeComesBack) {
  const auto r = test::ReadRecords("ta_specfilt.f64");
  ASSERT_EQ(r.size(), 8u);
  ASSERT_EQ(r[1].size(), 2048u);  // two frames
  for (size_t i = 0; i < r[0].size(); ++i)
    EXPECT_TRUE(Near(Filter(test::ToVec(r[1]), static_cast<int>(r[0][i])), test::ToVec(r[2 + i]), 1e-13)) << r[0][i];
  EXPECT_TRUE(Near(Filter(test::ToVec(r[6], true), static_cast<int>(r[5][0])), test::ToVec(r[7], true), 1e-13));
  // An impulse has a flat amplitude, which any median keeps: only the transforms act.
  TVec x(2048);
  x.Values(37) = 1.5, x.Values(1024 + 600) = -0.25;
  EXPECT_TRUE(Near(Filter(x, 9), x, 1e-15));
}
