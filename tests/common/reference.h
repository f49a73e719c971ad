// Reference data written by the tests/gen_*.py scripts (raw little-endian float64), the one
// comparison of vectors the tests share, and matchers of raised messages.
#pragma once

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <bit>
#include <cmath>
#include <complex>
#include <cstdint>
#include <fstream>
#include <string>
#include <vector>

#include "ondrix/vec/TVec.h"

namespace ondrix::testing {

static_assert(std::endian::native == std::endian::little, "reference files are little-endian");

/// Every double of tests/data/<name>; a missing file fails the test and gives no values.
inline std::vector<double> ReadF64(const std::string& name) {
  std::ifstream f(std::string(ONDRIX_TEST_DATA_DIR) + "/" + name, std::ios::binary | std::ios::ate);
  if (!f) {
    ADD_FAILURE() << "missing " << name << " (run the tests/gen_*.py that writes it)";
    return {};
  }
  std::vector<double> v(static_cast<std::size_t>(f.tellg()) / sizeof(double));
  f.seekg(0);
  f.read(reinterpret_cast<char*>(v.data()), static_cast<std::streamsize>(v.size() * sizeof(double)));
  return v;
}

/// A vector of the given doubles; complex ones interleaved (re, im).
inline TVec Vec(const std::vector<double>& values, bool complex = false) {
  TVec v;
  v.Size(static_cast<int>(complex ? values.size() / 2 : values.size()), complex);
  std::copy(values.begin(), values.end(), v.PValues());
  return v;
}

/// The doubles of v (complex values interleaved).
inline std::vector<double> Values(const TVec& v) { return {v.PValues(), v.PValues() + v.RealLength()}; }

/// n Gaussian samples of standard deviation sd (each part, for complex ones) from seed.
inline TVec Noise(int n, std::uint32_t seed, double sd = 1.0, bool complex = false) {
  TVec v(n, complex);
  v.RandGauss(seed, 0.0, sd);
  return v;
}

/// Reads the arrays of a reference file in order; Done() when all were read exactly.
class TRefReader {
public:
  explicit TRefReader(const std::string& name) : data_(ReadF64(name)) {}
  TVec Next(int count, bool complex = false) {
    const std::size_t n = static_cast<std::size_t>(complex ? 2 * count : count);
    if (pos_ + n > data_.size()) {
      ADD_FAILURE() << "reference file too short";
      return TVec(count, complex);
    }
    pos_ += n;
    return Vec({data_.begin() + static_cast<std::ptrdiff_t>(pos_ - n), data_.begin() + static_cast<std::ptrdiff_t>(pos_)},
               complex);
  }
  bool Done() const { return pos_ == data_.size(); }

private:
  std::vector<double> data_;
  std::size_t pos_ = 0;
};

/// Element i of a real or complex vector as a complex value.
inline TCplx At(const TVec& v, int i) { return v.Complex() ? v.CValues(i) : TCplx(v.Values(i), 0.0); }

/// got equals ref in shape, and in values within rel times the largest magnitude of ref.
inline ::testing::AssertionResult Near(const TVec& got, const TVec& ref, double rel = 1e-12) {
  if (got.Length() != ref.Length() || got.Complex() != ref.Complex())
    return ::testing::AssertionFailure() << "shape " << got.Length() << (got.Complex() ? "c" : "r") << " expected "
                                         << ref.Length() << (ref.Complex() ? "c" : "r");
  double scale = 0.0, err = 0.0;
  int worst = 0;
  for (int i = 0; i < ref.Length(); ++i) {
    scale = std::max(scale, std::abs(At(ref, i)));
    const double e = std::abs(At(got, i) - At(ref, i));
    if (e > err) err = e, worst = i;
  }
  if (err <= rel * scale) return ::testing::AssertionSuccess();
  return ::testing::AssertionFailure() << "max error " << err << " at " << worst << " exceeds " << rel << " x "
                                       << scale;
}

/// Largest |a − b| over the doubles of a and b; huge when their sizes differ.
inline double MaxDiff(const TVec& a, const TVec& b) {
  if (a.RealLength() != b.RealLength() || a.Complex() != b.Complex()) return 1e300;
  double m = 0;
  for (int i = 0; i < a.RealLength(); ++i) m = std::max(m, std::fabs(a.PValues()[i] - b.PValues()[i]));
  return m;
}

inline double MaxDiff(const std::vector<double>& a, const std::vector<double>& b) {
  return MaxDiff(Vec(a), Vec(b));
}

/// Matches a callable that raises E with exactly Message (Raises) or with Part in it (RaisesWith).
template <class E = std::exception>
auto Raises(const std::string& Message) {
  return ::testing::ThrowsMessage<E>(::testing::StrEq(Message));
}
template <class E = std::exception>
auto RaisesWith(const std::string& Part) {
  return ::testing::ThrowsMessage<E>(::testing::HasSubstr(Part));
}

}  // namespace ondrix::testing
