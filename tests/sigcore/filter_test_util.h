// Helpers shared by the filter-design and filter-state tests: reference records as complex
// values, root-set comparison, dense frequency grids and random block splits.
#pragma once

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <complex>
#include <functional>
#include <random>
#include <vector>

#include "ondrix/sigcore/filter_response.h"
#include "ondrix/vec/TVec.h"
#include "reference_records.h"

namespace ondrix::test {

using testing::At;
using testing::Noise;

/// Interleaved (re, im) record as complex values.
inline std::vector<TCplx> Cplx(const std::vector<double>& r) {
  std::vector<TCplx> c(r.size() / 2);
  for (size_t i = 0; i < c.size(); ++i) c[i] = TCplx(r[2 * i], r[2 * i + 1]);
  return c;
}

/// Largest distance between two root sets under a greedy nearest matching, relative to
/// max(1, |root|); infinity when the counts differ.
inline double RootSetDistance(std::vector<TCplx> ours, const std::vector<TCplx>& ref) {
  if (ours.size() != ref.size()) return INFINITY;
  double worst = 0.0;
  for (const TCplx& r : ref) {
    size_t best = 0;
    double bd = INFINITY;
    for (size_t i = 0; i < ours.size(); ++i)
      if (std::abs(ours[i] - r) < bd) {
        bd = std::abs(ours[i] - r);
        best = i;
      }
    worst = std::max(worst, bd / std::max(1.0, std::abs(r)));
    ours.erase(ours.begin() + static_cast<long>(best));
  }
  return worst;
}

/// Complex response of real taps at f (units of fs = 2).
inline TCplx Response(const TVec& taps, double f) {
  TVec h;
  TransferFunResponse(taps, TVec(), testing::Vec({f}), h);
  return h.CValues(0);
}

/// n frequencies spread evenly over [lo, hi].
inline TVec Grid(double lo, double hi, int n) {
  TVec f(n);
  for (int i = 0; i < n; ++i) f.Values(i) = lo + (hi - lo) * i / (n - 1);
  return f;
}

/// Runs src through step in the given blocks and concatenates the outputs (block-wise =
/// whole-stream checks).
inline TVec InBlocks(const TVec& src, const std::vector<int>& blocks,
                     const std::function<void(const TVec&, TVec&)>& step) {
  std::vector<double> acc;
  bool cplx = false;
  TVec in, y;
  int pos = 0;
  for (int b : blocks) {
    in.Size(b, src.Complex());
    in.Copy(src, pos, 0, b);
    pos += b;
    step(in, y);
    cplx = y.Complex();
    acc.insert(acc.end(), y.PValues(), y.PValues() + y.RealLength());
  }
  TVec out(static_cast<int>(cplx ? acc.size() / 2 : acc.size()), cplx);
  std::copy(acc.begin(), acc.end(), out.PValues());
  return out;
}

/// Random block lengths (1-sample blocks included) that add up to n.
inline std::vector<int> RandomBlocks(int n, unsigned seed, int maxBlock = 37) {
  std::mt19937 gen(seed);
  std::uniform_int_distribution<int> len(1, maxBlock);
  std::bernoulli_distribution single(0.3);
  std::vector<int> b;
  int left = n;
  while (left > 0) {
    const int k = std::min(left, single(gen) ? 1 : len(gen));
    b.push_back(k);
    left -= k;
  }
  return b;
}

/// Relative error of a complex vector against a reference: max |a − b| / max |b|.
inline double RelMaxError(const TVec& a, const TVec& ref) {
  const double m = MaxAbs(ref);
  return MaxAbsDiff(a, ref) / (m > 0 ? m : 1.0);
}

}  // namespace ondrix::test
