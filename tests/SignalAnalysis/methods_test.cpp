// The autoregressive and cepstrum estimates, two-input transfer functions and cross spectra,
// and the vector entries.
#include <gtest/gtest.h>

#include "analyzer_helpers.h"

using namespace ondrix;
using namespace ondrix::testing;

namespace {

// The AR(4) process x[n] = e[n] − a1·x[n−1] − ... − a4·x[n−4] with poles 0.8·e^(±0.6i) and
// 0.7·e^(±2.1i), driven by unit white noise.
const double kA[5] = {1.0, -0.79195461, 0.62002493, -0.08155048, 0.03851143};

TVec ArProcess(int n, std::uint32_t seed) {
  TVec e = Noise(n + 500, seed), x(n + 500);
  for (int i = 0; i < n + 500; ++i) {
    double v = e.Values(i);
    for (int k = 1; k <= 4; ++k)
      if (i >= k) v -= kA[k] * x.Values(i - k);
    x.Values(i) = v;
  }
  TVec out(n);
  out.Copy(x, 500, 0, n);  // the start-up transient dropped
  return out;
}

/// The true power spectral density 1/|A(e^(iω))|² at normalised frequency f (cycles/sample).
double TruePsd(double f) {
  TCplx a = 0;
  for (int k = 0; k <= 4; ++k) a += kA[k] * std::polar(1.0, -2 * M_PI * f * k);
  return 1.0 / std::norm(a);
}

}  // namespace

TEST(AutoRegressive, EveryEstimatorRecoversTheModelSpectrum) {
  const int n = 8192, N = 8192;
  const TVec x = ArProcess(n, 31);
  for (TSpectrumMethod m : {smYuleWalker, smBurg, smCov, smMCov}) {
    TRig rig(1.0);
    rig->SetMethod(m);
    rig->SetAROrder(4);
    rig->Stats()->SetAveraging(avNone);  // one frame; estimates between lines come from the model
    rig.Feed(x);
    ASSERT_EQ(rig->Length(), N / 2);
    EXPECT_DOUBLE_EQ(rig->AmpltScale(), 1.0 / std::sqrt(double(N)));
    // Lines are √(PSD/N): with 8192 samples the order-4 estimate is within ±1 dB of the
    // model everywhere (coefficient errors of order 1/√n); its power: tests/sigcore/ar_test.cpp.
    double worst = 0;
    for (int k = 0; k < N / 2; ++k) {
      const double est = std::pow(rig->Amplt().Values(k), 2) * N;
      worst = std::max(worst, std::fabs(10 * std::log10(est / TruePsd(double(k) / N))));
    }
    EXPECT_LT(worst, 1.0) << m;
    // Between the lines the model is evaluated, not the nearest line read back: where the
    // spectrum rises from line 819 to 820, it lies strictly between them halfway.
    const double lo = rig->Amplt().Values(819), hi = rig->Amplt().Values(820);
    ASSERT_LT(lo, hi) << m;
    EXPECT_GT(rig->AmpltEst(819.5 / N), lo) << m;
    EXPECT_LT(rig->AmpltEst(819.5 / N), hi) << m;
  }
}

TEST(Cepstrum, AnEchoGivesTheAlternatingSeriesAtItsDelay) {
  // x = δ[n] + a·δ[n − d]: ln|1 + a·e^(−iωd)| = Σ (−1)^(m+1)·(a^m/m)·cos(mωd), so the real
  // cepstrum is (−1)^(m+1)·a^m/(2m) at ±m·d; type 0 reads its magnitude.
  const int L = 256, d = 10;
  const double a = 0.5;
  TVec x(L);
  x.Values(0) = 1.0;
  x.Values(d) = a;
  TRig rig(1.0);
  rig->SetMethod(smRealCepstrum);
  rig->SetDCDump(false);
  rig.Feed(x);
  ASSERT_EQ(rig->Length(), L / 2);
  EXPECT_DOUBLE_EQ(rig->ActualZeroPadding(), 1.0);
  for (int m = 1; m <= 5; ++m) EXPECT_NEAR(rig->Amplt().Values(m * d), std::pow(a, m) / (2 * m), 1e-12) << m;
  EXPECT_NEAR(rig->Amplt().Values(d / 2), 0.0, 1e-12);
  EXPECT_NEAR(rig->Amplt().Values(0), 0.0, 1e-12);
}

