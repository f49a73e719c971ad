#include "ondrix/sigcore/fir_design.h"

#include <algorithm>
#include <cmath>
#include <string>

#include "ondrix/vec/calcbase.h"
#include "ondrix/vec/exceptions.h"

namespace ondrix {

namespace {

// Defaults of the window parameters (see ApplyDesignWindow).
constexpr double kDefaultChebyshevDb = 40.0;
constexpr double kDefaultBlackmanAlpha = 0.16;
constexpr double kDefaultTaperPercent = 20.0;
constexpr double kDefaultExponentEnd = 0.01;

double Sinc(double x) {
  if (x == 0.0) return 1.0;
  const double y = PI * x;
  return std::sin(y) / y;
}

void CheckFs(double fs, const char* what) {
  if (!(fs > 0.0) || !std::isfinite(fs)) ERaise(std::string(what) + ": the sampling frequency must be positive");
}

}  // namespace

void ApplyDesignWindow(TVec& taps, TSignalWindowType window, double param) {
  switch (window) {
    case wtRectangular: break;
    case wtHanning: Hanning(taps, true); break;
    case wtHamming: Hamming(taps, true); break;
    case wtFlatTop: FlatTop(taps, true); break;
    case wtBartlett: Bartlett(taps, true); break;
    case wtBlackman: Blackman(taps, param != 0.0 ? std::fabs(param) : kDefaultBlackmanAlpha, true); break;
    case wtBlackmanHarris: BlackmanHarris(taps, true); break;
    case wtBlackmanExact: BlackmanExact(taps, true); break;
    case wtCosineTapered: CosineTappered(taps, param > 0.0 ? param : kDefaultTaperPercent, true); break;
    case wtKaiser:
      if (!(param >= 0.0)) ERaise("FIR design: the Kaiser window needs beta >= 0");
      Kaiser(taps, param, true);
      break;
    case wtChebyshev: Chebyshev(taps, param != 0.0 ? std::fabs(param) : kDefaultChebyshevDb, true); break;
    case wtExponent: ExponentWindow(taps, param > 0.0 && param <= 1.0 ? param : kDefaultExponentEnd, true); break;
    default: ERaise("FIR design: unknown window type " + std::to_string(static_cast<int>(window)));
  }
}

void FirImpulse(TVec& taps, const std::vector<double>& edges, double fs, TSignalWindowType window,
                TFilterType type, double windowParam) {
  CheckFs(fs, "FirImpulse");
  if (type < ftLowpass || type > ftBandstop) ERaise("FirImpulse: unknown filter type");
  const bool band = type == ftBandpass || type == ftBandstop;
  const size_t nc = band ? 2 : 1;
  if (edges.size() != nc && edges.size() != 2 * nc)
    ERaise(std::string("FirImpulse: ") + (band ? "bandpass and bandstop filters need 2 cut-offs or 4 transition edges"
                                               : "lowpass and highpass filters need 1 cut-off or 2 transition edges") +
           ", got " + std::to_string(edges.size()) + " values");
  for (size_t i = 0; i < edges.size(); ++i) {
    if (!(edges[i] > 0.0 && edges[i] < fs / 2.0))
      ERaise("FirImpulse: frequency " + FloatToStr(edges[i]) + " lies outside (0, fs/2)");
    if (i > 0 && !(edges[i - 1] < edges[i])) ERaise("FirImpulse: the frequencies must ascend");
  }
  // Cut-offs as fractions of Nyquist.
  std::vector<double> cut;
  if (edges.size() == nc) {
    for (double e : edges) cut.push_back(e / (fs / 2.0));
  } else {
    for (size_t i = 0; i < edges.size(); i += 2) cut.push_back(0.5 * (edges[i] + edges[i + 1]) / (fs / 2.0));
  }
  int n = taps.Length();
  if (n < 1) ERaise("FirImpulse: the filter needs at least one tap");
  if ((type == ftHighpass || type == ftBandstop) && n % 2 == 0) ++n;
  taps.Size(n, false);
  // The pass bands as [left, right] pairs of (0 .. 1), as firwin builds them.
  std::vector<double> b;
  if (type == ftLowpass || type == ftBandstop) b.push_back(0.0);
  b.insert(b.end(), cut.begin(), cut.end());
  if (type == ftHighpass || type == ftBandstop) b.push_back(1.0);
  const double alpha = 0.5 * (n - 1);
  for (int i = 0; i < n; ++i) {
    const double m = i - alpha;
    double h = 0.0;
    for (size_t k = 0; k < b.size(); k += 2) h += b[k + 1] * Sinc(b[k + 1] * m) - b[k] * Sinc(b[k] * m);
    taps.Values(i) = h;
  }
  ApplyDesignWindow(taps, window, windowParam);
  // Unit gain at the centre of the first pass band (DC or Nyquist at the ends).
  const double left = b[0], right = b[1];
  const double sf = left == 0.0 ? 0.0 : (right == 1.0 ? 1.0 : 0.5 * (left + right));
  double s = 0.0;
  for (int i = 0; i < n; ++i) s += taps.Values(i) * std::cos(PI * (i - alpha) * sf);
  if (s == 0.0) ERaise("FirImpulse: the design has no gain in its pass band");
  taps.Scale(1.0 / s);
}

int KaiserFirLength(const std::vector<double>& edges, double delta, double fs) {
  CheckFs(fs, "KaiserFirLength");
  if (!(delta > 0.0 && delta < 1.0)) ERaise("KaiserFirLength: the ripple must lie in (0, 1)");
  if (edges.size() != 2 && edges.size() != 4)
    ERaise("KaiserFirLength: expected 2 or 4 transition edges, got " + std::to_string(edges.size()));
  const double a = -20.0 * std::log10(delta);
  int len = 1;
  for (size_t i = 0; i < edges.size(); i += 2) {
    const double width = (edges[i + 1] - edges[i]) / (fs / 2.0);
    if (!(width > 0.0)) ERaise("KaiserFirLength: a transition band has no width");
    const double n = std::ceil((a - 7.95) / 2.285 / (PI * width) + 1.0);
    if (n > 1e8) ERaise("KaiserFirLength: the transition band is too narrow for the ripple");
    len = std::max(len, static_cast<int>(n));
  }
  return len;
}

double KaiserBetaFir(double delta) {
  if (!(delta > 0.0)) ERaise("KaiserBetaFir: the ripple must be positive");
  const double a = -20.0 * std::log10(delta);
  if (a > 50.0) return 0.1102 * (a - 8.7);
  if (a > 21.0) return 0.5842 * std::pow(a - 21.0, 0.4) + 0.07886 * (a - 21.0);
  return 0.0;
}

void FirDifferentiator(TVec& taps, TSignalWindowType window, double windowParam, double cutoff,
                       double fs) {
  CheckFs(fs, "FirDifferentiator");
  const int n = taps.Length();
  if (n < 2) ERaise("FirDifferentiator: the filter needs at least two taps");
  if (cutoff <= 0.0) cutoff = fs / 2.0;
  if (cutoff > fs / 2.0) ERaise("FirDifferentiator: the cut-off lies above fs/2");
  const double wc = TWOPI * cutoff / fs;
  taps.Size(n, false);
  const double c = 0.5 * (n - 1);
  // h(t) = (1/2π)∫_{−ωc}^{ωc} jω·e^{jωt} dω = (ωc·cos(ωc·t)/t − sin(ωc·t)/t²)/π.
  for (int i = 0; i < n; ++i) {
    const double t = i - c;
    taps.Values(i) = t == 0.0 ? 0.0 : (wc * std::cos(wc * t) / t - std::sin(wc * t) / (t * t)) / PI;
  }
  ApplyDesignWindow(taps, window, windowParam);
}

void FirHilbert(TVec& taps, TSignalWindowType window, double windowParam, double f1, double f2,
                double fs) {
  CheckFs(fs, "FirHilbert");
  const int n = taps.Length();
  if (n < 2) ERaise("FirHilbert: the filter needs at least two taps");
  if (f2 <= 0.0) f2 = fs / 2.0;
  if (!(f1 >= 0.0 && f1 < f2 && f2 <= fs / 2.0)) ERaise("FirHilbert: the band must satisfy 0 <= f1 < f2 <= fs/2");
  const double w1 = TWOPI * f1 / fs, w2 = TWOPI * f2 / fs;
  taps.Size(n, false);
  const double c = 0.5 * (n - 1);
  // h(t) = (1/2π)∫ −j·sign(ω)·e^{jωt} dω over ω1 < |ω| < ω2 = (cos(ω1·t) − cos(ω2·t))/(π·t).
  for (int i = 0; i < n; ++i) {
    const double t = i - c;
    taps.Values(i) = t == 0.0 ? 0.0 : (std::cos(w1 * t) - std::cos(w2 * t)) / (PI * t);
  }
  ApplyDesignWindow(taps, window, windowParam);
}

}  // namespace ondrix
