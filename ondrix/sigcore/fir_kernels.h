// Inner loops of the FIR and IIR filter states (internal to the signal core). Each kernel
// computes every output with the same sequence of operations wherever the output falls in a
// block, so that filtering in blocks of any size gives bit-identical results. Where the CPU
// has AVX2 and FMA the kernels use them (chosen once at run time).
#pragma once

namespace ondrix::kernels {

/// y[i] = Σ_{s<L} g[s]·x[i·stride + s·stride + c] for the interleaved components c < stride
/// (stride 1: real data, y[i]; stride 2: complex data as (re, im) pairs, y[2i + c]), i < n.
void FirDirect(const double* x, const double* g, int taps, double* y, int n, int stride);

/// Σ_{s<L} g[s]·x[s·stride + c] for c < stride into y[c] (one polyphase output), by partial
/// sums in a fixed order (not FirDirect's order: use one of the two per stream).
void FirDot(const double* x, const double* g, int taps, double* y, int stride);

/// Complex taps (interleaved) on real (stride 1) or complex (stride 2) data: one output
/// y[0..1] = Σ g[s]·x[s].
void FirDotComplexTaps(const double* x, const double* g, int taps, double* y, int stride);

/// Cascade of biquads. Per section coef holds [b0, c1 = b1 − a1·b0, c2 = b2 − a2·b0, a1, a2]
/// (a0 = 1) and z three state values {z1, z1p, vp} per section and data component. The
/// transposed direct form II with its second state eliminated:
///   y = b0·v + z1,  z1' = c1·v + c2·vp − a2·z1p − a1·z1,  then z1p = z1, vp = v,
/// so that each section's recursion runs through one multiply-add per sample. stride 1:
/// real data; 2: complex data interleaved (the coefficients are real). x and y may alias.
void SosCascade(const double* coef, int sections, double* z, const double* x, double* y, int n,
                int stride);

/// Makes the kernels use their portable versions even where AVX2 is there (for tests, which
/// check both; a state must not switch in mid-stream, its rounding would change).
void UsePortableKernels(bool on);

}  // namespace ondrix::kernels
