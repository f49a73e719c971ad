// Bispectrum kernels: the triple products of one DFT frame, and the bicoherence of their averages.
//
// X is a whole DFT of N bins in FFT order (numpy.fft.fft, any scaling); bin indices are taken
// mod N, as the DFT is periodic, so the product at (k, j) with k + j ≥ N reads X(k + j − N).
// Row k of the plane is B(k, j) = X(k)·X(j)·conj(X(k + j)), j = 0 .. cols − 1; it reads X from
// bin 0 and from bin k on, both contiguously.
//
// Bicoherence. E is an average over frames with non-negative weights summing to 1 (a running
// mean or an exponential average). Both forms are squared bicoherences b² in [0, 1], and 1
// where the three bins keep their phase relation and their magnitudes in every frame:
// - modified: b²(k, j) = |E B|² / E|B|², the power of the averaged product over the averaged
//   power of the products (Cauchy-Schwarz bounds it by 1);
// - default:  b²(k, j) = |E B|² / Power(Q(k)·Q(j)·Q(k + j), 2/3) with Q = E|X|³: Hölder's
//   inequality with three exponents 3 gives |E X1·X2·X3*| ≤ Π (E|Xi|³)^(1/3). (The common
//   normaliser E|X|² is not bounded by 1 once the frames' levels vary.)
// Power(Base, Exponent) is Base^Exponent: 2/3 is the exponent. The default form does not
// change when B and Q are scaled alike, so it reads sums of frames as well as means; the
// modified form needs means (sums of n frames divided by n). A zero denominator gives 0.
//
// The kernels only size their outputs and the caller's scratch state: with the shapes of the
// previous frame they allocate nothing.
#pragma once

#include "ondrix/vec/TMtx.h"

namespace ondrix {

/// One row of the bispectrum: row[j] := X[k]·X[j]·conj(X[(k + j) mod N]), j = 0 .. cols − 1
/// (complex, Length cols). When power is given, power[j] := |row[j]|² (real). X is complex
/// with N ≥ 1 bins; 0 ≤ k < N and 0 ≤ cols ≤ N, else EVecError.
void BiSpectrum(TVec& row, const TVec& X, int k, int cols, TVec* power = nullptr);

/// Scratch of the plane kernels: each X split into real and imaginary parts and extended by its
/// own start, so that every row reads contiguous runs. One per caller; it grows once.
struct TBiSpectrumState {
  TVec re, im;
};

/// The rows 0 .. rows − 1 of the bispectrum, stacked: plane is rows × cols (complex), row i as
/// BiSpectrum(·, X, i, cols); power, when given, their |·|² (real, same shape).
/// 0 ≤ rows ≤ N and 0 ≤ cols ≤ N.
void BiSpectrumVert(TMtx& plane, const TVec& X, int rows, int cols, TMtx* power, TBiSpectrumState& state);

/// The same plane folded into an average in one pass, without storing it: with first,
/// avg := B (and avgPower := |B|²), sized rows × cols; otherwise avg := keep·avg + take·B
/// (avgPower likewise), avg keeping its shape (EVecError if it differs). keep = 1, take = 1 sums
/// the frames; keep = 1 − 1/n, take = 1/n is a running mean over n frames. With upper only the
/// columns j ≥ i of row i are touched (B is symmetric, B(i, j) = B(j, i)): half the work, and
/// BiSpectrumMirror completes the matrices once the frames are in.
void BiSpectrumVertAverage(TMtx& avg, TMtx* avgPower, const TVec& X, int rows, int cols, bool first, double keep,
                           double take, TBiSpectrumState& state, bool upper = false);

/// Several frames at once: B is the sum of the planes of X[0] .. X[frames − 1] (spectra of one
/// length), folded as above. The average is read and written once for all of them, which is
/// what limits the single-frame form.
void BiSpectrumVertAverage(TMtx& avg, TMtx* avgPower, const TVec* const* X, int frames, int rows, int cols, bool first,
                           double keep, double take, TBiSpectrumState& state, bool upper = false);

/// Copies element (i, j) to (j, i) for every j > i within the square part of m: completes a
/// plane kept on its upper half.
void BiSpectrumMirror(TMtx& m);

/// The default normaliser of one frame: q[i] := |X[i]|³ (real, Length N).
void BiSpectrumNormaliser(TVec& q, const TVec& X);

/// Normalising form of BiSpectrum (default bicoherence of row k): dst[j] := |B[j]|² /
/// (R[k]·R[j]·R[(k + j) mod N]), where B is row k of the averaged bispectrum and R the averaged
/// normaliser raised to 2/3 (R = Power(Q, 2/3), N = R's length); 0 where the denominator is 0.
void BiSpectrum(TVec& dst, const TVec& B, const TVec& R, int k);

/// Normalising form of BiSpectrumVert: row i of dst from row i of B with k = i.
void BiSpectrumVert(TMtx& dst, const TMtx& B, const TVec& R);

/// Modified bicoherence: dst := |B|² / P element-wise (real, B's shape), 0 where P is 0.
/// B complex, P real of the same shape.
void BiCoherenceModified(TMtx& dst, const TMtx& B, const TMtx& P);

/// Runs the plane kernels with their portable loops even where AVX2 and FMA are available
/// (tests compare the two paths).
void UsePortableBiSpectrumKernels(bool on);

}  // namespace ondrix
