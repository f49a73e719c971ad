#include <gtest/gtest.h>

#include <cmath>

#include "ondrix/sigcore/ar.h"
#include "ondrix/vec/calcbase.h"
#include "filter_test_util.h"

using namespace ondrix;
using namespace ondrix::test;

namespace {

const struct {
  const char* name;
  void (*fn)(TVec&, double&, const TVec&, int, TArState&);
} kEstimators[] = {
    {"YuleWalker", ArYuleWalker}, {"Burg", ArBurg}, {"Covariance", ArCovariance}, {"MCovariance", ArMCovariance}};

// A stable AR(4) and a realisation of n samples of it, x[n] = e[n] − Σ a[k]·x[n−k], driven
// by unit-variance Gaussian noise (each part, for complex noise) after a run-in of 500
// samples. Real: poles 0.8·e^(±0.6i), 0.7·e^(±2.1i); complex: four unpaired poles.
void Ar4Process(TVec& a, TVec& x, int n, bool complex, std::uint32_t seed) {
  const TCplx poles[2][4] = {
      {std::polar(0.8, 0.6), std::polar(0.8, -0.6), std::polar(0.7, 2.1), std::polar(0.7, -2.1)},
      {std::polar(0.8, 0.6), std::polar(0.7, 2.1), std::polar(0.6, -1.2), std::polar(0.75, -2.6)}};
  TVec c(5, true), e(n + 500, true), y(n + 500, true);
  c.SetZero();
  c.CValues(0) = 1.0;
  for (const TCplx& z : poles[complex])
    for (int k = 4; k >= 1; --k) c.CValues(k) -= z * c.CValues(k - 1);
  e.RandGauss(seed, 0.0, 1.0);
  if (!complex) e.ExtendToComplex(TVec().RealPart(e));
  for (int t = 0; t < n + 500; ++t) {
    y.CValues(t) = e.CValues(t);
    for (int k = 1; k <= 4 && k <= t; ++k) y.CValues(t) -= c.CValues(k) * y.CValues(t - k);
  }
  y.SetSubRange(500, n);
  if (complex) {
    a.Copy(c);
    x.Copy(y);
  } else {
    a.RealPart(c);
    x.RealPart(y);
  }
}

}  // namespace

TEST(Ar, LevinsonLeastSquaresAndBurgMatchReference) {
  const auto lev = ReadRecords("spec_levinson.f64"), ls = ReadRecords("spec_arls.f64");
  ASSERT_EQ(lev.size(), 6u);
  ASSERT_EQ(ls.size(), 14u);
  for (bool complex : {false, true}) {
    SCOPED_TRACE(complex ? "complex" : "real");
    const int o = complex ? 3 : 0;
    const TVec r = ToVec(lev[o], complex);
    TVec a, refl;
    double err = 0;
    Levinson(a, err, r, r.Length() - 1, &refl);
    EXPECT_LE(MaxAbsDiff(a, ToVec(lev[o + 1], complex)), 1e-12);
    EXPECT_NEAR(err, lev[o + 2][0], 1e-12 * lev[o + 2][0]);
    // The last reflection coefficient is the last AR coefficient.
    const int p = r.Length() - 1;
    ASSERT_EQ(refl.Length(), p);
    EXPECT_EQ(At(refl, p - 1), At(a, p));
    const int q = complex ? 7 : 0;
    const TVec x = ToVec(ls[q], complex);
    TArState st;
    for (int e = 0; e < 3; ++e) {  // the file's order: covariance, modified covariance, Burg
      const auto& est = kEstimators[e == 2 ? 1 : e + 2];
      est.fn(a, err, x, 6, st);
      EXPECT_LE(MaxAbsDiff(a, ToVec(ls[q + 1 + 2 * e], complex)), 1e-10) << est.name;
      EXPECT_NEAR(err, ls[q + 2 + 2 * e][0], 1e-10 * ls[q + 2 + 2 * e][0]) << est.name;
    }
  }
  TVec a;
  double err;
  EXPECT_THROW(Levinson(a, err, TVec(3), 3), EVecError);
  EXPECT_THROW(Levinson(a, err, TVec(3), -1), EVecError);
}

