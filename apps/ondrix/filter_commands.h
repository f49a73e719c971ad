// The tool's filter commands: design a filter from a band specification (report, coefficients,
// response), and filter every channel of a signal file with it.
#pragma once

#include "apps/ondrix/tool_common.h"

namespace ondrix::app {

/// Adds `design` and `filter` to the tool.
void AddFilterCommands(CLI::App& app, Commands& commands);

}  // namespace ondrix::app
