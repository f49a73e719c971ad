// Auto- and cross-correlation of vectors, by direct sums or by zero-padded FFTs.
#pragma once

#include "ondrix/vec/TVec.h"

namespace ondrix {

/// How a correlation is computed. cmAuto takes direct sums for few lags and FFTs when
/// lags × length is large; both give the same values to rounding.
enum TCorrMethod { cmAuto, cmDirect, cmFFT };

/// Unnormalised autocorrelation r[k] = Σ_n conj(x[n])·x[n+k] for lags k = 0 .. Lags − 1
/// (numpy.correlate(x, x, "full")[N − 1 + k]). Dst is real for a real Src and complex (with
/// the conjugate on the first factor) for a complex one; it gets Lags elements, and lags at or
/// beyond the length N of Src are 0. Dst may be Src. Raises EVecError for Lags < 0.
void AutoCorrNormal(TVec& Dst, const TVec& Src, int Lags, TCorrMethod Method = cmAuto);

/// Biased autocorrelation estimate r[k] / N (see AutoCorrNormal); all zeros for an empty Src.
void AutoCorrBiased(TVec& Dst, const TVec& Src, int Lags, TCorrMethod Method = cmAuto);

/// Unbiased autocorrelation estimate r[k] / (N − k) (see AutoCorrNormal); lags k ≥ N are 0.
void AutoCorrUnBiased(TVec& Dst, const TVec& Src, int Lags, TCorrMethod Method = cmAuto);

/// Cross-correlation r[k] = Σ_n conj(X[n])·Y[n+k] (no conjugate for real vectors) for lags
/// k = −LoLag .. HiLag − 1: Dst gets LoLag + HiLag elements and element j holds lag j − LoLag,
/// which is numpy.correlate(Y, X, "full")[Length(X) − 1 + k]. Lags without overlap of X and Y
/// (k ≤ −Length(X) or k ≥ Length(Y)) are 0. X and Y may differ in length but must both be real
/// or both complex; Dst may be X or Y. Raises EVecError for a negative lag bound.
void CrossCorr(TVec& Dst, const TVec& X, const TVec& Y, int HiLag, int LoLag,
               TCorrMethod Method = cmAuto);

/// True when cmAuto takes the FFT path for a correlation of nx by ny values over the lags
/// −loLag .. hiLag − 1, real or complex alike (an autocorrelation is nx = ny, loLag = 0).
/// For tests and tuning.
bool CorrUsesFFT(int nx, int ny, int loLag, int hiLag);

}  // namespace ondrix
