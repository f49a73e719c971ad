#include "ondrix/sigcore/multirate.h"

#include <algorithm>
#include <cmath>
#include <string>

#include "ondrix/sigcore/filter_response.h"
#include "ondrix/sigcore/remez.h"
#include "ondrix/vec/calcbase.h"
#include "ondrix/vec/exceptions.h"

namespace ondrix {

namespace {

constexpr int kMaxTaps = 10000;
// A first tap below this (100 ulps of 1) is a zero the design could not resolve further.
constexpr double kZeroTap = 2.220446049250313e-14;
// Grid points per tap on which a design's deviation is measured: about 128 per ripple period
// (4/N on the fs = 2 scale), so a peak between points is missed by under 0.1 % of it.
constexpr int kGridPerTap = 32;
// A design counts as meeting its ripple up to this relative excess (the exchange converges
// to about 1e-9 of δ).
constexpr double kRippleSlack = 1e-6;

int Odd(int n) { return n % 2 == 0 ? n + 1 : n; }

// Largest | |H| − want | over n points of [lo, hi] (fs = 2).
double BandDeviation(const TVec& taps, double lo, double hi, double want, int n) {
  TVec f(n), h, mag;
  for (int i = 0; i < n; ++i) f.Values(i) = lo + (hi - lo) * i / (n - 1);
  TransferFunResponse(taps, TVec(), f, h, 2.0);
  mag.Mag(h);
  double dev = 0;
  for (int i = 0; i < n; ++i) dev = std::max(dev, std::fabs(mag.Values(i) - want));
  return dev;
}

int GridPoints(const TVec& taps, double width) {
  return std::max(64, static_cast<int>(std::ceil(kGridPerTap * taps.Length() * width)));
}

}  // namespace

double LowpassDeviation(const TVec& taps, double pass, double stop) {
  return std::max(BandDeviation(taps, 0.0, pass, 1.0, GridPoints(taps, pass)),
                  BandDeviation(taps, stop, 1.0, 0.0, GridPoints(taps, 1.0 - stop)));
}

namespace {

// The shortest odd length, searched from the estimate down and up, whose design meets the
// ripple; design(n) designs n taps into taps and says whether they meet it.
template <class F>
void ShortestOdd(const char* who, int estimate, double ripple, TVec& taps, F design) {
  int n = std::max(Odd(estimate), 3);
  if (design(n)) {
    TVec best(taps);
    while (n > 3 && design(n - 2)) {
      n -= 2;
      best.Copy(taps);
    }
    taps.Copy(best);
    return;
  }
  do {
    n += 2;
    if (n > kMaxTaps)
      ERaise(std::string(who) + ": ripple " + FloatToStr(ripple, ".") + " needs more than " +
             std::to_string(kMaxTaps) + " taps");
  } while (!design(n));
}

}  // namespace

void MultiRateLowpass(TVec& taps, double pass, double stop, double ripple, bool trimZeroEnds) {
  if (!(pass > 0.0 && pass < stop && stop < 1.0))
    ERaise("MultiRateLowpass: band edges must satisfy 0 < pass < stop < 1 (fs = 2)");
  if (!(ripple > 0.0 && ripple < 1.0)) ERaise("MultiRateLowpass: the ripple must lie in (0, 1)");
  // Edges symmetric about 0.5 ask for a half-band filter, H(f) + H(1 − f) = 1: centre tap
  // 1/2, taps at even distances from it zero. The exchange on its discrete grid (not
  // symmetric about 0.5) only comes close, so the design is projected onto that form.
  const bool halfBand = std::fabs(pass + stop - 1.0) < 1e-12;
  // Herrmann's estimate is close but not a bound: the search measures each design.
  ShortestOdd("MultiRateLowpass", RemezLength({0.0, pass, stop, 1.0}, {ripple, ripple}), ripple, taps, [&](int n) {
    remez(taps, n, {0.0, pass, stop, 1.0}, {1.0, 0.0}, {1.0, 1.0}, rtBandpass, 2.0);
    if (halfBand)
      for (int i = 0, c = (n - 1) / 2; i < n; ++i)
        if ((i - c) % 2 == 0) taps.Values(i) = i == c ? 0.5 : 0.0;
    return LowpassDeviation(taps, pass, stop) <= ripple * (1 + kRippleSlack);
  });
  if (trimZeroEnds && taps.Length() > 2 && std::fabs(taps.Values(0)) < kZeroTap) {
    taps.Rotate(-1);
    taps.SetLength(taps.Length() - 2);
  }
}

void HalfBandLowpass(TVec& taps, double ripple, bool trimZeroEnds) {
  MultiRateLowpass(taps, 0.25, 0.75, ripple, trimZeroEnds);
}

void HilbertTransformer(TVec& taps, double transBW, double ripple) {
  if (!(transBW > 0.0 && transBW < 0.5)) ERaise("HilbertTransformer: the transition width must lie in (0, 0.5)");
  if (!(ripple > 0.0 && ripple < 1.0)) ERaise("HilbertTransformer: the ripple must lie in (0, 1)");
  const double f1 = transBW, f2 = 1.0 - transBW;
  ShortestOdd("HilbertTransformer", RemezFirLength(transBW, ripple), ripple, taps, [&](int n) {
    RemezImpulse(taps, n, ritHilbert, f1, f2, 2.0);
    return BandDeviation(taps, f1, f2, 1.0, GridPoints(taps, f2 - f1)) <= ripple * (1 + kRippleSlack);
  });
}

// --- Cascade ---------------------------------------------------------------------------------

void CascadeInit(TRateCascade& c, TCascadeMode mode, int stages, const TVec& halfBand, const TVec& lastStage,
                 int rectifyAt) {
  if (stages < 0) ERaise("CascadeInit: the number of stages must not be negative");
  c.Mode = mode;
  c.Stages = stages;
  c.RectifyAt = mode == cmInterpolate ? -1 : std::clamp(rectifyAt, -1, stages);
  c.State.resize(static_cast<size_t>(stages));
  c.Work.resize(static_cast<size_t>(std::max(stages - 1, 0)));
  TVec scaled;
  for (int k = 0; k < stages; ++k) {
    TRate2State& s = c.State[static_cast<size_t>(k)];
    if (mode == cmInterpolate) {
      // The last-stage filter at the low-rate end: the first interpolating stage.
      scaled.Copy(k == 0 ? lastStage : halfBand);
      scaled.Scale(2.0);
      Rate2Init(scaled, s, r2Up);
    } else {
      const bool last = k == stages - 1;
      Rate2Init(last ? lastStage : halfBand, s, last && mode == cmDecimateFilterLast ? r2Same : r2Down);
    }
  }
  c.Delay = CascadeDelay(mode, stages, halfBand.Length(), lastStage.Length());
}

double CascadeDelay(const TRateCascade& c) { return c.Delay; }

double CascadeDelay(TCascadeMode mode, int stages, int halfBandTaps, int lastStageTaps) {
  double d = 0;
  for (int k = 0; k < stages; ++k) {
    if (mode == cmInterpolate) {
      // Stage k filters at 2^(k + 1) times the input rate; the last-stage filter comes first.
      d += ((k == 0 ? lastStageTaps : halfBandTaps) - 1) / 2.0 / std::ldexp(1.0, k + 1);
    } else {
      // Stage k filters at 2^−k times the input rate.
      d += ((k == stages - 1 ? lastStageTaps : halfBandTaps) - 1) / 2.0 * std::ldexp(1.0, k);
    }
  }
  return d;
}

void CascadeReset(TRateCascade& c) {
  for (TRate2State& s : c.State) Rate2Reset(s);
}

namespace {

// |x|·π/2 in place; the mean of |A·sin| is 2A/π, so a steady tone reads A after the low-pass.
void Rectify(const TVec& src, TVec& dst) {
  if (src.Complex())
    dst.Mag(src);
  else
    dst.Abs(src);
  dst.Scale(PI / 2.0);
}

}  // namespace

void CascadeFilter(const TVec& src, TVec& dst, TRateCascade& c) {
  const int n = c.Stages;
  if (n == 0) {
    if (c.RectifyAt == 0)
      Rectify(src, dst);
    else
      dst.Copy(src);
    return;
  }
  const TVec* in = &src;
  for (int k = 0; k < n; ++k) {
    if (k == c.RectifyAt) {
      TVec& r = k == 0 ? c.Rectified : c.Work[static_cast<size_t>(k - 1)];
      Rectify(*in, r);
      in = &r;
    }
    TVec& out = k == n - 1 ? dst : c.Work[static_cast<size_t>(k)];
    Rate2Filter(*in, out, c.State[static_cast<size_t>(k)]);
    in = &out;
  }
  if (c.RectifyAt == n) Rectify(dst, dst);
}

}  // namespace ondrix
