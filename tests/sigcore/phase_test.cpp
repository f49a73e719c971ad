// Phase unwrapping, group delay and cepstra against closed forms and SciPy/NumPy
// (tests/gen_spectral_reference.py).
#include <gtest/gtest.h>

#include <cmath>

#include "ondrix/sigcore/cepstrum.h"
#include "ondrix/sigcore/phase.h"
#include "ondrix/vec/calcbase.h"
#include "reference_records.h"

using namespace ondrix;
using namespace ondrix::test;

namespace {

// Wraps each value into (−half, half].
TVec Wrapped(const TVec& phase, double half) {
  TVec w(phase);
  for (int i = 0; i < w.Length(); ++i) w.Values(i) = std::remainder(w.Values(i), 2 * half);
  return w;
}

// The phase spectrum (radians) of a unit impulse at sample d of an L-sample frame
// transformed on n points.
TVec DelayPhase(int d, int L, int n) {
  TVec x(n, true);
  x.SetZero();
  if (d < L) x.CValues(d) = 1.0;
  TVec X, amp, ph;
  X.FFT(x);
  X.CartToPolar(amp, ph);
  return ph;
}

TVec LinearPhase(int d, int n) {
  TVec p(n);
  for (int k = 0; k < n; ++k) p.Values(k) = -TWOPI * k * double(d) / n;
  return p;
}

// |a − b − c| for the best constant c = a[0] − b[0] (unwrapping fixes a phase up to its start).
double DiffUpToStart(const TVec& a, const TVec& b) {
  double m = 0;
  for (int i = 0; i < a.Length(); ++i)
    m = std::max(m, std::fabs((a.Values(i) - a.Values(0)) - (b.Values(i) - b.Values(0))));
  return m;
}

}  // namespace

TEST(PhaseUnwrap, NearestRestoresSmoothPhase) {
  const int n = 500;
  TVec truth(n);
  double acc = 0.3;
  for (int k = 0; k < n; ++k) {
    truth.Values(k) = acc;
    acc += 2.9 * std::sin(0.013 * k) + 0.1;  // increments stay within ±π
  }
  // Radians, degrees, and a quantity of period π (half period 90°).
  const struct {
    double scale, half, halfDeg;
    bool degrees;
    double tol;
  } units[] = {{1.0, PI, 180.0, false, 1e-9}, {180.0 / PI, 180.0, 180.0, true, 1e-7}, {0.5, PI / 2, 90.0, false, 1e-9}};
  for (const auto& u : units) {
    TVec t(truth);
    t.Scale(u.scale);
    TVec p = Wrapped(t, u.half);
    PhaseUnwrap(p, rpNearest, u.halfDeg, u.degrees, 1.0);
    EXPECT_LE(DiffUpToStart(p, t), u.tol) << u.halfDeg << (u.degrees ? " deg" : "");
    // The first value is kept (so, with the check above, the others move by whole periods).
    EXPECT_EQ(p.Values(0), Wrapped(t, u.half).Values(0));
  }
}

// rpRunning unwraps every delay a frame can have, without zero padding and with it; the
// nearest-branch rule fails for delays beyond half the transform length.
TEST(PhaseUnwrap, RunningRecoversEveryFrameDelay) {
  for (const auto& [L, n] : {std::pair{64, 64}, std::pair{63, 64}, std::pair{64, 256}}) {
    const double factor = double(n) / (L - 1);
    int nearestFailures = 0;
    for (int d = 0; d < L; ++d) {
      TVec p = DelayPhase(d, L, n);
      PhaseUnwrap(p, rpRunning, 180.0, false, factor);
      EXPECT_LE(DiffUpToStart(p, LinearPhase(d, n)), 1e-9) << "L=" << L << " n=" << n << " d=" << d;
      TVec q = DelayPhase(d, L, n);
      PhaseUnwrap(q, rpNearest, 180.0, false, factor);
      if (DiffUpToStart(q, LinearPhase(d, n)) > 1e-6) ++nearestFailures;
    }
    EXPECT_TRUE(n >= 2 * L || nearestFailures > 0) << "L=" << L << " n=" << n;
  }
}

// rpSlope follows a slope that drifts beyond one period per bin, which no fixed window can.
TEST(PhaseUnwrap, SlopeFollowsDriftingDelay) {
  const int n = 200;
  TVec truth(n);
  double acc = 0;
  for (int k = 0; k < n; ++k) {
    truth.Values(k) = acc;
    acc -= TWOPI * (0.3 + 0.9 * k / (n - 1.0));
  }
  TVec p = Wrapped(truth, 180.0 * PI / 180.0);
  PhaseUnwrap(p, rpSlope, 180.0, false, 1.0);
  EXPECT_LE(DiffUpToStart(p, truth), 1e-8);
  TVec q = Wrapped(truth, PI);
  PhaseUnwrap(q, rpRunning, 180.0, false, 1.0);
  EXPECT_GT(DiffUpToStart(q, truth), 1.0);
}

TEST(PhaseUnwrap, SkipsNonFiniteAndChecksArguments) {
  TVec truth = LinearPhase(3, 32);
  truth.Scale(-1.0);
  TVec p = Wrapped(truth, PI);
  p.Values(5) = NAN_VALUE;
  p.Values(0) = INF_VALUE;
  PhaseUnwrap(p, rpNearest, 180.0, false, 1.0);
  EXPECT_TRUE(std::isnan(p.Values(5)));
  EXPECT_TRUE(std::isinf(p.Values(0)));
  for (int k = 2; k < 32; ++k) {
    if (k == 5) continue;
    EXPECT_NEAR(p.Values(k) - p.Values(1), truth.Values(k) - truth.Values(1), 1e-12) << k;
  }
  EXPECT_THROW(PhaseUnwrap(p, rpNearest, 0.0, false, 1.0), EVecError);
  EXPECT_THROW(PhaseUnwrap(p, rpRunning, 180.0, false, 0.0), EVecError);
  TVec c(4, true);
  EXPECT_THROW(PhaseUnwrap(c, rpNearest, 180.0, false, 1.0), EVecError);
}

