#include "ondrix/sigcore/minimize.h"

#include <algorithm>
#include <cmath>

namespace ondrix {

TMinimum MinimizeBounded(const std::function<double(double)>& f, double a, double b, double xatol,
                         int maxEvaluations) {
  // SciPy's constants, so that the steps match its own.
  const double sqrtEps = std::sqrt(2.2e-16);
  const double golden = 0.5 * (3.0 - std::sqrt(5.0));
  double fulc = a + golden * (b - a);
  double nfc = fulc, xf = fulc;
  double rat = 0.0, e = 0.0;
  double x = xf;
  double fx = f(x);
  int num = 1;
  double ffulc = fx, fnfc = fx;
  double xm = 0.5 * (a + b);
  double tol1 = sqrtEps * std::fabs(xf) + xatol / 3.0;
  double tol2 = 2.0 * tol1;
  const auto sign = [](double v) { return v > 0 ? 1.0 : (v < 0 ? -1.0 : 0.0); };
  while (std::fabs(xf - xm) > (tol2 - 0.5 * (b - a))) {
    bool goldenStep = true;
    if (std::fabs(e) > tol1) {
      goldenStep = false;
      double r = (xf - nfc) * (fx - ffulc);
      double q = (xf - fulc) * (fx - fnfc);
      double p = (xf - fulc) * q - (xf - nfc) * r;
      q = 2.0 * (q - r);
      if (q > 0.0) p = -p;
      q = std::fabs(q);
      r = e;
      e = rat;
      if (std::fabs(p) < std::fabs(0.5 * q * r) && p > q * (a - xf) && p < q * (b - xf)) {
        rat = (p + 0.0) / q;
        x = xf + rat;
        if ((x - a) < tol2 || (b - x) < tol2) {
          const double si = sign(xm - xf) + ((xm - xf) == 0 ? 1.0 : 0.0);
          rat = tol1 * si;
        }
      } else {
        goldenStep = true;
      }
    }
    if (goldenStep) {
      e = xf >= xm ? a - xf : b - xf;
      rat = golden * e;
    }
    const double si = sign(rat) + (rat == 0 ? 1.0 : 0.0);
    x = xf + si * std::max(std::fabs(rat), tol1);
    const double fu = f(x);
    ++num;
    if (fu <= fx) {
      if (x >= xf) a = xf;
      else b = xf;
      fulc = nfc;
      ffulc = fnfc;
      nfc = xf;
      fnfc = fx;
      xf = x;
      fx = fu;
    } else {
      if (x < xf) a = x;
      else b = x;
      if (fu <= fnfc || nfc == xf) {
        fulc = nfc;
        ffulc = fnfc;
        nfc = x;
        fnfc = fu;
      } else if (fu <= ffulc || fulc == xf || fulc == nfc) {
        fulc = x;
        ffulc = fu;
      }
    }
    xm = 0.5 * (a + b);
    tol1 = sqrtEps * std::fabs(xf) + xatol / 3.0;
    tol2 = 2.0 * tol1;
    if (num >= maxEvaluations) break;
  }
  return {xf, fx, num};
}

}  // namespace ondrix
