#include "ondrix/sigcore/filter_response.h"

#include <algorithm>
#include <cmath>

#include "ondrix/vec/calcbase.h"

namespace ondrix {

namespace {

TCplx Coef(const TVec& v, int i) { return v.Complex() ? v.CValues(i) : TCplx(v.Values(i), 0.0); }

// Σ c[k]·w^k for w = e^{−jω} by Horner's rule from the last coefficient.
TCplx PowerSeries(const TVec& c, TCplx w) {
  TCplx s = 0.0;
  for (int k = c.Length() - 1; k >= 0; --k) s = s * w + Coef(c, k);
  return s;
}

}  // namespace

void SosResponse(const TVec& sos, const TVec& freqs, TVec& h, double fs) {
  const int n = SosSections(sos);
  const int m = freqs.Length();
  h.Size(m, true);
  for (int i = 0; i < m; ++i) {
    const TCplx w = std::polar(1.0, -TWOPI * freqs.Values(i) / fs);
    TCplx r = 1.0;
    for (int s = 0; s < n; ++s) {
      const double* q = sos.PValues() + 6 * s;
      r *= ((q[2] * w + q[1]) * w + q[0]) / ((q[5] * w + q[4]) * w + q[3]);
    }
    h.CValues(i) = r;
  }
}

void TransferFunResponse(const TVec& num, const TVec& den, const TVec& freqs, TVec& h, double fs) {
  const int m = freqs.Length();
  h.Size(m, true);
  for (int i = 0; i < m; ++i) {
    const TCplx w = std::polar(1.0, -TWOPI * freqs.Values(i) / fs);
    const TCplx d = den.Length() > 0 ? PowerSeries(den, w) : TCplx(1.0, 0.0);
    h.CValues(i) = PowerSeries(num, w) / d;
  }
}

void ZeroPoleResponse(const TZeroPole& zp, const TVec& freqs, TVec& h, double fs) {
  const int m = freqs.Length();
  h.Size(m, true);
  for (int i = 0; i < m; ++i) {
    const TCplx x = zp.Analog ? TCplx(0.0, freqs.Values(i)) : std::polar(1.0, TWOPI * freqs.Values(i) / fs);
    TCplx r = zp.Gain;
    for (const TCplx& z : zp.Zeros) r *= x - z;
    for (const TCplx& p : zp.Poles) r /= x - p;
    h.CValues(i) = r;
  }
}

void ResponseDb(const TVec& h, TVec& db) {
  const int m = h.Length();
  TVec tmp(m);
  for (int i = 0; i < m; ++i) {
    const double a = h.Complex() ? std::abs(h.CValues(i)) : std::fabs(h.Values(i));
    tmp.Values(i) = 20.0 * std::log10(a);
  }
  db = std::move(tmp);
}

void CheckBands(const TVec& freqs, const TVec& db, std::span<TBandCheck> bands) {
  const int n = std::min(freqs.Length(), db.Length());
  const auto inside = [&](int k, const TBandCheck& b) {
    return freqs.Values(k) >= b.FreqStart && freqs.Values(k) <= b.FreqStop;
  };
  double passTop = -1e300;
  for (const TBandCheck& b : bands)
    if (!b.Stop)
      for (int k = 0; k < n; ++k)
        if (inside(k, b)) passTop = std::max(passTop, db.Values(k));
  for (TBandCheck& b : bands) {
    double lo = 1e300, hi = -1e300;
    for (int k = 0; k < n; ++k) {
      if (!inside(k, b)) continue;
      lo = std::min(lo, db.Values(k));
      hi = std::max(hi, db.Values(k));
    }
    b.Sampled = hi >= lo;
    b.Achieved = 0;
    b.Met = false;
    if (!b.Sampled) continue;
    if (b.Stop) {
      b.Achieved = passTop - hi;
      b.Met = b.Achieved >= b.Specified - kBandCheckSlackDb;
    } else {
      b.Achieved = hi - lo;
      b.Met = b.Achieved <= b.Specified + kBandCheckSlackDb;
    }
  }
}

}  // namespace ondrix
