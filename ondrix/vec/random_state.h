// The random generator each TVec owns (internal to the vector layer).
#pragma once

#include <cstdint>

#include "ondrix/vec/TVec.h"

namespace ondrix {

/// xoshiro256++ (Blackman & Vigna): fast, 256-bit state, good in every bit, and the same
/// sequence on every platform for a given seed.
class TXoshiro256 {
public:
  explicit TXoshiro256(std::uint64_t seed) { Seed(seed); }
  /// Expands the seed with splitmix64, as the generator's authors recommend.
  void Seed(std::uint64_t seed);
  std::uint64_t operator()() noexcept {
    const std::uint64_t result = Rotl(s_[0] + s_[3], 23) + s_[0];
    const std::uint64_t t = s_[1] << 17;
    s_[2] ^= s_[0];
    s_[3] ^= s_[1];
    s_[1] ^= s_[2];
    s_[0] ^= s_[3];
    s_[2] ^= t;
    s_[3] = Rotl(s_[3], 45);
    return result;
  }

private:
  static std::uint64_t Rotl(std::uint64_t x, int k) noexcept { return (x << k) | (x >> (64 - k)); }
  std::uint64_t s_[4];
};

struct TVec::RandomState {
  enum Kind { None, Gauss, Uniform };
  RandomState();
  /// Reseeds the engine and remembers the call, for the argument-less forms to repeat.
  void Remember(Kind kind, std::uint32_t seed, double a, double b) {
    engine.Seed(seed);
    lastKind = kind;
    lastSeed = seed;
    p1 = a;
    p2 = b;
  }
  TXoshiro256 engine;
  Kind lastKind = None;
  std::uint32_t lastSeed = 0;
  double p1 = 0.0, p2 = 0.0;
};

}  // namespace ondrix
