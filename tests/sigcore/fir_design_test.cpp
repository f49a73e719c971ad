// FIR designs against SciPy (tests/gen_filter_reference.py) and analytic responses.
#include <gtest/gtest.h>

#include <cmath>

#include "filter_test_util.h"
#include "ondrix/sigcore/elliptic.h"
#include "ondrix/sigcore/filter_response.h"
#include "ondrix/sigcore/fir_design.h"
#include "ondrix/sigcore/savgol.h"
#include "ondrix/vec/calcbase.h"

using namespace ondrix;
using namespace ondrix::test;

// kaiserord's length and β, and firwin with that Kaiser window, for the four band types and a
// rate in Hz. The cut-offs are passed as given and, for the same filter, as transition
// edges around them. The highpass and bandstop cases get even lengths, which FirImpulse must
// lengthen by one tap as firwin's callers do (a gain at Nyquist needs an odd length).
TEST(FirDesign, KaiserWindowMatchesFirwinAndKaiserord) {
  const auto recs = ReadRecords("filt_firwin.f64");
  ASSERT_EQ(recs.size(), 18u);
  for (size_t c = 0; c < recs.size(); c += 3) {
    const auto& p = recs[c];
    const double ripple = p[0], width = p[1], fs = p[3];
    const auto type = static_cast<TFilterType>(static_cast<int>(p[2]));
    const std::vector<double> cut(p.begin() + 4, p.end());
    SCOPED_TRACE("case " + std::to_string(c / 3));
    const double delta = std::pow(10.0, -ripple / 20.0);
    // Transition bands of the given width (fraction of Nyquist) centred on the cut-offs.
    std::vector<double> edges;
    for (double f : cut) {
      edges.push_back(f - width * fs / 4);
      edges.push_back(f + width * fs / 4);
    }
    int n = KaiserFirLength(edges, delta, fs);
    const double beta = KaiserBetaFir(delta);
    EXPECT_NEAR(beta, recs[c + 1][1], 1e-12);
    if ((type == ftHighpass || type == ftBandstop) && n % 2 == 0) EXPECT_EQ(n + 1, static_cast<int>(recs[c + 1][0]));
    else EXPECT_EQ(n, static_cast<int>(recs[c + 1][0]));
    const TVec ref = ToVec(recs[c + 2]);
    TVec taps(n), taps2(n);
    FirImpulse(taps, cut, fs, wtKaiser, type, beta);
    EXPECT_LT(RelMaxError(taps, ref), 1e-12);
    FirImpulse(taps2, edges, fs, wtKaiser, type, beta);
    EXPECT_LT(RelMaxError(taps2, ref), 1e-12);
  }
}

TEST(FirDesign, WindowsTypesAndErrors) {
  // Every window gives a lowpass with unit DC gain (and symmetric taps but for the decaying
  // exponential window).
  for (int w = 0; w < SignalWindowTypeCount; ++w) {
    TVec taps(41);
    FirImpulse(taps, {0.4}, 2.0, static_cast<TSignalWindowType>(w), ftLowpass, w == wtKaiser ? 6.0 : 0.0);
    EXPECT_NEAR(std::abs(Response(taps, 0.0)), 1.0, 1e-12) << w;
    EXPECT_LT(std::abs(Response(taps, 0.9)), 0.1) << w;
    if (w == wtExponent) continue;  // a decaying window: not symmetric
    for (int i = 0; i < 20; ++i) EXPECT_NEAR(taps.Values(i), taps.Values(40 - i), 1e-15) << w;
  }
  TVec t(11);
  EXPECT_THROW(FirImpulse(t, {0.5, 0.4}, 2.0, wtHamming, ftBandpass, 0), EVecError);
  EXPECT_THROW(FirImpulse(t, {0.5, 0.6, 0.7}, 2.0, wtHamming, ftBandpass, 0), EVecError);
  EXPECT_THROW(FirImpulse(t, {1.5}, 2.0, wtHamming, ftLowpass, 0), EVecError);
  EXPECT_THROW(KaiserFirLength({0.3, 0.3}, 0.01), EVecError);
  EXPECT_THROW(KaiserFirLength({0.1, 0.2}, 1.5), EVecError);
}

