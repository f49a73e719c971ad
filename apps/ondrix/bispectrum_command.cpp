#include "apps/ondrix/bispectrum_command.h"

#include "apps/ondrix/framed_channel.h"
#include "apps/ondrix/plot.h"

#include <algorithm>
#include <cstdio>
#include <memory>
#include <string>
#include <vector>

#include "ondrix/FileSignal/FileSignal.h"
#include "ondrix/SignalAnalysis/SignalAnalysis.h"
#include "ondrix/SignalProcessing/SignalProcessing.h"

namespace ondrix::app {

namespace {

struct BispectrumOptions : TFrameOptions {
  BispectrumOptions() { length = 256; }
  std::string normalisation = "modified";  // modified, default
  int top = 10;
  double floor = 0.0;  // pairs below this bicoherence are not listed
  bool csv = false, quiet = false;
  TPlotOptions plot;
};

int Run(const BispectrumOptions& o) {
  const TSignalWindowType window = ParseWindow(o.window);
  if (!o.plot.File.empty()) CheckPlotFile(o.plot.File);
  TFramedChannel in(o.file, o.channel, o.length, o.overlap, "--channel");
  TBiSpectrumAnalyzer an(nullptr);
  an.SetName("Bispectrum");
  an.SetInput(&in.Frames);
  an.SetWindow(window);
  an.Stats()->SetAveraging(avLinearInf);
  TBiAnalyzer& ba = *an.BiAnalyzer();
  ba.SetTransform(hoBicoherence);
  ba.SetBicoherenceType(o.normalisation == "default" ? bctDefault : bctModified);
  ba.SetRecursive(false);  // sums; one normalisation at the end
  Progress progress("bispectrum", in.Samples(), o.quiet);
  int analysed = 0;
  // pull the frames, not the analyzer (see TFramedChannel)
  for (TPipeState st; (st = in.Frames.Pull()) != pipeEnd;) {
    if (st != pipeOK) continue;
    an.Update();
    ++analysed;
    progress.Update(in.Position());
  }
  if (analysed == 0) throw std::runtime_error("no whole frame of " + std::to_string(o.length) + " samples");
  an.UpdateSpectrum();
  const TMtx& b = ba.Bispectrum();
  const double df = in.Reader.SamplingFrequency() / o.length;
  if (!o.plot.File.empty()) {
    // the plane where f1 + f2 stays below half the rate; the rest holds no pair
    const int lines = o.length / 2 + 1;
    TImage image{std::vector<double>(static_cast<std::size_t>(lines) * lines, 0.0), lines, lines, 0.0, 1.0,
                 "Bicoherence"};
    for (int i = 0; i < lines && i < b.Rows(); ++i)
      for (int j = 0; j < lines && j < b.Cols(); ++j)
        if (i + j <= o.length / 2) image.Z[static_cast<std::size_t>(i) * lines + j] = b.Values(i, j);
    image = Pool(image, TFigure::MaxColumns(o.plot.File), TFigure::MaxRows(o.plot.File));
    const TAxis f1{"f1 (Hz)", -df / 2, (lines - 0.5) * df}, f2{"f2 (Hz)", -df / 2, (lines - 0.5) * df};
    TFigure fig(o.plot.File, 1, o.plot.W(860), o.plot.H(760));
    fig.Image(o.file + ", channel " + std::to_string(o.channel) + ": " + o.normalisation + " bicoherence, " +
                  std::to_string(analysed) + " frames of " + std::to_string(o.length),
              f1, f2, image);
  }
  if (o.csv) {
    std::printf("f1_hz,f2_hz,bicoherence\n");
    for (int i = 0; i < b.Rows(); ++i)
      for (int j = i; j < b.Cols() && i + j <= o.length / 2; ++j)
        std::printf("%.10g,%.10g,%.10g\n", i * df, j * df, b.Values(i, j));
    return 0;
  }
  struct Pair {
    int i, j;
    double v;
  };
  std::vector<Pair> pairs;
  for (int i = 1; i < b.Rows(); ++i)
    for (int j = i; j < b.Cols() && i + j < o.length / 2; ++j)
      if (b.Values(i, j) >= o.floor) pairs.push_back({i, j, b.Values(i, j)});
  const std::size_t n = std::min<std::size_t>(pairs.size(), static_cast<std::size_t>(o.top));
  std::partial_sort(pairs.begin(), pairs.begin() + static_cast<long>(n), pairs.end(),
                    [](const Pair& a, const Pair& c) { return a.v > c.v; });
  std::printf("%s: channel %d, %d frame(s) of %d samples, %s window, %g %% overlap, %s bicoherence, %g Hz per line\n",
              o.file.c_str(), o.channel, analysed, o.length, WindowName(window), o.overlap, o.normalisation.c_str(), df);
  std::printf("(a value near 1 says the phase at f1 + f2 follows the phases at f1 and f2: quadratic coupling; "
              "independent tones fall towards 0 as 1/sqrt(frames))\n\n%14s %14s %14s %12s\n", "f1 (Hz)", "f2 (Hz)",
              "f1 + f2 (Hz)", "bicoherence");
  for (std::size_t k = 0; k < n; ++k)
    std::printf("%14.6g %14.6g %14.6g %12.6f\n", pairs[k].i * df, pairs[k].j * df, (pairs[k].i + pairs[k].j) * df,
                pairs[k].v);
  return 0;
}

}  // namespace

void AddBispectrumCommand(CLI::App& app, Commands& commands) {
  auto o = std::make_shared<BispectrumOptions>();
  CLI::App* sub = app.add_subcommand("bispectrum", "Bicoherence of a file's channel: quadratic phase coupling");
  AddFrameOptions(*sub, *o, 4096, "Samples per frame (the plane has length/2 + 1 lines a side)");
  sub->add_option("--normalisation", o->normalisation,
                  "modified: |E B|^2 / E|B|^2; default: |E B|^2 / (Q(f1) Q(f2) Q(f1+f2))^(2/3), Q = E|X|^3 "
                  "(both in [0, 1])")
      ->check(CLI::IsMember({"modified", "default"}))->capture_default_str();
  sub->add_option("--top", o->top, "Largest pairs (f1 <= f2) listed")->check(CLI::Range(1, 100000))
      ->capture_default_str();
  sub->add_option("--floor", o->floor, "Pairs below this bicoherence are not listed")->check(FiniteRange(0, 1))
      ->capture_default_str();
  sub->add_flag("--csv", o->csv, "The plane's triangle f1 <= f2, f1 + f2 <= fs/2 as CSV (f1, f2, value)");
  AddPlotOptions(*sub, o->plot, "Also draw the bicoherence plane (f1, f2) as an image");
  sub->add_flag("-q,--quiet", o->quiet, "No progress on stderr");
  sub->footer("Example: ondrix bispectrum gearbox.wav --length 512 --top 20");
  commands.push_back({sub, [o] { return Run(*o); }});
}

}  // namespace ondrix::app
