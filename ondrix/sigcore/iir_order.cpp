#include "ondrix/sigcore/iir_order.h"

#include <algorithm>
#include <cmath>
#include <string>

#include "ondrix/sigcore/elliptic.h"
#include "ondrix/sigcore/minimize.h"
#include "ondrix/vec/calcbase.h"
#include "ondrix/vec/exceptions.h"

namespace ondrix {

namespace {

enum TOrderKind { okButter, okCheby, okEllip };

// The non-integer order of an analog bandstop filter whose passband edge `ind` is moved to wp
// (scipy.signal.band_stop_obj).
double BandStopObjective(double wp, int ind, const double* passb, const double* stopb, double rp,
                         double rs, TOrderKind kind) {
  double pb[2] = {passb[0], passb[1]};
  pb[ind] = wp;
  double nat = INF_VALUE;
  for (int i = 0; i < 2; ++i)
    nat = std::min(nat, std::fabs(stopb[i] * (pb[0] - pb[1]) / (stopb[i] * stopb[i] - pb[0] * pb[1])));
  if (kind == okEllip) {
    const double gs = std::pow(10.0, 0.1 * rs), gp = std::pow(10.0, 0.1 * rp);
    const double arg1 = std::sqrt((gp - 1.0) / (gs - 1.0));
    const double arg0 = 1.0 / nat;
    return EllipK(arg0 * arg0) * EllipK(1.0 - arg1 * arg1) /
           (EllipK(1.0 - arg0 * arg0) * EllipK(arg1 * arg1));
  }
  const double gs = std::pow(10.0, 0.1 * std::fabs(rs)), gp = std::pow(10.0, 0.1 * std::fabs(rp));
  if (kind == okButter) return std::log10((gs - 1.0) / (gp - 1.0)) / (2.0 * std::log10(nat));
  return std::acosh(std::sqrt((gs - 1.0) / (gp - 1.0))) / std::acosh(nat);
}

// Common front end of the order routines: checks, prewarping, the filter type and the
// selectivity `nat`. passb may be moved (bandstop search). Returns the SciPy type code
// 1 low, 2 high, 3 stop, 4 pass.
int Prepare(const char* what, const std::vector<double>& wp, const std::vector<double>& ws,
            double rp, double rs, double fs, bool analog, TOrderKind kind, double* passb,
            double* stopb, double& nat) {
  const std::string w(what);
  if (wp.size() != ws.size() || wp.empty() || wp.size() > 2)
    ERaise(w + ": wp and ws must both hold one or both hold two frequencies");
  if (!(rp > 0.0) || !(rs > 0.0) || !std::isfinite(rp) || !std::isfinite(rs))
    ERaise(w + ": the passband loss and the stopband attenuation must be positive dB values");
  if (rp >= rs) ERaise(w + ": the passband loss must be smaller than the stopband attenuation");
  if (!analog && !(fs > 0.0)) ERaise(w + ": the sampling frequency must be positive");
  const size_t n = wp.size();
  for (size_t i = 0; i < n; ++i) {
    const double lim = analog ? INF_VALUE : fs / 2.0;
    if (!(wp[i] > 0.0 && wp[i] < lim) || !(ws[i] > 0.0 && ws[i] < lim))
      ERaise(w + ": frequencies must lie strictly between 0 and " + (analog ? std::string("infinity") : "fs/2 = " + FloatToStr(lim)));
  }
  const int type = 2 * static_cast<int>(n - 1) + (wp[0] < ws[0] ? 1 : 2);
  const bool ok = type == 1 ? wp[0] < ws[0]
                  : type == 2 ? wp[0] > ws[0]
                  : type == 3 ? (wp[0] < ws[0] && ws[0] < ws[1] && ws[1] < wp[1])
                              : (ws[0] < wp[0] && wp[0] < wp[1] && wp[1] < ws[1]);
  if (!ok) ERaise(w + ": the passband and stopband edges are not in a lowpass, highpass, bandpass or bandstop order");
  for (size_t i = 0; i < n; ++i) {
    passb[i] = analog ? wp[i] : std::tan(PI * (2.0 * wp[i] / fs) / 2.0);
    stopb[i] = analog ? ws[i] : std::tan(PI * (2.0 * ws[i] / fs) / 2.0);
  }
  if (type == 1) nat = stopb[0] / passb[0];
  else if (type == 2) nat = passb[0] / stopb[0];
  else {
    if (type == 3) {
      // SciPy's search, step for step, so that the edges land where its own do.
      passb[0] = MinimizeBounded([&](double x) { return BandStopObjective(x, 0, passb, stopb, rp, rs, kind); },
                                 passb[0], stopb[0] - 1e-12).X;
      passb[1] = MinimizeBounded([&](double x) { return BandStopObjective(x, 1, passb, stopb, rp, rs, kind); },
                                 stopb[1] + 1e-12, passb[1]).X;
    }
    nat = INF_VALUE;
    for (int i = 0; i < 2; ++i) {
      const double v = type == 3
                           ? stopb[i] * (passb[0] - passb[1]) / (stopb[i] * stopb[i] - passb[0] * passb[1])
                           : (stopb[i] * stopb[i] - passb[0] * passb[1]) / (stopb[i] * (passb[0] - passb[1]));
      nat = std::min(nat, std::fabs(v));
    }
  }
  return type;
}

std::vector<double> Unwarp(const double* v, int n, double fs, bool analog) {
  std::vector<double> r(v, v + n);
  if (!analog)
    for (double& x : r) x = (2.0 / PI) * std::atan(x) * fs / 2.0;
  return r;
}

int CheckedOrder(double ord, const char* what) {
  if (!std::isfinite(ord) || ord > 1e6) ERaise(std::string(what) + ": the band edges and ripples need an unbounded order");
  return std::max(1, static_cast<int>(std::ceil(ord)));
}

}  // namespace

TIirOrder ButterOrder(const std::vector<double>& wp, const std::vector<double>& ws, double rp,
                      double rs, double fs, bool analog) {
  double passb[2], stopb[2], nat;
  const int type = Prepare("ButterOrder", wp, ws, rp, rs, fs, analog, okButter, passb, stopb, nat);
  const double gs = std::pow(10.0, 0.1 * rs), gp = std::pow(10.0, 0.1 * rp);
  TIirOrder r;
  r.Order = CheckedOrder(std::log10((gs - 1.0) / (gp - 1.0)) / (2.0 * std::log10(nat)), "ButterOrder");
  const double w0 = std::pow(gp - 1.0, -1.0 / (2.0 * r.Order));
  double wn[2];
  int n = 1;
  if (type == 1) wn[0] = w0 * passb[0];
  else if (type == 2) wn[0] = passb[0] / w0;
  else if (type == 3) {
    const double discr = std::sqrt((passb[1] - passb[0]) * (passb[1] - passb[0]) + 4 * w0 * w0 * passb[0] * passb[1]);
    wn[0] = std::fabs(((passb[1] - passb[0]) + discr) / (2 * w0));
    wn[1] = std::fabs(((passb[1] - passb[0]) - discr) / (2 * w0));
    n = 2;
  } else {
    for (int i = 0; i < 2; ++i) {
      const double W = i == 0 ? -w0 : w0;
      wn[i] = std::fabs(-W * (passb[1] - passb[0]) / 2.0 +
                        std::sqrt(W * W / 4.0 * (passb[1] - passb[0]) * (passb[1] - passb[0]) + passb[0] * passb[1]));
    }
    n = 2;
  }
  if (n == 2 && wn[0] > wn[1]) std::swap(wn[0], wn[1]);
  r.Wn = Unwarp(wn, n, fs, analog);
  return r;
}

TIirOrder ChebyshevIOrder(const std::vector<double>& wp, const std::vector<double>& ws, double rp,
                          double rs, double fs, bool analog) {
  double passb[2], stopb[2], nat;
  Prepare("ChebyshevIOrder", wp, ws, rp, rs, fs, analog, okCheby, passb, stopb, nat);
  const double gs = std::pow(10.0, 0.1 * rs), gp = std::pow(10.0, 0.1 * rp);
  TIirOrder r;
  r.Order = CheckedOrder(std::acosh(std::sqrt((gs - 1.0) / (gp - 1.0))) / std::acosh(nat), "ChebyshevIOrder");
  r.Wn = Unwarp(passb, static_cast<int>(wp.size()), fs, analog);
  return r;
}

TIirOrder ChebyshevIIOrder(const std::vector<double>& wp, const std::vector<double>& ws,
                           double rp, double rs, double fs, bool analog) {
  double passb[2], stopb[2], nat;
  const int type = Prepare("ChebyshevIIOrder", wp, ws, rp, rs, fs, analog, okCheby, passb, stopb, nat);
  const double gs = std::pow(10.0, 0.1 * rs), gp = std::pow(10.0, 0.1 * rp);
  TIirOrder r;
  const double a = std::acosh(std::sqrt((gs - 1.0) / (gp - 1.0)));
  r.Order = CheckedOrder(a / std::acosh(nat), "ChebyshevIIOrder");
  // Frequency where the analog prototype is −rp dB, taken back through the band transform.
  const double nf = 1.0 / std::cosh(a / r.Order);
  double wn[2];
  int n = 1;
  if (type == 1) wn[0] = passb[0] / nf;
  else if (type == 2) wn[0] = passb[0] * nf;
  else if (type == 3) {
    wn[0] = nf / 2.0 * (passb[0] - passb[1]) +
            std::sqrt(nf * nf * (passb[1] - passb[0]) * (passb[1] - passb[0]) / 4.0 + passb[1] * passb[0]);
    wn[1] = passb[1] * passb[0] / wn[0];
    n = 2;
  } else {
    wn[0] = 1.0 / (2.0 * nf) * (passb[0] - passb[1]) +
            std::sqrt((passb[1] - passb[0]) * (passb[1] - passb[0]) / (4.0 * nf * nf) + passb[1] * passb[0]);
    wn[1] = passb[0] * passb[1] / wn[0];
    n = 2;
  }
  r.Wn = Unwarp(wn, n, fs, analog);
  return r;
}

TIirOrder EllipticOrder(const std::vector<double>& wp, const std::vector<double>& ws, double rp,
                        double rs, double fs, bool analog) {
  double passb[2], stopb[2], nat;
  Prepare("EllipticOrder", wp, ws, rp, rs, fs, analog, okEllip, passb, stopb, nat);
  const double arg1Sq = std::expm1(std::log(10.0) * 0.1 * rp) / std::expm1(std::log(10.0) * 0.1 * rs);
  const double arg0 = 1.0 / nat;
  const double m0 = arg0 * arg0;
  TIirOrder r;
  r.Order = CheckedOrder(EllipK(m0) * EllipKComplement(arg1Sq) / (EllipKComplement(m0) * EllipK(arg1Sq)),
                         "EllipticOrder");
  r.Wn = Unwarp(passb, static_cast<int>(wp.size()), fs, analog);
  return r;
}

void SplitTransitionEdges(const std::vector<double>& edges, TFilterType type,
                          std::vector<double>& wp, std::vector<double>& ws) {
  const bool band = type == ftBandpass || type == ftBandstop;
  if (edges.size() != (band ? 4u : 2u))
    ERaise(std::string("IIR order: ") + (band ? "bandpass and bandstop filters need four" : "lowpass and highpass filters need two") +
           " transition edges, got " + std::to_string(edges.size()));
  for (size_t i = 1; i < edges.size(); ++i)
    if (!(edges[i - 1] < edges[i])) ERaise("IIR order: the transition edges must ascend");
  switch (type) {
    case ftLowpass: wp = {edges[0]}; ws = {edges[1]}; break;
    case ftHighpass: wp = {edges[1]}; ws = {edges[0]}; break;
    case ftBandpass: wp = {edges[1], edges[2]}; ws = {edges[0], edges[3]}; break;
    case ftBandstop: wp = {edges[0], edges[3]}; ws = {edges[1], edges[2]}; break;
    default: ERaise("IIR order: unknown filter type");
  }
}

TIirOrder IirOrder(TIirMethod method, const std::vector<double>& edges, TFilterType type,
                   double rp, double rs, double fs) {
  std::vector<double> wp, ws;
  if (method == imDcRemoval || method == imNotch) {
    TIirOrder r;
    r.Order = 1;
    r.Wn.assign(edges.begin(), edges.begin() + std::min<size_t>(2, edges.size()));
    return r;
  }
  SplitTransitionEdges(edges, type, wp, ws);
  switch (method) {
    case imChebyshevI: return ChebyshevIOrder(wp, ws, rp, rs, fs);
    case imChebyshevII: return ChebyshevIIOrder(wp, ws, rp, rs, fs);
    case imElliptic: return EllipticOrder(wp, ws, rp, rs, fs);
    default: return ButterOrder(wp, ws, rp, rs, fs);
  }
}

}  // namespace ondrix
