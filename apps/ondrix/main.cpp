// The ondrix command-line tool: each subcommand builds a graph of the library's components and
// pulls it. Exit status 0 on success, 1 on a runtime failure, 2 on a usage error.
#include <cstdio>
#include <exception>
#include <memory>
#include <string>

#include <CLI/CLI.hpp>

#include "apps/ondrix/audio_commands.h"
#include "apps/ondrix/batch_command.h"
#include "apps/ondrix/bispectrum_command.h"
#include "apps/ondrix/coherence_command.h"
#include "apps/ondrix/demo_command.h"
#include "apps/ondrix/file_commands.h"
#include "apps/ondrix/filter_commands.h"
#include "apps/ondrix/generate_command.h"
#include "apps/ondrix/multirate_commands.h"
#include "apps/ondrix/run_command.h"
#include "apps/ondrix/spectrum_command.h"
#include "apps/ondrix/spectrogram_command.h"
#include "apps/ondrix/tool_common.h"
#include "ondrix/version.h"

namespace {

using namespace ondrix::app;

void AddFileCommands(CLI::App& app, Commands& commands) {
  struct InfoOptions {
    std::string file;
    TPlotOptions plot;
    int record = 0;
    bool json = false, quiet = false;
  };
  auto info = std::make_shared<InfoOptions>();
  CLI::App* sub = app.add_subcommand("info", "Describe a signal file: format, records, rate, channels, precision");
  sub->add_option("file", info->file, "A .dat, .bin, .dbn, .sgl, .sfs, .asc or .wav file")->required();
  sub->add_flag("--json", info->json, "One JSON object instead of a table");
  AddPlotOptions(*sub, info->plot, "Also draw the record's channels over time");
  sub->add_option("-r,--record", info->record, "Record drawn by --plot")->check(CLI::NonNegativeNumber)
      ->capture_default_str();
  sub->add_flag("-q,--quiet", info->quiet, "No progress on stderr");
  sub->footer("Example: ondrix info recording.wav --plot recording.png");
  commands.push_back({sub, [info] {
                        const int status = RunInfo(info->file, info->json);
                        if (!info->plot.File.empty()) PlotWaveform(info->file, info->record, info->plot, info->quiet);
                        return status;
                      }});

  auto conv = std::make_shared<ConvertOptions>();
  sub = app.add_subcommand("convert",
                           "Convert a signal file to another format, frame by frame (the format follows the extension)");
  sub->add_option("in", conv->in, "Input file")->required();
  sub->add_option("out", conv->out, "Output file (.dat, .bin, .dbn, .sgl, .sfs, .asc or .wav)")->required();
  sub->add_option("-p,--precision", conv->precision,
                  "Stored precision: double, single, int32, uint32, int16, uint16, int8, uint8, mulaw, alaw, "
                  "int24 (default: the input's, or single for a wave file that cannot hold it)");
  sub->add_option("-r,--record", conv->record, "Only this record (default: all the output format can hold)")
      ->check(CLI::NonNegativeNumber);
  sub->add_option("--scale", conv->scale, "Factor applied to every value (values are not scaled otherwise)")
      ->check(FiniteRange(-1e300, 1e300))->capture_default_str();
  sub->add_flag("-q,--quiet", conv->quiet, "No progress on stderr");
  sub->footer("Example: ondrix convert recording.wav recording.dat --precision double");
  commands.push_back({sub, [conv] { return RunConvert(*conv); }});
}

void AddAudioCommands(CLI::App& app, Commands& commands) {
  CLI::App* sub = app.add_subcommand("devices", "List the sound card's playback devices");
  sub->footer("Example: ondrix devices");
  commands.push_back({sub, [] { return RunDevices(); }});

  auto pl = std::make_shared<PlayOptions>();
  sub = app.add_subcommand("play", "Play a signal file on the sound card (Ctrl-C stops)");
  sub->add_option("file", pl->file, "A signal file, mono or stereo")->required();
  sub->add_option("-d,--device", pl->device, "Playback device: an index of `ondrix devices` or an ALSA name");
  sub->add_option("--buffers", pl->buffers, "Device buffers in the ring (2 .. 24)")->check(CLI::Range(2, 24))
      ->capture_default_str();
  sub->add_option("--buffer-size", pl->bufferSize, "Bytes per buffer (default: a tenth of a second)")
      ->check(CLI::Range(0, 1 << 26));
  sub->add_option("--scale", pl->scale,
                  "Factor on every value (default: the file's full scale to 16 bits; floats as -1 .. 1)")
      ->check(FiniteRange(-1e300, 1e300));
  sub->add_flag("-q,--quiet", pl->quiet, "No elapsed time on stderr");
  sub->footer("Example: ondrix play recording.wav --device hw:0,0");
  commands.push_back({sub, [pl] { return RunPlay(*pl); }});
}

void AddMultiRateCommands(CLI::App& app, Commands& commands) {
  auto dec = std::make_shared<MultiRateOptions>();
  CLI::App* sub = app.add_subcommand("decimate", "Decimate a signal file by a power of two, every channel");
  AddMultiRateOptions(*sub, *dec);
  sub->footer("Example: ondrix decimate recording.wav slow.wav --factor 8");
  commands.push_back({sub, [dec] { return RunDecimate(*dec); }});

  auto env = std::make_shared<MultiRateOptions>();
  sub = app.add_subcommand("envelope", "The envelope of a signal file, decimated by a power of two");
  AddMultiRateOptions(*sub, *env);
  sub->footer("Example: ondrix envelope vibration.wav envelope.wav --factor 16");
  commands.push_back({sub, [env] { return RunEnvelope(*env); }});
}

}  // namespace

