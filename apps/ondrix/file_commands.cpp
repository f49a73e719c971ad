#include "apps/ondrix/file_commands.h"

#include "apps/ondrix/plot.h"
#include "apps/ondrix/tool_common.h"

#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cmath>
#include <cstdio>
#include <filesystem>
#include <memory>
#include <stdexcept>
#include <vector>

#include <CLI/CLI.hpp>

#include "ondrix/FileSignal/FileSignal.h"
#include "ondrix/SignalAnalysis/SignalAnalysis.h"
#include "ondrix/SignalProcessing/SignalProcessing.h"
#include "ondrix/vec/calcbase.h"

namespace ondrix::app {

namespace {

const char* PrecisionName(TPrecision p) { return PrecisionNames().at(static_cast<std::size_t>(p)).c_str(); }

std::string JsonString(const std::string& s) {
  std::string out = "\"";
  for (char c : s) {
    if (c == '"' || c == '\\') out += '\\';
    if (static_cast<unsigned char>(c) < 0x20) {
      char hex[8];
      std::snprintf(hex, sizeof hex, "\\u%04x", c);
      out += hex;
      continue;
    }
    out += c;
  }
  return out + "\"";
}

}  // namespace

void PlotWaveform(const std::string& file, int record, const TPlotOptions& plot, bool quiet) {
  CheckPlotFile(plot.File);
  TSignalRead r(nullptr);
  OpenReader(r, file);
  if (record >= r.NumberOfRecords())
    throw CLI::ValidationError("--record", "the file has " + std::to_string(r.NumberOfRecords()) + " record(s)");
  r.SetRecordNumber(record);
  if (r.Complex()) throw std::runtime_error("complex records are not drawn");
  const int channels = std::max(r.ChannelCount(), 1), shown = std::min(channels, 8);
  const long long samples = r.RecordLength();
  if (samples < 2) throw std::runtime_error("the record holds fewer than two samples");
  std::vector<TEnvelope> env(shown, TEnvelope(samples, 1500));
  StreamFromStart(r);
  Progress progress("reading", static_cast<double>(samples), quiet);
  while (r.Pull() == pipeOK) {
    const TVec& x = r.Data();
    for (int i = 0; i + channels <= x.Length(); i += channels)
      for (int c = 0; c < shown; ++c) env[c].Add(x.Values(i + c));
    progress.Update(r.RecordPosition());
  }
  const double dt = 1.0 / r.SamplingFrequency();
  TFigure fig(plot.File, shown, plot.W(1000), plot.H(shown == 1 ? 460 : 300 * shown));
  for (int c = 0; c < shown; ++c) {
    const TCurve curve = env[c].Curve(dt);
    fig.Lines(file + ": channel " + std::to_string(c) + (channels > shown && c == 0 ? " (the first 8 of " +
                  std::to_string(channels) + ")" : ""),
              {"Time (s)", 0.0, samples * dt}, FitAxis("Value", curve.Y), {curve});
  }
}

int RunInfo(const std::string& file, bool json) {
  TSignalRead r(nullptr);
  r.SetFileName(file);
  r.OpenFile();
  if (json)
    std::printf("{\"file\": %s, \"format\": %s, \"description\": %s, \"records\": [", JsonString(file).c_str(),
                JsonString(r.FormatTagDescription()).c_str(), JsonString(r.FormatDescription()).c_str());
  else
    std::printf("file: %s\nformat: %s\ndescription: %s\nrecords: %d\n%-7s %12s %14s %12s %9s %-11s %s\n", file.c_str(),
                r.FormatTagDescription().c_str(), r.FormatDescription().c_str(), r.NumberOfRecords(), "record",
                "samples", "duration (s)", "rate (Hz)", "channels", "precision", "complex");
  const int n = r.NumberOfRecords();
  for (int k = 0; k < n; ++k) {
    r.SetRecordNumber(k);
    if (json)
      std::printf("%s{\"record\": %d, \"samples\": %d, \"duration\": %s, \"rate\": %s, \"channels\": %d, "
                  "\"precision\": \"%s\", \"complex\": %s}",
                  k ? ", " : "", k, r.RecordLength(), FloatToStr(r.RecordTime(), ".").c_str(),
                  FloatToStr(r.SamplingFrequency(), ".").c_str(), r.ChannelCount(), PrecisionName(r.Precision()),
                  r.Complex() ? "true" : "false");
    else
      std::printf("%-7d %12d %14.6f %12g %9d %-11s %s\n", k, r.RecordLength(), r.RecordTime(), r.SamplingFrequency(),
                  r.ChannelCount(), PrecisionName(r.Precision()), r.Complex() ? "yes" : "no");
  }
  if (json) std::printf("]}\n");
  return 0;
}

int RunConvert(const ConvertOptions& o) {
  TSignalRead reader(nullptr);
  OpenReader(reader, o.in);
  reader.SetScaleFactor(o.scale);
  TSignalWrite writer(nullptr);
  writer.SetName("Writer");
  writer.SetFileName(o.out);
  if (std::filesystem::exists(o.out) && std::filesystem::equivalent(o.in, o.out))
    throw std::runtime_error("the output would overwrite the input");
  const TFileFormat target = writer.FileFormat();
  TPrecision precision = o.precision.empty() ? reader.Precision() : ParsePrecision(o.precision);
  if (target == ffWav && !WaveWritable(precision)) {
    if (!o.precision.empty())
      throw CLI::ValidationError("--precision", "a wave file stores uint8, int16, int24, int32 or single, not " +
                                                    o.precision);
    precision = prSingle;  // floats keep every value of a double or unusual source
  }
  writer.SetPrecision(precision);
  writer.SetInput(&reader);

  const bool multi = target == ffDat || target == ffBin || target == ffDbn || target == ffSgl;
  std::vector<int> records;
  if (o.record >= 0) {
    if (o.record >= reader.NumberOfRecords())
      throw std::runtime_error("record " + std::to_string(o.record) + " of " +
                               std::to_string(reader.NumberOfRecords()) + " does not exist");
    records.push_back(o.record);
  } else {
    for (int k = 0; k < (multi ? reader.NumberOfRecords() : std::min(reader.NumberOfRecords(), 1)); ++k)
      records.push_back(k);
  }
  double total = 0, done = 0;
  for (int k : records) {
    reader.SetRecordNumber(k);
    total += reader.RecordLength();
  }
  Progress progress("converting", total, o.quiet);
  long long samples = 0;
  for (int k : records) {
    reader.SetRecordNumber(k);
    reader.SetLastFrameCheck(lfcAdjustLength);
    if (target == ffSgl) {
      // A .sgl record is written whole.
      reader.SetLength(std::max(reader.RecordLength(), 1) * reader.ChannelCount());
      reader.SetRecordPosition(0);
      writer.SaveRecord();
      samples += reader.RecordLength();
      continue;
    }
    reader.SetLength(NaturalFrame(reader));
    reader.SetRecordPosition(0);
    while (writer.Pull() == pipeOK) {
      done += reader.Length() / std::max(reader.ChannelCount(), 1);
      progress.Update(done);
    }
    samples += writer.RecordLength();
    writer.CloseRecord();
  }
  writer.CloseFile();
  std::printf("%s (%s) -> %s (%s, %s): %zu record%s, %lld samples per channel\n", o.in.c_str(),
              reader.FormatTagDescription().c_str(), o.out.c_str(), FileFormatExtension(target),
              PrecisionName(precision), records.size(), records.size() == 1 ? "" : "s", samples);
  return 0;
}

namespace {

/// Largest amplitude within two lines of f in an amplitude spectrum.
double LevelAt(const TSpectrum& s, double f) {
  const int k = static_cast<int>(std::lround(f / s.HzRes()));
  double a = 0;
  for (int i = std::max(k - 2, 0); i <= std::min(k + 2, s.Amplt().Length() - 1); ++i) a = std::max(a, s.Amplt().Values(i));
  return a;
}

/// The averaged amplitude spectrum of a whole file (Hann, 4096-point frames).
std::unique_ptr<TSpectrumAnalyzer> AnalyseFile(TSignalRead& reader) {
  auto an = std::make_unique<TSpectrumAnalyzer>(nullptr);
  an->SetInput(&reader);
  an->SetWindow(wtHanning);
  an->SetSpectrumType(stDoubleAmplitude);
  an->SetPhaseMode(pmIgnore);
  an->Stats()->SetAveraging(avLinear);
  an->Stats()->SetAverages(1u << 30);
  reader.SetLength(4096);
  reader.SetLastFrameCheck(lfcLastFullBlock);
  while (an->Pull() == pipeOK) {
  }
  return an;
}

}  // namespace

int RunFileDemo(const std::string& dirOption) {
  std::string dir = dirOption;
  if (dir.empty()) {
    char pattern[] = "/tmp/ondrix-demo-XXXXXX";
    if (!::mkdtemp(pattern)) throw std::runtime_error("cannot create a temporary folder");
    dir = pattern;
  }
  std::filesystem::create_directories(dir);
  const std::string tones = dir + "/tones.wav", lowpass = dir + "/lowpass.wav";
  const double fs = 48000, keep = 1500, remove = 9000, amplitude = 8000;

  // 2 s of two tones plus noise, as 16-bit samples; both tones sit on lines of the analysis.
  TSignalGenerator gen(nullptr);
  gen.SetSamplingFrequency(fs);
  gen.SetLength(4800);
  TFuncSignalList* lines = gen.Sounds()->Template();
  lines->Add(FunctionLine(funSine, {keep, 0.0, amplitude}));
  lines->Add(FunctionLine(funSine, {remove, 0.0, amplitude}));
  lines->Add(OperatorLine(opAdd));
  lines->Add(FunctionLine(funRandGauss, {0.0, 10.0}));
  lines->Add(OperatorLine(opAdd));
  TSignalWrite w1(nullptr);
  w1.SetFileName(tones);
  w1.SetPrecision(prSmallInt);
  w1.SetAuthorInfo("ondrix demo");
  w1.SetInput(&gen);
  for (int b = 0; b < 20; ++b) w1.Pull();
  w1.CloseFile();

  // The file, low-passed (elliptic, 80 dB from 6 kHz) into a second file.
  TSignalRead r1(nullptr);
  r1.SetFileName(tones);
  r1.SetLength(4800);
  TSignalFilter filter(nullptr);
  filter.SetInput(&r1);
  filter.SetResponse(rstIIR);
  filter.SetIirMethod(imElliptic);
  filter.SetUseNormalizedFrequency(false);
  filter.Bands().Add(0.0, 4000.0, 1.0, 0.5);
  filter.Bands().Add(6000.0, fs / 2, 0.0, 80.0);
  TSignalWrite w2(nullptr);
  w2.SetFileName(lowpass);
  w2.SetPrecision(prSmallInt);
  w2.SetInput(&filter);
  while (w2.Pull() == pipeOK) {
  }
  w2.CloseFile();

  std::printf("\nfiles: a generated WAV, low-passed into a second WAV, both analysed (in %s)\n", dir.c_str());
  TSignalRead a(nullptr), b(nullptr);
  a.SetFileName(tones);
  b.SetFileName(lowpass);
  a.OpenFile();
  b.OpenFile();
  for (TSignalRead* r : {&a, &b})
    std::printf("  %-12s %s, %d samples\n", std::filesystem::path(r->FileName()).filename().c_str(),
                r->FormatDescription().c_str(), r->RecordLength());
  auto sa = AnalyseFile(a), sb = AnalyseFile(b);
  std::printf("  %-10s %14s %14s %12s   (averaged over %u frames, Hann)\n", "tone", "tones.wav", "lowpass.wav", "gain",
              sa->Stats()->Averaged());
  for (double f : {keep, remove}) {
    const double x = LevelAt(*sa, f), y = LevelAt(*sb, f);
    std::printf("  %-10s %14.2f %14.3f %9.2f dB\n", (std::to_string(static_cast<int>(f)) + " Hz").c_str(), x, y,
                20.0 * std::log10(y / x));
  }
  return 0;
}

}  // namespace ondrix::app
