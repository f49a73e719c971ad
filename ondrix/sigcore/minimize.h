// Minimisation of a function of one variable on an interval.
#pragma once

#include <functional>

namespace ondrix {

/// Where a bounded minimisation ended.
struct TMinimum {
  double X = 0.0;        ///< the abscissa of the smallest value found
  double Value = 0.0;    ///< f(X)
  int Evaluations = 0;   ///< calls of f
};

/// Minimum of f on [a, b] (a < b) by Brent's method: parabolic steps through the three best
/// points, golden-section steps where those fail. Stops when the bracket around X has shrunk
/// to within 2·(√ε·|X| + xatol/3) of X, or after maxEvaluations calls. A port of
/// scipy.optimize.fminbound (same defaults), step for step, so that it evaluates f where
/// SciPy does; like it, the ends a and b themselves are never evaluated.
TMinimum MinimizeBounded(const std::function<double(double)>& f, double a, double b, double xatol = 1e-5,
                         int maxEvaluations = 500);

}  // namespace ondrix
