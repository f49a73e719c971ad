// The tool's `batch` command: one graph over many files in worker processes, one JSON line of
// results per file; and that record, which ondrix.batch.map in Python returns too.
#pragma once

#include <string>

#include "apps/ondrix/tool_common.h"

namespace ondrix::app {

/// Adds `batch` to the tool.
void AddBatchCommand(CLI::App& app, Commands& commands);

/// One file run through a graph: the graph is built anew from `settings` (the text of a
/// settings file), the file reader named `reader` (default: the graph's first TSignalRead)
/// reads `file`, "{stem}" in a writer's file name becomes the file's name without folder and
/// extension, and the graph is pulled to its end. The result is one JSON object on one line:
///   {"file": F, "ok": true, "results": {"<component>": {...}, ...}}
///   {"file": F, "ok": false, "error": "<the library's message>"}
/// with an entry per sink, analyzer, filter and writer (see the README's batch section).
/// Never throws for a failure of the file or the graph; the same inputs give the same text.
std::string BatchRecord(const std::string& settings, const std::string& file, const std::string& reader = "");

}  // namespace ondrix::app
