#include "apps/ondrix/tool_common.h"

#include <unistd.h>

#include <algorithm>
#include <cstdio>

#include "ondrix/FileSignal/FileSignal.h"

namespace ondrix::app {

Progress::Progress(const char* what, double total, bool quiet)
    : what_(what), total_(total), shown_(!quiet && total > 0 && ::isatty(2)) {}

Progress::~Progress() {
  if (drawn_) std::fprintf(stderr, "\r%*s\r", 40, "");
}

void Progress::Update(double done) {
  if (!shown_) return;
  const auto now = std::chrono::steady_clock::now();
  if (drawn_ && now - last_ < std::chrono::milliseconds(200)) return;
  last_ = now;
  drawn_ = true;
  std::fprintf(stderr, "\r%s: %3.0f %%", what_, 100.0 * std::min(done / total_, 1.0));
}

int NaturalFrame(TSignalRead& r, int minSamples) {
  if (r.FileFormat() != ffWav || r.Converter().SrcFormat().IsPlain()) return minSamples * r.ChannelCount();
  r.SetForceLength(false);
  r.Converter().SuggestSampleCount(-1);
  return std::max(r.Converter().DstByteCount() / std::max(r.Converter().DstFormat().BitsPerSample() / 8, 1), 1);
}

void OpenReader(TSignalRead& r, const std::string& file) {
  r.SetName("Reader");
  r.SetFileName(file);
  r.OpenFile();
}

bool WaveWritable(TPrecision p) {
  return p == prByte || p == prSmallInt || p == prInt24 || p == prInteger || p == prSingle;
}

}  // namespace ondrix::app
