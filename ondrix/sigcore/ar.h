// Autoregressive (all-pole) model estimators and the spectrum of the fitted model.
//
// Sign convention (that of scipy.signal.lfilter's `a` and of the usual arburg / arcov / armcov
// routines): the model of order p is
//     x[n] + a[1]·x[n−1] + ... + a[p]·x[n−p] = e[n],
// e white with variance (power) errPower; the coefficient vector a holds a[0] = 1, a[1] ..
// a[p]. The model's transfer function is 1 / A(z) with A(z) = Σ a[k]·z^(−k).
//
// Real data give real coefficients, complex data complex ones (autocorrelations with the
// conjugate on the earlier sample, r[k] = E{conj(x[n])·x[n+k]}, as AutoCorrNormal computes).
// Each estimator lowers the order to the largest the data support (see each function); the
// length of `a` tells the order used. Scratch memory lives in a TArState so that repeated
// calls on frames of the same size do not allocate.
#pragma once

#include "ondrix/vec/TVec.h"

namespace ondrix {

/// Scratch vectors of the estimators; keep one per caller to avoid allocations.
struct TArState {
  TVec R;       ///< autocorrelation (ArYuleWalker)
  TVec F, B;    ///< forward and backward prediction errors (ArBurg)
  TVec M;       ///< least-squares system, column by column (ArCovariance, ArMCovariance)
  TVec Rhs;     ///< right-hand side of the least-squares system
  TVec Tmp;     ///< coefficient update of the recursions, diagonal of the QR factor
};

/// Levinson-Durbin recursion: solves the Yule-Walker equations Σ_k a[k]·r[j−k] = −r[j],
/// j = 1..order, for the autocorrelation r[0..order] (r[−k] = conj(r[k])). a gets order + 1
/// elements; errPower the final prediction error r[0]·Π(1 − |k_m|²). reflection, when given,
/// gets the reflection coefficients k_1 .. k_order (k_m = a[m] after step m). If the error
/// falls to 10⁻¹² r[0] or below (a perfectly predictable sequence such as a pure tone, or
/// r[0] = 0) the recursion stops there and the remaining coefficients are 0. Raises EVecError
/// when r has fewer than order + 1 elements or order < 0.
void Levinson(TVec& a, double& errPower, const TVec& r, int order, TVec* reflection = nullptr);

/// Yule-Walker (autocorrelation) estimate: the biased autocorrelation of x (AutoCorrBiased)
/// up to lag order, then Levinson. The order is limited to Length(x) − 1.
void ArYuleWalker(TVec& a, double& errPower, const TVec& x, int order, TArState& state);
void ArYuleWalker(TVec& a, double& errPower, const TVec& x, int order);

/// Burg's estimate: reflection coefficients that minimise the sum of forward and backward
/// prediction error powers, stage by stage; the model is always stable. errPower starts at
/// Σ|x|²/N and is multiplied by (1 − |k_m|²) at each stage. The order is limited to
/// Length(x) − 1; as in Levinson the recursion stops early (remaining coefficients 0) when
/// the error power falls to 10⁻¹² of the signal power.
void ArBurg(TVec& a, double& errPower, const TVec& x, int order, TArState& state);
void ArBurg(TVec& a, double& errPower, const TVec& x, int order);

/// Covariance method: the least-squares fit of the forward prediction over the samples
/// n = p .. N−1 that need no data outside the frame, minimising Σ|e[n]|²; errPower is that
/// minimum divided by N − p. The order is limited to N/2 (at least as many equations as
/// unknowns). Solved by Householder QR; a column that is numerically dependent on the earlier
/// ones gets the coefficient 0.
void ArCovariance(TVec& a, double& errPower, const TVec& x, int order, TArState& state);
void ArCovariance(TVec& a, double& errPower, const TVec& x, int order);

/// Modified covariance method: as ArCovariance but minimising the sum of the forward and
/// the backward prediction errors (backward: conj(x[n−p]) + Σ a[k]·conj(x[n−p+k])); errPower
/// is the minimum divided by 2·(N − p). The order is limited to 2N/3.
void ArMCovariance(TVec& a, double& errPower, const TVec& x, int order, TArState& state);
void ArMCovariance(TVec& a, double& errPower, const TVec& x, int order);

/// Complex frequency response of the model driven by its noise: dst[k] = √errPower / A(z_k),
/// z_k = e^(2πi·k/N), k = 0 .. N−1 (the bins of an N-point FFT, normalised frequency k/N).
/// |dst[k]|² is the model's power spectral density per unit normalised frequency. A is
/// evaluated by an FFT of the zero-padded coefficients (folded modulo N when the model is
/// longer than N). A zero of A gives an infinite value. dst becomes complex of length N.
void ArSpectrum(TVec& dst, const TVec& a, double errPower, int N);

/// Power spectral density errPower / |A(z_k)|² on the same N points (real).
void ArPowerSpectrum(TVec& dst, const TVec& a, double errPower, int N);

}  // namespace ondrix
