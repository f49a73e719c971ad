#include "apps/ondrix/generate_command.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <memory>
#include <string>
#include <vector>

#include "apps/ondrix/expression.h"
#include "ondrix/FileSignal/FileSignal.h"
#include "ondrix/SignalProcessing/SignalProcessing.h"

namespace ondrix::app {

namespace {

struct GenerateOptions {
  std::string out;
  std::vector<std::string> formulas;  // one per channel
  double fs = 48000.0, duration = 1.0;
  int block = 4096;
  std::string precision;  // "" : single for wave files, double otherwise
  long long seed = -1;    // < 0: the library's fixed default streams
  bool quiet = false;
};

/// Passes its input through, cut to the samples still wanted (the last block of a duration
/// that is not whole blocks).
class TCut : public TSignal {
public:
  explicit TCut(long long frames) : TSignal(nullptr), left_(frames) { SetUsesInputs(true); }
  ~TCut() override { BeginDestroy(); }
  TPipeState InternalUpdate() override {
    const TSignal& in = *Input();
    const int ch = std::max(in.ChannelCount(), 1);
    const int frames = static_cast<int>(std::min<long long>(left_, in.Length() / ch));
    Data().Size(frames * ch, in.Complex());
    Data().Copy(in.Data(), 0, 0, frames * ch);
    SetSamplingFrequency(in.SamplingFrequency());
    SetChannelCount(ch);
    left_ -= frames;
    return pipeOK;
  }
  long long Left() const { return left_; }

private:
  long long left_;
};

int Run(const GenerateOptions& o) {
  const long long frames = std::llround(o.duration * o.fs);
  const int channels = static_cast<int>(o.formulas.size());
  if (frames < 1) throw CLI::ValidationError("--duration", "gives no sample at this rate");
  if (frames * channels > (1LL << 31) - 1)
    throw CLI::ValidationError("--duration", "asks for more than 2^31 values; split the file");
  if (o.seed >= 0) SeedRandomStreams(static_cast<std::uint64_t>(o.seed));

  std::vector<std::unique_ptr<TSignalGenerator>> generators;
  for (int c = 0; c < channels; ++c) {
    auto g = std::make_unique<TSignalGenerator>(nullptr);
    g->SetName("Generator" + std::to_string(c));
    g->SetSamplingFrequency(o.fs);
    g->SetLength(o.block);
    ParseExpression(o.formulas[static_cast<std::size_t>(c)], o.fs, o.block, *g->Sounds()->Template(),
                    "formula " + std::to_string(c + 1));
    generators.push_back(std::move(g));
  }
  TSignalMux mux(nullptr);
  mux.SetName("Channels");
  TSignal* last = generators[0].get();
  if (channels > 1) {
    for (auto& g : generators) mux.Inputs()->Add()->SetInput(g.get());
    last = &mux;
  }
  TCut cut(frames);
  cut.SetName("Cut");
  cut.SetInput(last);
  TSignalWrite writer(nullptr);
  writer.SetName("Writer");
  writer.SetFileName(o.out);
  TPrecision precision = writer.FileFormat() == ffWav ? prSingle : prDouble;
  if (!o.precision.empty()) precision = ParsePrecision(o.precision);
  if (writer.FileFormat() == ffWav && !WaveWritable(precision))
    throw CLI::ValidationError("--precision", "a wave file stores uint8, int16, int24, int32 or single, not " +
                                                  o.precision);
  if (channels > 1 && (writer.FileFormat() == ffSgl || writer.FileFormat() == ffSfs || writer.FileFormat() == ffAsc))
    std::fprintf(stderr, "ondrix: note: %s keeps no channel count; the channels are stored interleaved\n",
                 o.out.c_str());
  writer.SetPrecision(precision);
  writer.SetInput(&cut);
  Progress progress("generating", static_cast<double>(frames), o.quiet);
  while (cut.Left() > 0) {
    if (writer.Pull() != pipeOK) throw std::runtime_error("the generator stopped early");
    progress.Update(static_cast<double>(frames - cut.Left()));
  }
  writer.CloseFile();
  std::printf("%s: %lld samples x %d channel(s) at %g Hz (%g s), %s\n", o.out.c_str(), frames, channels, o.fs,
              frames / o.fs, PrecisionNames()[static_cast<std::size_t>(precision)].c_str());
  return 0;
}

}  // namespace

void AddGenerateCommand(CLI::App& app, Commands& commands) {
  auto o = std::make_shared<GenerateOptions>();
  CLI::App* sub = app.add_subcommand("generate", "Write signals made from formulas to a signal file");
  sub->add_option("out", o->out, "Output file (.dat, .bin, .dbn, .sgl, .sfs, .asc or .wav)")->required();
  sub->add_option("formula", o->formulas, "One formula per channel (see below)")->required();
  sub->add_option("--fs", o->fs, "Sampling frequency, Hz")->check(FinitePositive())->capture_default_str();
  sub->add_option("-d,--duration", o->duration, "Duration, s")->check(FinitePositive())->capture_default_str();
  sub->add_option("--block", o->block, "Samples per generated block")->check(CLI::Range(16, 1 << 22))
      ->capture_default_str();
  sub->add_option("-p,--precision", o->precision,
                  "Stored precision: double, single, int32, int16, int8, int24, ... (default: single for .wav, "
                  "double otherwise; values are stored as computed, so an int16 file wants amplitudes in counts)");
  sub->add_option("--seed", o->seed, "Seed of the noise (default: the same noise every run)")
      ->check(CLI::Range(0LL, (1LL << 62)));
  sub->add_flag("-q,--quiet", o->quiet, "No progress on stderr");
  sub->footer(std::string(kExpressionHelp) + "\nExample: ondrix generate test.wav --fs 48000 -d 2 "
                                             "\"0.5*sine(1000) + noise(0.01)\" \"chirp(20, 20000, 2)\"");
  commands.push_back({sub, [o] { return Run(*o); }});
}

}  // namespace ondrix::app