// The windowed differentiator approximates j·ω and the Hilbert transformer −j·sign(ω): on
// a sine the one gives the cosine times ω, the other the phase-shifted sine.
TEST(FirDesign, DifferentiatorAndHilbertResponses) {
  TVec d(64);
  FirDifferentiator(d, wtKaiser, 8.0);
  const double c = 0.5 * (64 - 1);
  for (double f : {0.05, 0.2, 0.5, 0.8}) {
    const TCplx expect = TCplx(0.0, PI * f) * std::polar(1.0, -PI * f * c);  // jω·e^{−jωc}
    EXPECT_LT(std::abs(Response(d, f) - expect), 2e-3 * PI * f) << f;
  }
  TVec hb(63);
  FirHilbert(hb, wtKaiser, 8.0);
  for (int i = 0; i < 63; i += 2) EXPECT_NEAR(hb.Values(i) * ((31 - i) % 2 == 0 ? 1 : 0), 0.0, 1e-15);
  for (double f : {0.1, 0.3, 0.5, 0.8}) {
    const TCplx expect = TCplx(0.0, -1.0) * std::polar(1.0, -PI * f * 31);
    EXPECT_LT(std::abs(Response(hb, f) - expect), 2e-3) << f;
  }
  TVec bad(1);
  EXPECT_THROW(FirDifferentiator(bad, wtKaiser, 8.0), EVecError);
  TVec hb2(31);
  EXPECT_THROW(FirHilbert(hb2, wtKaiser, 8.0, 0.5, 0.3), EVecError);
}

TEST(SavGolay, MatchesSavgolCoeffsAndMovingAverage) {
  const auto recs = ReadRecords("filt_savgol.f64");
  ASSERT_EQ(recs.size(), 14u);
  for (size_t c = 0; c < recs.size(); c += 2) {
    const auto& p = recs[c];
    TVec taps;
    SavGolayImpulse(taps, static_cast<int>(p[0]), static_cast<int>(p[1]), static_cast<int>(p[2]), p[3],
                    static_cast<int>(p[4]));
    EXPECT_LT(RelMaxError(taps, ToVec(recs[c + 1])), 1e-9) << "case " << c / 2;
  }
  // The defaults: no derivative, unit spacing, centred (the second case).
  TVec taps;
  SavGolayImpulse(taps, 7, 3);
  EXPECT_LT(RelMaxError(taps, ToVec(recs[3])), 1e-9);
  EXPECT_THROW(SavGolayImpulse(taps, 5, 5), EVecError);
  EXPECT_THROW(SavGolayImpulse(taps, 5, 2, 3), EVecError);
  // The moving average is the order-0 smoother, of any length.
  MovingAverageImpulse(taps, 4);
  ASSERT_EQ(taps.Length(), 4);
  for (int i = 0; i < 4; ++i) EXPECT_EQ(taps.Values(i), 0.25);
  EXPECT_THROW(MovingAverageImpulse(taps, 0), EVecError);
}

// Complete and incomplete elliptic integrals and the Jacobi functions against scipy.special.
TEST(Elliptic, MatchesScipySpecial) {
  const auto r = ReadRecords("filt_elliptic.f64");
  ASSERT_GE(r.size(), 5u);
  const auto& m = r[0];
  const auto& u = r[3];
  for (size_t i = 0; i < m.size(); ++i) {
    EXPECT_NEAR(EllipK(m[i]), r[1][i], 1e-14 * r[1][i]) << m[i];
    if (std::isinf(r[2][i])) EXPECT_TRUE(std::isinf(EllipKComplement(m[i])));
    else EXPECT_NEAR(EllipKComplement(m[i]), r[2][i], 1e-14 * r[2][i]) << m[i];
    for (size_t j = 0; j < u.size(); ++j) {
      const TJacobiElliptic e = JacobiElliptic(u[j], m[i]);
      // scipy (cephes) switches to approximations within 1e-9 of m = 1: looser there.
      const double tol = m[i] > 1 - 1e-9 ? 1e-9 : 1e-13;
      const double got[] = {e.Sn, e.Cn, e.Dn, e.Phi};
      for (int q = 0; q < 4; ++q) EXPECT_NEAR(got[q], r[4 + 4 * i + q][j], tol) << q << ": " << m[i] << " " << u[j];
    }
  }
  const size_t base = 4 + 4 * m.size();
  const auto& phi = r[base];
  for (size_t i = 0; i + 1 < m.size(); ++i)
    for (size_t j = 0; j < phi.size(); ++j)
      EXPECT_NEAR(EllipF(phi[j], m[i]), r[base + 1 + i][j], 1e-14 * r[base + 1 + i][j]) << m[i] << " " << phi[j];
  // sc(u | 1 − m) inverts: sn/cn of the result with the complementary parameter is w.
  for (double w : {0.01, 1.0, 37.0})
    for (double mm : {1e-10, 0.3}) {
      const TJacobiElliptic e = JacobiEllipticComplement(ArcJacobiScComplement(w, mm), mm);
      EXPECT_NEAR(e.Sn / e.Cn, w, 1e-13 * w);
    }
}
