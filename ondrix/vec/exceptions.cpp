#include "ondrix/vec/exceptions.h"

namespace ondrix {

void ERaise(const std::string& message) { throw EVecError(message); }

}  // namespace ondrix
