// The tool's `run` command: a graph of components from a settings file, pulled to its end.
#pragma once

#include "apps/ondrix/tool_common.h"

namespace ondrix::app {

/// Adds `run` to the tool.
void AddRunCommand(CLI::App& app, Commands& commands);

}  // namespace ondrix::app
