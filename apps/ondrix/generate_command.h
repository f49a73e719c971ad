// The tool's `generate` command: signals from formulas, written to a signal file.
#pragma once

#include "apps/ondrix/tool_common.h"

namespace ondrix::app {

/// Adds `generate` to the tool.
void AddGenerateCommand(CLI::App& app, Commands& commands);

}  // namespace ondrix::app
