// The tool's `coherence` command: coherence and transfer function between two channels.
#pragma once

#include "apps/ondrix/tool_common.h"

namespace ondrix::app {

/// Adds `coherence` to the tool.
void AddCoherenceCommand(CLI::App& app, Commands& commands);

}  // namespace ondrix::app
