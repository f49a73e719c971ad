// Small helpers shared by the spectrum analyzer tests: test signals in TVecs and an analyzer
// fed by a plain signal.
#pragma once

#include <cmath>
#include <cstdint>
#include <memory>
#include <vector>

#include "ondrix/SignalAnalysis/SignalAnalysis.h"
#include "tests/common/reference.h"

namespace ondrix::testing {

/// A·sin(2πf·n/fs + phase), n = 0 .. count − 1.
inline TVec Sine(int count, double fs, double f, double A, double phase = 0.0) {
  TVec v(count);
  for (int n = 0; n < count; ++n) v.Values(n) = A * std::sin(2 * M_PI * f * n / fs + phase);
  return v;
}

/// A·e^(i(2πf·n/fs + phase)) (complex).
inline TVec ComplexTone(int count, double fs, double f, double A, double phase = 0.0) {
  TVec v(count, true);
  for (int n = 0; n < count; ++n) v.CValues(n) = std::polar(A, 2 * M_PI * f * n / fs + phase);
  return v;
}

/// Gaussian noise of standard deviation sd.
inline TVec Noise(int count, std::uint32_t seed, double sd = 1.0) {
  TVec v(count);
  v.RandGauss(seed, 0.0, sd);
  return v;
}

/// a + b, element by element.
inline TVec Sum(const TVec& a, const TVec& b) {
  TVec s(a);
  s.Add(b);
  return s;
}

/// An analyzer (of type A) named "Analyzer" whose input is a plain signal named "Source".
template <class A = TSpectrumAnalyzer>
struct TRigOf {
  std::unique_ptr<TSignal> source = std::make_unique<TSignal>(nullptr);
  std::unique_ptr<A> an = std::make_unique<A>(nullptr);

  explicit TRigOf(double fs = 1.0) {
    source->SetName("Source");
    source->SetSamplingFrequency(fs);
    an->SetName("Analyzer");
    an->SetInput(source.get());
  }
  /// Puts x into the source and runs one analyzer update.
  void Feed(const TVec& x) {
    source->SetData(x);
    an->Update();
  }
  A* operator->() const { return an.get(); }
};
using TRig = TRigOf<>;

}  // namespace ondrix::testing
