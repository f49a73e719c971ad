// The circular buffer kernels against a plain model: a vector holding the newest Size samples
// written (zeros before the start) and a count of unread ones.
#include <gtest/gtest.h>

#include <algorithm>
#include <random>
#include <vector>

#include "ondrix/sigcore/circular_buffer.h"
#include "tests/common/reference.h"

using namespace ondrix;
using ondrix::testing::Values;
using ondrix::testing::Vec;

namespace {

struct Model {
  std::vector<double> ring;  // newest at the back
  int unread = 0;
  void Write(const std::vector<double>& b) {
    const int size = static_cast<int>(ring.size());
    for (double x : b) {
      if (size == 0) break;
      ring.erase(ring.begin());
      ring.push_back(x);
    }
    unread = std::min(unread + static_cast<int>(b.size()), size);
  }
  std::vector<double> Unread(int count) const {
    const auto start = ring.end() - unread;
    return {start, start + count};
  }
  void Resize(int n) {
    const int size = static_cast<int>(ring.size());
    if (n > size) ring.insert(ring.begin(), n - size, 0.0);
    else ring.erase(ring.begin(), ring.begin() + (size - n));
    unread = std::min(unread, n);
  }
};

}  // namespace

TEST(CircularBuffer, RandomOperationsMatchModel) {
  std::mt19937 rng(7);
  TCircularBuffer cb;
  TVec ring, dst;
  InitCircularBuffer(cb, ring, 50, 1.0);
  Model m{std::vector<double>(50, 0.0)};
  double next = 1;
  for (int step = 0; step < 3000; ++step) {
    const int op = std::uniform_int_distribution<int>(0, 9)(rng);
    if (op < 4) {  // write, sometimes more than the capacity
      std::vector<double> b(std::uniform_int_distribution<int>(0, cb.Size + 10)(rng));
      for (double& x : b) x = next++;
      WriteToCircularBuffer(cb, ring, Vec(b));
      m.Write(b);
    } else if (op < 7) {  // read with an advance up to the count (overlapping reads)
      const int count = std::uniform_int_distribution<int>(0, cb.Size)(rng);
      const int advance = std::uniform_int_distribution<int>(0, count)(rng);
      const bool ok = ReadFromCircularBuffer(cb, ring, dst, count, advance);
      ASSERT_EQ(ok, count <= m.unread) << "step " << step;
      if (ok) {
        ASSERT_EQ(Values(dst), m.Unread(count)) << "step " << step;
        m.unread -= advance;
      }
    } else if (op < 9) {
      const int count = std::uniform_int_distribution<int>(0, cb.Size)(rng);
      MonitorCircularBuffer(cb, ring, dst, count);
      ASSERT_EQ(Values(dst), std::vector<double>(m.ring.end() - count, m.ring.end())) << "step " << step;
    } else {
      const int n = std::uniform_int_distribution<int>(1, 120)(rng);
      ResizeCircularBuffer(cb, ring, n);
      m.Resize(n);
    }
    ASSERT_EQ(PeekCircularBuffer(cb), m.unread) << "step " << step;
  }
}

TEST(CircularBuffer, FlagsAndComplexElements) {
  TCircularBuffer cb;
  TVec ring, dst, src(3, true);
  InitCircularBuffer(cb, ring, 4, 1.0, true);
  for (int i = 0; i < 3; ++i) src.CValues(i) = TCplx(i, -i);
  WriteToCircularBuffer(cb, ring, src);
  EXPECT_FALSE(ReadFromCircularBuffer(cb, ring, dst, 4));
  EXPECT_TRUE(cb.Underrun && !cb.Overrun);
  ASSERT_TRUE(ReadFromCircularBuffer(cb, ring, dst, 3) && dst.Complex());
  for (int i = 0; i < 3; ++i) EXPECT_EQ(dst.CValues(i), TCplx(i, -i));
  WriteToCircularBuffer(cb, ring, src);
  WriteToCircularBuffer(cb, ring, src);  // 6 into 4 places
  EXPECT_TRUE(cb.Overrun);
  EXPECT_EQ(CircularBufferGrowth(cb, 5), 8);  // doubles with IncrementStep 1
  EXPECT_EQ(CircularBufferGrowth(cb, 20), 20);
}
