// The compiled part of the Python package `ondrix`: files, filter designs, streaming
// objects, component graphs and the batch record over NumPy arrays.
#include "bindings.h"
#include "ondrix/version.h"

PYBIND11_MODULE(_ondrix, m) {
  using namespace ondrix::python;
  m.doc() = "Signal-processing components of the ondrix library over NumPy arrays";
  m.attr("__version__") = ONDRIX_VERSION;
  BindErrors(m);
  BindFiles(m);
  BindDesign(m);
  BindStreaming(m);
  BindGraph(m);
  BindBatch(m);
  BindTiming(m);
}