// Each estimator recovers a known AR(4) driven by white noise. The asymptotic standard
// deviation of each estimated coefficient is below 1.12/√n for these processes, so the
// tolerance 4.5/√n is four standard deviations; it shrinks with n, which catches a biased
// estimator. The error power is within 4 standard deviations of its estimate, 4·√(2/n)·σ².
TEST(Ar, RecoversKnownAr4) {
  for (bool complex : {false, true}) {
    const double sigma2 = complex ? 2.0 : 1.0;
    for (int n : {1000, 10000, 100000}) {
      if (complex && n == 100000) continue;
      TVec truth, x;
      Ar4Process(truth, x, n, complex, 4242 + n);
      for (const auto& est : kEstimators) {
        TArState st;
        TVec a;
        double err = 0;
        est.fn(a, err, x, 4, st);
        EXPECT_LE(MaxAbsDiff(a, truth), 4.5 / std::sqrt(n))
            << est.name << " n=" << n << " complex=" << complex;
        EXPECT_NEAR(err / sigma2, 1.0, 4.0 * std::sqrt(2.0 / n) + 0.01 * (n < 5000))
            << est.name << " n=" << n << " complex=" << complex;
      }
    }
  }
}

TEST(Ar, OrderLimitsAndDegenerateData) {
  const TVec x = Noise(10, 3);
  TVec a;
  double err;
  // Orders beyond what the data support are cut; an all-zero frame gives the trivial model and
  // no error power, for every method.
  const int orders[] = {9, 9, 5, 6};  // N − 1, N − 1, N/2, 2N/3
  TVec zero(64);
  for (int e = 0; e < 4; ++e) {
    SCOPED_TRACE(kEstimators[e].name);
    TArState st;
    kEstimators[e].fn(a, err, x, 100, st);
    EXPECT_EQ(a.Length(), orders[e] + 1);
    kEstimators[e].fn(a, err, zero, 8, st);
    EXPECT_EQ(a.Values(0), 1.0);
    for (int k = 1; k < a.Length(); ++k) EXPECT_EQ(a.Values(k), 0.0);
    EXPECT_EQ(err, 0.0);
  }
  // A complex exponential is predicted exactly by order 1, x[n] = e^(iω)·x[n−1]: Burg finds
  // that at the first stage and stops instead of fitting rounding noise.
  TVec c(256, true);
  for (int i = 0; i < 256; ++i) c.CValues(i) = std::polar(1.0, 0.3 * i + 0.2);
  ArBurg(a, err, c, 10);
  ASSERT_EQ(a.Length(), 11);
  EXPECT_LT(err, 1e-12);
  EXPECT_LT(std::abs(a.CValues(1) + std::polar(1.0, 0.3)), 1e-12);
  for (int k = 2; k < a.Length(); ++k) EXPECT_EQ(a.CValues(k), 0.0) << k;
  // A real sinusoid satisfies x[n] = 2cos(ω)x[n−1] − x[n−2] exactly; at order 10 the
  // covariance system is rank-deficient, and the dependent columns get coefficient 0.
  TVec s(256);
  for (int i = 0; i < 256; ++i) s.Values(i) = std::sin(0.3 * i + 0.2);
  ArCovariance(a, err, s, 10);
  ASSERT_EQ(a.Length(), 11);
  EXPECT_LT(err, 1e-20);
  EXPECT_NEAR(a.Values(1), -2.0 * std::cos(0.3), 1e-12);
  EXPECT_NEAR(a.Values(2), 1.0, 1e-12);
  for (int k = 3; k < a.Length(); ++k) EXPECT_NEAR(a.Values(k), 0.0, 1e-12) << k;
}

TEST(Ar, SpectrumIsModelResponse) {
  TVec a(7, true);
  a.RandGauss(11, 0.0, 0.3);
  a.CValues(0) = 1.0;
  const double err = 2.5;
  for (int n : {3, 64, 100}) {  // n = 3 folds the 7 coefficients
    TVec h;
    ArSpectrum(h, a, err, n);
    ASSERT_EQ(h.Length(), n);
    ASSERT_TRUE(h.Complex());
    double worst = 0;
    for (int k = 0; k < n; ++k) {
      TCplx den = 0;
      for (int j = 0; j < a.Length(); ++j) den += a.CValues(j) * std::polar(1.0, -TWOPI * j * k / n);
      const TCplx ref = std::sqrt(err) / den;
      worst = std::max(worst, std::abs(h.CValues(k) - ref) / std::abs(ref));
    }
    EXPECT_LE(worst, 1e-12) << n;
  }
  // The PSD of the true AR(4) integrates over the normalised frequency to the variance
  // Σ h[n]² of the process (h the impulse response).
  TVec truth, unused, psd;
  Ar4Process(truth, unused, 1, false, 1);
  ArPowerSpectrum(psd, truth, 1.0, 4096);
  double var = 0;
  TVec imp(400);
  for (int t = 0; t < 400; ++t) {
    double v = t == 0 ? 1.0 : 0.0;
    for (int k = 1; k <= 4 && k <= t; ++k) v -= truth.Values(k) * imp.Values(t - k);
    imp.Values(t) = v;
    var += v * v;
  }
  EXPECT_NEAR(psd.Mean(), var, 1e-12 * var);
}
