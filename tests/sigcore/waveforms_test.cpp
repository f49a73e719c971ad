// The generator's waveforms against SciPy and closed forms (tests/gen_generator_reference.py),
// filled in blocks of several sizes: the start counter must carry each stream across blocks.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <functional>

#include "ondrix/sigcore/waveforms.h"
#include "tests/common/reference.h"

using namespace ondrix;

TEST(Waveforms, BlocksJoinIntoTheReferenceStream) {
  using Fill = std::function<void(TVec&, std::int64_t)>;
  const std::tuple<const char*, Fill, double> cases[] = {
      // A 2048-sample sweep at 16 kHz, run past its restart (scipy.signal.chirp).
      {"gen_chirp.f64", [](TVec& v, std::int64_t s) { LinearChirp(v, s, 100, 5000, 1, 0.25, 0.1, 0.128, 2048); }, 1e-9},
      // scipy.signal.square: exact, as no sample lies near an edge.
      {"gen_square.f64", [](TVec& v, std::int64_t s) { SquareWave(v, s, 1e-3, 37, 10, 2, 0.5); }, 0.0},
      {"gen_impulse.f64", [](TVec& v, std::int64_t s) { PulseTrain(v, s, 1e-3, 0.002, 0.004, 0.003, 0.01, 1.5); },
       1e-9}};
  for (const auto& [file, fill, tol] : cases) {
    const std::vector<double> ref = ondrix::testing::ReadF64(file);
    const int n = static_cast<int>(ref.size());
    for (int block : {1, 97, 4096}) {
      TVec part, cpart;
      for (int start = 0; start < n; start += block) {
        const int len = std::min(block, n - start);
        part.Size(len, false), cpart.Size(len, true);
        fill(part, start), fill(cpart, start);  // a complex block gets the values + 0i
        for (int i = 0; i < len; ++i) {
          ASSERT_LE(std::fabs(part.Values(i) - ref[start + i]), tol) << file << " " << start + i << " / " << block;
          ASSERT_EQ(cpart.CValues(i), TCplx(part.Values(i), 0.0)) << file;
        }
      }
    }
  }
  TVec v(4);
  EXPECT_THROW(LinearChirp(v, 0, 1, 2, 1, 1, 0, 1, 0), Exception);
}

TEST(Waveforms, NoiseRestartsFromItsSeedOrRunsOn) {
  const int n = 20000;
  TVec a(n), b(n);
  const auto same = [&] { return std::equal(a.PValues(), a.PValues() + n, b.PValues()); };
  NoiseBlock(a, nkGauss, 0.5, -2.0, false);
  NoiseBlock(b, nkGauss, 0.5, -2.0, false);
  EXPECT_TRUE(same());  // restarting: every block the same
  NoiseBlock(b, nkGauss, 0.5, -2.0, true);
  EXPECT_FALSE(same());  // continuous: b's stream goes on past the seeded block
  // Mean p0 and standard deviation |p1|, or the uniform range, within five standard errors.
  EXPECT_NEAR(b.Mean(), 0.5, 5 * 2.0 / std::sqrt(n));
  EXPECT_NEAR(b.StdDev(), 2.0, 5 * 2.0 / std::sqrt(2.0 * n));
  NoiseBlock(a, nkUniform, -1.0, 3.0, false);
  EXPECT_TRUE(a.Min() >= -1.0 && a.Max() < 3.0);
  EXPECT_NEAR(a.Mean(), 1.0, 5 * 4.0 / std::sqrt(12.0 * n));
}
