// Waveforms against SciPy (tests/gen_generator_reference.py) or closed forms, and blocks
// joined against one long block.
#include <gtest/gtest.h>

#include <cmath>

#include "processing_helpers.h"

using namespace ondrix;
using namespace ondrix::testing;

// The parameters are those of tests/gen_generator_reference.py.
TEST(GeneratorReference, SineChirpSquareAndImpulseMatchTheirClosedForms) {
  // P1 in degrees, |P2| as amplitude.
  auto sine = Gen(48000.0, 256, FunctionLine(funSine, {1000.3, 30.0, -0.8}));
  EXPECT_LE(MaxDiff(Pull(*sine, 4), ReadF64("gen_sine.f64")), 1e-11);
  // A sweep of 2048 samples over blocks of 512 (P6 = 4), run past its restart.
  auto chirp = Gen(16000.0, 512, FunctionLine(funChirp, {100.0, 0.0, 1.0, 0.1, 5000.0, 0.25, 4.0}));
  EXPECT_LE(MaxDiff(Pull(*chirp, 5), ReadF64("gen_chirp.f64")), 1e-9);
  auto square = Gen(1000.0, 400, FunctionLine(funSquare, {37.0, 10.0, 2.0, 0.5}));
  EXPECT_EQ(Pull(*square, 3), ReadF64("gen_square.f64"));
  auto pulses = Gen(1000.0, 100, FunctionLine(funImpulse, {0.004, 0.010, 0.002, 0.003, 1.5}));
  EXPECT_LE(MaxDiff(Pull(*pulses, 4), ReadF64("gen_impulse.f64")), 1e-9);
}

TEST(GeneratorReference, ComplexToneAndTriangleShapes) {
  // A·exp(i(2πfn + φ)), conjugated when f lies in the upper half of the circle.
  for (double f : {123.0, 700.0}) {
    auto g = Gen(1000.0, 200, FunctionLine(funSine, {f, 60.0, 1.5}, /*Complex=*/true));
    g->Pull();
    ASSERT_TRUE(g->Complex());
    for (int n = 0; n < 200; ++n) {
      TCplx z = std::polar(1.5, 2 * M_PI * f / 1000.0 * n + M_PI / 3);
      ASSERT_LE(std::abs(g->CValues(n) - (f > 500 ? std::conj(z) : z)), 1e-11) << f << " Hz, sample " << n;
    }
  }
  // Triangle shape 0: symmetric from 0 upwards (the arcsine of a sine); 1: a rising sawtooth.
  // A continuous triangle starts over in each block: the advanced state is not kept.
  auto g = Gen(1000.0, 128, FunctionLine(funTriangle, {30.0, 0.0, -2.0, 0.0}));
  auto saw = Gen(1000.0, 128, FunctionLine(funTriangle, {30.0, 0.0, 2.0, 1.0}));
  std::vector<double> two = Pull(*g, 2), s = Pull(*saw, 1), tri(128), ramp(128);
  for (int n = 0; n < 128; ++n) {
    tri[n] = 4 / M_PI * std::asin(std::sin(2 * M_PI * 0.03 * n));
    ramp[n] = 2 * (2 * (0.03 * n + 0.5 - std::floor(0.03 * n + 0.5)) - 1);
  }
  EXPECT_LE(MaxDiff({two.begin(), two.begin() + 128}, tri), 1e-9);
  EXPECT_EQ(std::vector<double>(two.begin() + 128, two.end()), std::vector<double>(two.begin(), two.begin() + 128));
  EXPECT_LE(MaxDiff(s, ramp), 1e-9);
}

namespace {

/// `whole` in one block of 256 equals `halves` in two blocks of 128 (at 1000 Hz), and the two
/// halves differ (so that a restarting line cannot pass).
void ExpectHalvesEqualWhole(const TFuncSignalRecord& whole, const TFuncSignalRecord& halves) {
  std::vector<double> one = Pull(*Gen(1000.0, 256, whole), 1), two = Pull(*Gen(1000.0, 128, halves), 2);
  EXPECT_LE(MaxDiff(one, two), 1e-12) << FuncToString(whole.FuncType);
  EXPECT_GT(MaxDiff({one.begin(), one.begin() + 128}, {one.begin() + 128, one.end()}), 1e-3);
}

}  // namespace

TEST(GeneratorBlocks, TwoBlocksOf128EqualOneBlockOf256) {
  // The counter-driven waveforms join up by themselves (tests/sigcore/waveforms_test.cpp); here
  // the generator must carry the tone states and the counters.
  for (const auto& line : {FunctionLine(funSine, {100.0, 0.0, 1.0}), FunctionLine(funSine, {37.7, 45.0, 2.0}, true)})
    ExpectHalvesEqualWhole(line, line);
  // The sweep length counts blocks: twice as many blocks of half the length.
  ExpectHalvesEqualWhole(FunctionLine(funChirp, {100.0, 0.0, 1.0, 0.1, 400.0, 0.5, 1.0}),
                         FunctionLine(funChirp, {100.0, 0.0, 1.0, 0.1, 400.0, 0.5, 2.0}));
  ExpectHalvesEqualWhole(FunctionLine(funChirp, {100.0, 0.0, 1.0, 0.1, 400.0, 0.5, 0.0}),
                         FunctionLine(funChirp, {100.0, 0.0, 1.0, 0.1, 400.0, 0.5, 2.0}));
  // A whole expression of continuous lines.
  auto expr = [](int n) {
    return Gen(1000.0, n, FunctionLine(funSine, {50.0, 20.0, 1.0}), FunctionLine(funSquare, {13.0, 0.0, 1.0, 2.0}),
               OperatorLine(opMul), FunctionLine(funImpulse, {0.004, 0.010, 0.002, 0.003, 1.5}), OperatorLine(opAdd));
  };
  EXPECT_LE(MaxDiff(Pull(*expr(256), 1), Pull(*expr(128), 2)), 1e-12);
}

// The noise's statistics are tested with its kernel (tests/sigcore/waveforms_test.cpp).
TEST(GeneratorBlocks, LinesThatAreNotContinuousRestartEveryBlock) {
  for (auto&& line : {FunctionLine(funSine, {100.0, 30.0, 1.0}), FunctionLine(funSquare, {37.0, 10.0, 2.0, 0.5}),
                      FunctionLine(funImpulse, {0.004, 0.010, 0.002, 0.003, 1.5}),
                      FunctionLine(funChirp, {100.0, 0.0, 1.0, 0.1, 400.0, 0.5, 4.0}),
                      FunctionLine(funRandUniform, {-1.0, 3.0}), FunctionLine(funRandGauss, {0.5, -2.0})}) {
    for (bool continuous : {false, true}) {
      auto g = Gen(1000.0, 128, line);
      g->Sounds()->Template()->Items(0)->Continuous = continuous;
      const std::vector<double> b1 = Pull(*g, 1);
      EXPECT_EQ(Pull(*g, 1) == b1, !continuous) << FuncToString(line.FuncType) << " continuous " << continuous;
    }
  }
  // The sine restarts at its start phase, the noise at the vector library's seed 999.
  EXPECT_NEAR(Pull(*Gen(1000.0, 128, FunctionLine(funSine, {100.0, 30.0, 1.0}, false, false)), 2)[128], 0.5, 1e-15);
  TVec seeded(128);
  seeded.RandGauss(999, 0.5, 2.0);
  std::vector<double> noise = Pull(*Gen(1000.0, 128, FunctionLine(funRandGauss, {0.5, -2.0}, false, false)), 2);
  EXPECT_EQ(std::vector<double>(noise.begin() + 128, noise.end()), Values(seeded));
}
