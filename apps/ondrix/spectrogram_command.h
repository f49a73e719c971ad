// The tool's `spectrogram` command: the spectra of a file's frames as an image (or CSV).
#pragma once

#include "apps/ondrix/tool_common.h"

namespace ondrix::app {

/// Adds `spectrogram` to the tool.
void AddSpectrogramCommand(CLI::App& app, Commands& commands);

}  // namespace ondrix::app
