#include <gtest/gtest.h>

#include <cmath>

#include "ondrix/sigcore/averaging.h"
#include "reference_records.h"

using namespace ondrix;
using ondrix::test::MaxAbsDiff;

// The means themselves are checked through the analyzers that use them:
// tests/SignalAnalysis/averaging_test.cpp (linear, exponential and complex modes) and the
// bispectrum planes of tests/SignalAnalysis/bispectrum_test.cpp.
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
  RunningAverage(avg, b, 5, 1.0);  // n = 1 follows the current frame
  EXPECT_EQ(MaxAbsDiff(avg, b), 0.0);
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
