// The bispectrum kernels against direct triple products and normalisations computed by NumPy
// (tests/data/bisp_kernel.f64, written by tests/gen_cross_reference.py).
#include "ondrix/sigcore/bispectrum.h"

#include <gtest/gtest.h>

#include "../common/reference.h"
#include "reference_records.h"

using namespace ondrix;
using ondrix::testing::Near;

namespace {

struct TKernelData {
  int n = 0, k = 0;
  TVec X, R;
  TMtx B, Default, P, Modified;
};

TMtx Plane(const std::vector<double>& r, int rows, bool complex) {
  const TVec v = test::ToVec(r, complex);
  TMtx m(rows, v.Length() / rows, complex);
  m.TVec::Copy(v, 0, 0, v.Length());
  return m;
}

TKernelData Load() {
  TKernelData d;
  const auto r = test::ReadRecords("bisp_kernel.f64");
  if (r.size() != 7) return d;
  d.n = static_cast<int>(r[0][0]), d.k = static_cast<int>(r[0][1]);
  const int rows = d.n / 2 + 1;
  d.X = test::ToVec(r[1], true), d.R = test::ToVec(r[3]);
  d.B = Plane(r[2], rows, true), d.Default = Plane(r[4], rows, false);
  d.P = Plane(r[5], rows, false), d.Modified = Plane(r[6], rows, false);
  return d;
}

TVec Row(const TMtx& m, int i) {
  TVec v;
  m.GetRow(v, i);
  return v;
}

}  // namespace

TEST(BiSpectrumKernel, PlaneRowsAndBatchesMatchDirectTripleProducts) {
  const TKernelData d = Load();
  ASSERT_EQ(d.n, 16);
  const int cols = d.n / 2 + 1;
  TMtx plane, power, ref, sum, sumPower;
  ref.PowerSpectrum(d.B);
  TBiSpectrumState state;
  TVec X2(d.X);
  X2.Scale(TCplx(0.3, -1.1));  // a second frame: its plane is |0.3 − 1.1i|²·(0.3 − 1.1i)·B
  const TCplx g = std::norm(TCplx(0.3, -1.1)) * TCplx(0.3, -1.1);
  for (bool portable : {false, true}) {
    UsePortableBiSpectrumKernels(portable);
    BiSpectrumVert(plane, d.X, cols, cols, &power, state);
    EXPECT_TRUE(Near(plane, d.B, 1e-14)) << portable;
    EXPECT_TRUE(Near(power, ref, 1e-14)) << portable;
    // Two frames folded at once on the upper half, completed by the mirror, then a running
    // mean step: avg = 0.25·(B + gB) + 0.5·B.
    const TVec* frames[] = {&d.X, &X2};
    BiSpectrumVertAverage(sum, &sumPower, frames, 2, cols, cols, true, 0.0, 1.0, state, true);
    BiSpectrumMirror(sum);
    BiSpectrumMirror(sumPower);
    BiSpectrumVertAverage(sum, &sumPower, d.X, cols, cols, false, 0.25, 0.5, state);
    TMtx want(d.B), wantPower(ref);
    want.Scale(0.25 * (1.0 + g) + 0.5);
    wantPower.Scale(0.25 * (1.0 + std::norm(g)) + 0.5);
    EXPECT_TRUE(Near(sum, want, 1e-13)) << portable;
    EXPECT_TRUE(Near(sumPower, wantPower, 1e-13)) << portable;
  }
  UsePortableBiSpectrumKernels(false);
  TVec row, rowPower;
  for (int k : {0, 3, d.n / 2}) {
    BiSpectrum(row, d.X, k, cols, &rowPower);
    EXPECT_TRUE(Near(row, Row(d.B, k), 1e-14)) << "row " << k;
    EXPECT_TRUE(Near(rowPower, Row(power, k), 1e-14)) << "row " << k;
  }
  // A row beyond the plane, all N columns: the sum bins wrap around the spectrum.
  BiSpectrum(row, d.X, d.k, d.n);
  ASSERT_EQ(row.Length(), d.n);
  for (int j = 0; j < d.n; ++j) {
    const TCplx want = d.X.CValues(d.k) * d.X.CValues(j) * std::conj(d.X.CValues((d.k + j) % d.n));
    EXPECT_NEAR(std::abs(row.CValues(j) - want), 0.0, 1e-13 * std::abs(want)) << j;
  }
}

TEST(BiSpectrumKernel, NormalisingFormsMatchNumPyAndZeroDenominatorsGiveZero) {
  const TKernelData d = Load();
  ASSERT_EQ(d.n, 16);
  TMtx dst;
  BiSpectrumVert(dst, d.B, d.R);
  EXPECT_TRUE(Near(dst, d.Default, 1e-13));
  TVec row;
  BiSpectrum(row, Row(d.B, 5), d.R, 5);
  EXPECT_TRUE(Near(row, Row(d.Default, 5), 1e-13));
  BiCoherenceModified(dst, d.B, d.P);
  EXPECT_TRUE(Near(dst, d.Modified, 1e-13));

  TMtx P(d.P);
  P.Values(2, 3) = 0.0;
  BiCoherenceModified(dst, d.B, P);
  EXPECT_EQ(dst.Values(2, 3), 0.0);
  TVec R(d.R);
  R.Values(7) = 0.0;  // in rows 0 .. 7 at column 7 − i, and in row 7
  BiSpectrumVert(dst, d.B, R);
  EXPECT_EQ(dst.Values(7, 4), 0.0);
  EXPECT_EQ(dst.Values(3, 4), 0.0);
  EXPECT_GT(dst.Values(3, 5), 0.0);
  TVec q;
  BiSpectrumNormaliser(q, test::ToVec({0, 0, 3, 4, 0, 0, 0, 0}, true));
  EXPECT_DOUBLE_EQ(q.Values(1), 125.0);
}

TEST(BiSpectrumKernel, RangesAreChecked) {
  TVec X(8, true), row;
  TMtx plane, B(3, 5, true), P(3, 4);
  TBiSpectrumState state;
  EXPECT_THROW(BiSpectrum(row, X, 8, 4), EVecError);
  EXPECT_THROW(BiSpectrum(row, X, 0, 9), EVecError);
  EXPECT_THROW(BiSpectrum(row, TVec(8), 0, 4), EVecError);
  EXPECT_THROW(BiSpectrumVert(plane, X, 9, 4, nullptr, state), EVecError);
  EXPECT_THROW(BiSpectrumVertAverage(B, nullptr, X, 3, 4, false, 1.0, 1.0, state), EVecError);
  EXPECT_THROW(BiCoherenceModified(plane, B, P), EVecError);
  EXPECT_THROW(BiSpectrumVert(plane, B, TVec(4)), EVecError);  // 5 columns from 4 bins
}
