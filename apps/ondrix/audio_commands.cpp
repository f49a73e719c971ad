#include "apps/ondrix/audio_commands.h"

#include <unistd.h>

#include <atomic>
#include <cctype>
#include <csignal>
#include <cstdio>
#include <stdexcept>

#include "ondrix/AudioSignal/AudioSignal.h"
#include "ondrix/AudioSignal/AlsaPcm.h"
#include "apps/ondrix/tool_common.h"
#include "ondrix/FileSignal/FileSignal.h"

namespace ondrix::app {

namespace {

std::atomic<bool> gInterrupted{false};

extern "C" void OnInterrupt(int) { gInterrupted = true; }

/// The factor that brings the file's full scale to 16 bits.
double FullScaleTo16(TPrecision p) {
  switch (p) {
    case prByte: return 256.0;
    case prInt24: return 1.0 / 256.0;
    case prInteger: return 1.0 / 65536.0;
    case prSingle:
    case prDouble: return 32767.0;  // floats are taken as -1 .. 1
    default: return 1.0;
  }
}

bool IsIndex(const std::string& s) {
  if (s.empty()) return false;
  for (char c : s)
    if (!std::isdigit(static_cast<unsigned char>(c))) return false;
  return true;
}

}  // namespace

int RunDevices() {
  const auto devices = ListPcmDevices(true);
  if (devices.empty()) std::printf("no playback devices\n");
  for (std::size_t i = 0; i < devices.size(); ++i) {
    std::string desc = devices[i].Description;
    for (char& c : desc)
      if (c == '\n') c = ' ';
    std::printf("%2zu  %-32s %s\n", i, devices[i].Name.c_str(), desc.c_str());
  }
  return 0;
}

int RunPlay(const PlayOptions& o) {
  TSignalRead reader(nullptr);
  OpenReader(reader, o.file);
  reader.SetLastFrameCheck(lfcAdjustLength);
  const int ch = reader.ChannelCount();
  if (ch > 2) throw std::runtime_error("play takes mono or stereo files; this one has " + std::to_string(ch) +
                                       " channels");
  // A tenth of a second per buffer unless told otherwise; compressed data goes by codec blocks.
  int values = o.bufferSize > 0 ? std::max(o.bufferSize / 2 / ch, 1) * ch
                                : std::max(static_cast<int>(reader.SamplingFrequency() / 10), 64) * ch;
  if (reader.FileFormat() == ffWav && !reader.Converter().SrcFormat().IsPlain()) values = NaturalFrame(reader);
  reader.SetLength(values);

  TNotificationQueue queue;
  TSignalOut out(queue);
  out.SetName("Output");
  if (IsIndex(o.device))
    out.SetWaveDevice(std::stoi(o.device));
  else
    out.SetDeviceName(o.device);
  out.SetNumBuffers(o.buffers);
  out.SetScaleFactor(o.scale != 0 ? o.scale : FullScaleTo16(reader.Precision()));
  out.SetInput(&reader);
  const std::string where = o.device.empty() ? "default" : o.device;
  try {
    out.Start();
  } catch (const std::exception& e) {
    throw std::runtime_error("cannot play on audio device '" + where + "': " + e.what());
  }
  std::signal(SIGINT, OnInterrupt);
  const bool show = !o.quiet && ::isatty(2);
  const double total = reader.RecordTime();
  while (out.Active() || queue.Pending() > 0) {
    if (gInterrupted) {
      out.StopAtOnce();
      queue.ProcessMessages();
      break;
    }
    queue.WaitAndProcess(std::chrono::milliseconds(100));
    if (show) std::fprintf(stderr, "\rplaying %7.1f s of %.1f s", out.ElapsedTime(), total);
  }
  std::signal(SIGINT, SIG_DFL);
  if (show) std::fprintf(stderr, "\n");
  std::printf("%s: %s on '%s', %d underrun%s\n", o.file.c_str(), gInterrupted ? "stopped" : "played", where.c_str(),
              out.Underruns(), out.Underruns() == 1 ? "" : "s");
  return gInterrupted ? 130 : 0;
}

}  // namespace ondrix::app
