// Random fills of TVec: uniform and gaussian values from a per-vector xoshiro256++ stream.
#include <atomic>
#include <cmath>

#include "ondrix/vec/random_state.h"

namespace ondrix {

namespace {

std::uint64_t SplitMix64(std::uint64_t& x) {
  std::uint64_t z = (x += 0x9E3779B97F4A7C15ull);
  z = (z ^ (z >> 30)) * 0xBF58476D1CE4E5B9ull;
  z = (z ^ (z >> 27)) * 0x94D049BB133111EBull;
  return z ^ (z >> 31);
}

std::atomic<std::uint64_t> defaultSeedCounter{0x5DEECE66Dull};

// Gives every never-seeded vector its own stream, reproducibly within a run.
std::uint64_t NextDefaultSeed() {
  std::uint64_t x = defaultSeedCounter.fetch_add(1) * 0x9E3779B97F4A7C15ull;
  return SplitMix64(x);
}

constexpr double kTwoPow53 = 9007199254740992.0;

// Uniform in [0, 1) from the top 53 bits.
inline double Unit(std::uint64_t bits) { return static_cast<double>(bits >> 11) / kTwoPow53; }

// Marsaglia & Tsang's ziggurat with Doornik's 128 rectangles (ZIGNOR): R is the start of the
// tail, V the common area of each rectangle.
constexpr int kZigLayers = 128;
constexpr double kZigR = 3.442619855899;
constexpr double kZigV = 9.91256303526217e-3;

struct TZiggurat {
  double x[kZigLayers + 1];
  double ratio[kZigLayers];
  TZiggurat() {
    double f = std::exp(-0.5 * kZigR * kZigR);
    x[0] = kZigV / f;  // the base layer including the tail
    x[1] = kZigR;
    x[kZigLayers] = 0.0;
    for (int i = 2; i < kZigLayers; ++i) {
      x[i] = std::sqrt(-2.0 * std::log(kZigV / x[i - 1] + f));
      f = std::exp(-0.5 * x[i] * x[i]);
    }
    for (int i = 0; i < kZigLayers; ++i) ratio[i] = x[i + 1] / x[i];
  }
};

const TZiggurat& Ziggurat() {
  static const TZiggurat z;
  return z;
}

double GaussTail(TXoshiro256& e, bool negative) {
  double x, y;
  do {
    x = std::log(1.0 - Unit(e())) / kZigR;  // 1 - u keeps log's argument in (0, 1]
    y = std::log(1.0 - Unit(e()));
  } while (-2.0 * y < x * x);
  return negative ? x - kZigR : kZigR - x;
}

double Gauss(TXoshiro256& e, const TZiggurat& z) {
  for (;;) {
    const std::uint64_t bits = e();
    const double u = 2.0 * Unit(bits) - 1.0;  // (-1, 1)
    const int i = static_cast<int>(bits & (kZigLayers - 1));  // low bits, independent of u's
    if (std::fabs(u) < z.ratio[i]) return u * z.x[i];  // inside the rectangle: ~99 %
    if (i == 0) return GaussTail(e, u < 0);
    const double x = u * z.x[i];
    const double f0 = std::exp(-0.5 * (z.x[i] * z.x[i] - x * x));
    const double f1 = std::exp(-0.5 * (z.x[i + 1] * z.x[i + 1] - x * x));
    if (f1 + Unit(e()) * (f0 - f1) < 1.0) return x;
  }
}

void FillGauss(TXoshiro256& e, double* d, int n, double mean, double sd) {
  const TZiggurat& z = Ziggurat();
  for (int i = 0; i < n; ++i) d[i] = mean + sd * Gauss(e, z);
}

void FillUniform(TXoshiro256& e, double* d, int n, double low, double high) {
  const double w = high - low;
  for (int i = 0; i < n; ++i) d[i] = low + w * Unit(e());
}

}  // namespace

void TXoshiro256::Seed(std::uint64_t seed) {
  for (auto& s : s_) s = SplitMix64(seed);
}

TVec::RandomState::RandomState() : engine(NextDefaultSeed()) {}

void SeedRandomStreams(std::uint64_t seed) {
  std::uint64_t x = seed;
  defaultSeedCounter = SplitMix64(x);
}

TVec::RandomState& TVec::Random() {
  if (!random_) random_ = std::make_unique<RandomState>();
  return *random_;
}

TVec& TVec::RandGauss(std::uint32_t seed, double mean, double stdDev) {
  RandomState& r = Random();
  r.Remember(RandomState::Gauss, seed, mean, stdDev);
  FillGauss(r.engine, data_, RealLength(), mean, stdDev);
  return *this;
}

TVec& TVec::RandGauss(double mean, double stdDev) {
  FillGauss(Random().engine, data_, RealLength(), mean, stdDev);
  return *this;
}

TVec& TVec::RandGauss() {
  RandomState& r = Random();
  if (r.lastKind != RandomState::Gauss) return RandGauss(0.0, 1.0);
  return RandGauss(r.lastSeed, r.p1, r.p2);
}

TVec& TVec::RandUniform(std::uint32_t seed, double low, double high) {
  RandomState& r = Random();
  r.Remember(RandomState::Uniform, seed, low, high);
  FillUniform(r.engine, data_, RealLength(), low, high);
  return *this;
}

TVec& TVec::RandUniform(double low, double high) {
  FillUniform(Random().engine, data_, RealLength(), low, high);
  return *this;
}

TVec& TVec::RandUniform() {
  RandomState& r = Random();
  if (r.lastKind != RandomState::Uniform) return RandUniform(0.0, 1.0);
  return RandUniform(r.lastSeed, r.p1, r.p2);
}

}  // namespace ondrix
