// Small helpers shared by the processing tests: generators, multirate stages and pulls.
#pragma once

#include <memory>
#include <string>
#include <vector>

#include "ondrix/SignalProcessing/SignalProcessing.h"
#include "tests/common/reference.h"

namespace ondrix::testing {

/// A generator named "Gen" with the given lines, producing blocks of n samples at fs Hz.
template <class... R>
std::unique_ptr<TSignalGenerator> Gen(double fs, int n, R&&... lines) {
  auto g = std::make_unique<TSignalGenerator>(nullptr);
  g->SetName("Gen");
  g->SetSamplingFrequency(fs);
  g->SetLength(n);
  (g->Sounds()->Template()->Add(lines), ...);
  return g;
}

/// Replaces the generator's lines and makes the next pull take them in.
template <class... R>
void SetLines(TSignalGenerator& g, R&&... lines) {
  g.Sounds()->Template()->Clear();
  (g.Sounds()->Template()->Add(lines), ...);
  g.SetPrepared(false);
}

template <class T = TSignalDecimator>
std::unique_ptr<TSignalMultiRate> Decimator(int factor, int envelope = 0, bool filterLast = false) {
  auto d = std::make_unique<T>(nullptr);
  d->SetFactor(factor);
  d->SetEnvelopeFactor(envelope);
  d->SetLastStageFilterOnly(filterLast);
  return d;
}

inline std::unique_ptr<TSignalMultiRate> Interpolator(int factor, double transBW = 0.1) {
  auto d = std::make_unique<TSignalInterpolator>(nullptr);
  d->SetFactor(factor);
  d->SetTransBW(transBW);
  return d;
}

inline std::unique_ptr<TSignalMultiRate> Demodulator(double freq, double width) {
  auto d = std::make_unique<TSignalDemodulator>(nullptr);
  d->SetSubBandFrequency(freq);
  d->SetSubBandWidth(width);
  return d;
}

/// The samples (doubles) of `blocks` successive pulls, one after the other.
inline std::vector<double> Pull(TSignal& g, int blocks) {
  std::vector<double> out;
  for (int b = 0; b < blocks; ++b) {
    g.Pull();
    out.insert(out.end(), g.Data().PValues(), g.Data().PValues() + g.Data().RealLength());
  }
  return out;
}

}  // namespace ondrix::testing
