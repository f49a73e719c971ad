// TVec: a vector of doubles, real or complex, the unit of data of the whole library.
#pragma once

#include <complex>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>

#include "ondrix/vec/exceptions.h"

namespace ondrix {

using TCplx = std::complex<double>;

/// Restarts the streams of vectors not yet created: from now on, each never-seeded vector's
/// random stream follows from this seed and the order in which vectors are created, so a
/// program that seeds first repeats its noise exactly (and another seed gives other noise).
void SeedRandomStreams(std::uint64_t seed);

class TVec;

/// The most values a TVec holds (see TVec).
inline constexpr int kMaxVecLength = 1 << 28;

/// Event fired by a vector whenever its length or its complex flag changes.
using TVecSizeEvent = std::function<void(TVec* sender)>;

/// A vector of doubles, real or complex.
///
/// Complex values are stored interleaved (re, im), so a complex vector of Length n holds 2n
/// doubles. Length always counts elements (a complex value counts once).
///
/// Conventions shared by every operation:
/// - Operations are methods of the destination. The in-place form works on this vector
///   (`a.Sqr()`); the form with a source writes the result of the source into this vector
///   (`a.Sqr(b)`), sizing it to the source. Binary forms (`a.Add(b)`) combine element by
///   element and need equal lengths and equal complex flags, else EVecError is raised.
/// - A vector narrowed by SetSubRange behaves, for every operation, as a vector holding that
///   range only. It cannot change its size while narrowed (EVecError).
/// - Growing a vector zeroes the new elements; memory is kept when it shrinks, so resizing back
///   and forth within the largest size never allocates.
/// - Phases are in radians.
/// - A vector holds at most kMaxVecLength values (2^28: 2 GiB real, 4 GiB complex), so that a
///   length read from a file or a settings text cannot ask for an unbounded allocation.
class TVec {
public:
  TVec();
  explicit TVec(int length, bool complex = false);
  /// Deep copy of values, length and complex flag; the event is not copied.
  TVec(const TVec& other);
  TVec(TVec&& other) noexcept;
  TVec& operator=(const TVec& other);
  TVec& operator=(TVec&& other) noexcept;
  virtual ~TVec();

  // --- State ---------------------------------------------------------------------------------

  /// Number of elements (complex values count once) of the current range.
  int Length() const noexcept { return length_; }
  /// Sets the number of elements, keeping the values that fit; new elements are zero.
  void SetLength(int length);
  bool Complex() const noexcept { return complex_; }
  /// Switches the complex flag by reinterpreting the storage: a real vector of 2n values
  /// becomes a complex vector of n values and back (an odd last real value is dropped).
  void SetComplex(bool complex);
  /// Sets length and complex flag at once (one size event at most); values are kept as doubles
  /// where they fit.
  void Size(int length, bool complex);
  /// Takes length and complex flag of src (values are not copied).
  void Size(const TVec& src) { Size(src.Length(), src.Complex()); }
  /// Changes the length; keep = true keeps the values that fit, keep = false zeroes all.
  void Resize(int length, bool keep = true);
  /// Number of doubles of the current range (Length, or 2·Length when complex).
  int RealLength() const noexcept { return complex_ ? 2 * length_ : length_; }
  bool Empty() const noexcept { return length_ == 0; }

  /// Element i of the real values (no range check).
  double& Values(int i) noexcept { return data_[i]; }
  double Values(int i) const noexcept { return data_[i]; }
  /// Element i of the complex values (no range check).
  TCplx& CValues(int i) noexcept { return reinterpret_cast<TCplx*>(data_)[i]; }
  const TCplx& CValues(int i) const noexcept { return reinterpret_cast<const TCplx*>(data_)[i]; }
  /// First double of the current range.
  double* PValues() noexcept { return data_; }
  const double* PValues() const noexcept { return data_; }
  TCplx* PCValues() noexcept { return reinterpret_cast<TCplx*>(data_); }
  const TCplx* PCValues() const noexcept { return reinterpret_cast<const TCplx*>(data_); }

  /// Fired on every change of length or of complexity (not by sub-range changes).
  TVecSizeEvent OnSetSize;

  // --- Views ---------------------------------------------------------------------------------

  /// Narrows the vector to elements index .. index + length - 1 of the full storage.
  void SetSubRange(int index, int length);
  /// Restores the full range.
  void SetFullRange();
  bool IsSubRange() const noexcept { return subRange_; }

  // --- Copying -------------------------------------------------------------------------------

  /// Deep copy of src's current range: values, length and complex flag.
  TVec& Assign(const TVec& src) { return Copy(src); }
  /// Copies values, length and complex flag of src.
  TVec& Copy(const TVec& src);
  /// Copies length elements from src[srcIndex] to this[dstIndex], without resizing.
  TVec& Copy(const TVec& src, int srcIndex, int dstIndex, int length);
  /// Copies a range of real doubles from raw memory into this (no resizing).
  TVec& CopyFromArray(const double* src, int count, int dstIndex = 0);