TEST(TwoInputs, TransferFunctionCrossSpectrumAndImpulseResponse) {
  const int L = 512;
  const double h[3] = {1.0, 0.5, -0.25};
  const TVec x = Noise(L, 12);
  TVec y(L);  // circular convolution: Y = H·X exactly
  for (int n = 0; n < L; ++n)
    for (int k = 0; k < 3; ++k) y.Values(n) += h[k] * x.Values((n - k + L) % L);
  TRig rig(1.0);
  TSignal out(nullptr);
  out.SetData(y);
  rig->SetOutput(&out);
  rig->SetDCDump(false);
  TVec impulse;
  rig->SetImpulseResponse(&impulse);
  rig.Feed(x);
  EXPECT_EQ(rig->AmpltScale(), 1.0);
  for (int k = 0; k < L / 2; ++k) {
    TCplx H = 0;
    for (int j = 0; j < 3; ++j) H += h[j] * std::polar(1.0, -2 * M_PI * k * j / L);
    ASSERT_NEAR(rig->Amplt().Values(k), std::abs(H), 1e-12) << k;
    ASSERT_NEAR(rig->Phase().Values(k), std::arg(H) * 180 / M_PI, 1e-9) << k;
  }
  ASSERT_EQ(impulse.Length(), L);
  for (int n = 0; n < L; ++n) ASSERT_NEAR(impulse.Values(n), n < 3 ? h[n] : 0.0, 1e-12) << n;

  rig->SetCrossSpectral(true);
  rig.Feed(x);
  TVec X, Y;
  X.FFTFromReal(x);
  Y.FFTFromReal(y);
  for (int k = 0; k < L / 2; ++k)  // each spectrum scaled by 1/L (rectangular window)
    ASSERT_NEAR(rig->Amplt().Values(k), std::abs(Y.CValues(k) * std::conj(X.CValues(k))) / (L * L), 1e-12) << k;

  // A new input alone drops the output paired with the old one.
  TSignal other(nullptr);
  other.SetData(x);
  rig->SetInput(&other);
  rig->Update();
  EXPECT_EQ(rig->Output(), nullptr);
}

TEST(VectorEntries, ComputeSpectrumUsesHelperSignalsAndRejectsNil) {
  TSpectrumAnalyzer an(nullptr);
  EXPECT_THAT([&] { an.ComputeSpectrum(nullptr); }, Raises<Exception>("Src = nil!"));
  const TVec x = Sine(1024, 1024.0, 100, 1.0);
  EXPECT_THROW(an.ComputeSpectrum(&x, nullptr, 1024.0), Exception);
  EXPECT_EQ(an.Process(x, 1024.0), 0.0);
  EXPECT_NEAR(an.Amplt().Values(100), 0.5, 1e-12);
  EXPECT_DOUBLE_EQ(an.HzRes(), 1.0);
  TVec y(x);
  y.Scale(3.0);
  an.ComputeSpectrum(&x, &y, 1024.0);
  EXPECT_NEAR(an.Amplt().Values(100), 3.0, 1e-12);
  an.ComputeSpectrum(&x, 1024.0);  // back to one vector: no output
  EXPECT_EQ(an.Output(), nullptr);
  EXPECT_NEAR(an.Amplt().Values(100), 0.5, 1e-12);
  // A connected signal replaces the helpers.
  TSignal s(nullptr);
  s.SetSamplingFrequency(1024.0);
  s.SetData(x);
  an.SetInput(&s);
  an.Update();
  EXPECT_EQ(an.Input(), &s);
}
