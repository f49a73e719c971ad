// The ondrix command-line tool.
#include <algorithm>
#include <cmath>
#include <cstdio>
#include <memory>
#include <stdexcept>
#include <string>

#include <CLI/CLI.hpp>

#include "apps/ondrix/audio_commands.h"
#include "apps/ondrix/file_commands.h"
#include "apps/ondrix/filter_demo.h"
#include "apps/ondrix/multirate_commands.h"
#include "ondrix/SignalAnalysis/SignalAnalysis.h"
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

/// Window names of the command line, by TSignalWindowType value.
const char* const kWindowNames[] = {"rectangular", "hanning",  "hamming", "flattop", "bartlett",
                                    "blackman",    "blackmanharris", "blackmanexact", "cosine",
                                    "kaiser",      "chebyshev", "exponent"};

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
  int window = -1;
  for (int w = 0; w < SignalWindowTypeCount; ++w)
    if (o.window == kWindowNames[w]) window = w;
  if (window < 0) throw std::runtime_error("unknown window '" + o.window + "'");
  if (o.bands != "octave" && o.bands != "third" && o.bands != "none")
    throw std::runtime_error("--bands takes octave, third or none");
  auto g = HarmonicGenerator(o);
  TSpectrumAnalyzer an(nullptr);
  an.SetName("Analyzer");
  an.SetInput(g.get());
  an.SetWindow(static_cast<TSignalWindowType>(window));
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
              kWindowNames[window], o.length, an.Stats()->Averaged(), o.logarithmic ? " in dB" : "", an.HzRes());
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
  if (int rc = app::RunFilterDemo(app::FilterDemoOptions{}); rc != 0) return rc;

  std::printf("\nspectrum analysis of a tone with harmonics plus noise (averaging, harmonic search, "
              "octave bands):\n");
  if (int rc = RunAnalyze(AnalyzeOptions{}); rc != 0) return rc;
  return app::RunFileDemo("");
}

}  // namespace