  // --- Arithmetic ----------------------------------------------------------------------------

  TVec& Add(const TVec& b);
  TVec& Add(const TVec& a, const TVec& b);
  TVec& Add(double x);
  TVec& Add(TCplx x);
  TVec& Sub(const TVec& b);
  TVec& Sub(const TVec& a, const TVec& b);
  TVec& Sub(double x);
  TVec& Sub(TCplx x);
  TVec& Mul(const TVec& b);
  TVec& Mul(const TVec& a, const TVec& b);
  TVec& Mul(double x) { return Scale(x); }
  TVec& Mul(TCplx x) { return Scale(x); }
  TVec& Divide(const TVec& b);
  TVec& Divide(const TVec& a, const TVec& b);
  TVec& Divide(double x);
  TVec& Divide(TCplx x);
  TVec& Scale(double x);
  TVec& Scale(TCplx x);
  /// this := this · conj(b) (complex vectors).
  TVec& ConjMul(const TVec& b);
  /// this := a · conj(b) (complex vectors).
  TVec& ConjMul(const TVec& a, const TVec& b);

  // --- Complex and polar ---------------------------------------------------------------------

  /// this := |src| (real).
  TVec& Mag(const TVec& src);
  TVec& Mag();
  /// Splits this complex vector into magnitudes and phases (radians, -π..π).
  void CartToPolar(TVec& amplt, TVec& phase) const;
  /// this := amplt · exp(i·phase) (complex).
  TVec& PolarToCart(const TVec& amplt, const TVec& phase);
  /// this := |src|² (real).
  TVec& PowerSpectrum(const TVec& src);
  TVec& PowerSpectrum();
  /// this := phase of src in radians (real; 0 for a real source's positive values).
  TVec& Arg(const TVec& src);
  TVec& Conj();
  TVec& Conj(const TVec& src);
  /// this := real part of src (real).
  TVec& RealPart(const TVec& src);
  /// this := imaginary part of src (real; zeros for a real source).
  TVec& ImagPart(const TVec& src);
  /// this := re + i·im (complex), re and im real and of equal length.
  TVec& RealToCplx(const TVec& re, const TVec& im);
  /// this := src as a complex vector with zero imaginary parts.
  TVec& ExtendToComplex(const TVec& src);

  // --- Element-wise functions (complex-aware where the function has a complex form) ----------

  TVec& Sqr();
  TVec& Sqr(const TVec& src);
  TVec& Sqrt();
  TVec& Sqrt(const TVec& src);
  /// Real cube root (real vectors only).
  TVec& Cbrt();
  TVec& Cbrt(const TVec& src);
  /// 1/x.
  TVec& Inv();
  TVec& Inv(const TVec& src);
  TVec& Ln();
  TVec& Ln(const TVec& src);
  TVec& Log10();
  TVec& Log10(const TVec& src);
  TVec& Exp();
  TVec& Exp(const TVec& src);
  TVec& Sin();
  TVec& Sin(const TVec& src);
  TVec& Cos();
  TVec& Cos(const TVec& src);
  TVec& Tan();
  TVec& Tan(const TVec& src);
  /// |x|; a complex vector becomes the real vector of its magnitudes.
  TVec& Abs();
  TVec& Abs(const TVec& src);
  /// Round half away from zero (real and imaginary parts separately).
  TVec& Round();
  TVec& Round(const TVec& src);
  /// Round toward zero (real and imaginary parts separately).
  TVec& Trunc();
  TVec& Trunc(const TVec& src);
  /// Limits values from above: x := min(x, top); a complex value is scaled to magnitude top.
  TVec& ThreshTop(double top);
  /// Limits values from below: x := max(x, bottom); a complex value whose magnitude is below
  /// bottom is scaled up to it (keeping its phase).
  TVec& ThreshBottom(double bottom);

  // --- Reordering and resampling -------------------------------------------------------------

  TVec& Reverse();
  TVec& Reverse(const TVec& src);
  /// Circular shift: element i moves to (i + offset) mod Length (like numpy.roll).
  TVec& Rotate(int offset);
  TVec& Rotate(const TVec& src, int offset);
  /// this := src[phase], src[phase + factor], ... (factor ≥ 1, 0 ≤ phase < factor).
  TVec& DownSample(const TVec& src, int factor, int phase = 0);
  /// this[offset + k·step] := src[k] for every k; this keeps its size and must be long enough.
  TVec& Scatter(const TVec& src, int offset, int step);

  // --- Statistics (EVecError on an empty vector unless said otherwise) ----------------------

