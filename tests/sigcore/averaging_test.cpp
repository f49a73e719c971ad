#include <gtest/gtest.h>

#include <cmath>
#include <vector>

#include "ondrix/sigcore/averaging.h"
#include "reference_records.h"

using namespace ondrix;
using ondrix::test::MaxAbsDiff;

namespace {

std::vector<TVec> Frames(int count, int length, bool complex) {
  std::vector<TVec> f;
  for (int i = 0; i < count; ++i) {
    f.emplace_back(length, complex);
    f.back().RandGauss(100 + i, 1.0, 2.0);
  }
  return f;
}

}  // namespace

TEST(RunningAverage, LinearIsExactMean) {
  for (bool complex : {false, true}) {
    const auto frames = Frames(37, 50, complex);
    TVec avg;
    for (unsigned i = 0; i < frames.size(); ++i) RunningAverage(avg, frames[i], i, i + 1.0);
    TVec mean(50, complex);
    mean.SetZero();
    for (const auto& f : frames) mean.Add(f);
    mean.Scale(1.0 / frames.size());
    EXPECT_LE(MaxAbsDiff(avg, mean), 1e-13) << complex;
  }
}

TEST(RunningAverage, FixedNIsExponential) {
  // A_K = (1 − α)^K·S_0 + Σ_{k≥1} α·(1 − α)^(K−k)·S_k, α = 1/n: the first frame taken whole,
  // later frames weighted 1/n.
  const double n = 5.0, alpha = 1.0 / n;
  const auto frames = Frames(20, 16, true);
  TVec avg;
  for (unsigned i = 0; i < frames.size(); ++i) RunningAverage(avg, frames[i], i, n);
  const int K = static_cast<int>(frames.size()) - 1;
  TVec ref(frames[0]);
  ref.Scale(std::pow(1 - alpha, K));
  for (int k = 1; k <= K; ++k) {
    TVec t(frames[k]);
    t.Scale(alpha * std::pow(1 - alpha, K - k));
    ref.Add(t);
  }
  EXPECT_LE(MaxAbsDiff(avg, ref), 1e-13);
  // n = 1 follows the current frame.
  RunningAverage(avg, frames[3], 7, 1.0);
  EXPECT_EQ(MaxAbsDiff(avg, frames[3]), 0.0);
}

TEST(RunningAverage, MatrixShapeAndChecks) {
  TMtx a(3, 4, true), b(3, 4, true), avg;
  a.RandGauss(1, 0.0, 1.0);
  b.RandGauss(2, 0.0, 1.0);
  RunningAverage(avg, a, 0, 1.0);
  EXPECT_EQ(avg.Rows(), 3);
  EXPECT_EQ(avg.Cols(), 4);
  EXPECT_TRUE(avg.Complex());
  RunningAverage(avg, b, 1, 2.0);
  for (int r = 0; r < 3; ++r)
    for (int c = 0; c < 4; ++c)
      EXPECT_NEAR(std::abs(avg.CValues(r, c) - 0.5 * (a.CValues(r, c) + b.CValues(r, c))), 0.0, 1e-15);
  // Same element count, other shape: refused; a new first frame takes any shape.
  TMtx other(4, 3, true);
  EXPECT_THROW(RunningAverage(avg, other, 2, 3.0), EVecError);
  RunningAverage(avg, other, 0, 1.0);
  EXPECT_EQ(avg.Rows(), 4);
  TVec v(5), w(6);
  RunningAverage(v, v, 0, 1.0);
  EXPECT_THROW(RunningAverage(v, w, 1, 2.0), EVecError);
  EXPECT_THROW(RunningAverage(v, v, 1, 0.5), EVecError);
}
