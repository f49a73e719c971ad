// The ondrix command-line tool.
#include <cmath>
#include <cstdio>
#include <memory>
#include <string>

#include <CLI/CLI.hpp>

#include "apps/ondrix/filter_demo.h"
#include "ondrix/SignalProcessing/SignalProcessing.h"
#include "ondrix/vec/TVec.h"

namespace {

using namespace ondrix;

/// What `generate` produces: a tone plus gaussian noise, in blocks.
struct GenerateOptions {
  double freq = 1000.0;     // Hz
  double amplitude = 1.0;   // peak
  double phase = 0.0;       // degrees
  double noiseSd = 0.1;     // standard deviation of the noise; 0 for none
  double fs = 48000.0;      // Hz
  int length = 1024;        // samples per block
  int blocks = 4;
  int show = 8;             // first samples printed
};

/// A generator whose expression is "sine" or "sine + gaussian noise".
std::unique_ptr<TSignalGenerator> ToneGenerator(const GenerateOptions& o) {
  auto g = std::make_unique<TSignalGenerator>(nullptr);
  g->SetName("Generator");
  g->SetSamplingFrequency(o.fs);
  g->SetLength(o.length);
  TFuncSignalList* lines = g->Sounds()->Template();
  lines->Add(FunctionLine(funSine, {o.freq, o.phase, o.amplitude}));
  if (o.noiseSd != 0.0) {
    lines->Add(FunctionLine(funRandGauss, {0.0, o.noiseSd}));
    lines->Add(OperatorLine(opAdd));
  }
  return g;
}

void PrintExpression(TSignalGenerator& g) {
  TFuncSignalList* lines = g.Sounds()->Template();
  std::printf("expression (reverse Polish):");
  for (int i = 0; i < lines->Count(); ++i) {
    const TFuncSignalRecord& r = *lines->Items(i);
    std::printf(" %s", r.OpType == optFunction ? FuncToString(r.FuncType).c_str() : OpToString(r.OperType).c_str());
  }
  std::printf("\n");
}

/// Pulls the blocks and prints the first samples and each block's statistics.
int RunGenerate(const GenerateOptions& o) {
  auto g = ToneGenerator(o);
  std::printf("tone %g Hz, amplitude %g, phase %g deg, noise sd %g; %d blocks of %d samples at %g Hz\n", o.freq,
              o.amplitude, o.phase, o.noiseSd, o.blocks, o.length, o.fs);
  PrintExpression(*g);
  for (int b = 0; b < o.blocks; ++b) {
    g->Pull();
    const TVec& x = g->Data();
    if (b == 0) {
      std::printf("first samples:");
      for (int i = 0; i < std::min(o.show, x.Length()); ++i) std::printf(" %.6f", x.Values(i));
      std::printf("\n%-6s %12s %12s %12s %12s\n", "block", "mean", "RMS", "min", "max");
    }
    double mx = 0, mn = 0;
    x.MaxMin(mx, mn);
    std::printf("%-6d %12.6f %12.6f %12.6f %12.6f\n", b, x.Mean(), x.RMS(), mn, mx);
  }
  const double expectRms = std::sqrt(o.amplitude * o.amplitude / 2 + o.noiseSd * o.noiseSd);
  std::printf("expected RMS %.6f (tone and noise power add)\n", expectRms);
  return 0;
}

// Generates a tone, transforms it and prints the strongest bin: a check that the generator, the
// vector layer and its transforms are sound on this machine.
int RunDemo(int length, double fs, double freq, double amplitude) {
  GenerateOptions o;
  o.freq = freq;
  o.amplitude = amplitude;
  o.fs = fs;
  o.length = length;
  o.noiseSd = 0.0;
  auto g = ToneGenerator(o);
  g->Pull();
  const TVec& x = g->Data();

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

  std::printf("\nthe same tone plus noise, block by block:\n");
  o.noiseSd = 0.1 * amplitude;
  o.blocks = 3;
  o.show = 6;
  RunGenerate(o);
  return app::RunFilterDemo(app::FilterDemoOptions{});
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

  auto* generate = app.add_subcommand("generate", "Generate a tone plus gaussian noise and print block statistics");
  GenerateOptions gen;
  generate->add_option("-f,--freq", gen.freq, "Tone frequency, Hz")->capture_default_str();
  generate->add_option("-a,--amplitude", gen.amplitude, "Tone amplitude (peak)")->capture_default_str();
  generate->add_option("-p,--phase", gen.phase, "Tone phase, degrees")->capture_default_str();
  generate->add_option("-s,--noise", gen.noiseSd, "Standard deviation of the gaussian noise (0: none)")
      ->capture_default_str();
  generate->add_option("--fs", gen.fs, "Sampling frequency, Hz")->check(CLI::PositiveNumber)->capture_default_str();
  generate->add_option("-n,--length", gen.length, "Samples per block")
      ->check(CLI::PositiveNumber)->capture_default_str();
  generate->add_option("-b,--blocks", gen.blocks, "Number of blocks")
      ->check(CLI::PositiveNumber)->capture_default_str();
  generate->add_option("--show", gen.show, "First samples to print")
      ->check(CLI::NonNegativeNumber)->capture_default_str();

  auto* filter = app.add_subcommand("filter", "Low-pass two generated tones and show the removed one's attenuation");
  app::FilterDemoOptions flt;
  filter->add_option("--keep", flt.keepFreq, "Tone in the pass band, Hz")->capture_default_str();
  filter->add_option("--remove", flt.removeFreq, "Tone in the stop band, Hz")->capture_default_str();
  filter->add_option("--pass", flt.passEdge, "Pass band edge, Hz")->capture_default_str();
  filter->add_option("--stop", flt.stopEdge, "Stop band edge, Hz")->capture_default_str();
  filter->add_option("--ripple", flt.ripple, "Pass band ripple, dB")->capture_default_str();
  filter->add_option("--attenuation", flt.attenuation, "Stop band attenuation, dB")->capture_default_str();
  filter->add_option("--fs", flt.fs, "Sampling frequency, Hz")->check(CLI::PositiveNumber)->capture_default_str();

  CLI11_PARSE(app, argc, argv);
  try {
    if (*demo) return RunDemo(length, fs, freq, amplitude);
    if (*generate) return RunGenerate(gen);
    if (*filter) return app::RunFilterDemo(flt);
  } catch (const std::exception& e) {
    std::fprintf(stderr, "ondrix: %s\n", e.what());
    return 1;
  }
  return 0;
}
