// The tool's `spectrum` command: the averaged spectrum of one channel of a signal file, its
// peaks refined between the lines, distortion and noise measures, and band levels.
#pragma once

#include "apps/ondrix/tool_common.h"

namespace ondrix::app {

/// Adds `spectrum` to the tool.
void AddSpectrumCommand(CLI::App& app, Commands& commands);

}  // namespace ondrix::app
