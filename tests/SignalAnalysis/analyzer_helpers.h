// Test signals in TVecs and the analyzers fed by plain signals, shared by this binary's tests.
#pragma once

#include <cmath>
#include <cstdint>
#include <functional>
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

/// a + b, element by element.
inline TVec Sum(const TVec& a, const TVec& b) {
  TVec s(a);
  s.Add(b);
  return s;
}

/// An analyzer (of type A) named "Analyzer" with the given window, whose input is a plain signal named "Source".
template <class A = TSpectrumAnalyzer>
struct TRigOf {
  std::unique_ptr<TSignal> source = std::make_unique<TSignal>(nullptr);
  std::unique_ptr<A> an = std::make_unique<A>(nullptr);

  explicit TRigOf(double fs = 1.0, TSignalWindowType window = wtRectangular) {
    if (window != wtRectangular) an->SetWindow(window);
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

/// A cross analyzer named "Cross" between two plain signals.
struct TCrossRig : TRigOf<TCrossSpectrumAnalyzer> {
  std::unique_ptr<TSignal> y = std::make_unique<TSignal>(nullptr);
  TSignal* x = source.get();

  explicit TCrossRig(double fs, TSignalWindowType window = wtRectangular) : TRigOf(fs, window) {
    y->SetSamplingFrequency(fs);
    an->SetName("Cross");
    an->SetOutput(y.get());
  }
  using TRigOf::Feed;
  void Feed(const TVec& xs, const TVec& ys) {
    y->SetData(ys);
    TRigOf::Feed(xs);
  }
  /// Frames of n samples every hop samples of the two streams.
  void FeedStreams(const TVec& xs, const TVec& ys, int n, int hop) {
    TVec a(n), b(n);
    for (int s = 0; s + n <= xs.Length(); s += hop) Feed(a.Copy(xs, s, 0, n), b.Copy(ys, s, 0, n));
  }
  TCrossAnalyzer& ca() const { return *an->CrossAnalyzer(); }
};

/// A bispectrum analyzer with a linear average, fed by a plain signal.
struct TBiRig : TRigOf<TBiSpectrumAnalyzer> {
  explicit TBiRig(double fs) : TRigOf(fs) { an->Stats()->SetAveraging(avLinearInf); }
  /// Consecutive frames of n samples of x.
  void FeedFrames(const TVec& x, int n) {
    TVec f(n);
    for (int s = 0; s + n <= x.Length(); s += n) Feed(f.Copy(x, s, 0, n));
  }
  TBiAnalyzer& ba() const { return *an->BiAnalyzer(); }
};

/// An analyzer on a (and b) at fs, set up by the caller.
struct TTimeRig {
  TSignal x{nullptr}, y{nullptr};
  TSignalAnalyzer an{nullptr};
  TTimeRig(const TVec& a, double fs, const TVec* b = nullptr) {
    x.SetData(a);
    x.SetSamplingFrequency(fs);
    an.SetInput(&x);
    if (b) {
      y.SetData(*b);
      an.Inputs()->Add()->SetInput(&y);
    }
  }
  const TVec& Run(const std::function<void(TSignalAnalyzer&)>& setup = {}) {
    if (setup) setup(an);
    an.Update();
    return an.Data();
  }
};

}  // namespace ondrix::testing
