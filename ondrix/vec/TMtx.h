// TMtx: a row-major matrix of doubles, real or complex, built on TVec storage.
#pragma once

#include "ondrix/vec/TVec.h"

namespace ondrix {

/// A Rows × Cols matrix stored row by row in a TVec; every element-wise TVec operation applies
/// to all elements. Cols() is Length() / Rows(), so element-wise operations that keep the
/// length keep the shape.
class TMtx : public TVec {
public:
  TMtx() = default;
  TMtx(int rows, int cols, bool complex = false) { Size(rows, cols, complex); }

  int Rows() const noexcept { return rows_; }
  int Cols() const noexcept { return rows_ > 0 ? Length() / rows_ : 0; }

  /// Sets the shape and complex flag; values are zeroed when the element count changes.
  void Size(int rows, int cols, bool complex = false);
  /// Takes the shape and complex flag of src (values are not copied).
  void SizeLike(const TMtx& src) { Size(src.Rows(), src.Cols(), src.Complex()); }

  double& Values(int row, int col) noexcept { return TVec::Values(row * Cols() + col); }
  double Values(int row, int col) const noexcept { return TVec::Values(row * Cols() + col); }
  TCplx& CValues(int row, int col) noexcept { return TVec::CValues(row * Cols() + col); }
  const TCplx& CValues(int row, int col) const noexcept { return TVec::CValues(row * Cols() + col); }
  using TVec::CValues;
  using TVec::Values;

  /// Deep copy of shape, complex flag and values.
  TMtx& Copy(const TMtx& src);
  /// dst := row `row` (length Cols, complex as the matrix).
  void GetRow(TVec& dst, int row) const;
  /// Row `row` := src (src must have Cols elements and the matrix's complex flag).
  void SetRow(const TVec& src, int row);
  /// Narrows the matrix to elements col .. col + len - 1 of row `row` (a TVec sub-range);
  /// SetFullRange restores it.
  void SelectRow(int row, int col = 0, int len = -1);

  /// Element-wise |x| (a complex matrix becomes real, shape kept).
  TMtx& Abs();
  /// Element-wise real cube root.
  TMtx& Cbrt() {
    TVec::Cbrt();
    return *this;
  }
  /// this := |src|² element-wise, shape of src.
  TMtx& PowerSpectrum(const TMtx& src);
  /// Element-wise division by b (same shape and complex flag).
  TMtx& Divide(const TMtx& b) {
    TVec::Divide(b);
    return *this;
  }
  /// Element-wise scaling.
  TMtx& Scale(double x) {
    TVec::Scale(x);
    return *this;
  }
  using TVec::Divide;
  using TVec::PowerSpectrum;
  using TVec::Scale;

private:
  int rows_ = 0;
};

}  // namespace ondrix
