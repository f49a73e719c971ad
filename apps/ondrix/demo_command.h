// The tool's `demo` command: every layer in turn on generated signals.
#pragma once

#include "apps/ondrix/tool_common.h"

namespace ondrix::app {

/// Adds `demo` to the tool.
void AddDemoCommand(CLI::App& app, Commands& commands);

}  // namespace ondrix::app
