// The ondrix command-line tool.
#include <cmath>
#include <cstdio>
#include <string>

#include <CLI/CLI.hpp>

#include "ondrix/vec/TVec.h"

namespace {

// Generates a tone, transforms it and prints the strongest bin: a check that the vector layer
// and its transforms are sound on this machine.
int RunDemo(int length, double fs, double freq, double amplitude) {
  using ondrix::TVec;
  TVec x(length);
  x.Ramp(0.0, 2.0 * M_PI * freq / fs).Sin().Scale(amplitude);

  TVec spectrum;
  spectrum.FFTFromReal(x);
  TVec mag;
  mag.Mag(spectrum);
  // A real tone of amplitude A shows A·N/2 in its bin of the unscaled transform.
  mag.Scale(2.0 / length);

  int peak = 0;
  double peakAmplt = mag.Max(peak);
  std::printf("tone: %g Hz, amplitude %g, %d samples at %g Hz\n", freq, amplitude, length, fs);
  std::printf("peak bin %d (%g Hz), amplitude %.12g\n", peak, peak * fs / length, peakAmplt);
  std::printf("signal RMS %.12g (expected %.12g)\n", x.RMS(), amplitude / std::sqrt(2.0));
  return 0;
}

}  // namespace

int main(int argc, char** argv) {
  CLI::App app{"ondrix: signal-processing components on the command line"};
  app.require_subcommand(1);

  auto* demo = app.add_subcommand("demo", "Transform a generated tone and print its peak");
  int length = 4096;
  double fs = 48000.0, freq = 1500.0, amplitude = 1.0;
  demo->add_option("-n,--length", length, "Number of samples")->check(CLI::PositiveNumber);
  demo->add_option("--fs", fs, "Sampling frequency, Hz")->check(CLI::PositiveNumber);
  demo->add_option("-f,--freq", freq, "Tone frequency, Hz");
  demo->add_option("-a,--amplitude", amplitude, "Tone amplitude");

  CLI11_PARSE(app, argc, argv);
  try {
    if (*demo) return RunDemo(length, fs, freq, amplitude);
  } catch (const std::exception& e) {
    std::fprintf(stderr, "ondrix: %s\n", e.what());
    return 1;
  }
  return 0;
}