int main(int argc, char** argv) {
  CLI::App app{"ondrix: signal-processing components on the command line"};
  app.require_subcommand(1);

  auto* demo = app.add_subcommand("demo", "Every step in turn: a tone's FFT, the generator, the filter, the analyzer");
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

  auto* analyze = app.add_subcommand(
      "analyze", "Analyse a generated tone with harmonics plus noise: peaks, THD and band levels");
  AnalyzeOptions ana;
  analyze->add_option("-f,--freq", ana.freq, "Fundamental, Hz")->check(CLI::PositiveNumber)->capture_default_str();
  analyze->add_option("-a,--amplitude", ana.amplitude, "Fundamental's amplitude (peak)")->capture_default_str();
  analyze->add_option("--harmonics", ana.harmonics, "Tones: the fundamental and harmonics 2 .. this")
      ->check(CLI::PositiveNumber)->capture_default_str();
  analyze->add_option("-d,--distortion", ana.distortion, "Harmonic k has amplitude * distortion / (k - 1)")
      ->capture_default_str();
  analyze->add_option("-s,--noise", ana.noiseSd, "Standard deviation of the gaussian noise (0: none)")
      ->capture_default_str();
  analyze->add_option("--fs", ana.fs, "Sampling frequency, Hz")->check(CLI::PositiveNumber)->capture_default_str();
  analyze->add_option("-n,--length", ana.length, "Samples per frame")->check(CLI::Range(8, 1 << 24))
      ->capture_default_str();
  analyze->add_option("-b,--frames", ana.frames, "Frames averaged")->check(CLI::PositiveNumber)->capture_default_str();
  analyze->add_option("-w,--window", ana.window,
                      "Window: rectangular, hanning, hamming, flattop, bartlett, blackman, blackmanharris, "
                      "blackmanexact, cosine, kaiser, chebyshev, exponent")
      ->capture_default_str();
  analyze->add_option("--bands", ana.bands, "Band levels: octave, third or none")->capture_default_str();
  analyze->add_flag("--db", ana.logarithmic, "Spectrum and peaks in dB (re 1)");

  auto* info = app.add_subcommand("info", "Describe a signal file: format, records, rate, channels, precision");
  std::string infoFile;
  bool infoJson = false;
  info->add_option("file", infoFile, "A .dat, .bin, .dbn, .sgl, .sfs, .asc or .wav file")->required();
  info->add_flag("--json", infoJson, "One JSON object instead of a table");

  auto* convert = app.add_subcommand(
      "convert", "Convert a signal file to another format, frame by frame (the format follows the extension)");
  app::ConvertOptions conv;
  convert->add_option("in", conv.in, "Input file")->required();
  convert->add_option("out", conv.out, "Output file (.dat, .bin, .dbn, .sgl, .sfs, .asc or .wav)")->required();
  convert->add_option("-p,--precision", conv.precision,
                      "Stored precision: double, single, int32, uint32, int16, uint16, int8, uint8, mulaw, alaw, "
                      "int24 (default: the input's, or single for a wave file that cannot hold it)");
  convert->add_option("-r,--record", conv.record, "Only this record (default: all the output format can hold)")
      ->check(CLI::NonNegativeNumber);
  convert->add_option("--scale", conv.scale, "Factor applied to every value (values are not scaled otherwise)")
      ->capture_default_str();
  convert->add_flag("-q,--quiet", conv.quiet, "No progress on stderr");
  convert->footer("Example: ondrix convert recording.wav recording.dat --precision double");

  auto* devices = app.add_subcommand("devices", "List the sound card's playback devices");

  auto* play = app.add_subcommand("play", "Play a signal file on the sound card (Ctrl-C stops)");
  app::PlayOptions pl;
  play->add_option("file", pl.file, "A signal file, mono or stereo")->required();
  play->add_option("-d,--device", pl.device, "Playback device: an index of `ondrix devices` or an ALSA name");
  play->add_option("--buffers", pl.buffers, "Device buffers in the ring (2 .. 24)")->capture_default_str();
  play->add_option("--buffer-size", pl.bufferSize, "Bytes per buffer (default: a tenth of a second)")
      ->check(CLI::NonNegativeNumber);
  play->add_option("--scale", pl.scale,
                   "Factor on every value (default: the file's full scale to 16 bits; floats as -1 .. 1)");
  play->add_flag("-q,--quiet", pl.quiet, "No elapsed time on stderr");
  play->footer("Example: ondrix play recording.wav --device hw:0,0");

  auto* decimate = app.add_subcommand("decimate", "Decimate a signal file by a power of two, every channel");
  app::MultiRateOptions dec;
  app::AddMultiRateOptions(*decimate, dec);
  decimate->footer("Example: ondrix decimate recording.wav slow.wav --factor 8");

  auto* envelope = app.add_subcommand("envelope", "The envelope of a signal file, decimated by a power of two");
  app::MultiRateOptions env;
  app::AddMultiRateOptions(*envelope, env);
  envelope->footer("Example: ondrix envelope vibration.wav envelope.wav --factor 16");

  CLI11_PARSE(app, argc, argv);
  try {
    if (*demo) return RunDemo(length, fs, freq, amplitude);
    if (*generate) return RunGenerate(gen);
    if (*filter) return app::RunFilterDemo(flt);
    if (*analyze) return RunAnalyze(ana);
    if (*info) return app::RunInfo(infoFile, infoJson);
    if (*convert) return app::RunConvert(conv);
    if (*devices) return app::RunDevices();
    if (*play) return app::RunPlay(pl);
    if (*decimate) return app::RunDecimate(dec);
    if (*envelope) return app::RunEnvelope(env);
  } catch (const std::exception& e) {
    std::fprintf(stderr, "ondrix: %s\n", e.what());
    return 1;
  }
  return 0;
}
