#include "ondrix/vec/TMtx.h"

#include <string>

namespace ondrix {

void TMtx::Size(int rows, int cols, bool complex) {
  if (rows < 0 || cols < 0) ERaise("TMtx.Size: negative dimension");
  if (IsSubRange()) SetFullRange();
  bool keep = rows * cols == Length() && complex == Complex();
  rows_ = rows;
  if (!keep) TVec::Size(0, complex);
  TVec::Size(rows * cols, complex);
}

TMtx& TMtx::Copy(const TMtx& src) {
  if (&src == this) return *this;
  rows_ = src.rows_;
  TVec::Copy(src);
  return *this;
}

void TMtx::GetRow(TVec& dst, int row) const {
  if (row < 0 || row >= rows_) ERaise("TMtx.GetRow: row " + std::to_string(row) + " out of range");
  int c = Cols();
  dst.Size(c, Complex());
  dst.Copy(*this, row * c, 0, c);
}

void TMtx::SetRow(const TVec& src, int row) {
  if (row < 0 || row >= rows_) ERaise("TMtx.SetRow: row " + std::to_string(row) + " out of range");
  int c = Cols();
  if (src.Length() != c) ERaise("TMtx.SetRow: source length differs from Cols");
  TVec::Copy(src, 0, row * c, c);
}

void TMtx::SelectRow(int row, int col, int len) {
  if (IsSubRange()) SetFullRange();
  if (row < 0 || row >= rows_) ERaise("TMtx.SelectRow: row " + std::to_string(row) + " out of range");
  int c = Cols();
  if (len < 0) len = c - col;
  if (col < 0 || col + len > c) ERaise("TMtx.SelectRow: columns out of range");
  SetSubRange(row * c + col, len);
}

TMtx& TMtx::Abs() {
  TVec::Abs();
  return *this;
}

TMtx& TMtx::PowerSpectrum(const TMtx& src) {
  int rows = src.rows_;
  TVec::PowerSpectrum(src);
  rows_ = rows;
  return *this;
}

}  // namespace ondrix
