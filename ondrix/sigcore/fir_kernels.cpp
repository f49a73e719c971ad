#include "ondrix/sigcore/fir_kernels.h"

#include <algorithm>
#include <atomic>
#include <cmath>

#if defined(__x86_64__) && defined(__GNUC__)
#include <immintrin.h>
#define ONDRIX_X86_DISPATCH 1
#endif

namespace ondrix::kernels {

namespace {

// --- Portable versions: separate multiply and add in a fixed order. -------------------------

void FirDirectPlain(const double* x, const double* g, int taps, double* y, int n, int stride) {
  constexpr int kBlock = 8;
  const int total = n * stride;
  int i = 0;
  for (; i + kBlock <= total; i += kBlock) {
    double acc[kBlock] = {};
    for (int s = 0; s < taps; ++s) {
      const double gs = g[s];
      const double* xs = x + i + s * stride;
      for (int j = 0; j < kBlock; ++j) acc[j] += gs * xs[j];
    }
    for (int j = 0; j < kBlock; ++j) y[i + j] = acc[j];
  }
  for (; i < total; ++i) {
    double acc = 0.0;
    for (int s = 0; s < taps; ++s) acc += g[s] * x[i + s * stride];
    y[i] = acc;
  }
}

// One polyphase output: four partial sums (taps s ≡ 0..3 mod 4) added in a fixed order, so
// the multiply-add chains overlap; every output of the path is summed the same way.
void FirDotPlain(const double* x, const double* g, int taps, double* y, int stride) {
  for (int c = 0; c < stride; ++c) {
    double a[4] = {0.0, 0.0, 0.0, 0.0};
    int s = 0;
    for (; s + 4 <= taps; s += 4)
      for (int k = 0; k < 4; ++k) a[k] += g[s + k] * x[(s + k) * stride + c];
    for (; s < taps; ++s) a[s % 4] += g[s] * x[s * stride + c];
    y[c] = (a[0] + a[1]) + (a[2] + a[3]);
  }
}

// One biquad in the form the IIR state keeps it (see fir_kernels.h), for one sample v;
// z = {z1, z1p, vp}. Returns the output.
inline double SosStepPlain(const double* q, double* z, double v) {
  const double qq = q[1] * v + q[2] * z[2];
  const double t = qq - q[4] * z[1];
  const double z1n = t - q[3] * z[0];
  const double out = q[0] * v + z[0];
  z[1] = z[0];
  z[0] = z1n;
  z[2] = v;
  return out;
}

void SosCascadePlain(const double* coef, int sections, double* z, const double* x, double* y, int n,
                     int stride) {
  for (int c = 0; c < stride; ++c) {
    for (int i = 0; i < n; ++i) {
      double v = x[i * stride + c];
      for (int s = 0; s < sections; ++s) v = SosStepPlain(coef + 5 * s, z + 3 * (s * stride + c), v);
      y[i * stride + c] = v;
    }
  }
}

#ifdef ONDRIX_X86_DISPATCH

// --- AVX2 + FMA versions: every multiply-add is one fused operation, in the same order for
// vector lanes and scalar tails. --------------------------------------------------------------

__attribute__((target("avx2,fma"))) void FirDirectAvx2(const double* x, const double* g, int taps,
                                                       double* y, int n, int stride) {
  const int total = n * stride;
  int i = 0;
  for (; i + 16 <= total; i += 16) {
    __m256d a0 = _mm256_setzero_pd(), a1 = _mm256_setzero_pd();
    __m256d a2 = _mm256_setzero_pd(), a3 = _mm256_setzero_pd();
    const double* xs = x + i;
    for (int s = 0; s < taps; ++s, xs += stride) {
      const __m256d gs = _mm256_broadcast_sd(g + s);
      a0 = _mm256_fmadd_pd(gs, _mm256_loadu_pd(xs), a0);
      a1 = _mm256_fmadd_pd(gs, _mm256_loadu_pd(xs + 4), a1);
      a2 = _mm256_fmadd_pd(gs, _mm256_loadu_pd(xs + 8), a2);
      a3 = _mm256_fmadd_pd(gs, _mm256_loadu_pd(xs + 12), a3);
    }
    _mm256_storeu_pd(y + i, a0);
    _mm256_storeu_pd(y + i + 4, a1);
    _mm256_storeu_pd(y + i + 8, a2);
    _mm256_storeu_pd(y + i + 12, a3);
  }
  for (; i + 4 <= total; i += 4) {
    __m256d a0 = _mm256_setzero_pd();
    const double* xs = x + i;
    for (int s = 0; s < taps; ++s, xs += stride) a0 = _mm256_fmadd_pd(_mm256_broadcast_sd(g + s), _mm256_loadu_pd(xs), a0);
    _mm256_storeu_pd(y + i, a0);
  }
  for (; i < total; ++i) {
    double acc = 0.0;
    for (int s = 0; s < taps; ++s) acc = std::fma(g[s], x[i + s * stride], acc);
    y[i] = acc;
  }
}

// FirDotPlain's sums with fused multiply-adds, four lanes per partial sum for real data.
__attribute__((target("avx2,fma"))) void FirDotAvx2(const double* x, const double* g, int taps, double* y,
                                                    int stride) {
  if (stride == 1) {
    __m256d a0 = _mm256_setzero_pd(), a1 = _mm256_setzero_pd();
    int s = 0;
    for (; s + 8 <= taps; s += 8) {
      a0 = _mm256_fmadd_pd(_mm256_loadu_pd(g + s), _mm256_loadu_pd(x + s), a0);
      a1 = _mm256_fmadd_pd(_mm256_loadu_pd(g + s + 4), _mm256_loadu_pd(x + s + 4), a1);
    }
    double t[8];
    _mm256_storeu_pd(t, a0);
    _mm256_storeu_pd(t + 4, a1);
    for (; s < taps; ++s) t[s % 8] = std::fma(g[s], x[s], t[s % 8]);
    y[0] = ((t[0] + t[4]) + (t[1] + t[5])) + ((t[2] + t[6]) + (t[3] + t[7]));
    return;
  }
  // Complex data, real taps: (re, im) pairs, two partial sums.
  __m128d a0 = _mm_setzero_pd(), a1 = _mm_setzero_pd();
  int s = 0;
  for (; s + 2 <= taps; s += 2) {
    a0 = _mm_fmadd_pd(_mm_set1_pd(g[s]), _mm_loadu_pd(x + 2 * s), a0);
    a1 = _mm_fmadd_pd(_mm_set1_pd(g[s + 1]), _mm_loadu_pd(x + 2 * s + 2), a1);
  }
  if (s < taps) a0 = _mm_fmadd_pd(_mm_set1_pd(g[s]), _mm_loadu_pd(x + 2 * s), a0);
  _mm_storeu_pd(y, _mm_add_pd(a0, a1));
}

// Four sections in the four lanes of one vector. Lane k runs section k kSkew samples behind
// lane k − 1, so its input (lane k − 1's output) is ready kSkew steps earlier and the
// lanes' recursions overlap instead of waiting on each other. At step s lane k handles
// sample s − k·kSkew; before and after its samples a lane is masked and keeps its state, so
// every sample of every section goes through the same fused operations however the stream
// is cut into blocks.
constexpr int kSkew = 5;

struct TSosLanes {
  __m256d b0, c1, c2, a1, a2;
};

template <bool Masked>
__attribute__((target("avx2,fma"), always_inline)) inline void SosLaneStep(
    const TSosLanes& k, __m256d& z1, __m256d& z1p, __m256d& vp, __m256d* ring, int s, double in,
    __m256d mask) {
  // Input: lane 0 the new sample, lane k the output of lane k − 1 kSkew steps ago.
  const __m256d prev = ring[(s - kSkew) & 7];
  const __m256d x = _mm256_blend_pd(_mm256_permute4x64_pd(prev, _MM_SHUFFLE(2, 1, 0, 0)), _mm256_set1_pd(in), 1);
  const __m256d q = _mm256_fmadd_pd(k.c1, x, _mm256_mul_pd(k.c2, vp));
  const __m256d t = _mm256_fnmadd_pd(k.a2, z1p, q);
  const __m256d z1n = _mm256_fnmadd_pd(k.a1, z1, t);
  ring[s & 7] = _mm256_fmadd_pd(k.b0, x, z1);
  if (Masked) {
    z1p = _mm256_blendv_pd(z1p, z1, mask);
    z1 = _mm256_blendv_pd(z1, z1n, mask);
    vp = _mm256_blendv_pd(vp, x, mask);
  } else {
    z1p = z1;
    z1 = z1n;
    vp = x;
  }
}

// A step of the fill or drain phase: only lanes with a sample of this block move.
__attribute__((target("avx2,fma"))) void SosMaskedStep(const TSosLanes& k, __m256d& z1, __m256d& z1p,
                                                       __m256d& vp, __m256d* ring, int s, const double* x,
                                                       double* y, int n, int stride, int c) {
  constexpr int kFill = 3 * kSkew;
  double m[4];
  for (int l = 0; l < 4; ++l) {
    const int j = s - l * kSkew;
    m[l] = (j >= 0 && j < n) ? -1.0 : 0.0;  // sign bit set: lane active
  }
  SosLaneStep<true>(k, z1, z1p, vp, ring, s, s < n ? x[s * stride + c] : 0.0, _mm256_loadu_pd(m));
  if (s >= kFill) y[(s - kFill) * stride + c] = reinterpret_cast<const double*>(ring)[4 * (s & 7) + 3];
}

__attribute__((target("avx2,fma"))) void SosLanesAvx2(const double* coef, int lanes, double* z, int stride,
                                                      int c, const double* x, double* y, int n) {
  // Missing lanes pass their input through: b0 = 1, everything else 0.
  double q[5][4];
  double st[3][4];
  for (int l = 0; l < 4; ++l) {
    for (int i = 0; i < 5; ++i) q[i][l] = l < lanes ? coef[5 * l + i] : (i == 0 ? 1.0 : 0.0);
    for (int i = 0; i < 3; ++i) st[i][l] = l < lanes ? z[3 * (l * stride + c) + i] : 0.0;
  }
  const TSosLanes k = {_mm256_loadu_pd(q[0]), _mm256_loadu_pd(q[1]), _mm256_loadu_pd(q[2]),
                       _mm256_loadu_pd(q[3]), _mm256_loadu_pd(q[4])};
  __m256d z1 = _mm256_loadu_pd(st[0]), z1p = _mm256_loadu_pd(st[1]), vp = _mm256_loadu_pd(st[2]);
  alignas(32) __m256d ring[8];
  for (__m256d& r : ring) r = _mm256_setzero_pd();
  const double* ringd = reinterpret_cast<const double*>(ring);
  constexpr int kFill = 3 * kSkew;  // steps until lane 3 reaches the first sample
  const int total = n + kFill;
  int s = 0;
  for (; s < std::min(kFill, total); ++s) SosMaskedStep(k, z1, z1p, vp, ring, s, x, y, n, stride, c);
  for (; s < n; ++s) {
    SosLaneStep<false>(k, z1, z1p, vp, ring, s, x[s * stride + c], _mm256_setzero_pd());
    y[(s - kFill) * stride + c] = ringd[4 * (s & 7) + 3];
  }
  for (; s < total; ++s) SosMaskedStep(k, z1, z1p, vp, ring, s, x, y, n, stride, c);
  _mm256_storeu_pd(st[0], z1);
  _mm256_storeu_pd(st[1], z1p);
  _mm256_storeu_pd(st[2], vp);
  for (int l = 0; l < lanes; ++l)
    for (int i = 0; i < 3; ++i) z[3 * (l * stride + c) + i] = st[i][l];
}

__attribute__((target("avx2,fma"))) void SosCascadeAvx2(const double* coef, int sections, double* z,
                                                        const double* x, double* y, int n, int stride) {
  for (int c = 0; c < stride; ++c) {
    const double* in = x;
    for (int s = 0; s < sections; s += 4) {
      SosLanesAvx2(coef + 5 * s, std::min(4, sections - s), z + 3 * s * stride, stride, c, in, y, n);
      in = y;
    }
  }
}

std::atomic<bool> gPortableOnly{false};

bool HasAvx2Fma() {
  static const bool has = __builtin_cpu_supports("avx2") && __builtin_cpu_supports("fma");
  return has && !gPortableOnly.load(std::memory_order_relaxed);
}

#endif

}  // namespace

void UsePortableKernels(bool on) {
#ifdef ONDRIX_X86_DISPATCH
  gPortableOnly.store(on, std::memory_order_relaxed);
#else
  (void)on;
#endif
}

void FirDirect(const double* x, const double* g, int taps, double* y, int n, int stride) {
#ifdef ONDRIX_X86_DISPATCH
  if (HasAvx2Fma()) return FirDirectAvx2(x, g, taps, y, n, stride);
#endif
  FirDirectPlain(x, g, taps, y, n, stride);
}

void FirDot(const double* x, const double* g, int taps, double* y, int stride) {
#ifdef ONDRIX_X86_DISPATCH
  if (HasAvx2Fma()) return FirDotAvx2(x, g, taps, y, stride);
#endif
  FirDotPlain(x, g, taps, y, stride);
}

void FirDotComplexTaps(const double* x, const double* g, int taps, double* y, int stride) {
  double re = 0.0, im = 0.0;
  if (stride == 1) {
    for (int s = 0; s < taps; ++s) {
      re += g[2 * s] * x[s];
      im += g[2 * s + 1] * x[s];
    }
  } else {
    for (int s = 0; s < taps; ++s) {
      const double gr = g[2 * s], gi = g[2 * s + 1], xr = x[2 * s], xi = x[2 * s + 1];
      re += gr * xr - gi * xi;
      im += gr * xi + gi * xr;
    }
  }
  y[0] = re;
  y[1] = im;
}

void SosCascade(const double* coef, int sections, double* z, const double* x, double* y, int n,
                int stride) {
#ifdef ONDRIX_X86_DISPATCH
  if (HasAvx2Fma()) return SosCascadeAvx2(coef, sections, z, x, y, n, stride);
#endif
  SosCascadePlain(coef, sections, z, x, y, n, stride);
}

}  // namespace ondrix::kernels
