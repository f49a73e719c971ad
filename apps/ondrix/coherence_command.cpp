#include "apps/ondrix/coherence_command.h"

#include "apps/ondrix/framed_channel.h"

#include <algorithm>
#include <cmath>
#include <complex>
#include <cstdio>
#include <memory>
#include <string>

#include "ondrix/FileSignal/FileSignal.h"
#include "ondrix/SignalAnalysis/SignalAnalysis.h"
#include "ondrix/SignalProcessing/SignalProcessing.h"

namespace ondrix::app {

namespace {

struct CoherenceOptions {
  std::string a, b;        // b empty: two channels of a
  int channelA = 0, channelB = 1;
  std::string window = "hann";
  int length = 4096;
  double overlap = 50.0;
  double fmin = 0.0, fmax = -1.0;
  bool quiet = false;
};

int Run(const CoherenceOptions& o) {
  const TSignalWindowType window = ParseWindow(o.window);
  TFramedChannel x(o.a, o.channelA, o.length, o.overlap, "--channels");
  TFramedChannel y(o.b.empty() ? o.a : o.b, o.channelB, o.length, o.overlap, "--channels");
  const double fs = x.Reader.SamplingFrequency();
  if (y.Reader.SamplingFrequency() != fs)
    throw std::runtime_error("the two signals have different sampling rates (" + ShortNumber(fs) + " and " +
                             ShortNumber(y.Reader.SamplingFrequency()) + " Hz)");
  const double fmax = o.fmax < 0 ? fs / 2 : o.fmax;
  if (fmax > fs / 2) throw CLI::ValidationError("--fmax", "must be at most half the sampling rate (" + ShortNumber(fs / 2) + " Hz)");

  TCrossSpectrumAnalyzer an(nullptr);
  an.SetName("Cross");
  an.SetInput(&x.Frames);
  an.SetOutput(&y.Frames);
  an.SetWindow(window);
  an.SetPhaseMode(pmIgnore);
  an.CrossAnalyzer()->SetTransform(ctCoherence);
  Progress progress("coherence", x.Samples(), o.quiet);
  int frames = 0;
  // the analyzer updates only when both channels have a new frame
  for (;;) {
    const TPipeState sx = x.Frames.Pull(), sy = y.Frames.Pull();
    if (sx == pipeEnd || sy == pipeEnd) break;
    if (sx != pipeOK || sy != pipeOK) {
      if (sx != sy) throw std::runtime_error("the two signals do not frame alike (different block structure)");
      continue;
    }
    an.Update();
    ++frames;
    progress.Update(x.Position());
  }
  if (frames == 0) throw std::runtime_error("no whole frame of " + std::to_string(o.length) + " samples in both signals");
  const TCrossAnalyzer& ca = *an.CrossAnalyzer();
  const TVec& coh = an.Amplt();
  std::printf("frequency_hz,coherence,h1_magnitude,h1_phase_deg\n");
  for (int k = 0; k < coh.Length(); ++k) {
    const double f = an.LineFrequency(k);
    if (f < o.fmin || f > fmax) continue;
    const std::complex<double> pxy = ca.CrossSpectrum().Complex() ? ca.CrossSpectrum().CValues(k)
                                                                  : std::complex<double>(ca.CrossSpectrum().Values(k));
    const double pxx = ca.InputSpectrum().Complex() ? std::abs(ca.InputSpectrum().CValues(k)) : ca.InputSpectrum().Values(k);
    const std::complex<double> h = pxx > 0 ? pxy / pxx : 0.0;
    std::printf("%.10g,%.10g,%.10g,%.10g\n", f, coh.Values(k), std::abs(h), std::arg(h) * 180 / M_PI);
  }
  if (!o.quiet)
    std::fprintf(stderr, "%d frame(s) of %d samples, %s window, %g %% overlap\n", frames, o.length, WindowName(window),
               o.overlap);
  return 0;
}

}  // namespace

void AddCoherenceCommand(CLI::App& app, Commands& commands) {
  auto o = std::make_shared<CoherenceOptions>();
  CLI::App* sub = app.add_subcommand(
      "coherence", "Coherence and transfer function H1 = Pxy/Pxx from an input to an output signal, as CSV");
  sub->add_option("a", o->a, "The input signal's file")->required();
  sub->add_option("b", o->b, "The output signal's file (default: a second channel of the first)");
  sub->add_option("--channels", [o](const CLI::results_t& r) {
                    if (r.size() != 2) return false;
                    o->channelA = std::stoi(r[0]), o->channelB = std::stoi(r[1]);
                    return o->channelA >= 0 && o->channelB >= 0;
                  }, "Channels of the input and the output (default: 0 1 of one file, 0 0 of two)")
      ->expected(2);
  sub->add_option("-w,--window", o->window, "Window: " + WindowChoices())->capture_default_str();
  sub->add_option("-n,--length", o->length, "Samples per frame")->check(CLI::Range(8, 1 << 24))->capture_default_str();
  sub->add_option("--overlap", o->overlap, "Overlap of frames, percent")->check(FiniteRange(0, 95))
      ->capture_default_str();
  sub->add_option("--fmin", o->fmin, "Lowest frequency listed, Hz")->check(FiniteRange(0, 1e12))->capture_default_str();
  sub->add_option("--fmax", o->fmax, "Highest frequency listed, Hz (default: half the rate)")
      ->check(FiniteRange(0, 1e12, true));
  sub->add_flag("-q,--quiet", o->quiet, "No progress on stderr");
  sub->footer("Coherence is |Pxy|^2/(Pxx Pyy), averaged over the frames; H1 = Pxy/Pxx with Pxy = conj(X)*Y.\n"
              "Example: ondrix coherence excitation.wav response.wav --length 8192 > frf.csv");
  commands.push_back({sub, [o, sub] {
                        if (!o->b.empty() && sub->count("--channels") == 0) o->channelB = 0;
                        return Run(*o);
                      }});
}

}  // namespace ondrix::app
