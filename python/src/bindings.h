// What the binding files of the Python module share: conversions between NumPy arrays and
// TVec, and the functions that add each concern's names to the module.
#pragma once

#include <string>
#include <vector>

#include <pybind11/numpy.h>
#include <pybind11/pybind11.h>

#include "ondrix/sigcore/windows.h"
#include "ondrix/vec/TVec.h"

namespace ondrix::python {

namespace py = pybind11;

/// A 1-D float64 or complex128 array (anything else is converted by NumPy first, real
/// values to float64, complex ones to complex128), C-contiguous.
py::array AsSamples(const py::handle& obj);

/// Copies a 1-D float64 or complex128 array into v (resized, complex as the array); v keeps
/// its memory when it is large enough, so a stream of blocks allocates nothing after the
/// largest.
void ToVec(const py::array& a, TVec& v);
/// The same, returning a new vector.
TVec ToVec(const py::handle& obj);

/// Hands v over to NumPy without copying: a 1-D float64 or complex128 array over v's memory,
/// which the array keeps alive.
py::array FromVec(TVec&& v);
/// v as an array of the given shape (rows × cols elements, row-major), without copying.
py::array FromVec(TVec&& v, py::ssize_t rows, py::ssize_t cols);
/// A copy of v (for vectors that stay with a component and change at its next update).
py::array CopyOf(const TVec& v);

/// A list of doubles from a sequence or a 1-D array.
std::vector<double> Doubles(const py::handle& obj);

/// The window of a name (hann, hamming, kaiser, ... as the tool takes them); ValueError for
/// another.
TSignalWindowType WindowOf(const std::string& name);

void BindErrors(py::module_& m);
void BindFiles(py::module_& m);
void BindDesign(py::module_& m);
void BindStreaming(py::module_& m);
void BindGraph(py::module_& m);
void BindBatch(py::module_& m);
void BindTiming(py::module_& m);

}  // namespace ondrix::python

namespace ondrix {
class TObject;
class TComponent;
}  // namespace ondrix

namespace ondrix::python {

/// A published property of obj by name, through the property tables; a dotted path reaches
/// into owned sub-objects ("Stats.Averaging"). Enumerations read as their value names, links
/// as the target's name (None when empty), sub-objects as dicts and collections as lists of
/// dicts of their properties, float arrays as NumPy arrays.
py::object GetProperty(const TObject& obj, const std::string& path);

/// Writes a published property by name or dotted path. Enumerations take a value name or an
/// ordinal; links a component name, looked up in the tree under root (or None); sub-objects
/// a dict of their properties. ondrix.Error carries the framework's message for an unknown
/// or read-only property or a value of the wrong type.
void SetProperty(TObject& obj, const std::string& path, const py::handle& value, TComponent* root);

/// Every published property of obj as a dict (GetProperty of each).
py::dict Properties(const TObject& obj);

/// The component named `name` (case-insensitive) in the tree under root, depth first.
TComponent* FindInTree(TComponent& root, const std::string& name);

/// Adds get / set / properties methods, working through the property tables, to a class
/// whose `component` member function returns its TComponent.
template <class C, class Getter>
void AddPropertyAccess(py::class_<C>& cls, Getter component) {
  cls.def("get", [component](C& self, const std::string& name) { return GetProperty(*(self.*component)(), name); },
          py::arg("name"), "A published property of the underlying component (dotted paths reach sub-objects).");
  cls.def("set", [component](C& self, const std::string& name, const py::handle& value) {
            SetProperty(*(self.*component)(), name, value, nullptr);
          },
          py::arg("name"), py::arg("value"), "Sets a published property of the underlying component.");
  cls.def("properties", [component](C& self) { return Properties(*(self.*component)()); },
          "Every published property of the underlying component, as a dict.");
}

}  // namespace ondrix::python
