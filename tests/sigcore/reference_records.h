// Reader of the record files written by tests/gen_windows_reference.py and
// tests/gen_spectral_reference.py, and comparison helpers of the spectral tests.
#pragma once

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <string>
#include <vector>

#include "ondrix/vec/TVec.h"
#include "tests/common/reference.h"

namespace ondrix::test {

/// The records of a reference file: count R, R lengths, then the data (all float64).
inline std::vector<std::vector<double>> ReadRecords(const std::string& name) {
  const std::vector<double> all = testing::ReadF64(name);
  std::vector<std::vector<double>> out;
  const size_t count = all.empty() ? 0 : static_cast<size_t>(all[0]);
  for (size_t i = 0, pos = 1 + count; i < count; pos += out.back().size(), ++i) {
    const size_t len = static_cast<size_t>(all[1 + i]);
    if (pos + len > all.size()) {
      ADD_FAILURE() << "truncated reference file " << name;
      break;
    }
    out.emplace_back(all.begin() + pos, all.begin() + pos + len);
  }
  return out;
}

/// A vector holding a record: real, or complex when the record is interleaved (re, im).
inline TVec ToVec(const std::vector<double>& r, bool complex = false) { return testing::Vec(r, complex); }

/// Largest |a − b| over the doubles of two vectors (huge on a size mismatch).
inline double MaxAbsDiff(const TVec& a, const TVec& b) { return testing::MaxDiff(a, b); }

/// Largest element magnitude (|x| of complex values).
inline double MaxAbs(const TVec& a) {
  double m = 0;
  for (int i = 0; i < a.Length(); ++i) m = std::max(m, std::abs(testing::At(a, i)));
  return m;
}

}  // namespace ondrix::test
