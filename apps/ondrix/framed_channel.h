// One channel of a signal file cut into overlapping frames: what the analysing commands read.
#pragma once

#include <string>

#include "apps/ondrix/tool_common.h"
#include "ondrix/FileSignal/FileSignal.h"
#include "ondrix/SignalProcessing/SignalProcessing.h"

namespace ondrix::app {

/// What every frame-analysing command asks: the file, its channel, the window, the frame
/// length and the overlap; each command sets its own defaults.
struct TFrameOptions {
  std::string file;
  int channel = 0;
  std::string window = "hann";
  int length = 4096;
  double overlap = 50.0;  // percent
};

/// Adds FILE, --channel, --window, --length (8 .. maxLength; lengthHelp says what it is)
/// and --overlap to a command.
inline void AddFrameOptions(CLI::App& sub, TFrameOptions& o, int maxLength,
                            const std::string& lengthHelp = "Samples per frame") {
  sub.add_option("file", o.file, "A signal file")->required();
  sub.add_option("-c,--channel", o.channel, "Channel analysed (0 = first)")->check(CLI::Range(0, 1 << 16))
      ->capture_default_str();
  sub.add_option("-w,--window", o.window, "Window: " + WindowChoices())->capture_default_str();
  sub.add_option("-n,--length", o.length, lengthHelp)->check(CLI::Range(8, maxLength))->capture_default_str();
  sub.add_option("--overlap", o.overlap, "Overlap of frames, percent")->check(FiniteRange(0, 95))
      ->capture_default_str();
}

/// reader → demux (one channel) → scrolling buffer with overlap. Frames.Pull() answers pipeOK
/// with a new frame, pipeStream while one is gathering, pipeEnd at the end: a multi-input
/// analyzer would update on pipeStream too, so callers pull the frames and update it on pipeOK.
struct TFramedChannel {
  TSignalRead Reader{nullptr};
  TSignalDemux Demux{nullptr};
  TSignalBuffer Frames{nullptr};

  /// Opens file; a channel the file lacks is a usage error of `option`.
  TFramedChannel(const std::string& file, int channel, int length, double overlap, const std::string& option) {
    OpenReader(Reader, file);
    if (channel >= Channels())
      throw CLI::ValidationError(option, "the file has " + std::to_string(Channels()) + " channel(s): 0 .. " +
                                             std::to_string(Channels() - 1));
    StreamFromStart(Reader);
    Demux.SetName("Channel");
    Demux.SetChannel(channel);
    Demux.SetInput(&Reader);
    Frames.SetName("Frames");
    Frames.SetBufferType(bftScrolling);
    Frames.SetUseOverlapping(true);
    Frames.SetOverlapping(overlap);
    Frames.SetLength(length);
    Frames.SetInput(&Demux);
  }
  int Channels() const { return Reader.ChannelCount() > 1 ? Reader.ChannelCount() : 1; }
  /// Samples per channel read so far, for progress (the reader counts per channel).
  double Position() const { return Reader.RecordPosition(); }
  /// Samples per channel of the record.
  double Samples() const { return Reader.RecordLength(); }
};

}  // namespace ondrix::app
