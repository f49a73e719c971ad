// Polynomials with real or complex coefficients: roots, expansion from roots, evaluation.
// Coefficients are ordered from the highest power down, as numpy.roots / numpy.poly and the
// b, a vectors of scipy.signal.
#pragma once

#include <complex>
#include <functional>
#include <vector>

#include "ondrix/vec/TVec.h"

namespace ondrix {

/// Complex long double, the working precision of the root iterations.
using TCplxL = std::complex<long double>;

/// Newton correction p(z) / p'(z) of a function whose zeros are sought.
using TNewtonStep = std::function<TCplxL(TCplxL)>;

/// Refines approximations x of all n zeros of a degree-n polynomial at once by the
/// Aberth-Ehrlich iteration (cubic convergence, global in practice), then polishes each zero
/// by Newton steps. Works in long double. Raises EVecError (naming `what`) when the iteration
/// does not settle within its cap or leaves non-finite values.
void AberthRefine(std::vector<TCplx>& x, const TNewtonStep& step, const char* what);

/// All roots of the real polynomial c[0]·zⁿ + … + c[n] (numpy.roots): leading zeros are
/// dropped and trailing zeros give roots at 0. Conjugate pairs come out as exact conjugates.
std::vector<TCplx> PolyRoots(const std::vector<double>& c);

/// Coefficients of Π (z − r_k), highest power first (numpy.poly); 1 for no roots.
std::vector<TCplx> PolyFromRoots(const std::vector<TCplx>& roots);

/// Real parts of PolyFromRoots, for root sets closed under conjugation.
std::vector<double> PolyFromRootsReal(const std::vector<TCplx>& roots);

/// p(z) by Horner's rule for real coefficients, highest power first.
TCplx PolyValue(const double* c, int count, TCplx z);

/// Sorts complex values so that conjugate pairs sit next to each other (negative imaginary
/// part first) and real values (|im| ≤ tol·|z|) come last, each group by ascending real part;
/// the values of a pair are made exact conjugates and real values exactly real.
void SortConjugatePairs(std::vector<TCplx>& v, double tol = 1e-11);

}  // namespace ondrix
