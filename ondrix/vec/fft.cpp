// TVec's transforms through FFTW: FFT, IFFT and their real forms, DCT and IDCT.
//
// Transform notes
// - Conventions are those of numpy.fft / scipy.fft with norm=None: the forward DFT
//   X[k] = Σ x[n] e^{-2πi kn/N} is unscaled, the inverse uses e^{+2πi kn/N} and 1/N.
//   DCT is scipy.fft.dct type 2, IDCT is scipy.fft.idct type 2 (FFTW's REDFT01 over 2N).
// - Any length works. An empty source gives an empty result.
// - Every form accepts src == this, and works on a sub-range view as on a vector holding the
//   range only. A view cannot change its size or complex flag, so the forms that would do so
//   in place (FFT of a real range, FFTFromReal, IFFTToReal, IFFTFromHalf) raise EVecError there.
// - FFT and IFFT of a real source treat it as complex with zero imaginary parts; the spectrum
//   is made by r2c and its upper half filled by conjugate symmetry.
// - IFFTToReal and IFFTFromHalf read bins 0 .. n/2 only and, like numpy.fft.irfft, ignore the
//   imaginary parts of bin 0 and (n even) bin n/2. IFFTFromHalf zero-pads or truncates its
//   source to n/2 + 1 bins, as numpy.fft.irfft does.
// - DCT and IDCT raise EVecError for complex vectors; FFTFromReal for a complex source;
//   IFFTToReal and IFFTFromHalf for a real source.
// - Plans come from the cache in fft_plan.h and are run with the new-array execute functions
//   directly on the vectors' memory; c2r, which destroys its input, is fed from per-thread
//   scratch. Nothing allocates once a size has been seen.
#include <algorithm>
#include <cstring>
#include <string>

#include "ondrix/vec/TVec.h"
#include "ondrix/vec/fft_plan.h"

namespace ondrix {

namespace {

// Out-of-place c2c, r2c and r2r plans leave their input untouched (FFTW_PRESERVE_INPUT is
// their default), so dropping const on a source below never leads to a write into it.
fftw_complex* Fc(const TCplx* p) { return reinterpret_cast<fftw_complex*>(const_cast<TCplx*>(p)); }
double* Fr(const double* p) { return const_cast<double*>(p); }

void ScaleDoubles(double* p, int count, double s) {
  for (int i = 0; i < count; ++i) p[i] *= s;
}

// Bins n/2 + 1 .. n − 1 of the spectrum of a real signal, from bins 1 .. (n − 1)/2.
void FillConjugateHalf(TCplx* x, int n) {
  for (int k = n / 2 + 1; k < n; ++k) x[k] = std::conj(x[n - k]);
}

}  // namespace

TVec& TVec::FFT(const TVec& src) {
  const int n = src.length_;
  if (src.complex_) {
    SizeFor(n, true);
    if (n > 0)
      fftw_execute_dft(FftPlan(fkForward, n, src.data_, data_), Fc(src.PCValues()), Fc(PCValues()));
    return *this;
  }
  // In place, Size keeps the reals at the start of the grown storage, which is the layout of
  // FFTW's in-place r2c.
  if (&src == this)
    Size(n, true);
  else
    SizeFor(n, true);
  if (n > 0) {
    fftw_execute_dft_r2c(FftPlan(fkR2C, n, src.data_, data_), Fr(src.data_), Fc(PCValues()));
    FillConjugateHalf(PCValues(), n);
  }
  return *this;
}

TVec& TVec::FFT() { return FFT(*this); }

TVec& TVec::FFTFromReal(const TVec& src) {
  src.CheckReal("TVec.FFTFromReal");
  const int n = src.length_;
  const int bins = n > 0 ? n / 2 + 1 : 0;
  if (&src == this)
    Size(bins, true);
  else
    SizeFor(bins, true);
  if (n > 0)
    fftw_execute_dft_r2c(FftPlan(fkR2C, n, src.data_, data_), Fr(src.data_), Fc(PCValues()));
  return *this;
}

TVec& TVec::IFFT(const TVec& src) {
  const int n = src.length_;
  if (!src.complex_) {
    // For real x, ifft(x) = conj(fft(x)) / n.
    FFT(src);
    const double s = n > 0 ? 1.0 / n : 0.0;
    for (int i = 0; i < n; ++i) {
      data_[2 * i] *= s;
      data_[2 * i + 1] *= -s;
    }
    return *this;
  }
  SizeFor(n, true);
  if (n > 0) {
    fftw_execute_dft(FftPlan(fkBackward, n, src.data_, data_), Fc(src.PCValues()), Fc(PCValues()));
    ScaleDoubles(data_, 2 * n, 1.0 / n);
  }
  return *this;
}

TVec& TVec::IFFT() { return IFFT(*this); }

TVec& TVec::IFFTToReal(const TVec& src) {
  if (!src.complex_) ERaise("TVec.IFFTToReal: needs a complex spectrum, got a real vector");
  return IFFTFromHalf(src, src.length_);
}

TVec& TVec::IFFTFromHalf(const TVec& src, int n) {
  if (!src.complex_) ERaise("TVec.IFFTFromHalf: needs a complex half spectrum, got a real vector");
  if (n < 0) ERaise("TVec.IFFTFromHalf: negative length " + std::to_string(n));
  if (n == 0) {
    SizeFor(0, false);
    return *this;
  }
  // c2r overwrites its input, and src may be this: work from a copy of the bins.
  const int bins = n / 2 + 1;
  const int used = std::min(bins, src.length_);
  double* half = FftScratch(2 * static_cast<std::size_t>(bins));
  if (used > 0) std::memcpy(half, src.data_, sizeof(double) * 2 * used);
  std::fill(half + 2 * used, half + 2 * bins, 0.0);
  // The size event waits for the result: a handler that transforms on this thread would
  // reuse the scratch.
  const bool resize = length_ != n || complex_;
  if (resize) SetSizeRaw(n, false, false);
  fftw_execute_dft_c2r(FftPlan(fkC2R, n, half, data_), reinterpret_cast<fftw_complex*>(half),
                       data_);
  ScaleDoubles(data_, n, 1.0 / n);
  if (resize) NotifySize();
  return *this;
}

TVec& TVec::DCT(const TVec& src) {
  src.CheckReal("TVec.DCT");
  const int n = src.length_;
  SizeFor(n, false);
  if (n > 0) fftw_execute_r2r(FftPlan(fkDct2, n, src.data_, data_), Fr(src.data_), data_);
  return *this;
}

TVec& TVec::DCT() { return DCT(*this); }

TVec& TVec::IDCT(const TVec& src) {
  src.CheckReal("TVec.IDCT");
  const int n = src.length_;
  SizeFor(n, false);
  if (n > 0) {
    fftw_execute_r2r(FftPlan(fkDct3, n, src.data_, data_), Fr(src.data_), data_);
    ScaleDoubles(data_, n, 0.5 / n);
  }
  return *this;
}

TVec& TVec::IDCT() { return IDCT(*this); }

}  // namespace ondrix
