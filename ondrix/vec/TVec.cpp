#include "ondrix/vec/TVec.h"

#include "ondrix/vec/kernels.h"
#include "ondrix/vec/random_state.h"

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <cstring>
#include <limits>
#include <new>
#include <string>

namespace ondrix {

namespace {

constexpr std::size_t kAlignment = 64;

double* AllocDoubles(int count) {
  if (count <= 0) return nullptr;
  std::size_t bytes = static_cast<std::size_t>(count) * sizeof(double);
  bytes = (bytes + kAlignment - 1) / kAlignment * kAlignment;
  void* p = std::aligned_alloc(kAlignment, bytes);
  if (!p) throw std::bad_alloc();
  return static_cast<double*>(p);
}

std::string Msg(const char* op, const char* what) { return std::string(op) + ": " + what; }

}  // namespace

// --- Construction ------------------------------------------------------------------------------

TVec::TVec() = default;

TVec::TVec(int length, bool complex) { SetSizeRaw(length, complex, false); }

TVec::TVec(const TVec& other) {
  SetSizeRaw(other.length_, other.complex_, false);
  if (other.RealLength() > 0) std::memcpy(data_, other.data_, sizeof(double) * other.RealLength());
}

TVec::TVec(TVec&& other) noexcept
    : buffer_(other.buffer_),
      capacity_(other.capacity_),
      data_(other.data_),
      length_(other.length_),
      complex_(other.complex_),
      subRange_(other.subRange_),
      fullDoubles_(other.fullDoubles_),
      random_(std::move(other.random_)) {
  other.buffer_ = other.data_ = nullptr;
  other.capacity_ = other.length_ = other.fullDoubles_ = 0;
  other.subRange_ = false;
}

TVec& TVec::operator=(const TVec& other) {
  if (this != &other) Copy(other);
  return *this;
}

TVec& TVec::operator=(TVec&& other) noexcept {
  if (this != &other) {
    std::free(buffer_);
    buffer_ = other.buffer_;
    capacity_ = other.capacity_;
    data_ = other.data_;
    length_ = other.length_;
    complex_ = other.complex_;
    subRange_ = other.subRange_;
    fullDoubles_ = other.fullDoubles_;
    random_ = std::move(other.random_);
    other.buffer_ = other.data_ = nullptr;
    other.capacity_ = other.length_ = other.fullDoubles_ = 0;
    other.subRange_ = false;
  }
  return *this;
}

TVec::~TVec() { std::free(buffer_); }

// --- Sizing ------------------------------------------------------------------------------------

void TVec::Reserve(int doubles, bool keep) {
  if (doubles <= capacity_) return;
  int newCap = std::max(doubles, capacity_ + capacity_ / 2);
  double* p = AllocDoubles(newCap);
  int old = RealLength();
  if (keep && old > 0) std::memcpy(p, buffer_, sizeof(double) * old);
  std::free(buffer_);
  buffer_ = p;
  capacity_ = newCap;
  data_ = buffer_;
}

void TVec::SetSizeRaw(int length, bool complex, bool keepValues) {
  if (length < 0) ERaise("TVec: negative length " + std::to_string(length));
  if (length > kMaxVecLength)
    ERaise("TVec: length " + std::to_string(length) + " out of range (at most " + std::to_string(kMaxVecLength) + ")");
  if (subRange_ && (length != length_ || complex != complex_))
    ERaise("TVec: cannot resize a vector that is narrowed to a sub-range");
  int oldDoubles = RealLength();
  int newDoubles = complex ? 2 * length : length;
  Reserve(newDoubles, keepValues);
  data_ = buffer_;
  if (!keepValues) {
    if (newDoubles > 0) std::memset(data_, 0, sizeof(double) * newDoubles);
  } else if (newDoubles > oldDoubles) {
    std::memset(data_ + oldDoubles, 0, sizeof(double) * (newDoubles - oldDoubles));
  }
  length_ = length;
  complex_ = complex;
}

void TVec::NotifySize() {
  if (OnSetSize) OnSetSize(this);
}

void TVec::SetLength(int length) {
  if (length == length_) return;
  SetSizeRaw(length, complex_, true);
  NotifySize();
}

void TVec::SetComplex(bool complex) {
  if (complex == complex_) return;
  // Reinterpret the storage in place (also inside a sub-range: its first double stays put).
  if (complex) {
    length_ /= 2;
  } else {
    length_ *= 2;
  }
  complex_ = complex;
  NotifySize();
}

void TVec::Size(int length, bool complex) {
  if (length == length_ && complex == complex_) return;
  SetSizeRaw(length, complex, true);
  NotifySize();
}

void TVec::Resize(int length, bool keep) {
  bool changed = length != length_;
  SetSizeRaw(length, complex_, keep);
  if (changed) NotifySize();
}

void TVec::SizeFor(int length, bool complex) {
  if (length == length_ && complex == complex_) return;
  SetSizeRaw(length, complex, false);
  NotifySize();
}

// --- Views -------------------------------------------------------------------------------------

void TVec::SetSubRange(int index, int length) {
  if (subRange_) SetFullRange();
  if (index < 0 || length < 0 || index + length > length_)
    ERaise("TVec.SetSubRange: range " + std::to_string(index) + " + " + std::to_string(length) +
           " exceeds Length " + std::to_string(length_));
  fullDoubles_ = RealLength();
  subRange_ = true;
  data_ = buffer_ + (complex_ ? 2 * index : index);
  length_ = length;
}

void TVec::SetFullRange() {
  if (!subRange_) return;
  subRange_ = false;
  // Counted in doubles, the full length survives a complex switch inside the range.
  data_ = buffer_;
  length_ = complex_ ? fullDoubles_ / 2 : fullDoubles_;
  fullDoubles_ = 0;
}

// --- Checks ------------------------------------------------------------------------------------

void TVec::CheckSame(const TVec& b, const char* op) const {
  if (b.length_ != length_)
    ERaise(std::string(op) + ": length mismatch (" + std::to_string(length_) +
           " <> " + std::to_string(b.length_) + ")");
  if (b.complex_ != complex_) ERaise(Msg(op, "complex flag mismatch"));
}

void TVec::CheckReal(const char* op) const {
  if (complex_) ERaise(Msg(op, "not defined for complex vectors"));
}

void TVec::CheckNotEmpty(const char* op) const {
  if (length_ == 0) ERaise(Msg(op, "vector is empty"));
}

// --- Copying -----------------------------------------------------------------------------------

TVec& TVec::Copy(const TVec& src) {
  if (&src == this) return *this;
  SizeFor(src.length_, src.complex_);
  if (RealLength() > 0) std::memmove(data_, src.data_, sizeof(double) * RealLength());
  return *this;
}

TVec& TVec::Copy(const TVec& src, int srcIndex, int dstIndex, int length) {
  if (src.complex_ != complex_) ERaise("TVec.Copy: complex flag mismatch");
  if (length < 0 || srcIndex < 0 || dstIndex < 0 || srcIndex + length > src.length_ ||
      dstIndex + length > length_)
    ERaise("TVec.Copy: index out of range");
  int w = complex_ ? 2 : 1;
  if (length > 0)
    std::memmove(data_ + w * dstIndex, src.data_ + w * srcIndex, sizeof(double) * w * length);
  return *this;
}

TVec& TVec::CopyFromArray(const double* src, int count, int dstIndex) {
  if (count < 0 || dstIndex < 0 || dstIndex + count > RealLength())
    ERaise("TVec.CopyFromArray: index out of range");
  if (count > 0) std::memmove(data_ + dstIndex, src, sizeof(double) * count);
  return *this;
}

// --- Arithmetic --------------------------------------------------------------------------------

namespace {

// Applies f over the doubles of a real or complex range; the compiler vectorises these loops.
template <class F>
void ForEachDouble(double* d, int n, F f) {
  for (int i = 0; i < n; ++i) d[i] = f(d[i]);
}

}  // namespace

TVec& TVec::Add(const TVec& b) {
  CheckSame(b, "TVec.Add");
  const double* s = b.data_;
  for (int i = 0, n = RealLength(); i < n; ++i) data_[i] += s[i];
  return *this;
}

TVec& TVec::Add(const TVec& a, const TVec& b) {
  a.CheckSame(b, "TVec.Add");
  if (&b == this) return Add(a);
  Copy(a);
  return Add(b);
}

TVec& TVec::Add(double x) {
  if (complex_) return Add(TCplx(x, 0.0));
  for (int i = 0; i < length_; ++i) data_[i] += x;
  return *this;
}

TVec& TVec::Add(TCplx x) {
  if (!complex_) {
    if (x.imag() != 0.0) ERaise("TVec.Add: complex scalar added to a real vector");
    return Add(x.real());
  }
  TCplx* c = PCValues();
  for (int i = 0; i < length_; ++i) c[i] += x;
  return *this;
}

TVec& TVec::Sub(const TVec& b) {
  CheckSame(b, "TVec.Sub");
  const double* s = b.data_;
  for (int i = 0, n = RealLength(); i < n; ++i) data_[i] -= s[i];
  return *this;
}

TVec& TVec::Sub(const TVec& a, const TVec& b) {
  a.CheckSame(b, "TVec.Sub");
  if (&b == this) {
    // this := a - this
    const double* s = a.data_;
    for (int i = 0, n = RealLength(); i < n; ++i) data_[i] = s[i] - data_[i];
    return *this;
  }
  Copy(a);
  return Sub(b);
}

TVec& TVec::Sub(double x) { return Add(-x); }
TVec& TVec::Sub(TCplx x) { return Add(-x); }

TVec& TVec::Mul(const TVec& b) {
  CheckSame(b, "TVec.Mul");
  if (complex_) {
    TCplx* c = PCValues();
    const TCplx* s = b.PCValues();
    for (int i = 0; i < length_; ++i) c[i] *= s[i];
  } else {
    const double* s = b.data_;
    for (int i = 0; i < length_; ++i) data_[i] *= s[i];
  }
  return *this;
}

TVec& TVec::Mul(const TVec& a, const TVec& b) {
  a.CheckSame(b, "TVec.Mul");
  if (&b == this) return Mul(a);
  Copy(a);
  return Mul(b);
}

TVec& TVec::Divide(const TVec& b) {
  CheckSame(b, "TVec.Divide");
  if (complex_) {
    TCplx* c = PCValues();
    const TCplx* s = b.PCValues();
    for (int i = 0; i < length_; ++i) c[i] /= s[i];
  } else {
    const double* s = b.data_;
    for (int i = 0; i < length_; ++i) data_[i] /= s[i];
  }
  return *this;
}

TVec& TVec::Divide(const TVec& a, const TVec& b) {
  a.CheckSame(b, "TVec.Divide");
  if (&b == this) {
    if (complex_) {
      TCplx* c = PCValues();
      const TCplx* s = a.PCValues();
      for (int i = 0; i < length_; ++i) c[i] = s[i] / c[i];
    } else {
      const double* s = a.data_;
      for (int i = 0; i < length_; ++i) data_[i] = s[i] / data_[i];
    }
    return *this;
  }
  Copy(a);
  return Divide(b);
}

TVec& TVec::Divide(double x) {
  int n = RealLength();
  for (int i = 0; i < n; ++i) data_[i] /= x;
  return *this;
}

TVec& TVec::Divide(TCplx x) {
  if (!complex_) {
    if (x.imag() != 0.0) ERaise("TVec.Divide: real vector divided by a complex scalar");
    return Divide(x.real());
  }
  TCplx* c = PCValues();
  for (int i = 0; i < length_; ++i) c[i] /= x;
  return *this;
}

TVec& TVec::Scale(double x) {
  ForEachDouble(data_, RealLength(), [x](double v) { return v * x; });
  return *this;
}

TVec& TVec::Scale(TCplx x) {
  if (!complex_) {
    if (x.imag() != 0.0) ERaise("TVec.Scale: real vector scaled by a complex scalar");
    return Scale(x.real());
  }
  TCplx* c = PCValues();
  for (int i = 0; i < length_; ++i) c[i] *= x;
  return *this;
}

TVec& TVec::ConjMul(const TVec& b) {
  CheckSame(b, "TVec.ConjMul");
  if (!complex_) return Mul(b);
  TCplx* c = PCValues();
  const TCplx* s = b.PCValues();
  for (int i = 0; i < length_; ++i) c[i] *= std::conj(s[i]);
  return *this;
}

TVec& TVec::ConjMul(const TVec& a, const TVec& b) {
  a.CheckSame(b, "TVec.ConjMul");
  if (&b == this) {
    if (!complex_) return Mul(a);
    TCplx* c = PCValues();
    const TCplx* s = a.PCValues();
    for (int i = 0; i < length_; ++i) c[i] = s[i] * std::conj(c[i]);
    return *this;
  }
  Copy(a);
  return ConjMul(b);
}

// --- Complex and polar -------------------------------------------------------------------------

namespace {

// Writes a real result computed from src into dst, safely when dst is src.
template <class F>
void RealFromSource(TVec& dst, const TVec& src, F f) {
  int n = src.Length();
  if (src.Complex()) {
    if (&dst == &src) {
      // Read element i before writing double i: i ≤ 2i keeps the reads ahead of the writes.
      TCplx* c = dst.PCValues();
      double* d = dst.PValues();
      for (int i = 0; i < n; ++i) d[i] = f(c[i]);
      dst.SetComplex(false);  // length doubles: shrink back to n
      dst.SetLength(n);
      return;
    }
    dst.Size(n, false);
    const TCplx* s = src.PCValues();
    double* d = dst.PValues();
    for (int i = 0; i < n; ++i) d[i] = f(s[i]);
  } else {
    if (&dst != &src) dst.Size(n, false);
    const double* s = src.PValues();
    double* d = dst.PValues();
    for (int i = 0; i < n; ++i) d[i] = f(TCplx(s[i], 0.0));
  }
}

}  // namespace

TVec& TVec::Mag(const TVec& src) {
  if (!src.complex_) {
    if (&src != this) SizeFor(src.length_, false);
    const double* s = src.data_;
    for (int i = 0; i < length_; ++i) data_[i] = std::fabs(s[i]);
    return *this;
  }
  if (&src == this) {
    if (subRange_) ERaise("TVec.Mag: in-place magnitude of a complex sub-range");
    RealFromSource(*this, src, [](TCplx z) { return std::abs(z); });
    return *this;
  }
  SizeFor(src.length_, false);
  Magnitudes(data_, src.PCValues(), length_);
  return *this;
}

TVec& TVec::Mag() { return Mag(*this); }

void TVec::CartToPolar(TVec& amplt, TVec& phase) const {
  if (!complex_) ERaise("TVec.CartToPolar: the source must be complex");
  if (&amplt == this || &phase == this || &amplt == &phase)
    ERaise("TVec.CartToPolar: destinations must be distinct from the source");
  amplt.SizeFor(length_, false);
  phase.SizeFor(length_, false);
  const TCplx* s = PCValues();
  for (int i = 0; i < length_; ++i) {
    amplt.data_[i] = std::abs(s[i]);
    phase.data_[i] = std::arg(s[i]);
  }
}

TVec& TVec::PolarToCart(const TVec& amplt, const TVec& phase) {
  amplt.CheckSame(phase, "TVec.PolarToCart");
  amplt.CheckReal("TVec.PolarToCart");
  if (&amplt == this || &phase == this)
    ERaise("TVec.PolarToCart: destination must be distinct from the sources");
  SizeFor(amplt.length_, true);
  TCplx* c = PCValues();
  for (int i = 0; i < length_; ++i) c[i] = std::polar(amplt.data_[i], phase.data_[i]);
  return *this;
}

TVec& TVec::PowerSpectrum(const TVec& src) {
  if (!src.complex_) {
    if (&src != this) SizeFor(src.length_, false);
    const double* s = src.data_;
    for (int i = 0; i < length_; ++i) data_[i] = s[i] * s[i];
    return *this;
  }
  if (&src == this && subRange_)
    ERaise("TVec.PowerSpectrum: in-place power spectrum of a complex sub-range");
  RealFromSource(*this, src, [](TCplx z) { return std::norm(z); });
  return *this;
}

TVec& TVec::PowerSpectrum() { return PowerSpectrum(*this); }

TVec& TVec::Arg(const TVec& src) {
  if (&src == this && complex_ && subRange_) ERaise("TVec.Arg: in-place on a complex sub-range");
  RealFromSource(*this, src, [](TCplx z) { return std::arg(z); });
  return *this;
}

TVec& TVec::Conj() {
  if (!complex_) return *this;
  for (int i = 1, n = RealLength(); i < n; i += 2) data_[i] = -data_[i];
  return *this;
}

TVec& TVec::Conj(const TVec& src) {
  Copy(src);
  return Conj();
}

TVec& TVec::RealPart(const TVec& src) {
  if (&src == this && complex_ && subRange_) ERaise("TVec.RealPart: in-place on a complex sub-range");
  RealFromSource(*this, src, [](TCplx z) { return z.real(); });
  return *this;
}

TVec& TVec::ImagPart(const TVec& src) {
  if (&src == this && complex_ && subRange_) ERaise("TVec.ImagPart: in-place on a complex sub-range");
  RealFromSource(*this, src, [](TCplx z) { return z.imag(); });
  return *this;
}

TVec& TVec::RealToCplx(const TVec& re, const TVec& im) {
  re.CheckSame(im, "TVec.RealToCplx");
  re.CheckReal("TVec.RealToCplx");
  if (&re == this || &im == this) ERaise("TVec.RealToCplx: destination must be distinct from the sources");
  SizeFor(re.length_, true);
  TCplx* c = PCValues();
  for (int i = 0; i < length_; ++i) c[i] = TCplx(re.data_[i], im.data_[i]);
  return *this;
}

TVec& TVec::ExtendToComplex(const TVec& src) {
  if (src.complex_) return Copy(src);
  if (&src == this) {
    if (subRange_) ERaise("TVec.ExtendToComplex: in-place on a sub-range");
    int n = length_;
    SetSizeRaw(n, true, true);  // keeps the n reals at the start
    for (int i = n - 1; i >= 0; --i) {
      data_[2 * i] = data_[i];
      data_[2 * i + 1] = 0.0;
    }
    NotifySize();
    return *this;
  }
  SizeFor(src.length_, true);
  for (int i = 0; i < length_; ++i) {
    data_[2 * i] = src.data_[i];
    data_[2 * i + 1] = 0.0;
  }
  return *this;
}

// --- Element-wise functions --------------------------------------------------------------------

namespace {

template <class FR, class FC>
TVec& Apply(TVec& v, FR fr, FC fc) {
  if (v.Complex()) {
    TCplx* c = v.PCValues();
    for (int i = 0, n = v.Length(); i < n; ++i) c[i] = fc(c[i]);
  } else {
    double* d = v.PValues();
    for (int i = 0, n = v.Length(); i < n; ++i) d[i] = fr(d[i]);
  }
  return v;
}

}  // namespace

TVec& TVec::Sqr() {
  return Apply(*this, [](double x) { return x * x; }, [](TCplx z) { return z * z; });
}
TVec& TVec::Sqr(const TVec& src) { return Copy(src).Sqr(); }

TVec& TVec::Sqrt() {
  return Apply(*this, [](double x) { return std::sqrt(x); }, [](TCplx z) { return std::sqrt(z); });
}
TVec& TVec::Sqrt(const TVec& src) { return Copy(src).Sqrt(); }

TVec& TVec::Cbrt() {
  CheckReal("TVec.Cbrt");
  return Apply(*this, [](double x) { return std::cbrt(x); }, [](TCplx z) { return z; });
}
TVec& TVec::Cbrt(const TVec& src) {
  src.CheckReal("TVec.Cbrt");
  return Copy(src).Cbrt();
}

TVec& TVec::Inv() {
  return Apply(*this, [](double x) { return 1.0 / x; }, [](TCplx z) { return 1.0 / z; });
}
TVec& TVec::Inv(const TVec& src) { return Copy(src).Inv(); }

TVec& TVec::Ln() {
  return Apply(*this, [](double x) { return std::log(x); }, [](TCplx z) { return std::log(z); });
}
TVec& TVec::Ln(const TVec& src) { return Copy(src).Ln(); }

TVec& TVec::Log10() {
  return Apply(*this, [](double x) { return std::log10(x); }, [](TCplx z) { return std::log10(z); });
}
TVec& TVec::Log10(const TVec& src) { return Copy(src).Log10(); }

TVec& TVec::Exp() {
  return Apply(*this, [](double x) { return std::exp(x); }, [](TCplx z) { return std::exp(z); });
}
TVec& TVec::Exp(const TVec& src) { return Copy(src).Exp(); }

TVec& TVec::Sin() {
  return Apply(*this, [](double x) { return std::sin(x); }, [](TCplx z) { return std::sin(z); });
}
TVec& TVec::Sin(const TVec& src) { return Copy(src).Sin(); }

TVec& TVec::Cos() {
  return Apply(*this, [](double x) { return std::cos(x); }, [](TCplx z) { return std::cos(z); });
}
TVec& TVec::Cos(const TVec& src) { return Copy(src).Cos(); }

TVec& TVec::Tan() {
  return Apply(*this, [](double x) { return std::tan(x); }, [](TCplx z) { return std::tan(z); });
}
TVec& TVec::Tan(const TVec& src) { return Copy(src).Tan(); }

TVec& TVec::Abs() {
  if (complex_) return Mag();
  return Apply(*this, [](double x) { return std::fabs(x); }, [](TCplx z) { return z; });
}
TVec& TVec::Abs(const TVec& src) { return Mag(src); }

TVec& TVec::Round() {
  ForEachDouble(data_, RealLength(), [](double x) { return std::round(x); });
  return *this;
}
TVec& TVec::Round(const TVec& src) { return Copy(src).Round(); }

TVec& TVec::Trunc() {
  ForEachDouble(data_, RealLength(), [](double x) { return std::trunc(x); });
  return *this;
}
TVec& TVec::Trunc(const TVec& src) { return Copy(src).Trunc(); }

TVec& TVec::ThreshTop(double top) {
  return Apply(
      *this, [top](double x) { return x > top ? top : x; },
      [top](TCplx z) {
        double m = std::abs(z);
        return m > top ? z * (top / m) : z;
      });
}

TVec& TVec::ThreshBottom(double bottom) {
  return Apply(
      *this, [bottom](double x) { return x < bottom ? bottom : x; },
      [bottom](TCplx z) {
        double m = std::abs(z);
        if (m >= bottom) return z;
        return m > 0.0 ? z * (bottom / m) : TCplx(bottom, 0.0);
      });
}

// --- Reordering --------------------------------------------------------------------------------

TVec& TVec::Reverse() {
  if (complex_)
    std::reverse(PCValues(), PCValues() + length_);
  else
    std::reverse(data_, data_ + length_);
  return *this;
}

TVec& TVec::Reverse(const TVec& src) { return Copy(src).Reverse(); }

TVec& TVec::Rotate(int offset) {
  if (length_ == 0) return *this;
  int k = offset % length_;
  if (k < 0) k += length_;
  if (k == 0) return *this;
  // Moving element i to i + k is a right rotation by k.
  if (complex_)
    std::rotate(PCValues(), PCValues() + (length_ - k), PCValues() + length_);
  else
    std::rotate(data_, data_ + (length_ - k), data_ + length_);
  return *this;
}

TVec& TVec::Rotate(const TVec& src, int offset) { return Copy(src).Rotate(offset); }

TVec& TVec::DownSample(const TVec& src, int factor, int phase) {
  if (factor < 1) ERaise("TVec.DownSample: factor must be at least 1");
  if (phase < 0 || phase >= factor) ERaise("TVec.DownSample: phase must be within 0 .. factor - 1");
  int n = src.length_ > phase ? (src.length_ - phase + factor - 1) / factor : 0;
  if (&src == this) {
    // Forward in-place compaction: the read index is never behind the write index.
    if (complex_) {
      TCplx* c = PCValues();
      for (int k = 0; k < n; ++k) c[k] = c[phase + k * factor];
    } else {
      for (int k = 0; k < n; ++k) data_[k] = data_[phase + k * factor];
    }
    SetLength(n);
    return *this;
  }
  SizeFor(n, src.complex_);
  if (complex_) {
    TCplx* c = PCValues();
    const TCplx* s = src.PCValues();
    for (int k = 0; k < n; ++k) c[k] = s[phase + k * factor];
  } else {
    for (int k = 0; k < n; ++k) data_[k] = src.data_[phase + k * factor];
  }
  return *this;
}

TVec& TVec::Scatter(const TVec& src, int offset, int step) {
  if (step < 1) ERaise("TVec.Scatter: step must be at least 1");
  if (src.complex_ != complex_) ERaise("TVec.Scatter: complex flag mismatch");
  if (&src == this) ERaise("TVec.Scatter: source and destination must differ");
  if (src.length_ > 0 && (offset < 0 || offset + (src.length_ - 1) * step >= length_))
    ERaise("TVec.Scatter: destination too short");
  if (complex_) {
    TCplx* c = PCValues();
    const TCplx* s = src.PCValues();
    for (int k = 0; k < src.length_; ++k) c[offset + k * step] = s[k];
  } else {
    for (int k = 0; k < src.length_; ++k) data_[offset + k * step] = src.data_[k];
  }
  return *this;
}

// --- Statistics --------------------------------------------------------------------------------

double TVec::Max(int& index) const {
  CheckNotEmpty("TVec.Max");
  CheckReal("TVec.Max");
  index = static_cast<int>(std::max_element(data_, data_ + length_) - data_);
  return data_[index];
}

double TVec::Max() const {
  int i;
  return Max(i);
}

double TVec::Min(int& index) const {
  CheckNotEmpty("TVec.Min");
  CheckReal("TVec.Min");
  index = static_cast<int>(std::min_element(data_, data_ + length_) - data_);
  return data_[index];
}

double TVec::Min() const {
  int i;
  return Min(i);
}

void TVec::MaxMin(double& max, double& min) const {
  CheckNotEmpty("TVec.MaxMin");
  CheckReal("TVec.MaxMin");
  Extremes(data_, length_, max, min);
}

TCplx TVec::Maxc(int& index) const {
  CheckNotEmpty("TVec.Maxc");
  index = 0;
  double best = -1.0;
  for (int i = 0; i < length_; ++i) {
    double m = complex_ ? std::norm(CValues(i)) : data_[i] * data_[i];
    if (m > best) best = m, index = i;
  }
  return complex_ ? CValues(index) : TCplx(data_[index], 0.0);
}

TCplx TVec::Maxc() const {
  int i;
  return Maxc(i);
}

TCplx TVec::Minc(int& index) const {
  CheckNotEmpty("TVec.Minc");
  index = 0;
  double best = std::numeric_limits<double>::infinity();
  for (int i = 0; i < length_; ++i) {
    double m = complex_ ? std::norm(CValues(i)) : data_[i] * data_[i];
    if (m < best) best = m, index = i;
  }
  return complex_ ? CValues(index) : TCplx(data_[index], 0.0);
}

TCplx TVec::Minc() const {
  int i;
  return Minc(i);
}

double TVec::Sum() const {
  if (complex_) return Sumc().real();
  double s = 0.0;
  for (int i = 0; i < length_; ++i) s += data_[i];
  return s;
}

TCplx TVec::Sumc() const {
  if (!complex_) return TCplx(Sum(), 0.0);
  double re = 0.0, im = 0.0;
  for (int i = 0; i < length_; ++i) re += data_[2 * i], im += data_[2 * i + 1];
  return TCplx(re, im);
}

double TVec::Mean() const {
  if (length_ == 0) return std::numeric_limits<double>::quiet_NaN();
  return complex_ ? Sumc().real() / length_ : FrameMean(data_, length_);
}

TCplx TVec::Meanc() const {
  if (length_ == 0) {
    double nan = std::numeric_limits<double>::quiet_NaN();
    return TCplx(nan, nan);
  }
  return Sumc() / static_cast<double>(length_);
}

double TVec::SumOfSquares() const {
  double s = 0.0;
  for (int i = 0, n = RealLength(); i < n; ++i) s += data_[i] * data_[i];
  return s;
}

double TVec::RMS() const {
  if (length_ == 0) return std::numeric_limits<double>::quiet_NaN();
  return std::sqrt(SumOfSquares() / length_);
}

double TVec::StdDev() const {
  if (length_ < 2) return length_ == 1 ? 0.0 : std::numeric_limits<double>::quiet_NaN();
  double s = 0.0;
  if (complex_) {
    TCplx m = Meanc();
    for (int i = 0; i < length_; ++i) s += std::norm(CValues(i) - m);
  } else {
    double m = Mean();
    for (int i = 0; i < length_; ++i) s += (data_[i] - m) * (data_[i] - m);
  }
  return std::sqrt(s / (length_ - 1));
}

double TVec::Norm() const { return std::sqrt(SumOfSquares()); }

// --- Filling and cleaning ----------------------------------------------------------------------

TVec& TVec::SetZero() {
  if (RealLength() > 0) std::memset(data_, 0, sizeof(double) * RealLength());
  return *this;
}

TVec& TVec::SetZero(int index, int length) {
  if (index < 0 || length < 0 || index + length > length_) ERaise("TVec.SetZero: index out of range");
  int w = complex_ ? 2 : 1;
  if (length > 0) std::memset(data_ + w * index, 0, sizeof(double) * w * length);
  return *this;
}

TVec& TVec::SetVal(double x) {
  if (complex_) return SetVal(TCplx(x, 0.0));
  std::fill(data_, data_ + length_, x);
  return *this;
}

TVec& TVec::SetVal(TCplx x) {
  if (!complex_) {
    if (x.imag() != 0.0) ERaise("TVec.SetVal: complex value for a real vector");
    return SetVal(x.real());
  }
  std::fill(PCValues(), PCValues() + length_, x);
  return *this;
}

TVec& TVec::Ramp(double offset, double step) {
  if (complex_) {
    for (int i = 0; i < length_; ++i) CValues(i) = TCplx(offset + i * step, 0.0);
  } else {
    for (int i = 0; i < length_; ++i) data_[i] = offset + i * step;
  }
  return *this;
}

TVec& TVec::Replace(double search, double value, double tol) {
  bool nan = std::isnan(search);
  bool inf = std::isinf(search);
  ForEachDouble(data_, RealLength(), [=](double x) {
    bool hit;
    if (nan)
      hit = std::isnan(x);
    else if (inf)
      hit = x == search;
    else
      hit = std::fabs(x - search) <= tol;
    return hit ? value : x;
  });
  return *this;
}

TVec& TVec::ReplaceNonFinite(double value) {
  ForEachDouble(data_, RealLength(), [value](double x) { return std::isfinite(x) ? x : value; });
  return *this;
}

TVec& TVec::RemoveDC() {
  if (length_ == 0) return *this;
  if (complex_) return Sub(Meanc());
  return Sub(Mean());
}

}  // namespace ondrix