int main(int argc, char** argv) {
  CLI::App app{"ondrix: signal-processing components on the command line"};
  app.require_subcommand(1);
  app.set_version_flag("--version", std::string("ondrix ") + ONDRIX_VERSION);
  app.footer("Exit status: 0 success, 1 runtime failure (unreadable file, failed design, ...), 2 usage error.\n"
             "`ondrix COMMAND --help` shows a command's options, their defaults and an example.");
  app.failure_message([](const CLI::App*, const CLI::Error& e) {
    return std::string("ondrix: ") + e.what() + "\nRun with --help for more information.\n";
  });
  Commands commands;
  AddDemoCommand(app, commands);
  AddFileCommands(app, commands);
  AddGenerateCommand(app, commands);
  AddSpectrumCommand(app, commands);
  AddSpectrogramCommand(app, commands);
  AddFilterCommands(app, commands);
  AddCoherenceCommand(app, commands);
  AddBispectrumCommand(app, commands);
  AddMultiRateCommands(app, commands);
  AddRunCommand(app, commands);
  AddBatchCommand(app, commands);
  AddAudioCommands(app, commands);

  if (argc > 1 && argv[1][0] != '-') {
    bool known = false;
    std::string names;
    for (const Command& c : commands) {
      known = known || c.sub->get_name() == argv[1];
      names += (names.empty() ? "" : ", ") + c.sub->get_name();
    }
    if (!known) {
      std::fprintf(stderr, "ondrix: unknown command '%.40s'; commands: %s\n", argv[1], names.c_str());
      return 2;
    }
  }
  try {
    app.parse(argc, argv);
  } catch (const CLI::ParseError& e) {
    const int rc = app.exit(e);
    return rc == 0 ? 0 : 2;
  }
  try {
    for (const Command& c : commands)
      if (c.sub->parsed()) return c.run();
  } catch (const CLI::Error& e) {
    std::fprintf(stderr, "ondrix: %s\n", e.what());
    return 2;
  } catch (const std::exception& e) {
    std::fprintf(stderr, "ondrix: %s\n", e.what());
    return 1;
  }
  return 0;
}
