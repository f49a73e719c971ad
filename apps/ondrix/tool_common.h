// What the tool's commands share: how a command is registered, argument checks, a progress
// display, and how a file is read in frames.
#pragma once

#include <chrono>
#include <functional>
#include <string>
#include <vector>

#include <CLI/CLI.hpp>

#include "ondrix/sigcore/windows.h"
#include "ondrix/vec/precision.h"

namespace ondrix {
class TSignalRead;
class TSignalWrite;
}

namespace ondrix::app {

/// A subcommand and what runs it once the command line is parsed (its exit status).
struct Command {
  CLI::App* sub;
  std::function<int()> run;
};
using Commands = std::vector<Command>;

/// A value that must be a finite number in [lo, hi] (each bound open when its flag says so);
/// the message names the range, never a number with hundreds of digits.
CLI::Validator FiniteRange(double lo, double hi, bool openLo = false, bool openHi = false);
/// A finite number above 0.
CLI::Validator FinitePositive();

/// The window of a name: rectangular (rect, boxcar, none), hann (hanning), hamming, flattop,
/// bartlett (triangular), blackman, blackmanharris, blackmanexact, cosine (tukey), kaiser,
/// chebyshev (dolph), exponential (exp); case, '-' and '_' ignored. Throws CLI::ValidationError
/// listing the choices for any other name.
TSignalWindowType ParseWindow(const std::string& name);
/// The canonical name of a window (the first of its names above).
const char* WindowName(TSignalWindowType w);
/// "rectangular, hann, ..." for help texts.
std::string WindowChoices();

/// v with six significant digits ("24000", "1e+15"), for messages.
std::string ShortNumber(double v);

/// Progress on stderr, only on a terminal: percent, items per second and the time left,
/// redrawn at most five times a second.
class Progress {
public:
  Progress(const char* what, double total, bool quiet);
  ~Progress();
  void Update(double done);

private:
  const char* what_;
  double total_;
  bool shown_, drawn_ = false;
  std::chrono::steady_clock::time_point start_, last_;
};

/// Values per frame that a reader of this (open) file should ask for so that no sample is
/// lost between frames: minSamples of every channel, or, for compressed wave data, what one
/// block of the codec decodes to (the reader then stops insisting on exact frame lengths).
int NaturalFrame(TSignalRead& r, int minSamples = 4096);

/// Names the reader "Reader" (so that its errors say where they come from) and opens file.
void OpenReader(TSignalRead& r, const std::string& file);

/// Readies an open reader to stream record 0 from its start in natural frames (NaturalFrame
/// with minSamples), the last frame cut to the samples left rather than padded with zeros.
void StreamFromStart(TSignalRead& r, int minSamples = 4096);

/// Names the writer "Writer", gives it its file and the source's precision, or single when
/// the file is a wave file that cannot store that precision.
void SetUpWriter(TSignalWrite& w, const std::string& file, TPrecision source);

/// A precision by its short name (double, single, int32, uint32, int16, uint16, int8, uint8,
/// mulaw, alaw, int24) or its value name ("prSmallInt"); CLI::ValidationError naming `option`
/// and the choices otherwise.
TPrecision ParsePrecision(const std::string& name, const std::string& option = "--precision");

/// Precisions a wave file stores.
bool WaveWritable(TPrecision p);

/// The full scale of dBFS: 2^(bits−1) for the integer precisions (the unsigned ones and the
/// G.711 codes alike, as the reader centres them), 1.0 for floating point.
double FullScale(TPrecision p);

}  // namespace ondrix::app
