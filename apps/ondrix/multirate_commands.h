// The tool's multirate commands: decimate a signal file, or take its decimated envelope.
#pragma once

#include <string>

#include <CLI/CLI.hpp>

namespace ondrix::app {

/// What `decimate` and `envelope` do.
struct MultiRateOptions {
  std::string in, out;
  int factor = 2;             // a power of two
  double attenuation = 80.0;  // alias rejection, dB (the designs' ripple is 10^(−dB/20))
  double transition = 0.1;    // transition width of the last stage, fraction of the new Nyquist
  bool quiet = false;         // no progress on stderr
};

/// Adds the arguments of `decimate` and `envelope` (IN, OUT, --factor, --attenuation,
/// --transition, --quiet) to a subcommand.
void AddMultiRateOptions(CLI::App& sub, MultiRateOptions& o);

/// Reads IN frame by frame, decimates every channel by the factor (TSignalDecimator) and
/// writes OUT in OUT's format. Returns 0.
int RunDecimate(const MultiRateOptions& o);

/// The same with TSignalEnvelopeDetector: the decimated envelope of every channel.
int RunEnvelope(const MultiRateOptions& o);

}  // namespace ondrix::app
