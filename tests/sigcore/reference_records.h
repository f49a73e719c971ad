// Reader of the record files written by tests/gen_windows_reference.py and
// tests/gen_spectral_reference.py, and comparison helpers of the spectral tests.
#pragma once

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <fstream>
#include <string>
#include <vector>

#include "ondrix/vec/TVec.h"

namespace ondrix::test {

/// The records of a reference file: count R, R lengths, then the data (all float64).
inline std::vector<std::vector<double>> ReadRecords(const std::string& name) {
  const std::string path = std::string(ONDRIX_TEST_DATA_DIR) + "/" + name;
  std::ifstream f(path, std::ios::binary);
  std::vector<double> all;
  double v;
  while (f.read(reinterpret_cast<char*>(&v), sizeof v)) all.push_back(v);
  std::vector<std::vector<double>> out;
  if (all.empty()) {
    ADD_FAILURE() << "missing or empty reference file " << path;
    return out;
  }
  const int count = static_cast<int>(all[0]);
  size_t pos = 1 + count;
  for (int i = 0; i < count; ++i) {
    const size_t len = static_cast<size_t>(all[1 + i]);
    if (pos + len > all.size()) {
      ADD_FAILURE() << "truncated reference file " << path;
      break;
    }
    out.emplace_back(all.begin() + pos, all.begin() + pos + len);
    pos += len;
  }
  return out;
}

/// A vector holding a record: real, or complex when the record is interleaved (re, im).
inline TVec ToVec(const std::vector<double>& r, bool complex = false) {
  TVec v(complex ? static_cast<int>(r.size() / 2) : static_cast<int>(r.size()), complex);
  for (size_t i = 0; i < r.size(); ++i) v.PValues()[i] = r[i];
  return v;
}

/// Largest |a − b| over the doubles of two vectors of equal size (fails on a size mismatch).
inline double MaxAbsDiff(const TVec& a, const TVec& b) {
  EXPECT_EQ(a.Length(), b.Length());
  EXPECT_EQ(a.Complex(), b.Complex());
  if (a.RealLength() != b.RealLength()) return INFINITY;
  double m = 0;
  for (int i = 0; i < a.RealLength(); ++i) m = std::max(m, std::fabs(a.PValues()[i] - b.PValues()[i]));
  return m;
}

/// Largest element magnitude (|x| of complex values).
inline double MaxAbs(const TVec& a) {
  double m = 0;
  for (int i = 0; i < a.Length(); ++i) m = std::max(m, a.Complex() ? std::abs(a.CValues(i)) : std::fabs(a.Values(i)));
  return m;
}

}  // namespace ondrix::test
