#include "apps/ondrix/spectrum_command.h"

#include "apps/ondrix/framed_channel.h"
#include "apps/ondrix/plot.h"
#include "apps/ondrix/spectrum_types.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

#include <nlohmann/json.hpp>

#include "ondrix/FileSignal/FileSignal.h"
#include "ondrix/SignalAnalysis/SignalAnalysis.h"
#include "ondrix/SignalProcessing/SignalProcessing.h"
#include "ondrix/sigcore/peak_fit.h"

namespace ondrix::app {

namespace {

struct SpectrumOptions : TFrameOptions {
  std::string average = "linear"; // none, linear, exponential, peak
  int frames = 0;                 // frames averaged; 0: every frame of the file
  std::string type = "peak";      // peak, rms, power, psd
  bool db = false, dbfs = false;
  double fmin = 0.0, fmax = -1.0;  // printed and searched band; fmax < 0: half the rate
  int zeroPadding = 1;
  std::vector<double> zoom;        // chirp-z band [f1, f2]
  int peaks = 5, harmonics = 10;
  std::string bands = "none";      // octave, third
  bool csv = false, json = false, quiet = false;
  TPlotOptions plot;
};

struct Scale {
  bool db, power;
  double ref;
  std::string unit;
  double operator()(double v) const {
    if (!db) return v;
    const double r = v / ref;
    return r > 0 ? (power ? 10.0 : 20.0) * std::log10(r) : -400.0;
  }
};

struct Peak {
  double freq, value;
};

int Run(const SpectrumOptions& o) {
  const TSignalWindowType window = ParseWindow(o.window);
  if (!o.plot.File.empty()) CheckPlotFile(o.plot.File);
  TFramedChannel in(o.file, o.channel, o.length, o.overlap, "--channel");
  const TSignalRead& reader = in.Reader;
  const int channels = in.Channels();
  if (reader.Complex()) throw std::runtime_error("complex records are not analysed by this command");
  const double fs = reader.SamplingFrequency();
  const double fmax = o.fmax < 0 ? fs / 2 : o.fmax;
  if (o.fmax >= 0 && o.fmax > fs / 2)
    throw CLI::ValidationError("--fmax", "must be at most half the sampling rate (" + ShortNumber(fs / 2) + " Hz)");
  if (o.fmin >= fmax) throw CLI::ValidationError("--fmin", "must be below --fmax");
  if (!o.zoom.empty() && (o.zoom.size() != 2 || o.zoom[0] < 0 || o.zoom[1] <= o.zoom[0] || o.zoom[1] > fs / 2))
    throw CLI::ValidationError("--zoom", "takes two frequencies F1 < F2 in [0, fs/2 = " + ShortNumber(fs / 2) +
                                             "] Hz");
  const long long samples = static_cast<long long>(in.Samples());
  if (samples < o.length)
    throw std::runtime_error("the file holds " + std::to_string(samples) + " samples per channel, fewer than one " +
                             std::to_string(o.length) + "-sample frame (--length)");

  TSpectrumAnalyzer an(nullptr);
  an.SetName("Analyzer");
  an.SetInput(&in.Frames);
  an.SetWindow(window);
  an.SetSpectrumType(stPower);
  an.SetScaleFactor(2.0);  // lines read (peak amplitude)², whatever is shown
  an.SetPhaseMode(pmIgnore);
  an.SetZeroPadding(o.zeroPadding);
  if (!o.zoom.empty()) {
    an.SetMethod(smCZT);
    an.CZT()->SetStartFrequency(o.zoom[0]);
    an.CZT()->SetStopFrequency(o.zoom[1]);
    an.CZT()->SetFrequencyStep((o.zoom[1] - o.zoom[0]) / (o.length * o.zeroPadding));
  }
  TSpectrumStats& stats = *an.Stats();
  if (o.average == "none") stats.SetAveraging(avNone);
  else if (o.average == "linear") stats.SetAveraging(o.frames > 0 ? avLinear : avLinearInf);
  else if (o.average == "exponential") stats.SetAveraging(avExponentInf);
  else stats.SetAveraging(o.frames > 0 ? avPeakHold : avPeakHoldInf);
  if (o.frames > 0) stats.SetAverages(static_cast<unsigned>(o.frames));
  if (o.average == "exponential") stats.SetExpDecay(std::max(o.frames, 2));
  an.Peaks()->SetTraceMethod(ptLargest);
  an.Peaks()->SetLargestCount(o.peaks);
  an.Peaks()->SetUseFullBandwidth(true);
  an.Bands()->SetNoiseBandwidthCorrection(true);
  if (o.bands == "octave") an.Bands()->SetOctaveBands(16.0, std::min(20000.0, fmax));
  if (o.bands == "third") an.Bands()->SetThirdOctaveBands(16.0, std::min(20000.0, fmax));

  // peaks and bands matter once, on the final average, not after every frame
  an.OnPeaksUpdate = [](TObject*) {};
  an.OnBandsUpdate = [](TObject*) {};
  const long long wanted = o.frames > 0 && o.average != "exponential" ? o.frames : -1;
  Progress progress("spectrum", static_cast<double>(samples), o.quiet);
  int analysed = 0;
  // The analyzer takes several inputs, and such a component updates even when an input has
  // nothing new (pipeStream); pulling the frames here keeps a stale frame out of the average.
  for (TPipeState st; (st = in.Frames.Pull()) != pipeEnd;) {
    if (st != pipeOK) continue;
    an.Update();
    ++analysed;
    progress.Update(in.Position());
    if (wanted > 0 && analysed >= wanted) break;
  }
  if (analysed == 0) throw std::runtime_error("no frame was analysed");
  an.Peaks()->Update();
  an.Bands()->Update();

  // the peaks' search ran on powers; fit and measure on magnitudes
  TVec& A = an.Amplt();
  A.Sqrt();
  const double hz = an.HzRes(), L = fs / hz;  // the transform length the lines correspond to
  const double enbwHz = an.NoiseBandwidthLines() * hz;
  const TVec& w = an.WindowVector();
  const int half = MainLobeHalfWidth(w, L);
  auto refine = [&](double f) {
    const int k = std::clamp(an.LineOf(f), 0, A.Length() - 1);
    const TPeakFit fit = FitWindowPeak(w, L, A, k, half);
    return Peak{an.LineFrequency(k) + fit.Offset * hz, fit.Amplitude};
  };
  std::vector<Peak> peaks;
  for (int i = 0; i < an.Peaks()->Count(); ++i) {
    const Peak p = refine(an.Peaks()->GetMarks(i).Freq);
    if (p.freq >= o.fmin && p.freq <= fmax) peaks.push_back(p);
  }
  // distortion of the largest tone: harmonics at h·f0 where they fall on the axis
  double thd = 0.0;
  std::vector<Peak> harmonics;
  if (!peaks.empty()) {
    an.SetHarmonics(o.harmonics);
    double sum = 0.0;
    for (int h = 2; h <= o.harmonics && h * peaks[0].freq < an.BandWidthH(); ++h) {
      const int k = an.LineOf(h * peaks[0].freq);
      int best = k;
      for (int j = std::max(0, k - half); j <= std::min(A.Length() - 1, k + half); ++j)
        if (A.Values(j) > A.Values(best)) best = j;
      const Peak p = refine(an.LineFrequency(best));
      harmonics.push_back(p);
      sum += p.value * p.value;
    }
    thd = 100.0 * std::sqrt(sum) / peaks[0].value;
  }

  const bool power = IsPowerType(o.type);
  const double fullScale = FullScale(reader.Precision());
  Scale sc{o.db || o.dbfs, power, 1.0, ""};
  if (o.dbfs) {
    sc.ref = FullScaleReference(o.type, fullScale);
    sc.unit = DbUnit(o.type, true);
  } else if (sc.db) {
    sc.unit = DbUnit(o.type, false);
  } else {
    sc.unit = o.type == "peak" || o.type == "rms" ? "units" : o.type == "power" ? "units^2" : "units^2/Hz";
  }
  // a tone in the psd view is shown as its power: a density of a line is not a tone's level
  auto toneValue = [&](double a) {
    return o.type == "psd" ? Scale{sc.db, true, o.dbfs ? fullScale * fullScale / 2 : 1.0, ""}(a * a / 2)
                           : sc(Shown(o.type, a * a, enbwHz));
  };
  // the measures exclude at least each tone's whole main lobe
  an.SetMainlobeWidth(std::max(an.MainlobeWidth(), 2 * (half + 1)));
  const double snr = peaks.empty() ? 0 : an.SNR(peaks[0].freq), sinad = peaks.empty() ? 0 : an.SINAD(peaks[0].freq);
  const double thdn = peaks.empty() ? 0 : an.THDN(peaks[0].freq), sfdr = an.SFDR();
  const double nf = peaks.empty() ? an.NF(0.0) : an.NF(peaks[0].freq);

  int first = std::clamp(an.LineOf(o.fmin), 0, A.Length() - 1);
  if (an.LineFrequency(first) < o.fmin && first + 1 < A.Length()) ++first;
  int last = std::clamp(an.LineOf(fmax), 0, A.Length() - 1);
  if (an.LineFrequency(last) > fmax && last > first) --last;
  const std::string typeName = o.type == "psd" ? "psd" : o.type;
  if (!o.plot.File.empty()) {
    // always in dB: a spectrum's range is its information
    const Scale dB{true, power, sc.db ? sc.ref : 1.0, ""};
    TCurve c;
    for (int k = std::max(first, o.zoom.empty() ? 1 : 0); k <= last; ++k) {
      c.X.push_back(an.LineFrequency(k));
      c.Y.push_back(dB(Shown(o.type, A.Values(k) * A.Values(k), enbwHz)));
    }
    if (c.X.size() > 1) {
      const TAxis x{"Frequency (Hz)", c.X.front(), c.X.back(), o.zoom.empty()};
      TFigure fig(o.plot.File, 1, o.plot.W(1000), o.plot.H(560));
      fig.Lines(o.file + ", channel " + std::to_string(o.channel) + ": " + WindowName(window) + " " +
                    std::to_string(o.length) + ", " + std::to_string(analysed) + " frame(s), " + o.average,
                x, DbAxis(std::string(TypeTitle(o.type)) + " (" + DbUnit(o.type, o.dbfs) + ")", c.Y), {c});
    }
  }
  if (o.csv) {
    std::printf("frequency_hz,%s_%s\n", typeName.c_str(), sc.db ? (o.dbfs ? "dbfs" : "db") : "linear");
    for (int k = first; k <= last; ++k)
      std::printf("%.10g,%.10g\n", an.LineFrequency(k), sc(Shown(o.type, A.Values(k) * A.Values(k), enbwHz)));
    return 0;
  }
  if (o.json) {
    nlohmann::ordered_json j;
    j["file"] = o.file;
    j["channel"] = o.channel;
    j["sampling_frequency"] = fs;
    j["window"] = WindowName(window);
    j["frame_length"] = o.length;
    j["overlap_percent"] = o.overlap;
    j["frames"] = analysed;
    j["averaging"] = o.average;
    j["type"] = typeName;
    j["unit"] = sc.unit;
    j["line_spacing_hz"] = hz;
    j["enbw_hz"] = enbwHz;
    for (const Peak& p : peaks) j["peaks"].push_back({{"frequency", p.freq}, {"level", toneValue(p.value)}});
    if (!peaks.empty() && o.zoom.empty()) {
      j["thd_percent"] = thd;
      j["thdn_percent"] = thdn;
      j["snr_db"] = snr;
      j["sinad_db"] = sinad;
    }
    if (o.zoom.empty()) {
      j["sfdr_db"] = sfdr;
      j["noise_floor_db"] = nf;
    }
    for (int b = 0; b < an.Bands()->Bands()->Count(); ++b) {
      const TBandRecord& r = *an.Bands()->Bands()->Items(b);
      j["bands"].push_back({{"centre", r.CentreFrequency()}, {"rms", Scale{sc.db, false, sc.ref, ""}(
                                                                          std::sqrt(r.Level() / 2))}});
    }
    std::vector<double> f, v;
    for (int k = first; k <= last; ++k) {
      f.push_back(an.LineFrequency(k));
      v.push_back(sc(Shown(o.type, A.Values(k) * A.Values(k), enbwHz)));
    }
    j["spectrum"] = {{"frequency", f}, {"value", v}};
    std::printf("%s\n", j.dump(1).c_str());
    return 0;
  }
  std::printf("%s: channel %d of %d, %g Hz; %d frame(s) of %d samples, %s window, %g %% overlap, %s averaging\n",
              o.file.c_str(), o.channel, channels, fs, analysed, o.length, WindowName(window), o.overlap,
              o.average.c_str());
  std::printf("lines every %.6g Hz, noise bandwidth %.6g Hz; %s spectrum in %s\n", hz, enbwHz, typeName.c_str(),
              sc.unit.c_str());
  std::printf("\n%-4s %16s %16s\n", "peak", "frequency (Hz)", o.type == "psd" ? "tone power" : "level");
  for (std::size_t i = 0; i < peaks.size(); ++i)
    std::printf("%-4zu %16.6f %16.8g\n", i + 1, peaks[i].freq, toneValue(peaks[i].value));
  if (!o.zoom.empty()) {
    std::printf("\n(no distortion or noise measures in a zoomed band: it holds too little of the spectrum)\n");
  } else if (!peaks.empty()) {
    std::printf("\nlargest tone %.6f Hz: THD %.5g %% (harmonics 2..%d), THD+N %.5g %%, SNR %.2f dB, SINAD %.2f dB\n",
                peaks[0].freq, thd, o.harmonics, thdn, snr, sinad);
  }
  if (o.zoom.empty()) std::printf("SFDR %.2f dB, noise floor %.2f dB per line (re 1 unit peak)\n", sfdr, nf);
  if (an.Bands()->Bands()->Count() > 0) {
    std::printf("\n%-12s %14s\n", "band (Hz)", sc.db ? ("RMS " + sc.unit).c_str() : "RMS");
    for (int b = 0; b < an.Bands()->Bands()->Count(); ++b) {
      const TBandRecord& r = *an.Bands()->Bands()->Items(b);
      std::printf("%-12g %14.6g\n", r.CentreFrequency(), Scale{sc.db, false, sc.ref, ""}(std::sqrt(r.Level() / 2)));
    }
  }
  return 0;
}

}  // namespace

void AddSpectrumCommand(CLI::App& app, Commands& commands) {
  auto o = std::make_shared<SpectrumOptions>();
  CLI::App* sub = app.add_subcommand("spectrum", "Averaged spectrum of a signal file: peaks, distortion, noise, bands");
  AddFrameOptions(*sub, *o, 1 << 24);
  sub->add_option("--average", o->average, "Averaging: none, linear, exponential, peak (hold)")
      ->check(CLI::IsMember({"none", "linear", "exponential", "peak"}))->capture_default_str();
  sub->add_option("--frames", o->frames,
                  "Frames averaged (0: all; exponential: its time constant in frames)")
      ->check(CLI::Range(0, 1 << 30))->capture_default_str();
  sub->add_option("-t,--type", o->type, kTypeHelp)->check(CLI::IsMember({"peak", "rms", "power", "psd"}))
      ->capture_default_str();
  sub->add_flag("--db", o->db, "Levels in dB re 1 unit (20 log10 for amplitudes, 10 log10 for powers)");
  sub->add_flag("--dbfs", o->dbfs,
                "Levels in dB re the file's full scale (a full-scale sine reads 0 dBFS in every type; "
                "1.0 for floating-point files)");
  sub->add_option("--fmin", o->fmin, "Lowest frequency shown and searched, Hz")->check(FiniteRange(0, 1e12))
      ->capture_default_str();
  sub->add_option("--fmax", o->fmax, "Highest frequency shown and searched, Hz (default: half the rate)")
      ->check(FiniteRange(0, 1e12, true));
  sub->add_option("-z,--zero-padding", o->zeroPadding, "Zero padding factor (1, 2, 4, ...)")
      ->check(CLI::Range(1, 64))->capture_default_str();
  sub->add_option("--zoom", o->zoom, "Zoom band F1 F2, Hz (chirp-z, --length x --zero-padding lines)")
      ->expected(2)->check(FiniteRange(0, 1e12));
  sub->add_option("--peaks", o->peaks, "Largest peaks listed")->check(CLI::Range(1, 1000))->capture_default_str();
  sub->add_option("--harmonics", o->harmonics, "Harmonics in the THD (2 .. this)")->check(CLI::Range(2, 100))
      ->capture_default_str();
  sub->add_option("--bands", o->bands, "Band levels: none, octave, third")
      ->check(CLI::IsMember({"none", "octave", "third"}))->capture_default_str();
  sub->add_flag("--csv", o->csv, "The spectrum's lines as CSV (frequency, value)");
  sub->add_flag("--json", o->json, "Everything as one JSON object");
  AddPlotOptions(*sub, o->plot, "Also draw the spectrum in dB on a log frequency axis");
  sub->add_flag("-q,--quiet", o->quiet, "No progress on stderr");
  sub->footer("SNR, SINAD and THD+N count every line outside the tones' main lobes as noise: a window's leakage\n"
              "limits them for tones between lines (hann near 40 dB, blackmanharris near 60 dB); a tone on a line,\n"
              "or a longer frame, reads the true noise.\n"
              "Example: ondrix spectrum recording.wav --window hann --length 8192 --type rms --dbfs --bands third");
  commands.push_back({sub, [o] {
                        if (o->db && o->dbfs) throw CLI::ValidationError("--db", "choose --db or --dbfs, not both");
                        if (o->csv && o->json) throw CLI::ValidationError("--csv", "choose --csv or --json, not both");
                        return Run(*o);
                      }});
}

}  // namespace ondrix::app
