// What the tool's commands share: a progress display, and how a file is read in frames.
#pragma once

#include <chrono>
#include <string>

#include "ondrix/vec/precision.h"

namespace ondrix {
class TSignalRead;
}

namespace ondrix::app {

/// A percentage on stderr, redrawn at most five times a second, only on a terminal.
class Progress {
public:
  Progress(const char* what, double total, bool quiet);
  ~Progress();
  void Update(double done);

private:
  const char* what_;
  double total_;
  bool shown_, drawn_ = false;
  std::chrono::steady_clock::time_point last_;
};

/// Values per frame that a reader of this (open) file should ask for so that no sample is
/// lost between frames: minSamples of every channel, or, for compressed wave data, what one
/// block of the codec decodes to (the reader then stops insisting on exact frame lengths).
int NaturalFrame(TSignalRead& r, int minSamples = 4096);

/// Names the reader "Reader" (so that its errors say where they come from) and opens file.
void OpenReader(TSignalRead& r, const std::string& file);

/// Precisions a wave file stores.
bool WaveWritable(TPrecision p);

}  // namespace ondrix::app
