// Savitzky-Golay smoothing / differentiating taps and moving-average taps.
//
// Taps are ordered for convolution (tap 0 multiplies the newest sample), as
// scipy.signal.savgol_coeffs(use='conv'). Sample spacing `delta` is in the units in which the
// derivative is wanted (1: per sample).
#pragma once

#include "ondrix/vec/TVec.h"

namespace ondrix {

/// Savitzky-Golay taps of a window of `length` samples fitting a polynomial of degree
/// `order` (< length) by least squares and returning its deriv-th derivative (deriv ≤ order)
/// at window position pos (0 .. length − 1; −1 means the centre, (length − 1)/2, also for
/// even lengths): scipy.signal.savgol_coeffs(length, order, deriv, delta, pos). Raises
/// EVecError for inconsistent arguments.
void SavGolayImpulse(TVec& taps, int length, int order, int deriv = 0, double delta = 1.0,
                     int pos = -1);

/// Moving-average taps: `length` (≥ 1) values of 1/length.
void MovingAverageImpulse(TVec& taps, int length);

}  // namespace ondrix
