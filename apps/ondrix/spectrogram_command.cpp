#include "apps/ondrix/spectrogram_command.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

#include "apps/ondrix/framed_channel.h"
#include "apps/ondrix/plot.h"
#include "apps/ondrix/spectrum_types.h"
#include "ondrix/SignalAnalysis/SignalAnalysis.h"

namespace ondrix::app {

namespace {

struct SpectrogramOptions : TFrameOptions {
  SpectrogramOptions() { length = 1024, overlap = 75.0; }
  std::string type = "rms";
  bool dbfs = false;
  double range = 100.0;  // dB shown below the largest value
  double fmin = 0.0, fmax = -1.0;
  TPlotOptions plot;
  bool csv = false, quiet = false;
};

int Run(const SpectrogramOptions& o) {
  if (o.plot.File.empty() && !o.csv) throw CLI::ValidationError("--plot", "a spectrogram goes to --plot FILE or --csv");
  const TSignalWindowType window = ParseWindow(o.window);
  if (!o.plot.File.empty()) CheckPlotFile(o.plot.File);
  TFramedChannel in(o.file, o.channel, o.length, o.overlap, "--channel");
  if (in.Reader.Complex()) throw std::runtime_error("complex records are not analysed by this command");
  const double fs = in.Reader.SamplingFrequency();
  const double fmax = o.fmax < 0 ? fs / 2 : o.fmax;
  if (fmax > fs / 2)
    throw CLI::ValidationError("--fmax", "must be at most half the sampling rate (" + ShortNumber(fs / 2) + " Hz)");
  if (o.fmin >= fmax) throw CLI::ValidationError("--fmin", "must be below --fmax");
  const double samples = in.Samples();
  if (samples < o.length)
    throw std::runtime_error("the file holds " + ShortNumber(samples) + " samples per channel, fewer than one " +
                             std::to_string(o.length) + "-sample frame (--length)");

  TSpectrumAnalyzer an(nullptr);
  an.SetName("Analyzer");
  an.SetInput(&in.Frames);
  an.SetWindow(window);
  an.SetSpectrumType(stPower);
  an.SetScaleFactor(2.0);  // lines read (peak amplitude)²
  an.SetPhaseMode(pmIgnore);
  an.Stats()->SetAveraging(avNone);

  const int step = in.Frames.ReadStep();
  const long long frames = 1 + static_cast<long long>(samples - o.length) / step;
  // frames that share an image column are averaged as powers, as a longer average would
  const int columns = o.plot.File.empty() ? 0 : static_cast<int>(std::min<long long>(frames, TFigure::MaxColumns(o.plot.File)));
  std::vector<double> sums;
  std::vector<int> counts(columns, 0);
  int first = 0, last = -1;
  double enbwHz = 0.0;

  Progress progress("spectrogram", samples, o.quiet);
  long long frame = 0;
  for (TPipeState st; (st = in.Frames.Pull()) != pipeEnd;) {
    if (st != pipeOK) continue;
    an.Update();
    const TVec& P = an.Amplt();
    if (last < 0) {
      first = std::clamp(an.LineOf(o.fmin), 0, P.Length() - 1);
      if (an.LineFrequency(first) < o.fmin && first + 1 < P.Length()) ++first;
      last = std::clamp(an.LineOf(fmax), first, P.Length() - 1);
      if (an.LineFrequency(last) > fmax && last > first) --last;
      enbwHz = an.NoiseBandwidthLines() * an.HzRes();
      sums.assign(static_cast<std::size_t>(columns) * (last - first + 1), 0.0);
      if (o.csv) {
        std::printf("time_s");
        for (int k = first; k <= last; ++k) std::printf(",%.10g", an.LineFrequency(k));
        std::printf("\n");
      }
    }
    const int rows = last - first + 1;
    if (o.csv) {
      // the frame's centre
      std::printf("%.10g", (static_cast<double>(frame) * step + o.length / 2.0) / fs);
      for (int k = first; k <= last; ++k) std::printf(",%.10g", P.Values(k));
      std::printf("\n");
    }
    if (columns > 0) {
      const int c = static_cast<int>(std::min<long long>(frame * columns / frames, columns - 1));
      double* col = sums.data() + static_cast<std::size_t>(c) * rows;
      for (int k = first; k <= last; ++k) col[k - first] += P.Values(k);
      ++counts[c];
    }
    ++frame;
    progress.Update(in.Position());
  }
  if (frame == 0) throw std::runtime_error("no frame was analysed");
  if (columns == 0) return 0;

  const int rows = last - first + 1;
  const double fullScale = FullScale(in.Reader.Precision());
  const double ref = o.dbfs ? FullScaleReference(o.type, fullScale) : 1.0;
  const double dB = IsPowerType(o.type) ? 10.0 : 20.0;
  TImage image{std::vector<double>(sums.size()), columns, rows, 0.0, 0.0, ""};
  double top = -1e300;
  for (int c = 0; c < columns; ++c)
    for (int r = 0; r < rows; ++r) {
      const std::size_t i = static_cast<std::size_t>(c) * rows + r;
      const double v = counts[c] ? Shown(o.type, sums[i] / counts[c], enbwHz) / ref : 0.0;
      image.Z[i] = v > 0 ? dB * std::log10(v) : -1e300;
      top = std::max(top, image.Z[i]);
    }
  image.ZHi = 10.0 * std::ceil(top / 10.0);
  image.ZLo = image.ZHi - o.range;
  image.ZLabel = std::string(TypeTitle(o.type)) + " (" + DbUnit(o.type, o.dbfs) + ")";
  image = Pool(image, TFigure::MaxColumns(o.plot.File), TFigure::MaxRows(o.plot.File));
  const double hz = an.HzRes();
  TFigure fig(o.plot.File, 1, o.plot.W(1000), o.plot.H(560));
  fig.Image(o.file + ", channel " + std::to_string(o.channel) + ": " + WindowName(window) + " " +
                std::to_string(o.length) + ", " + ShortNumber(o.overlap) + " % overlap, " + std::to_string(frame) +
                " frames",
            {"Time (s)", 0.0, samples / fs}, {"Frequency (Hz)", an.LineFrequency(first) - hz / 2, an.LineFrequency(last) + hz / 2},
            image);
  return 0;
}

}  // namespace

void AddSpectrogramCommand(CLI::App& app, Commands& commands) {
  auto o = std::make_shared<SpectrogramOptions>();
  CLI::App* sub = app.add_subcommand("spectrogram", "Frame-by-frame spectra of a signal file, as an image");
  AddFrameOptions(*sub, *o, 1 << 20);
  sub->add_option("-t,--type", o->type, kTypeHelp)->check(CLI::IsMember({"peak", "rms", "power", "psd"}))
      ->capture_default_str();
  sub->add_flag("--dbfs", o->dbfs, "Levels in dB re the file's full scale (otherwise dB re 1 unit)");
  sub->add_option("--range", o->range, "Colour range, dB below the largest level")->check(FiniteRange(1, 400))
      ->capture_default_str();
  sub->add_option("--fmin", o->fmin, "Lowest frequency shown, Hz")->check(FiniteRange(0, 1e12))->capture_default_str();
  sub->add_option("--fmax", o->fmax, "Highest frequency shown, Hz (default: half the rate)")
      ->check(FiniteRange(0, 1e12, true));
  AddPlotOptions(*sub, o->plot, "The image (.png holds up to 1200 x 1200 cells, .svg 160 x 120: a vector format draws each cell)");
  sub->add_flag("--csv", o->csv, "Every frame's lines as CSV, one row per frame (time of its centre, then linear "
                                 "powers, (peak amplitude)^2)");
  sub->add_flag("-q,--quiet", o->quiet, "No progress on stderr");
  sub->footer("Frames sharing an image column are averaged as powers; lines sharing a row show the largest.\n"
              "Example: ondrix spectrogram recording.wav --length 2048 --dbfs --plot spectrogram.png");
  commands.push_back({sub, [o] { return Run(*o); }});
}

}  // namespace ondrix::app
