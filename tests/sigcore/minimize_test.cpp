// The bounded minimiser against scipy.optimize.fminbound: the same minimum and the same number
// of evaluations, which pins the stopping rule. Reference values from SciPy 1.10:
//   fminbound(f, a, b, xtol=xatol, maxfun=maxfun, full_output=True) -> (x, f(x), flag, evaluations)
#include <gtest/gtest.h>

#include <cmath>

#include "ondrix/sigcore/minimize.h"

using namespace ondrix;

// Strict and non-strict forms of the parabolic step's acceptance tests differ only when a
// floating-point quantity lands exactly on its bound, where either step is a valid choice: the
// evaluation counts below cannot tell them apart, and no test should.
TEST(MinimizeBounded, MatchesScipyFminboundStepForStep) {
  struct Case {
    const char* name;
    double (*f)(double);
    double a, b, xatol;
    int maxEvaluations;
    double x;  // SciPy's result
    int evaluations;
  };
  const Case cases[] = {
      {"parabola", [](double x) { return (x - 2) * (x - 2); }, 0, 5, 1e-5, 500, 2.0, 6},
      {"cos", [](double x) { return std::cos(x); }, 3, 4, 1e-5, 500, 3.1415914219206917, 8},
      {"cos, tight", [](double x) { return std::cos(x); }, 3, 4, 1e-10, 500, 3.141592654027715, 9},
      {"kink", [](double x) { return std::fabs(x - 0.3); }, -1, 1, 1e-5, 500, 0.29999957916974357, 19},
      // Minima at the lower bound, which is approached but never evaluated.
      {"slope", [](double x) { return x; }, 1, 3, 1e-5, 500, 1.0000040198635443, 27},
      {"parabola left of the interval", [](double x) { return (x + 1) * (x + 1); }, 0, 2, 1e-5, 500,
       4.0346959411823265e-06, 27},
      // Far from 0 the tolerance follows |x|, recomputed at every step.
      {"far minimum", [](double x) { return -std::cos((x + 5000) / 2e4); }, -1e4, 1e4, 1e-9, 500,
       -5000.000148368685, 21},
      // Stopped by the evaluation budget.
      {"cos, 5 evaluations", [](double x) { return std::cos(x); }, 3, 4, 1e-5, 5, 3.1413013496116706, 5},
  };
  for (const Case& c : cases) {
    int calls = 0;
    const TMinimum m = MinimizeBounded([&](double x) { ++calls; return c.f(x); }, c.a, c.b, c.xatol, c.maxEvaluations);
    EXPECT_NEAR(m.X, c.x, 1e-12 * (1 + std::fabs(c.x))) << c.name;
    EXPECT_EQ(m.Evaluations, c.evaluations) << c.name;
    EXPECT_EQ(calls, c.evaluations) << c.name;
    EXPECT_EQ(m.Value, c.f(m.X)) << c.name;
  }
}
