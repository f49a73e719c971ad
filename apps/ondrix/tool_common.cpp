#include "apps/ondrix/tool_common.h"

#include <unistd.h>

#include <algorithm>
#include <cctype>
#include <cmath>
#include <cstdio>
#include <cstdlib>

#include "ondrix/FileSignal/FileSignal.h"

namespace ondrix::app {

CLI::Validator FiniteRange(double lo, double hi, bool openLo, bool openHi) {
  char desc[160];
  std::snprintf(desc, sizeof desc, "%s%.6g, %.6g%s", openLo ? "(" : "[", lo, hi, openHi ? ")" : "]");
  const std::string range = desc;
  return CLI::Validator(
      [=](std::string& text) -> std::string {
        char* end = nullptr;
        const double v = std::strtod(text.c_str(), &end);
        const bool parsed = end != text.c_str() && *end == '\0';
        if (!parsed || !std::isfinite(v) || v < lo || v > hi || (openLo && v == lo) || (openHi && v == hi))
          return "'" + text.substr(0, 40) + "' is not a finite number in " + range;
        return {};
      },
      "NUMBER in " + range);
}

CLI::Validator FinitePositive() {
  return CLI::Validator(
      [](std::string& text) -> std::string {
        char* end = nullptr;
        const double v = std::strtod(text.c_str(), &end);
        if (end == text.c_str() || *end != '\0' || !std::isfinite(v) || !(v > 0.0) || v > 1e15)
          return "'" + text.substr(0, 40) + "' is not a finite number above 0 (and at most 1e15)";
        return {};
      },
      "NUMBER > 0");
}

namespace {

struct WindowNames {
  TSignalWindowType type;
  std::vector<const char*> names;
};

const std::vector<WindowNames>& WindowTable() {
  static const std::vector<WindowNames> table = {
      {wtRectangular, {"rectangular", "rect", "boxcar", "none", "uniform"}},
      {wtHanning, {"hann", "hanning"}},
      {wtHamming, {"hamming"}},
      {wtFlatTop, {"flattop", "flat"}},
      {wtBartlett, {"bartlett", "triangular", "triangle"}},
      {wtBlackman, {"blackman"}},
      {wtBlackmanHarris, {"blackmanharris", "bh"}},
      {wtBlackmanExact, {"blackmanexact"}},
      {wtCosineTapered, {"cosine", "tukey", "cosinetapered"}},
      {wtKaiser, {"kaiser"}},
      {wtChebyshev, {"chebyshev", "dolph", "chebwin", "dolphchebyshev"}},
      {wtExponent, {"exponential", "exp", "exponent"}},
  };
  return table;
}

}  // namespace

TSignalWindowType ParseWindow(const std::string& name) {
  std::string key;
  for (char c : name)
    if (c != '-' && c != '_' && c != ' ') key += static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
  for (const WindowNames& w : WindowTable())
    for (const char* n : w.names)
      if (key == n) return w.type;
  throw CLI::ValidationError("--window", "unknown window '" + name.substr(0, 40) + "'; choose one of: " +
                                             WindowChoices());
}

const char* WindowName(TSignalWindowType w) {
  for (const WindowNames& n : WindowTable())
    if (n.type == w) return n.names.front();
  return "?";
}

std::string WindowChoices() {
  std::string s;
  for (const WindowNames& w : WindowTable()) s += (s.empty() ? "" : ", ") + std::string(w.names.front());
  return s;
}

std::string ShortNumber(double v) {
  char b[32];
  std::snprintf(b, sizeof b, "%g", v);
  return b;
}

Progress::Progress(const char* what, double total, bool quiet)
    : what_(what), total_(total), shown_(!quiet && total > 0 && ::isatty(2)),
      start_(std::chrono::steady_clock::now()) {}

Progress::~Progress() {
  if (drawn_) std::fprintf(stderr, "\r%*s\r", 60, "");
}

void Progress::Update(double done) {
  if (!shown_) return;
  const auto now = std::chrono::steady_clock::now();
  if (drawn_ && now - last_ < std::chrono::milliseconds(200)) return;
  const double elapsed = std::chrono::duration<double>(now - start_).count();
  if (!drawn_ && elapsed < 0.5) return;  // short work stays silent
  last_ = now;
  drawn_ = true;
  const double fraction = std::min(done / total_, 1.0), rate = elapsed > 0 ? done / elapsed : 0.0;
  const double left = rate > 0 ? (total_ - done) / rate : 0.0;
  std::fprintf(stderr, "\r%s: %3.0f %%  %.3g M/s  %.0f s left   ", what_, 100.0 * fraction, rate / 1e6,
               std::max(left, 0.0));
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

TPrecision ParsePrecision(const std::string& s, const std::string& option) {
  static const char* const kShort[] = {"double", "single", "int32", "uint32", "int16", "uint16",
                                       "int8",   "uint8",  "mulaw", "alaw",   "int24"};
  for (int p = prDouble; p <= prInt24; ++p)
    if (s == kShort[p] || s == PrecisionNames()[static_cast<std::size_t>(p)]) return static_cast<TPrecision>(p);
  throw CLI::ValidationError(option, "unknown precision '" + s.substr(0, 40) +
                                         "' (double, single, int32, uint32, int16, uint16, int8, uint8, mulaw, "
                                         "alaw, int24)");
}

void StreamFromStart(TSignalRead& r, int minSamples) {
  r.SetRecordNumber(0);
  r.SetLastFrameCheck(lfcAdjustLength);
  r.SetLength(NaturalFrame(r, minSamples));
  r.SetRecordPosition(0);
}

void SetUpWriter(TSignalWrite& w, const std::string& file, TPrecision source) {
  w.SetName("Writer");
  w.SetFileName(file);
  w.SetPrecision(w.FileFormat() == ffWav && !WaveWritable(source) ? prSingle : source);
}

bool WaveWritable(TPrecision p) {
  return p == prByte || p == prSmallInt || p == prInt24 || p == prInteger || p == prSingle;
}

double FullScale(TPrecision p) {
  switch (p) {
    case prInteger:
    case prCardinal: return 2147483648.0;
    case prSmallInt:
    case prWord:
    case prMuLaw:
    case prALaw: return 32768.0;
    case prShortInt:
    case prByte: return 128.0;
    case prInt24: return 8388608.0;
    default: return 1.0;
  }
}

}  // namespace ondrix::app
