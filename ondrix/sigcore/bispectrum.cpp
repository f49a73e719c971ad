#include "ondrix/sigcore/bispectrum.h"

#include <algorithm>
#include <atomic>
#include <cmath>
#include <string>

#if defined(__x86_64__) && defined(__GNUC__)
#include <immintrin.h>
#define ONDRIX_X86_DISPATCH 1
#endif

namespace ondrix {

namespace {

#if defined(__x86_64__) && defined(__GNUC__)
#define ONDRIX_VECTOR_CLONES __attribute__((target_clones("avx2", "default")))
#else
#define ONDRIX_VECTOR_CLONES
#endif

// The loops below work on interleaved (re, im) doubles with the arithmetic written out:
// std::complex's operator* checks for NaN and infinities, which keeps it from vectorising.

// out[j] := a·b[j]·conj(c[j]) for j < n.
ONDRIX_VECTOR_CLONES void Triple(double* __restrict out, double ar, double ai, const double* __restrict b,
                                 const double* __restrict c, int n) {
  for (int j = 0; j < n; ++j) {
    const double br = b[2 * j], bi = b[2 * j + 1], cr = c[2 * j], ci = c[2 * j + 1];
    const double ur = br * cr + bi * ci, ui = bi * cr - br * ci;
    out[2 * j] = ar * ur - ai * ui;
    out[2 * j + 1] = ar * ui + ai * ur;
  }
}

// As Triple, and pw[j] := |out[j]|² in the same pass.
ONDRIX_VECTOR_CLONES void TriplePower(double* __restrict out, double* __restrict pw, double ar, double ai,
                                      const double* __restrict b, const double* __restrict c, int n) {
  for (int j = 0; j < n; ++j) {
    const double br = b[2 * j], bi = b[2 * j + 1], cr = c[2 * j], ci = c[2 * j + 1];
    const double ur = br * cr + bi * ci, ui = bi * cr - br * ci;
    const double vr = ar * ur - ai * ui, vi = ar * ui + ai * ur;
    out[2 * j] = vr;
    out[2 * j + 1] = vi;
    pw[j] = vr * vr + vi * vi;
  }
}

// dst[j] := |b[j]|² / (rk·r1[j]·r2[j]), 0 where the denominator is 0.
ONDRIX_VECTOR_CLONES void NormalisedRow(double* __restrict dst, const double* __restrict b, double rk,
                                        const double* __restrict r1, const double* __restrict r2, int n) {
  for (int j = 0; j < n; ++j) {
    const double den = rk * r1[j] * r2[j];
    const double num = b[2 * j] * b[2 * j] + b[2 * j + 1] * b[2 * j + 1];
    dst[j] = den > 0.0 ? num / den : 0.0;
  }
}

// dst[j] := |b[j]|² / p[j], 0 where p[j] is 0.
ONDRIX_VECTOR_CLONES void PowerRatio(double* __restrict dst, const double* __restrict b, const double* __restrict p,
                                     int n) {
  for (int j = 0; j < n; ++j) {
    const double num = b[2 * j] * b[2 * j] + b[2 * j + 1] * b[2 * j + 1];
    dst[j] = p[j] > 0.0 ? num / p[j] : 0.0;
  }
}

// --- The plane: X as separate real and imaginary runs -------------------------------------------

// One row of the plane summed over frames, from each frame's a = X[k], b = X[j] and
// c = X[k + j] for the columns j0 .. j0 + n − 1, written into the interleaved out (and the
// summed powers into pw when given): out := B with first, else out := keep·out + take·B.
// Frame f's split spectrum starts at re + f·stride (im likewise).
struct TPlaneRow {
  double* out;
  double* pw;
  const double* re;
  const double* im;
  size_t stride;
  int frames;
  int k, j0, n;
  bool first;
  double keep, take;
};

void PlaneRowPlain(const TPlaneRow& r) {
  for (int j = r.j0; j < r.j0 + r.n; ++j) {
    double sr = 0, si = 0, sp = 0;
    for (int f = 0; f < r.frames; ++f) {
      const double* re = r.re + f * r.stride;
      const double* im = r.im + f * r.stride;
      const double ur = re[j] * re[r.k + j] + im[j] * im[r.k + j], ui = im[j] * re[r.k + j] - re[j] * im[r.k + j];
      const double vr = re[r.k] * ur - im[r.k] * ui, vi = re[r.k] * ui + im[r.k] * ur;
      sr += vr, si += vi, sp += vr * vr + vi * vi;
    }
    double* o = r.out + 2 * (j - r.j0);
    double* p = r.pw ? r.pw + (j - r.j0) : nullptr;
    if (r.first) {
      o[0] = sr, o[1] = si;
      if (p) *p = sp;
    } else {
      o[0] = r.keep * o[0] + r.take * sr;
      o[1] = r.keep * o[1] + r.take * si;
      if (p) *p = r.keep * *p + r.take * sp;
    }
  }
}

#ifdef ONDRIX_X86_DISPATCH

// Four columns per step, all frames summed in registers before the average is touched; the
// products are formed on separate real and imaginary lanes and interleaved only for the store
// (four shuffles per four values). The row's fields are copied to locals: stores through out
// could otherwise alias them.
template <bool kFirst, bool kPower>
__attribute__((target("avx2,fma"))) int PlaneRowAvx2Loop(const TPlaneRow& row) {
  double* __restrict out = row.out;
  double* __restrict pw = row.pw;
  const double* re0 = row.re;
  const double* im0 = row.im;
  const size_t stride = row.stride;
  const int frames = row.frames, k = row.k, j0 = row.j0, n = row.n;
  const __m256d keep = _mm256_set1_pd(row.keep), take = _mm256_set1_pd(row.take);
  int j = 0;
  for (; j + 4 <= n; j += 4) {
    __m256d sr = _mm256_setzero_pd(), si = _mm256_setzero_pd(), sp = _mm256_setzero_pd();
    for (int f = 0; f < frames; ++f) {
      const double* re = re0 + f * stride + j0 + j;
      const double* im = im0 + f * stride + j0 + j;
      const __m256d ar = _mm256_broadcast_sd(re0 + f * stride + k), ai = _mm256_broadcast_sd(im0 + f * stride + k);
      const __m256d br = _mm256_loadu_pd(re), bi = _mm256_loadu_pd(im);
      const __m256d cr = _mm256_loadu_pd(re + k), ci = _mm256_loadu_pd(im + k);
      const __m256d ur = _mm256_fmadd_pd(br, cr, _mm256_mul_pd(bi, ci));
      const __m256d ui = _mm256_fmsub_pd(bi, cr, _mm256_mul_pd(br, ci));
      const __m256d vr = _mm256_fmsub_pd(ar, ur, _mm256_mul_pd(ai, ui));
      const __m256d vi = _mm256_fmadd_pd(ar, ui, _mm256_mul_pd(ai, ur));
      sr = _mm256_add_pd(sr, vr);
      si = _mm256_add_pd(si, vi);
      // One add per frame on each running sum: a chain of two fused adds would wait on itself.
      if constexpr (kPower) sp = _mm256_add_pd(sp, _mm256_fmadd_pd(vr, vr, _mm256_mul_pd(vi, vi)));
    }
    const __m256d lo = _mm256_unpacklo_pd(sr, si), hi = _mm256_unpackhi_pd(sr, si);
    __m256d o0 = _mm256_permute2f128_pd(lo, hi, 0x20), o1 = _mm256_permute2f128_pd(lo, hi, 0x31);
    double* o = out + 2 * j;
    if constexpr (!kFirst) {
      o0 = _mm256_fmadd_pd(keep, _mm256_loadu_pd(o), _mm256_mul_pd(take, o0));
      o1 = _mm256_fmadd_pd(keep, _mm256_loadu_pd(o + 4), _mm256_mul_pd(take, o1));
    }
    _mm256_storeu_pd(o, o0);
    _mm256_storeu_pd(o + 4, o1);
    if constexpr (kPower) {
      if constexpr (!kFirst) sp = _mm256_fmadd_pd(keep, _mm256_loadu_pd(pw + j), _mm256_mul_pd(take, sp));
      _mm256_storeu_pd(pw + j, sp);
    }
  }
  return j;
}

__attribute__((target("avx2,fma"))) void PlaneRowAvx2(const TPlaneRow& r) {
  const int j = r.first ? (r.pw ? PlaneRowAvx2Loop<true, true>(r) : PlaneRowAvx2Loop<true, false>(r))
                        : (r.pw ? PlaneRowAvx2Loop<false, true>(r) : PlaneRowAvx2Loop<false, false>(r));
  if (j < r.n) {
    TPlaneRow tail = r;
    tail.out += 2 * j, tail.j0 += j, tail.n -= j;
    if (tail.pw) tail.pw += j;
    PlaneRowPlain(tail);
  }
}

std::atomic<bool> gPortableOnly{false};

bool HasAvx2Fma() {
  static const bool has = __builtin_cpu_supports("avx2") && __builtin_cpu_supports("fma");
  return has && !gPortableOnly.load(std::memory_order_relaxed);
}

#endif

void PlaneRow(const TPlaneRow& r) {
#ifdef ONDRIX_X86_DISPATCH
  if (HasAvx2Fma()) return PlaneRowAvx2(r);
#endif
  PlaneRowPlain(r);
}

void CheckPlane(const TVec* const* X, int frames, int rows, int cols, const char* op) {
  if (frames < 1) ERaise(std::string(op) + ": no spectrum");
  const int n = X[0]->Length();
  for (int f = 0; f < frames; ++f) {
    if (!X[f]->Complex()) ERaise(std::string(op) + ": the spectrum must be complex");
    if (X[f]->Length() != n) ERaise(std::string(op) + ": the spectra differ in length");
  }
  if (rows < 0 || rows > n || cols < 0 || cols > n)
    ERaise(std::string(op) + ": " + std::to_string(rows) + " x " + std::to_string(cols) + " out of range for " +
           std::to_string(n) + " bins");
}

// Splits the spectra into the state, frame after frame: re[f·(N + cols) + i] = Re X_f[i mod N]
// for i < N + cols, im likewise.
void Split(const TVec* const* X, int frames, int cols, TBiSpectrumState& st) {
  const int n = X[0]->Length(), stride = n + cols;
  st.re.Size(frames * stride, false);
  st.im.Size(frames * stride, false);
  for (int f = 0; f < frames; ++f) {
    const double* x = X[f]->PValues();
    double* re = st.re.PValues() + f * stride;
    double* im = st.im.PValues() + f * stride;
    for (int i = 0; i < stride; ++i) {
      const int k = i < n ? i : i - n;
      re[i] = x[2 * k], im[i] = x[2 * k + 1];
    }
  }
}

// All rows of the plane through PlaneRow (the state already split); with upper, row i from
// column i on.
void Plane(double* out, double* pw, int frames, int n, int rows, int cols, bool first, double keep, double take,
           bool upper, const TBiSpectrumState& st) {
  for (int i = 0; i < rows; ++i) {
    const int j0 = upper ? std::min(i, cols) : 0;
    const size_t at = static_cast<size_t>(i) * cols + j0;
    const TPlaneRow r{out + 2 * at,
                      pw ? pw + at : nullptr,
                      st.re.PValues(),
                      st.im.PValues(),
                      static_cast<size_t>(n + cols),
                      frames,
                      i,
                      j0,
                      cols - j0,
                      first,
                      keep,
                      take};
    PlaneRow(r);
  }
}

void CheckRow(const TVec& X, int k, int cols, const char* op) {
  const int n = X.Length();
  if (!X.Complex()) ERaise(std::string(op) + ": the spectrum must be complex");
  if (k < 0 || k >= n || cols < 0 || cols > n)
    ERaise(std::string(op) + ": row " + std::to_string(k) + " or " + std::to_string(cols) +
           " columns out of range for " + std::to_string(n) + " bins");
}

// Row k into out (2·cols doubles) and, when pw, its powers. The columns whose sum bin passes
// N read the start of X again: two contiguous runs.
void Row(double* out, double* pw, const TVec& X, int k, int cols) {
  const int n = X.Length();
  const double* x = X.PValues();
  const double ar = x[2 * k], ai = x[2 * k + 1];
  const int first = std::min(cols, n - k);
  if (pw) {
    TriplePower(out, pw, ar, ai, x, x + 2 * k, first);
    TriplePower(out + 2 * first, pw + first, ar, ai, x + 2 * first, x, cols - first);
  } else {
    Triple(out, ar, ai, x, x + 2 * k, first);
    Triple(out + 2 * first, ar, ai, x + 2 * first, x, cols - first);
  }
}

// Row k of the normalising form.
void NormRow(double* dst, const double* b, const TVec& R, int k, int cols) {
  const int n = R.Length();
  const double* r = R.PValues();
  const int first = std::min(cols, n - k);
  NormalisedRow(dst, b, r[k], r, r + k, first);
  NormalisedRow(dst + first, b + 2 * first, r[k], r + first, r, cols - first);
}

void CheckNormaliser(const TVec& R, int k, int cols, const char* op) {
  if (R.Complex()) ERaise(std::string(op) + ": the normaliser must be real");
  if (k < 0 || k >= R.Length() || cols > R.Length())
    ERaise(std::string(op) + ": row " + std::to_string(k) + " or " + std::to_string(cols) +
           " columns out of range for " + std::to_string(R.Length()) + " bins");
}

}  // namespace

void BiSpectrum(TVec& row, const TVec& X, int k, int cols, TVec* power) {
  CheckRow(X, k, cols, "BiSpectrum");
  row.Size(cols, true);
  if (power) power->Size(cols, false);
  Row(row.PValues(), power ? power->PValues() : nullptr, X, k, cols);
}

void BiSpectrumVert(TMtx& plane, const TVec& X, int rows, int cols, TMtx* power, TBiSpectrumState& state) {
  const TVec* x = &X;
  CheckPlane(&x, 1, rows, cols, "BiSpectrumVert");
  plane.Size(rows, cols, true);
  if (power) power->Size(rows, cols, false);
  Split(&x, 1, cols, state);
  Plane(plane.PValues(), power ? power->PValues() : nullptr, 1, X.Length(), rows, cols, true, 0.0, 1.0, false, state);
}

void BiSpectrumVertAverage(TMtx& avg, TMtx* avgPower, const TVec* const* X, int frames, int rows, int cols, bool first,
                           double keep, double take, TBiSpectrumState& state, bool upper) {
  CheckPlane(X, frames, rows, cols, "BiSpectrumVertAverage");
  if (first) {
    avg.Size(rows, cols, true);
    if (avgPower) avgPower->Size(rows, cols, false);
  } else if (avg.Rows() != rows || avg.Cols() != cols || !avg.Complex() ||
             (avgPower && (avgPower->Rows() != rows || avgPower->Cols() != cols || avgPower->Complex()))) {
    ERaise("BiSpectrumVertAverage: the average differs in shape from the plane");
  }
  Split(X, frames, cols, state);
  Plane(avg.PValues(), avgPower ? avgPower->PValues() : nullptr, frames, X[0]->Length(), rows, cols, first, keep, take,
        upper, state);
}

void BiSpectrumVertAverage(TMtx& avg, TMtx* avgPower, const TVec& X, int rows, int cols, bool first, double keep,
                           double take, TBiSpectrumState& state, bool upper) {
  const TVec* x = &X;
  BiSpectrumVertAverage(avg, avgPower, &x, 1, rows, cols, first, keep, take, state, upper);
}

void BiSpectrumMirror(TMtx& m) {
  const int n = std::min(m.Rows(), m.Cols()), cols = m.Cols();
  // In square tiles, so that the column writes of a tile stay within a few cache lines.
  constexpr int kTile = 16;
  if (m.Complex()) {
    TCplx* v = m.PCValues();
    for (int i0 = 0; i0 < n; i0 += kTile)
      for (int j0 = i0; j0 < n; j0 += kTile)
        for (int i = i0; i < std::min(i0 + kTile, n); ++i)
          for (int j = std::max(j0, i + 1); j < std::min(j0 + kTile, n); ++j) v[j * cols + i] = v[i * cols + j];
  } else {
    double* v = m.PValues();
    for (int i0 = 0; i0 < n; i0 += kTile)
      for (int j0 = i0; j0 < n; j0 += kTile)
        for (int i = i0; i < std::min(i0 + kTile, n); ++i)
          for (int j = std::max(j0, i + 1); j < std::min(j0 + kTile, n); ++j) v[j * cols + i] = v[i * cols + j];
  }
}

void BiSpectrumNormaliser(TVec& q, const TVec& X) {
  q.Mag(X);
  double* v = q.PValues();
  for (int i = 0; i < q.Length(); ++i) v[i] = v[i] * v[i] * v[i];
}

void BiSpectrum(TVec& dst, const TVec& B, const TVec& R, int k) {
  if (!B.Complex()) ERaise("BiSpectrum: the averaged row must be complex");
  CheckNormaliser(R, k, B.Length(), "BiSpectrum");
  dst.Size(B.Length(), false);
  NormRow(dst.PValues(), B.PValues(), R, k, B.Length());
}

void BiSpectrumVert(TMtx& dst, const TMtx& B, const TVec& R) {
  if (!B.Complex()) ERaise("BiSpectrumVert: the averaged plane must be complex");
  const int rows = B.Rows(), cols = B.Cols();
  if (rows > 0) CheckNormaliser(R, rows - 1, cols, "BiSpectrumVert");
  dst.Size(rows, cols, false);
  for (int i = 0; i < rows; ++i) NormRow(dst.PValues() + i * cols, B.PValues() + 2 * i * cols, R, i, cols);
}

void BiCoherenceModified(TMtx& dst, const TMtx& B, const TMtx& P) {
  if (!B.Complex() || P.Complex() || B.Rows() != P.Rows() || B.Cols() != P.Cols())
    ERaise("BiCoherenceModified: a complex plane and a real power plane of one shape expected");
  const int rows = B.Rows(), cols = B.Cols();
  dst.Size(rows, cols, false);
  PowerRatio(dst.PValues(), B.PValues(), P.PValues(), rows * cols);
}

void UsePortableBiSpectrumKernels(bool on) {
#ifdef ONDRIX_X86_DISPATCH
  gPortableOnly.store(on, std::memory_order_relaxed);
#else
  (void)on;
#endif
}

}  // namespace ondrix
