#include "apps/ondrix/multirate_commands.h"

#include "apps/ondrix/channel_stages.h"
#include "apps/ondrix/tool_common.h"

#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <functional>
#include <memory>
#include <stdexcept>
#include <vector>

#include "ondrix/FileSignal/FileSignal.h"
#include "ondrix/SignalProcessing/SignalProcessing.h"

namespace ondrix::app {

namespace {

int Run(const MultiRateOptions& o, bool envelope) {
  TSignalRead reader(nullptr);
  OpenReader(reader, o.in);
  if (std::filesystem::exists(o.out) && std::filesystem::equivalent(o.in, o.out))
    throw std::runtime_error("the output would overwrite the input");
  const double ripple = std::pow(10.0, -o.attenuation / 20.0);
  TChannelStages<TSignalDecimator> stages(
      [&]() -> std::unique_ptr<TSignalDecimator> {
        std::unique_ptr<TSignalDecimator> d;
        if (envelope)
          d = std::make_unique<TSignalEnvelopeDetector>(nullptr);
        else
          d = std::make_unique<TSignalDecimator>(nullptr);
        d->SetFactor(o.factor);
        d->SetRipple(ripple);
        d->SetTransBW(o.transition);
        return d;
      },
      std::max(reader.ChannelCount(), 1), 1.0 / o.factor);
  stages.SetInput(&reader);
  if (envelope) stages.MinBlock = o.factor;
  TSignalWrite writer(nullptr);
  SetUpWriter(writer, o.out, reader.Precision());
  writer.SetInput(&stages);
  StreamFromStart(reader, std::max(4096, o.factor));
  const double delay = stages.Item(0).Delay();
  Progress progress(envelope ? "envelope" : "decimating", reader.RecordLength(), o.quiet);
  double done = 0;
  while (writer.Pull() == pipeOK) {
    done += reader.Length() / std::max(reader.ChannelCount(), 1);
    progress.Update(done);
  }
  const long long written = writer.RecordLength();
  writer.CloseFile();
  const double fs = reader.SamplingFrequency();
  std::printf("%s (%g Hz, %d samples x %d channels) -> %s (%g Hz, %lld samples): %s by %d, alias rejection "
              "%g dB, delay %g input samples (%g s)\n",
              o.in.c_str(), fs, reader.RecordLength(), reader.ChannelCount(), o.out.c_str(), fs / o.factor, written,
              envelope ? "envelope decimated" : "decimated", o.factor, o.attenuation, delay, delay / fs);
  return 0;
}

}  // namespace

void AddMultiRateOptions(CLI::App& sub, MultiRateOptions& o) {
  sub.add_option("in", o.in, "Input file")->required();
  sub.add_option("out", o.out, "Output file (.dat, .bin, .dbn, .sgl, .sfs, .asc or .wav)")->required();
  sub.add_option("-f,--factor", o.factor, "Rate reduction, a power of two")
      ->check(CLI::Validator([](std::string& v) {
        const long f = std::strtol(v.c_str(), nullptr, 10);
        return f >= 1 && f <= (1 << 16) && (f & (f - 1)) == 0 ? std::string() : "a power of two from 1 to 65536";
      }, "POWER OF 2"))
      ->capture_default_str();
  sub.add_option("-a,--attenuation", o.attenuation, "Alias rejection, dB")->check(CLI::Range(6.0, 300.0))
      ->capture_default_str();
  sub.add_option("-t,--transition", o.transition, "Transition width, a fraction of the new Nyquist frequency")
      ->check(CLI::Range(0.01, 0.9))->capture_default_str();
  sub.add_flag("-q,--quiet", o.quiet, "No progress on stderr");
}

int RunDecimate(const MultiRateOptions& o) { return Run(o, false); }

int RunEnvelope(const MultiRateOptions& o) { return Run(o, true); }

}  // namespace ondrix::app
