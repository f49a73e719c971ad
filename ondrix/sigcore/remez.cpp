#include "ondrix/sigcore/remez.h"

#include <algorithm>
#include <cmath>
#include <functional>
#include <string>

#include "ondrix/vec/calcbase.h"
#include "ondrix/vec/exceptions.h"

namespace ondrix {

namespace {

constexpr int kMaxTaps = 10000;
// The exchange has converged when no error on the grid exceeds |δ| by more than this
// fraction: symmetric problems (a Hilbert band centred on fs/4) have two equivalent extremal
// sets, between which the exchange would otherwise swing at rounding level.
constexpr double kConvergedExcess = 1e-9;
// Relative size of the rounding noise of the error function on the grid (a few hundred ulps
// of the largest weighted value): an excess below it counts as converged.
constexpr double kRoundingFloor = 1e-13;

// The dense grid: frequencies in cycles per sample (0 .. 0.5), desired values, weights, and
// the band each point belongs to.
struct TGrid {
  std::vector<double> f, d, w;
  std::vector<int> band;
};

using TBandFn = std::function<double(double f, int band)>;

// Number of cosine terms r of the approximation and the parity flags.
struct TShape {
  int numtaps = 0;
  bool neg = false;  // antisymmetric taps
  bool odd = false;  // odd length
  int r = 0;
};

TShape Shape(int numtaps, bool neg) {
  TShape s;
  s.numtaps = numtaps;
  s.neg = neg;
  s.odd = numtaps % 2 == 1;
  s.r = numtaps / 2 + ((!neg && s.odd) ? 1 : 0);
  return s;
}

// The grid of the McClellan-Parks-Rabiner program: each band sampled from its lower edge in
// steps delf (accumulated, as the original), its last point moved onto the upper edge;
// f = 0 avoided for antisymmetric filters and f = 0.5 dropped where the response must
// vanish there. edges are in cycles per sample.
TGrid BuildGrid(const TShape& s, const std::vector<double>& edges, int density, const TBandFn& des,
                const TBandFn& wt) {
  const int nb = static_cast<int>(edges.size() / 2);
  const double delf = 0.5 / (static_cast<double>(density) * s.r);
  TGrid g;
  double start = edges[0];
  if (s.neg && start < delf) start = delf;
  for (int l = 0; l < nb; ++l) {
    const double fup = edges[2 * l + 1];
    double temp = l == 0 ? start : edges[2 * l];
    for (;;) {
      g.f.push_back(temp);
      g.band.push_back(l);
      const double next = temp + delf;
      if (next > fup) break;
      temp = next;
    }
    g.f.back() = fup;
  }
  if (s.neg == s.odd && g.f.size() > 1 && g.f.back() > 0.5 - delf) {
    g.f.pop_back();
    g.band.pop_back();
  }
  const size_t n = g.f.size();
  g.d.resize(n);
  g.w.resize(n);
  for (size_t j = 0; j < n; ++j) {
    g.d[j] = des(g.f[j], g.band[j]);
    g.w[j] = wt(g.f[j], g.band[j]);
  }
  // The factor every response of this symmetry carries: the rest is a cosine polynomial.
  for (size_t j = 0; j < n; ++j) {
    double change = 1.0;
    if (!s.neg && !s.odd) change = std::cos(PI * g.f[j]);
    else if (s.neg && !s.odd) change = std::sin(PI * g.f[j]);
    else if (s.neg && s.odd) change = std::sin(TWOPI * g.f[j]);
    g.d[j] /= change;
    g.w[j] *= change;
  }
  return g;
}

// Barycentric weights 1 / Π_{j≠k}(x_k − x_j), scaled by a common factor (irrelevant to the
// interpolant). The products run in long double, whose exponent range holds those of
// thousands of nodes, and are scaled to a largest weight of 1.
void BaryWeights(const std::vector<double>& x, std::vector<double>& ad) {
  const size_t n = x.size();
  std::vector<long double> p(n, 1.0L);
  long double top = 0.0L;
  for (size_t k = 0; k < n; ++k) {
    long double prod = 1.0L;
    for (size_t j = 0; j < n; ++j)
      if (j != k) prod *= static_cast<long double>(x[k]) - x[j];
    p[k] = 1.0L / prod;
    top = std::max(top, std::fabs(p[k]));
  }
  ad.resize(n);
  for (size_t k = 0; k < n; ++k) ad[k] = static_cast<double>(p[k] / top);
}

// Numerators and denominators of the barycentric formula at every grid point, node by node
// so that the loop over the grid vectorises (each point sums its terms in node order).
#if defined(__x86_64__) && defined(__GNUC__)
__attribute__((target_clones("avx2", "default")))
#endif
void BarySums(const double* xg, int ngrid, const double* xk, const double* ad, const double* c, int nz,
              double* num, double* den) {
  for (int j = 0; j < ngrid; ++j) num[j] = den[j] = 0.0;
  for (int k = 0; k < nz; ++k) {
    const double xkk = xk[k], a = ad[k], ck = c[k];
    for (int j = 0; j < ngrid; ++j) {
      const double t = a / (xg[j] - xkk);
      num[j] += t * ck;
      den[j] += t;
    }
  }
}

struct TInterp {
  std::vector<double> x, ad, c;
  double Eval(double xv) const {
    double num = 0.0, den = 0.0;
    for (size_t k = 0; k < x.size(); ++k) {
      const double d = xv - x[k];
      if (d == 0.0) return c[k];
      const double t = ad[k] / d;
      num += t * c[k];
      den += t;
    }
    return num / den;
  }
};

std::string BandText(const std::vector<double>& edges, int b, double fs) {
  return "[" + FloatToStr(edges[2 * b] * fs) + ", " + FloatToStr(edges[2 * b + 1] * fs) + "]";
}

[[noreturn]] void Fail(const char* what, int iterations, const TShape& s, const std::vector<double>& edges,
                       double fs, double dev, double maxDesired, int worstBand, const std::string& why) {
  std::string msg = std::string(what) + ": no convergence after " + std::to_string(iterations) +
                    " iterations (" + std::to_string(s.numtaps) + " taps)";
  if (!why.empty()) msg += ", " + why;
  if (std::isfinite(dev) && std::fabs(dev) <= 1e-12 * std::max(1.0, maxDesired)) {
    msg += "; the attainable error (" + FloatToStr(std::fabs(dev)) +
           ") lies at the double-precision floor: use fewer taps or narrower transition bands";
  } else {
    const int nb = static_cast<int>(edges.size() / 2);
    int narrow = -1;
    double width = INF_VALUE;
    for (int b = 0; b + 1 < nb; ++b)
      if (edges[2 * b + 2] - edges[2 * b + 1] < width) {
        width = edges[2 * b + 2] - edges[2 * b + 1];
        narrow = b;
      }
    if (worstBand >= 0) msg += "; the error peaks in band " + BandText(edges, worstBand, fs);
    // A transition narrower than about one DFT bin of the filter (1/numtaps cycles per
    // sample) cannot be resolved; a wide one leaves an error beyond double precision.
    if (narrow >= 0)
      msg += "; the transition band [" + FloatToStr(edges[2 * narrow + 1] * fs) + ", " +
             FloatToStr(edges[2 * narrow + 2] * fs) + "] is probably too " +
             (width * s.numtaps < 1.0 ? "narrow" : "wide") + " for " + std::to_string(s.numtaps) + " taps";
  }
  ERaise(msg);
}

// The Remez exchange on the grid; returns the impulse response.
std::vector<double> RemezCore(const char* what, const TShape& s, const TGrid& g,
                              const std::vector<double>& edges, double fs, int maxIterations) {
  const int r = s.r;
  const int nz = r + 1;
  const int ngrid = static_cast<int>(g.f.size());
  if (ngrid < nz)
    ERaise(std::string(what) + ": the bands hold " + std::to_string(ngrid) + " grid points, fewer than the " +
           std::to_string(nz) + " extremal frequencies of " + std::to_string(s.numtaps) +
           " taps: widen the bands or raise the grid density");
  double maxDesired = 0.0, scale = 0.0;
  for (int j = 0; j < ngrid; ++j) {
    maxDesired = std::max(maxDesired, std::fabs(g.d[j]));
    scale = std::max(scale, g.w[j]);
  }
  // Rounding noise of the weighted error: a tiny deviation cannot be resolved below it.
  const double noise = kRoundingFloor * scale * std::max(1.0, maxDesired);
  std::vector<double> xg(ngrid);
  for (int j = 0; j < ngrid; ++j) xg[j] = std::cos(TWOPI * g.f[j]);

  std::vector<int> ext(nz);
  {
    const double temp = static_cast<double>(ngrid - 1) / r;
    for (int j = 0; j < r; ++j) ext[j] = static_cast<int>(j * temp);
    ext[r] = ngrid - 1;
  }
  TInterp ip;
  std::vector<double> err(ngrid), ad, num(ngrid), den(ngrid);
  std::vector<int> cand, next;
  double dev = NAN_VALUE;
  int worstBand = -1;
  bool converged = false;
  int it = 0;
  for (; it < maxIterations; ++it) {
    ip.x.resize(nz);
    for (int k = 0; k < nz; ++k) ip.x[k] = xg[ext[k]];
    BaryWeights(ip.x, ad);
    double sd = 0.0, sw = 0.0;
    for (int k = 0; k < nz; ++k) {
      sd += ad[k] * g.d[ext[k]];
      sw += ad[k] * ((k % 2 == 0) ? 1.0 : -1.0) / g.w[ext[k]];
    }
    dev = sd / sw;
    if (!std::isfinite(dev)) Fail(what, it, s, edges, fs, dev, maxDesired, -1, "the deviation became infinite");
    ip.ad = ad;
    ip.c.resize(nz);
    for (int k = 0; k < nz; ++k) ip.c[k] = g.d[ext[k]] - ((k % 2 == 0) ? 1.0 : -1.0) * dev / g.w[ext[k]];
    const double adev = std::fabs(dev);
    double emax = 0.0;
    // A on the grid; at the nodes themselves the formula divides by zero: A = c there.
    BarySums(xg.data(), ngrid, ip.x.data(), ip.ad.data(), ip.c.data(), nz, num.data(), den.data());
    for (int j = 0; j < ngrid; ++j) num[j] /= den[j];
    for (int k = 0; k < nz; ++k) num[ext[k]] = ip.c[k];
    for (int j = 0; j < ngrid; ++j) {
      err[j] = g.w[j] * (g.d[j] - num[j]);
      if (std::fabs(err[j]) > emax) {
        emax = std::fabs(err[j]);
        worstBand = g.band[j];
      }
    }
    if (!std::isfinite(emax)) Fail(what, it, s, edges, fs, dev, maxDesired, -1, "the error became infinite");
    // Local extrema of the weighted error within each band, at least as large as |δ|.
    cand.clear();
    const double floor = adev * (1.0 - 1e-12);
    for (int j = 0; j < ngrid; ++j) {
      const double e = err[j];
      if (std::fabs(e) < floor) continue;
      const bool hasL = j > 0 && g.band[j - 1] == g.band[j];
      const bool hasR = j + 1 < ngrid && g.band[j + 1] == g.band[j];
      const double l = hasL ? err[j - 1] : (e > 0 ? -INF_VALUE : INF_VALUE);
      const double rr = hasR ? err[j + 1] : (e > 0 ? -INF_VALUE : INF_VALUE);
      if ((e > 0 && e >= l && e > rr) || (e < 0 && e <= l && e < rr)) cand.push_back(j);
    }
    // Keep an alternating sequence: of neighbours with the same sign the larger one.
    const auto alternate = [&err](const std::vector<int>& in, std::vector<int>& out) {
      out.clear();
      for (int j : in) {
        if (!out.empty() && (err[j] > 0) == (err[out.back()] > 0)) {
          if (std::fabs(err[j]) > std::fabs(err[out.back()])) out.back() = j;
        } else {
          out.push_back(j);
        }
      }
    };
    alternate(cand, next);
    if (static_cast<int>(next.size()) < nz) {
      // Rounding can hide extrema; the current extremal points carry |E| = |δ| and fill in.
      cand.insert(cand.end(), ext.begin(), ext.end());
      std::sort(cand.begin(), cand.end());
      cand.erase(std::unique(cand.begin(), cand.end()), cand.end());
      alternate(cand, next);
      if (static_cast<int>(next.size()) < nz)
        Fail(what, it + 1, s, edges, fs, dev, maxDesired, worstBand,
             "the error alternates only " + std::to_string(next.size()) + " times (" +
                 std::to_string(nz) + " needed)");
    }
    while (static_cast<int>(next.size()) > nz) {
      if (std::fabs(err[next.front()]) < std::fabs(err[next.back()])) next.erase(next.begin());
      else next.pop_back();
    }
    const bool same = next == ext;
    ext = next;
    if (same || emax - adev <= std::max(kConvergedExcess * adev, noise)) {
      converged = true;
      ++it;
      break;
    }
  }
  if (!converged) Fail(what, it, s, edges, fs, dev, maxDesired, worstBand, "");

  // Cosine coefficients a_k of A(ω) = Σ a_k·cos(kω) from 2r − 1 equally spaced samples.
  const int m = 2 * r - 1;
  std::vector<double> av(r);
  for (int j = 0; j < r; ++j) av[j] = ip.Eval(std::cos(TWOPI * j / m));
  std::vector<double> a(r + 2, 0.0), cosTab(m);
  for (int i = 0; i < m; ++i) cosTab[i] = std::cos(TWOPI * i / m);
  for (int k = 0; k < r; ++k) {
    double sum = av[0];
    for (int j = 1; j < r; ++j) sum += 2.0 * av[j] * cosTab[(static_cast<long long>(k) * j) % m];
    a[k] = sum / m * (k == 0 ? 1.0 : 2.0);
  }
  // Taps of the four symmetry cases (see the cosine-product identities).
  const int n = s.numtaps;
  std::vector<double> h(n, 0.0);
  if (!s.neg && s.odd) {
    const int c = (n - 1) / 2;
    h[c] = a[0];
    for (int k = 1; k <= c; ++k) h[c - k] = h[c + k] = 0.5 * a[k];
  } else if (!s.neg) {
    const int c = n / 2;
    for (int k = 1; k <= c; ++k) {
      const double b = k == 1 ? a[0] + 0.5 * a[1] : 0.5 * (a[k - 1] + a[k]);
      h[c - k] = h[c - 1 + k] = 0.5 * b;
    }
  } else if (s.odd) {
    const int c = (n - 1) / 2;
    for (int k = 1; k <= c; ++k) {
      const double b = k == 1 ? a[0] - 0.5 * a[2] : 0.5 * (a[k - 1] - a[k + 1]);
      h[c - k] = 0.5 * b;
      h[c + k] = -0.5 * b;
    }
  } else {
    const int c = n / 2;
    for (int k = 1; k <= c; ++k) {
      const double b = k == 1 ? a[0] - 0.5 * a[1] : 0.5 * (a[k - 1] - a[k]);
      h[c - k] = 0.5 * b;
      h[c - 1 + k] = -0.5 * b;
    }
  }
  return h;
}

void CheckCommon(const char* what, int numtaps, double fs, int density, int maxIterations) {
  const std::string w(what);
  if (numtaps < 3 || numtaps > kMaxTaps)
    ERaise(w + ": the number of taps must lie in 3.." + std::to_string(kMaxTaps) + ", got " + std::to_string(numtaps));
  if (!(fs > 0.0) || !std::isfinite(fs)) ERaise(w + ": the sampling frequency must be positive");
  if (density < 1) ERaise(w + ": the grid density must be at least 1");
  if (maxIterations < 1) ERaise(w + ": at least one iteration is needed");
}

void ToVec(const std::vector<double>& h, TVec& taps) {
  taps.Size(static_cast<int>(h.size()), false);
  std::copy(h.begin(), h.end(), taps.PValues());
}

// Herrmann, Rabiner & Chan (1973): D∞ and f of the length formula, log10 deviations.
double HerrmannLength(double dp, double ds, double df) {
  const double l1 = std::log10(dp), l2 = std::log10(ds);
  const double dinf = (0.005309 * l1 * l1 + 0.07114 * l1 - 0.4761) * l2 -
                      (0.00266 * l1 * l1 + 0.5941 * l1 + 0.4278);
  const double f = 11.01217 + 0.51244 * (l1 - l2);
  return dinf / df - f * df + 1.0;
}

}  // namespace

void remez(TVec& taps, int numtaps, const std::vector<double>& bands,
           const std::vector<double>& desired, const std::vector<double>& weights,
           TRemezType type, double fs, int gridDensity, int maxIterations) {
  CheckCommon("remez", numtaps, fs, gridDensity, maxIterations);
  if (bands.empty() || bands.size() % 2 != 0) ERaise("remez: bands must hold pairs of band edges");
  const size_t nb = bands.size() / 2;
  if (desired.size() != nb) ERaise("remez: desired must hold one value per band");
  if (!weights.empty() && weights.size() != nb) ERaise("remez: weights must hold one value per band");
  std::vector<double> edges(bands.size());
  for (size_t i = 0; i < bands.size(); ++i) {
    edges[i] = bands[i] / fs;
    if (!(edges[i] >= 0.0 && edges[i] <= 0.5)) ERaise("remez: band edge " + FloatToStr(bands[i]) + " lies outside [0, fs/2]");
    if (i > 0) {
      const bool inside = i % 2 == 1;
      if (inside ? !(bands[i] >= bands[i - 1]) : !(bands[i] > bands[i - 1]))
        ERaise("remez: band edges must ascend, and bands must be separated by gaps");
    }
  }
  std::vector<double> wts = weights.empty() ? std::vector<double>(nb, 1.0) : weights;
  for (double w : wts)
    if (!(w > 0.0) || !std::isfinite(w)) ERaise("remez: weights must be positive");
  if (type < rtBandpass || type > rtHilbert) ERaise("remez: unknown response type");
  const TShape s = Shape(numtaps, type != rtBandpass);
  const bool diff = type == rtDifferentiator;
  const TGrid g = BuildGrid(
      s, edges, gridDensity,
      [&](double f, int b) { return diff ? desired[b] * f : desired[b]; },
      [&](double f, int b) { return diff && desired[b] >= 1e-4 ? wts[b] / f : wts[b]; });
  ToVec(RemezCore("remez", s, g, edges, fs, maxIterations), taps);
}

void RemezImpulse(TVec& taps, int length, TRemezImpulseType kind, double f1, double f2, double fs,
                  int gridDensity, int maxIterations) {
  CheckCommon("RemezImpulse", length, fs, gridDensity, maxIterations);
  if (!(f1 >= 0.0 && f1 < f2 && f2 <= fs / 2.0)) ERaise("RemezImpulse: the band must satisfy 0 <= f1 < f2 <= fs/2");
  const bool needsGap = kind == ritIntegrator || kind == ritDoubleIntegrator || kind == ritHilbert;
  if (needsGap && !(f1 > 0.0)) ERaise("RemezImpulse: integrators and Hilbert transformers need f1 > 0");
  const bool neg = kind != ritDoubleDifferentiator && kind != ritDoubleIntegrator;
  const TShape s = Shape(length, neg);
  const std::vector<double> edges = {f1 / fs, f2 / fs};
  // Responses in the symmetric-case form: antisymmetric filters realise j·A(ω), symmetric
  // ones A(ω); ω = 2πf with f in cycles per sample.
  const double fmin = 0.5 / (static_cast<double>(gridDensity) * s.r);  // one grid step
  TBandFn des, wt;
  switch (kind) {
    case ritDifferentiator:
      des = [](double f, int) { return TWOPI * f; };
      wt = [fmin](double f, int) { return 1.0 / (TWOPI * std::max(f, fmin)); };
      break;
    case ritDoubleDifferentiator:
      des = [](double f, int) { return -(TWOPI * f) * (TWOPI * f); };
      wt = [fmin](double f, int) {
        const double w = TWOPI * std::max(f, fmin);
        return 1.0 / (w * w);
      };
      break;
    case ritIntegrator:
      des = [](double f, int) { return -1.0 / (TWOPI * f); };
      wt = [](double f, int) { return TWOPI * f; };
      break;
    case ritDoubleIntegrator:
      des = [](double f, int) { return -1.0 / ((TWOPI * f) * (TWOPI * f)); };
      wt = [](double f, int) { return (TWOPI * f) * (TWOPI * f); };
      break;
    case ritHilbert:
      des = [](double, int) { return -1.0; };
      wt = [](double, int) { return 1.0; };
      break;
    default: ERaise("RemezImpulse: unknown response kind");
  }
  const TGrid g = BuildGrid(s, edges, gridDensity, des, wt);
  ToVec(RemezCore("RemezImpulse", s, g, edges, fs, maxIterations), taps);
}

int RemezLength(const std::vector<double>& bands, const std::vector<double>& deviations, double fs) {
  if (!(fs > 0.0)) ERaise("RemezLength: the sampling frequency must be positive");
  if (bands.size() < 4 || bands.size() % 2 != 0) ERaise("RemezLength: at least two bands (four edges) are needed");
  if (deviations.size() != bands.size() / 2) ERaise("RemezLength: deviations must hold one value per band");
  for (double d : deviations)
    if (!(d > 0.0 && d < 1.0)) ERaise("RemezLength: deviations must lie in (0, 1)");
  double len = 3.0;
  for (size_t b = 0; b + 1 < deviations.size(); ++b) {
    const double df = (bands[2 * b + 2] - bands[2 * b + 1]) / fs;
    if (!(df > 0.0)) ERaise("RemezLength: a transition band has no width");
    const double dp = std::max(deviations[b], deviations[b + 1]);
    const double ds = std::min(deviations[b], deviations[b + 1]);
    len = std::max(len, HerrmannLength(dp, ds, df));
  }
  if (len > kMaxTaps * 100.0) ERaise("RemezLength: the transition bands are too narrow for the deviations");
  return static_cast<int>(std::ceil(len));
}

int RemezFirLength(double transition, double deviation, double fs) {
  if (!(fs > 0.0)) ERaise("RemezFirLength: the sampling frequency must be positive");
  if (!(transition > 0.0)) ERaise("RemezFirLength: the transition width must be positive");
  if (!(deviation > 0.0 && deviation < 1.0)) ERaise("RemezFirLength: the deviation must lie in (0, 1)");
  const double len = std::max(3.0, HerrmannLength(deviation, deviation, transition / fs));
  if (len > kMaxTaps * 100.0) ERaise("RemezFirLength: the transition is too narrow for the deviation");
  return static_cast<int>(std::ceil(len));
}

}  // namespace ondrix
