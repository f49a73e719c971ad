// The tool's sound-card commands: list the output devices, play a signal file.
#pragma once

#include <string>

namespace ondrix::app {

/// Prints the playback devices ALSA knows, by index. Returns 0.
int RunDevices();

/// What `play` does.
struct PlayOptions {
  std::string file;
  std::string device;      // an ALSA name or an index; "" is ALSA's default device
  int buffers = 4;         // device buffers in the ring
  int bufferSize = 0;      // bytes per buffer; 0: about a tenth of a second
  double scale = 0;        // 0: full scale of the file's samples maps to full scale of 16 bits
  bool quiet = false;
};

/// Plays a file on the sound card, showing the elapsed time; Ctrl-C stops at once. Returns 0.
int RunPlay(const PlayOptions& o);

}  // namespace ondrix::app