  double Max() const;
  double Max(int& index) const;
  double Min() const;
  double Min(int& index) const;
  void MaxMin(double& max, double& min) const;
  /// Complex element of largest magnitude (a real vector's values count as complex).
  TCplx Maxc() const;
  TCplx Maxc(int& index) const;
  /// Complex element of smallest magnitude.
  TCplx Minc() const;
  TCplx Minc(int& index) const;
  /// Mean of a real vector (of the real parts for a complex one); NaN when empty.
  double Mean() const;
  /// Complex mean; NaN when empty.
  TCplx Meanc() const;
  double Sum() const;
  TCplx Sumc() const;
  /// Σ |x|².
  double SumOfSquares() const;
  /// √(Σ|x|² / Length); NaN when empty.
  double RMS() const;
  /// Sample standard deviation, normalised by Length − 1 (|x − mean| for complex values).
  double StdDev() const;
  /// Euclidean (L2) norm √(Σ|x|²).
  double Norm() const;

  // --- Filling and cleaning ------------------------------------------------------------------

  TVec& SetZero();
  TVec& SetZero(int index, int length);
  TVec& SetVal(double x);
  TVec& SetVal(TCplx x);
  /// x[i] := offset + i·step (real part for a complex vector).
  TVec& Ramp(double offset, double step);
  /// Replaces every value within tol of search by value. NaN matches NaN; an infinity matches
  /// the infinity of the same sign. Complex vectors test real and imaginary parts separately.
  TVec& Replace(double search, double value, double tol = 0.0);
  /// Replaces NaN and both infinities by value.
  TVec& ReplaceNonFinite(double value);
  /// Subtracts the mean.
  TVec& RemoveDC();

  // --- Random fills --------------------------------------------------------------------------
  //
  // Each vector owns its generator. The seeded form reseeds it and remembers seed and
  // parameters; the form with parameters only continues the vector's stream; the form without
  // arguments repeats the last seeded call, so it yields the same block each time. A vector
  // never seeded starts from a seed unique to it within the process (deterministic per run).
  // A complex vector gets independent real and imaginary parts. The generator is
  // xoshiro256++; gaussian values come from a 128-layer ziggurat, uniform ones from the top
  // 53 bits, so a seed gives the same values on every platform.

  TVec& RandGauss(std::uint32_t seed, double mean, double stdDev);
  TVec& RandGauss(double mean, double stdDev);
  TVec& RandGauss();
  TVec& RandUniform(std::uint32_t seed, double low, double high);
  TVec& RandUniform(double low, double high);
  TVec& RandUniform();

  // --- Transforms (FFTW, any length; see the transform notes in fft.cpp) -------------------
  //
  // Forward transforms are unscaled, inverse transforms are scaled by 1/N, so each pair
  // round-trips. Conventions match numpy.fft and scipy.fft (norm=None).

  /// this := DFT of src (complex, Length N); a real src gives the full complex spectrum.
  TVec& FFT(const TVec& src);
  TVec& FFT();
  /// this := first N/2 + 1 bins of the DFT of the real src (numpy.fft.rfft).
  TVec& FFTFromReal(const TVec& src);
  /// this := inverse DFT of the complex src, scaled by 1/N (complex).
  TVec& IFFT(const TVec& src);
  TVec& IFFT();
  /// this := real inverse DFT of a full Hermitian spectrum of Length N (real, Length N);
  /// only bins 0 .. N/2 are read.
  TVec& IFFTToReal(const TVec& src);
  /// this := real inverse DFT of length n from the half spectrum of n/2 + 1 bins
  /// (numpy.fft.irfft).
  TVec& IFFTFromHalf(const TVec& src, int n);
  /// DCT-II, unscaled: y[k] = 2 Σ x[n] cos(π k (2n + 1) / 2N) (scipy.fft.dct, real vectors).
  TVec& DCT(const TVec& src);
  TVec& DCT();
  /// Inverse of DCT (scipy.fft.idct).
  TVec& IDCT(const TVec& src);
  TVec& IDCT();

protected:
  /// Sizes this vector for a result (no event when unchanged).
  void SizeFor(int length, bool complex);
  void CheckSame(const TVec& b, const char* op) const;
  void CheckReal(const char* op) const;
  void CheckNotEmpty(const char* op) const;

private:
  struct RandomState;
  void Reserve(int doubles, bool keep);
  void SetSizeRaw(int length, bool complex, bool keepValues);
  void NotifySize();
  RandomState& Random();

  double* buffer_ = nullptr;  // aligned storage of capacity_ doubles
  int capacity_ = 0;
  double* data_ = nullptr;  // first double of the current range
  int length_ = 0;
  bool complex_ = false;
  bool subRange_ = false;
  int fullDoubles_ = 0;  // full-range length in doubles while narrowed
  std::unique_ptr<RandomState> random_;
};

}  // namespace ondrix
