// The tool's `bispectrum` command: the bicoherence plane of one channel of a signal file.
#pragma once

#include "apps/ondrix/tool_common.h"

namespace ondrix::app {

/// Adds `bispectrum` to the tool.
void AddBispectrumCommand(CLI::App& app, Commands& commands);

}  // namespace ondrix::app
