#include <cstring>
#include <memory>

#include <CLI/CLI.hpp>

#include "apps/ondrix/tool_common.h"
#include "bindings.h"

namespace ondrix::python {

py::array AsSamples(const py::handle& obj) {
  py::array a = py::array::ensure(obj);
  if (!a) throw py::type_error("expected an array of samples");
  const char kind = a.dtype().kind();
  if (kind == 'c') {
    a = py::array_t<std::complex<double>, py::array::c_style | py::array::forcecast>::ensure(a);
  } else if (kind == 'f' || kind == 'i' || kind == 'u' || kind == 'b') {
    a = py::array_t<double, py::array::c_style | py::array::forcecast>::ensure(a);
  } else {
    throw py::type_error("expected real or complex samples, got dtype " + py::str(a.dtype()).cast<std::string>());
  }
  if (!a) throw py::type_error("cannot convert the samples to float64 or complex128");
  return a;
}

void ToVec(const py::array& src, TVec& v) {
  const py::array a = AsSamples(src);
  if (a.ndim() != 1) throw py::value_error("expected a 1-D array of samples, got " + std::to_string(a.ndim()) + " dimensions");
  const bool complex = a.dtype().kind() == 'c';
  const py::ssize_t n = a.shape(0);
  if (n > (1LL << 30)) throw py::value_error("a block holds at most 2^30 samples");
  v.Size(static_cast<int>(n), complex);
  if (n > 0) std::memcpy(v.PValues(), a.data(), sizeof(double) * static_cast<std::size_t>(v.RealLength()));
}

TVec ToVec(const py::handle& obj) {
  TVec v;
  ToVec(AsSamples(obj), v);
  return v;
}

py::array FromVec(TVec&& v, py::ssize_t rows, py::ssize_t cols) {
  auto* owned = new TVec(std::move(v));
  py::capsule keep(owned, [](void* p) { delete static_cast<TVec*>(p); });
  const bool complex = owned->Complex();
  const py::ssize_t item = complex ? 16 : 8;
  std::vector<py::ssize_t> shape{rows}, strides{item * std::max<py::ssize_t>(cols, 1)};
  if (cols > 0) shape.push_back(cols), strides.push_back(item);
  if (complex)
    return py::array_t<std::complex<double>>(shape, strides, owned->PCValues(), keep);
  return py::array_t<double>(shape, strides, owned->PValues(), keep);
}

py::array FromVec(TVec&& v) {
  const py::ssize_t n = v.Length();
  return FromVec(std::move(v), n, 0);
}

py::array CopyOf(const TVec& v) { return FromVec(TVec(v)); }

std::vector<double> Doubles(const py::handle& obj) {
  auto a = py::array_t<double, py::array::c_style | py::array::forcecast>::ensure(obj);
  if (!a || a.ndim() > 1) throw py::value_error("expected a sequence of numbers");
  return std::vector<double>(a.data(), a.data() + a.size());
}

TSignalWindowType WindowOf(const std::string& name) {
  try {
    return app::ParseWindow(name);
  } catch (const CLI::ValidationError&) {
    throw py::value_error("unknown window '" + name + "'; choose one of: " + app::WindowChoices());
  }
}

}  // namespace ondrix::python
