// The tool's `demo` command: every layer in turn on generated signals (a tone's FFT, the
// generator, the filter, the analyzer, and real files), with its own settings per step.
#include "apps/ondrix/demo_command.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <memory>
#include <stdexcept>
#include <string>

#include "apps/ondrix/file_commands.h"
#include "apps/ondrix/filter_demo.h"
#include "ondrix/SignalAnalysis/SignalAnalysis.h"
#include "ondrix/SignalProcessing/SignalProcessing.h"
#include "ondrix/vec/TVec.h"

namespace ondrix::app {

namespace {

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

/// What `analyze` measures: a tone with harmonics plus noise, analysed frame by frame.
struct AnalyzeOptions {
  double freq = 1000.0;       // fundamental, Hz
  double amplitude = 1.0;     // peak amplitude of the fundamental
  int harmonics = 5;          // tones: the fundamental and harmonics 2 .. harmonics
  double distortion = 0.01;   // harmonic k has the amplitude amplitude·distortion/(k − 1)
  double noiseSd = 0.001;     // standard deviation of the gaussian noise
  double fs = 48000.0;        // Hz
  int length = 4096;          // samples per frame
  int frames = 16;            // frames averaged
  std::string window = "flattop";
  std::string bands = "octave";  // octave, third or none
  bool logarithmic = false;
};

/// A generator of "sine f + sine 2f + ... + noise" in reverse Polish order.
std::unique_ptr<TSignalGenerator> HarmonicGenerator(const AnalyzeOptions& o) {
  auto g = std::make_unique<TSignalGenerator>(nullptr);
  g->SetName("Generator");
  g->SetSamplingFrequency(o.fs);
  g->SetLength(o.length);
  TFuncSignalList* lines = g->Sounds()->Template();
  lines->Add(FunctionLine(funSine, {o.freq, 0.0, o.amplitude}));
  for (int k = 2; k <= o.harmonics; ++k) {
    lines->Add(FunctionLine(funSine, {k * o.freq, 30.0 * k, o.amplitude * o.distortion / (k - 1)}));
    lines->Add(OperatorLine(opAdd));
  }
  if (o.noiseSd > 0) {
    lines->Add(FunctionLine(funRandGauss, {0.0, o.noiseSd}));
    lines->Add(OperatorLine(opAdd));
  }
  return g;
}

/// Averages the spectra of the generated frames, finds the fundamental and its harmonics, and
/// prints the peaks, the THD and the band levels.
int RunAnalyze(const AnalyzeOptions& o) {
  const TSignalWindowType window = ParseWindow(o.window);
  if (o.bands != "octave" && o.bands != "third" && o.bands != "none")
    throw std::runtime_error("--bands takes octave, third or none");
  auto g = HarmonicGenerator(o);
  TSpectrumAnalyzer an(nullptr);
  an.SetName("Analyzer");
  an.SetInput(g.get());
  an.SetWindow(window);
  an.SetSpectrumType(stDoubleAmplitude);  // a tone reads its peak amplitude
  an.SetPhaseMode(pmIgnore);
  an.SetLogarithmic(o.logarithmic);
  an.Stats()->SetAveraging(avLinear);
  an.Stats()->SetAverages(static_cast<unsigned>(o.frames));
  an.Peaks()->SetTraceMethod(ptAmpltHarmonics);
  an.Peaks()->SetHarmonicsCount(std::max(o.harmonics, 2));
  an.Bands()->SetNoiseBandwidthCorrection(true);  // band levels independent of the window
  if (o.bands == "octave") an.Bands()->SetOctaveBands(16.0, std::min(16000.0, o.fs / 2));
  if (o.bands == "third") an.Bands()->SetThirdOctaveBands(20.0, std::min(20000.0, o.fs / 2));
  for (int f = 0; f < o.frames; ++f) an.Pull();

  double expected = 0;
  for (int k = 2; k <= o.harmonics; ++k) expected += std::pow(o.distortion / (k - 1), 2);
  std::printf("tone %g Hz, amplitude %g, harmonics 2..%d at %g/(k-1) of it, noise sd %g, at %g Hz\n", o.freq,
              o.amplitude, o.harmonics, o.distortion, o.noiseSd, o.fs);
  std::printf("analyzer: %s window, %d-point frames, %u frames averaged (linear), peak amplitude%s, "
              "%g Hz per line\n",
              WindowName(window), o.length, an.Stats()->Averaged(), o.logarithmic ? " in dB" : "", an.HzRes());
  std::printf("%s", an.Report()->Text().c_str());
  std::printf("THD of the generated tones %.4f %% (the measured value adds the noise in the harmonics' lines)\n",
              100.0 * std::sqrt(expected));

  // Averaged marks sit on lines; one frame without averaging can be refined between them. The
  // Hann window's lobe peaks at the tone (a flat top's is flat and rippled, not peaked).
  TSpectrumAnalyzer one(nullptr);
  one.SetName("OneFrame");
  one.SetInput(g.get());
  one.SetWindow(wtHanning);
  one.SetSpectrumType(stDoubleAmplitude);
  one.SetPhaseMode(pmIgnore);
  one.Peaks()->SetTraceMethod(ptLargest);
  one.Peaks()->Interpolation()->SetMethod(imNumeric);
  one.Pull();
  if (one.Peaks()->Count() > 0) {
    const TMarkRecord& m = one.Peaks()->GetMarks(0);
    std::printf("largest peak of one frame (Hann), refined between the lines (imNumeric, HzRes/10^6): %.4f Hz, "
                "amplitude %.6f\n",
                m.Freq, m.Amplt);
  }
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
  if (int rc = RunFilterDemo(FilterDemoOptions{}); rc != 0) return rc;

  std::printf("\nspectrum analysis of a tone with harmonics plus noise (averaging, harmonic search, "
              "octave bands):\n");
  if (int rc = RunAnalyze(AnalyzeOptions{}); rc != 0) return rc;
  return RunFileDemo("");
}

}  // namespace

void AddDemoCommand(CLI::App& app, Commands& commands) {
  struct DemoOptions {
    int length = 4096;
    double fs = 48000.0, freq = 1500.0, amplitude = 1.0;
  };
  auto o = std::make_shared<DemoOptions>();
  CLI::App* demo = app.add_subcommand("demo", "Every step in turn: a tone's FFT, the generator, the filter, the "
                                              "analyzer, and real files");
  demo->add_option("-n,--length", o->length, "Number of samples")->check(CLI::Range(8, 1 << 24))
      ->capture_default_str();
  demo->add_option("--fs", o->fs, "Sampling frequency, Hz")->check(FinitePositive())->capture_default_str();
  demo->add_option("-f,--freq", o->freq, "Tone frequency, Hz")->check(FinitePositive())->capture_default_str();
  demo->add_option("-a,--amplitude", o->amplitude, "Tone amplitude")->check(FiniteRange(-1e12, 1e12))
      ->capture_default_str();
  demo->footer("Example: ondrix demo -f 1000");
  commands.push_back({demo, [o] {
                        if (o->freq >= o->fs / 2)
                          throw CLI::ValidationError("--freq", "must be below half the sampling rate");
                        return RunDemo(o->length, o->fs, o->freq, o->amplitude);
                      }});
}

}  // namespace ondrix::app
