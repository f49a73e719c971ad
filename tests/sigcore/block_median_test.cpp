// The centred block median against numpy.median over numpy.pad windows
// (tests/data/ta_median.f64, from tests/gen_timeanalysis_reference.py), and its NaN order.
#include <gtest/gtest.h>

#include <cmath>

#include "ondrix/sigcore/block_median.h"
#include "reference_records.h"

using namespace ondrix;

// The padded copy needs at least n + L - 1 values; a larger buffer changes nothing.
TEST(BlockMedian, MatchesNumpyWithReflectedAndWrappedEnds) {
  const auto r = test::ReadRecords("ta_median.f64");
  ASSERT_EQ(r.size(), 2 + 2 * r[0].size());
  TVec y;
  for (size_t c = 0; c < 2 * r[0].size(); ++c) {
    BlockMedian(y, test::ToVec(r[1]), static_cast<int>(r[0][c / 2]), c % 2 ? meWrap : meReflect);
    EXPECT_EQ(test::MaxAbsDiff(y, test::ToVec(r[2 + c])), 0.0) << "L " << r[0][c / 2] << " edge " << c % 2;
  }
}

TEST(BlockMedian, NaNSortsAboveNumbersAndBadArgumentsRaise) {
  TVec x = test::ToVec({5, NAN, 1, 2, 8});
  const double med[] = {NAN, 5, 2, 2, 2};  // windows NaN 5 NaN, 5 NaN 1, ...
  BlockMedian(x, x, 3, meReflect);
  for (int i = 0; i < 5; ++i) EXPECT_TRUE(x.Values(i) == med[i] || (std::isnan(x.Values(i)) && std::isnan(med[i])));
  EXPECT_THROW(BlockMedian(x, x, 0, meWrap), EVecError);
  EXPECT_THROW(BlockMedian(x, TVec(4, true), 3, meWrap), EVecError);
}
