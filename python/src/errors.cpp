#include <stdexcept>

#include "bindings.h"
#include "ondrix/vec/exceptions.h"

namespace ondrix::python {

void BindErrors(py::module_& m) {
  static py::exception<ondrix::Exception> error(m, "Error");
  error.attr("__module__") = "ondrix";
  error.doc() = "An error of the ondrix library; str(e) is the library's fixed message.";
  // Later translators run first: the library's errors, and the runtime errors of the tool's
  // code the module shares, become ondrix.Error; pybind11's own exceptions pass through.
  py::register_exception_translator([](std::exception_ptr p) {
    if (!p) return;
    try {
      std::rethrow_exception(p);
    } catch (const py::builtin_exception&) {
      throw;
    } catch (const ondrix::Exception& e) {
      error(e.what());
    } catch (const std::runtime_error& e) {
      error(e.what());
    }
  });
}

}  // namespace ondrix::python
