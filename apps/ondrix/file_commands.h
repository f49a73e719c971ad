// The tool's file commands: describe a signal file, convert between formats, and the file
// step of the demonstration.
#pragma once

#include <string>

#include "apps/ondrix/plot.h"

namespace ondrix::app {

/// Prints a file's format and, per record, its length, rate, channels, precision and
/// duration (as JSON with json set). Returns 0.
int RunInfo(const std::string& file, bool json);

/// Draws every channel of a record of file over time (one panel each, up to 8) into plot.
void PlotWaveform(const std::string& file, int record, const TPlotOptions& plot, bool quiet);

/// What `convert` does.
struct ConvertOptions {
  std::string in, out;
  std::string precision;  // "" keeps the source's when the target can store it
  int record = -1;        // -1: every record the target can hold
  double scale = 1.0;     // applied to every value read
  bool quiet = false;     // no progress on stderr
};

/// Copies IN to OUT frame by frame in OUT's format. Returns 0.
int RunConvert(const ConvertOptions& o);

/// Generates a noisy two-tone WAV, low-passes it into a second WAV, and compares the two
/// files' spectra; the files go to dir (a new temporary folder when empty). Returns 0.
int RunFileDemo(const std::string& dir);

}  // namespace ondrix::app