TEST(GroupDelay, MatchesScipyGroupDelay) {
  const auto recs = ReadRecords("spec_groupdelay.f64");
  ASSERT_EQ(recs.size(), 7u);
  const int zp = static_cast<int>(recs[0][0]);
  const TVec x = ToVec(recs[1]), y = ToVec(recs[2]), xc = ToVec(recs[3], true);
  TGroupDelayState st;
  TVec gd;
  GroupDelay(gd, x, nullptr, zp, st);
  ASSERT_EQ(gd.Length(), static_cast<int>(recs[0][1]));
  EXPECT_LE(MaxAbsDiff(gd, ToVec(recs[4])), 1e-10);
  GroupDelay(gd, x, &y, zp, st);
  EXPECT_LE(MaxAbsDiff(gd, ToVec(recs[5])), 1e-10);
  GroupDelay(gd, xc, nullptr, zp, st);
  EXPECT_LE(MaxAbsDiff(gd, ToVec(recs[6])), 1e-10);
}

TEST(GroupDelay, SingularBinsAndPhaseForm) {
  // [1, 1] has a zero at half the sampling frequency: no delay there, 0.5 elsewhere.
  TVec gd;
  GroupDelay(gd, ToVec({1, 1}), nullptr, 2);
  ASSERT_EQ(gd.Length(), 4);
  EXPECT_EQ(gd.Values(2), 0.0);
  for (int k : {0, 1, 3}) EXPECT_NEAR(gd.Values(k), 0.5, 1e-12);

  // From a phase: exact for a linear phase, O(binWidth²) for a smooth one.
  const int n = 512;
  TVec lin = Wrapped(LinearPhase(9, n), PI);
  GroupDelayFromPhase(gd, lin, 1.0 / n);
  for (int k = 0; k < n; ++k) EXPECT_NEAR(gd.Values(k), 9.0, 1e-9);
  TVec deg(lin);
  deg.Scale(180.0 / PI);
  GroupDelayFromPhase(deg, deg, 1.0 / n, true);
  for (int k = 0; k < n; ++k) EXPECT_NEAR(deg.Values(k), 9.0, 1e-9);
  TVec h(8);
  for (int i = 0; i < 8; ++i) h.Values(i) = std::exp(-0.5 * i);
  TVec spec, amp, ph, fromData;
  TVec padded(n);
  padded.Copy(h, 0, 0, 8);
  spec.FFT(padded);
  spec.CartToPolar(amp, ph);
  GroupDelayFromPhase(gd, ph, 1.0 / n);
  GroupDelay(fromData, h, nullptr, n / 8);
  for (int k = 1; k < n - 1; ++k) EXPECT_NEAR(gd.Values(k), fromData.Values(k), 2e-3) << k;
}

// Real and complex cepstra against NumPy (tests/gen_spectral_reference.py).
TEST(Cepstrum, MatchesNumpy) {
  const auto recs = ReadRecords("spec_cepstrum.f64");
  ASSERT_EQ(recs.size(), 8u);
  const TVec x = ToVec(recs[0]);
  TCepstrumState st;
  TVec c;
  RealCepstrum(c, x, wtRectangular, st);
  EXPECT_FALSE(c.Complex());
  EXPECT_LE(MaxAbsDiff(c, ToVec(recs[1])), 1e-12);
  RealCepstrum(c, x, wtHanning, st);
  EXPECT_LE(MaxAbsDiff(c, ToVec(recs[2])), 1e-12);
  // The cached window is regenerated when the type changes back.
  RealCepstrum(c, x, wtRectangular, st);
  EXPECT_LE(MaxAbsDiff(c, ToVec(recs[1])), 1e-12);
  const TVec xd = ToVec(recs[3]);
  const int delay = CplxCepstrum(c, xd, st);
  EXPECT_LE(MaxAbsDiff(c, ToVec(recs[4])), 1e-12);
  EXPECT_EQ(delay, -static_cast<int>(recs[5][0]));
  const TVec xc = ToVec(recs[6], true);
  RealCepstrum(c, xc, wtRectangular, st);
  EXPECT_TRUE(c.Complex());
  EXPECT_LE(MaxAbsDiff(c, ToVec(recs[7], true)), 1e-12);
  // In place.
  TVec y(x);
  RealCepstrum(y, y, wtHanning, st);
  EXPECT_LE(MaxAbsDiff(y, ToVec(recs[2])), 1e-12);
}

TEST(Cepstrum, ZeroMagnitudesStayFinite) {
  TVec zero(16);
  zero.SetZero();
  TVec c;
  RealCepstrum(c, zero);
  for (int i = 0; i < 16; ++i) EXPECT_TRUE(std::isfinite(c.Values(i)));
  CplxCepstrum(c, zero);
  for (int i = 0; i < 16; ++i) EXPECT_TRUE(std::isfinite(c.Values(i)));
  EXPECT_EQ(CplxCepstrum(c, ToVec({-2.0})), 0);
  EXPECT_NEAR(c.Values(0), std::log(2.0), 1e-15);
}
