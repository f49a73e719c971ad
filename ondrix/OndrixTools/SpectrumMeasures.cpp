// Peak estimators and quality measures of TSpectrum (definitions in TSpectrum.h).
#include <algorithm>
#include <cmath>
#include <vector>

#include "ondrix/OndrixTools/TSpectrum.h"

namespace ondrix {

namespace {

// Strongest line within ±reach of k, clipped to the axis; -1 when the window misses it.
int StrongestNear(const TVec& a, int k, int reach) {
  int lo = std::max(0, k - reach), hi = std::min(a.Length() - 1, k + reach);
  int best = -1;
  for (int i = lo; i <= hi; ++i)
    if (best < 0 || a.Values(i) > a.Values(best)) best = i;
  return best;
}

}  // namespace

struct TSpectrum::TQuality {
  bool Valid = false;
  double S = 0;          // fundamental power, noise share removed
  double H = 0;          // harmonic power, noise share removed
  double N = 0;          // noise power over the axis outside the DC lobe
  double NoiseMean = 0;  // mean power of a noise line
};

TSpectrum::TQuality TSpectrum::Quality(double f) const {
  TQuality q;
  const int n = amplt_.Length();
  const int h = mainlobeWidth_ / 2;
  if (n == 0) return q;
  enum : char { kNoise, kDc, kFund, kHarm };
  std::vector<char> kind(static_cast<std::size_t>(n), kNoise);
  auto markLobe = [&](int k, char what) {
    int count = 0;
    for (int i = std::max(0, k - h); i <= std::min(n - 1, k + h); ++i)
      if (kind[i] == kNoise) kind[i] = what, ++count;
    return count;
  };
  int dcLines = 0;
  int k0 = LineOf(0.0);
  if (k0 >= 0 && k0 < n) dcLines = markLobe(k0, kDc);
  int kf = StrongestNear(amplt_, LineOf(f), h);
  if (kf < 0) return q;
  markLobe(kf, kFund);
  const double f0 = LineFrequency(kf);
  for (int m = 2; m <= harmonics_; ++m) {
    int km = StrongestNear(amplt_, LineOf(m * f0), h);
    if (km < 0) break;
    markLobe(km, kHarm);
  }
  double noise = 0, fund = 0, harm = 0;
  int noiseLines = 0, fundLines = 0, harmLines = 0;
  for (int i = 0; i < n; ++i) {
    double p = amplt_.Values(i) * amplt_.Values(i);
    switch (kind[i]) {
      case kNoise: noise += p, ++noiseLines; break;
      case kFund: fund += p, ++fundLines; break;
      case kHarm: harm += p, ++harmLines; break;
      default: break;
    }
  }
  q.NoiseMean = noiseLines > 0 ? noise / noiseLines : 0.0;
  q.S = std::max(0.0, fund - q.NoiseMean * fundLines);
  q.H = std::max(0.0, harm - q.NoiseMean * harmLines);
  q.N = q.NoiseMean * (n - dcLines);
  q.Valid = true;
  return q;
}

double TSpectrum::SNR(double f) {
  TQuality q = Quality(f);
  return q.Valid ? 10.0 * std::log10(q.S / q.N) : 0.0;
}

double TSpectrum::SINAD(double f) {
  TQuality q = Quality(f);
  return q.Valid ? 10.0 * std::log10(q.S / (q.N + q.H)) : 0.0;
}

double TSpectrum::THDN(double f) {
  TQuality q = Quality(f);
  return q.Valid && q.S > 0 ? 100.0 * std::sqrt((q.N + q.H) / q.S) : 0.0;
}

double TSpectrum::NF(double f) {
  TQuality q = Quality(f);
  return q.Valid ? 10.0 * std::log10(q.NoiseMean) : 0.0;
}

double TSpectrum::SFDR() {
  const int n = amplt_.Length();
  const int h = mainlobeWidth_ / 2;
  int k0 = LineOf(0.0);
  auto inLobe = [h](int i, int k) { return i >= k - h && i <= k + h; };
  int kf = -1;
  for (int i = 0; i < n; ++i)
    if (!inLobe(i, k0) && (kf < 0 || amplt_.Values(i) > amplt_.Values(kf))) kf = i;
  if (kf < 0) return 0.0;
  int ks = -1;
  for (int i = 0; i < n; ++i)
    if (!inLobe(i, k0) && !inLobe(i, kf) && (ks < 0 || amplt_.Values(i) > amplt_.Values(ks))) ks = i;
  if (ks < 0) return 0.0;
  return 20.0 * std::log10(amplt_.Values(kf) / amplt_.Values(ks));
}

double TSpectrum::RMS(double f) { return std::sqrt(SumOfAmpltSquares(0, LineOf(f) + 1)); }

double TSpectrum::THD() {
  try {
    if (marks_.Count() == 0) return 0.0;
    marks_.SetSortType(srtFreq);
    marks_.Sort();
    int n = std::min(harmonics_, marks_.Count());
    double sum = 0.0;
    for (int i = 1; i < n; ++i) sum += marks_.Values(i).Amplt * marks_.Values(i).Amplt;
    double fund = std::fabs(marks_.Values(0).Amplt);
    if (fund == 0.0) return 0.0;  // the division would fail: treated as any other error
    return std::sqrt(sum) * 100.0 / fund;
  } catch (...) {
    return 0.0;
  }
}

double TSpectrum::AmpltEst(double f) {
  int k = StrongestNear(amplt_, LineOf(f), 1);
  return k < 0 ? 0.0 : amplt_.Values(k);
}

double TSpectrum::PhaseEst(double f) {
  int k = StrongestNear(amplt_, LineOf(f), 1);
  return k < 0 || k >= phase_.Length() ? 0.0 : phase_.Values(k);
}

double TSpectrum::PeakApproximate(double f) {
  int k = StrongestNear(amplt_, LineOf(f), 1);
  if (k < 0) return f;
  if (k == 0 || k == amplt_.Length() - 1) return LineFrequency(k);
  double y0 = amplt_.Values(k - 1), y1 = amplt_.Values(k), y2 = amplt_.Values(k + 1);
  double den = y0 - 2.0 * y1 + y2;
  double delta = den != 0.0 ? 0.5 * (y0 - y2) / den : 0.0;
  return LineFrequency(k) + delta * hzRes_;
}

void TSpectrum::FilterPeak(int Index) {
  const int n = amplt_.Length();
  const int h = mainlobeWidth_ / 2;
  int a = std::max(0, Index - h), b = std::min(n - 1, Index + h);
  if (n == 0 || a > b) return;
  bool hasLeft = a - 1 >= 0, hasRight = b + 1 < n;
  double left = hasLeft ? amplt_.Values(a - 1) : 0.0, right = hasRight ? amplt_.Values(b + 1) : 0.0;
  if (!hasLeft) left = right;
  if (!hasRight) right = left;
  for (int i = a; i <= b; ++i) {
    double t = static_cast<double>(i - (a - 1)) / (b - a + 2);
    amplt_.Values(i) = left + (right - left) * t;
  }
}

}  // namespace ondrix
