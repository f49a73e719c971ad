#include "apps/ondrix/filter_commands.h"

#include <algorithm>
#include <cmath>
#include <complex>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <memory>
#include <string>
#include <vector>

#include <nlohmann/json.hpp>

#include "apps/ondrix/channel_stages.h"
#include "apps/ondrix/plot.h"
#include "ondrix/FileSignal/FileSignal.h"
#include "ondrix/SignalProcessing/SignalProcessing.h"
#include "ondrix/sigcore/filter_response.h"
#include "ondrix/sigcore/zero_pole.h"

namespace ondrix::app {

namespace {

/// A filter as the command line gives it; `design --json` writes it back, `filter --design`
/// reads it.
struct FilterSpec {
  std::string type = "lowpass";  // lowpass, highpass, bandpass, bandstop
  std::vector<double> pass, stop;  // edges, Hz
  double ripple = 0.1, attenuation = 60.0;  // dB
  std::string method = "fir";  // fir, remez, butterworth, chebyshev1, chebyshev2, elliptic, bessel
  int order = 0;                // 0: the least that meets the bands
};

const char* const kMethods[] = {"fir", "remez", "butterworth", "chebyshev1", "chebyshev2", "elliptic", "bessel"};

void AddSpecOptions(CLI::App& sub, FilterSpec& s) {
  sub.add_option("-t,--type", s.type, "Response: lowpass, highpass, bandpass, bandstop")
      ->check(CLI::IsMember({"lowpass", "highpass", "bandpass", "bandstop"}))->capture_default_str();
  sub.add_option("--pass", s.pass, "Pass band edge(s), Hz (two for bandpass and bandstop)")
      ->expected(1, 2)->check(FiniteRange(0, 1e12));
  sub.add_option("--stop", s.stop, "Stop band edge(s), Hz (two for bandpass and bandstop)")
      ->expected(1, 2)->check(FiniteRange(0, 1e12));
  sub.add_option("--ripple", s.ripple, "Pass band ripple, dB (peak to peak)")->check(FiniteRange(1e-6, 20))
      ->capture_default_str();
  sub.add_option("-a,--attenuation", s.attenuation, "Stop band attenuation, dB")->check(FiniteRange(3, 300))
      ->capture_default_str();
  sub.add_option("-m,--method", s.method,
                 "fir (Kaiser window), remez (Parks-McClellan, equiripple), butterworth, chebyshev1, chebyshev2, "
                 "elliptic, bessel")
      ->check(CLI::IsMember(std::vector<std::string>(std::begin(kMethods), std::end(kMethods))))
      ->capture_default_str();
  sub.add_option("--order", s.order, "IIR order or FIR length (0: the least that meets the bands)")
      ->check(CLI::Range(0, 100000))->capture_default_str();
}

bool IsIir(const FilterSpec& s) { return s.method != "fir" && s.method != "remez"; }

/// Checks the edges against each other and the rate; a usage error names what is wrong.
void CheckSpec(const FilterSpec& s, double fs) {
  const bool two = s.type == "bandpass" || s.type == "bandstop";
  const std::size_t need = two ? 2 : 1;
  if (s.pass.size() != need || s.stop.size() != need)
    throw CLI::ValidationError("--pass/--stop", s.type + " takes " + (two ? "two" : "one") + " pass and " +
                                                    (two ? "two" : "one") + " stop edge(s)");
  for (double f : s.pass)
    if (!(f > 0 && f < fs / 2)) throw CLI::ValidationError("--pass", "edges must lie in (0, fs/2 = " + ShortNumber(fs / 2) + ") Hz");
  for (double f : s.stop)
    if (!(f > 0 && f < fs / 2)) throw CLI::ValidationError("--stop", "edges must lie in (0, fs/2 = " + ShortNumber(fs / 2) + ") Hz");
  const double p0 = s.pass[0], s0 = s.stop[0];
  bool ok = true;
  if (s.type == "lowpass") ok = p0 < s0;
  if (s.type == "highpass") ok = s0 < p0;
  if (s.type == "bandpass") ok = s0 < p0 && p0 < s.pass[1] && s.pass[1] < s.stop[1];
  if (s.type == "bandstop") ok = p0 < s0 && s0 < s.stop[1] && s.stop[1] < s.pass[1];
  if (!ok)
    throw CLI::ValidationError(
        "--pass/--stop", s.type == "lowpass"    ? "a lowpass wants --pass below --stop"
                         : s.type == "highpass" ? "a highpass wants --stop below --pass"
                         : s.type == "bandpass" ? "a bandpass wants stop1 < pass1 < pass2 < stop2"
                                                : "a bandstop wants pass1 < stop1 < stop2 < pass2");
}

/// The filter component of a spec at rate fs (edges in Hz), designed.
std::unique_ptr<TSignalFilter> MakeFilter(const FilterSpec& s, double fs) {
  CheckSpec(s, fs);
  auto f = std::make_unique<TSignalFilter>(nullptr);
  f->SetName("Filter");
  f->SetSamplingFrequency(fs);
  f->SetUseNormalizedFrequency(false);
  // the filter prepares its state for the kind of data its input carries: a real stand-in
  auto* shape = new TSignal(f.get());
  shape->SetName("Shape");
  f->SetInput(shape);
  const double nyq = fs / 2;
  TBandFilterList& b = f->Bands();
  auto pass = [&](double lo, double hi) { b.Add(lo, hi, 1.0, s.ripple); };
  auto stop = [&](double lo, double hi) { b.Add(lo, hi, 0.0, s.attenuation); };
  if (s.type == "lowpass") pass(0, s.pass[0]), stop(s.stop[0], nyq);
  if (s.type == "highpass") stop(0, s.stop[0]), pass(s.pass[0], nyq);
  if (s.type == "bandpass") stop(0, s.stop[0]), pass(s.pass[0], s.pass[1]), stop(s.stop[1], nyq);
  if (s.type == "bandstop") pass(0, s.pass[0]), stop(s.stop[0], s.stop[1]), pass(s.pass[1], nyq);
  if (IsIir(s)) {
    f->SetResponse(rstIIR);
    const TIirMethod m = s.method == "butterworth"  ? imButterworth
                         : s.method == "chebyshev1" ? imChebyshevI
                         : s.method == "chebyshev2" ? imChebyshevII
                         : s.method == "elliptic"   ? imElliptic
                                                    : imBessel;
    f->SetIirMethod(m);
    if (s.order > 0) f->SetAutoFilterOrder(false), f->SetOrder(s.order);
  } else {
    f->SetResponse(rstFIR);
    f->SetFirMethod(s.method == "remez" ? fimParksMcClellan : fimWindow);
    if (s.order > 0) f->SetAutoFilterOrder(false), f->SetFirLength(s.order);
  }
  f->Prepare();
  if (!f->Prepared() || !f->DesignReport().Designed) throw std::runtime_error("the design failed for these bands");
  return f;
}

/// The design's response at n frequencies from 0 to fs/2: magnitude (dB), phase (degrees,
/// unwrapped) and group delay (samples, from the phase's slope).
nlohmann::ordered_json Response(TSignalFilter& f, const FilterSpec& s, double fs, int n) {
  TVec freqs(n), h;
  for (int i = 0; i < n; ++i) freqs.Values(i) = 0.5 * fs * i / (n - 1);
  if (IsIir(s)) {
    // from the sections the filter runs: a high-order b/a polynomial loses the narrow bands
    SosResponse(f.Taps(), freqs, h, fs);
  } else {
    TVec one(1);
    one.Values(0) = 1.0;
    TransferFunResponse(f.Taps(), one, freqs, h, fs);
  }
  std::vector<double> mag(n), phase(n), delay(n);
  double unwrap = 0.0, prev = 0.0;
  for (int i = 0; i < n; ++i) {
    const std::complex<double> z = h.CValues(i);
    mag[i] = 20 * std::log10(std::max(std::abs(z), 1e-300));
    double ph = std::arg(z);
    if (i > 0) {
      double d = ph - prev;
      unwrap -= std::round(d / (2 * M_PI)) * 2 * M_PI;
    }
    prev = ph;
    phase[i] = (ph + unwrap) * 180 / M_PI;
  }
  const double dw = 2 * M_PI * (freqs.Values(1) - freqs.Values(0)) / fs;
  for (int i = 0; i < n; ++i) {
    const int a = std::max(i - 1, 0), b = std::min(i + 1, n - 1);
    delay[i] = -(phase[b] - phase[a]) * M_PI / 180 / ((b - a) * dw);
  }
  std::vector<double> fv(freqs.PValues(), freqs.PValues() + n);
  return {{"frequency", fv}, {"magnitude_db", mag}, {"phase_deg", phase}, {"group_delay_samples", delay}};
}

nlohmann::ordered_json SpecJson(const FilterSpec& s, double fs) {
  return {{"fs", fs}, {"type", s.type}, {"pass", s.pass}, {"stop", s.stop}, {"ripple_db", s.ripple},
          {"attenuation_db", s.attenuation}, {"method", s.method}, {"order", s.order}};
}

std::vector<double> Values(const TVec& v) { return std::vector<double>(v.PValues(), v.PValues() + v.Length() * (v.Complex() ? 2 : 1)); }

struct DesignOptions {
  FilterSpec spec;
  double fs = 48000.0;
  bool json = false, csv = false;
  int points = 512;
  TPlotOptions plot;
};

/// Magnitude, phase and group delay in three panels, the specified bands drawn over the magnitude.
void PlotResponse(const TPlotOptions& plot, const nlohmann::ordered_json& resp, const FilterSpec& s, double fs,
                  int length) {
  const auto f = resp["frequency"].get<std::vector<double>>();
  const auto mag = resp["magnitude_db"].get<std::vector<double>>();
  const auto phase = resp["phase_deg"].get<std::vector<double>>();
  auto delay = resp["group_delay_samples"].get<std::vector<double>>();
  // samples to milliseconds; inside the stop bands the phase is noise, so is its slope
  for (double& d : delay) d *= 1000.0 / fs;
  const TAxis x{"Frequency (Hz)", 0.0, fs / 2};
  TCurve m{f, mag, 0, "response"};
  // the bands asked for, as a template: pass bands at 0 and -ripple, stop bands at -attenuation
  TCurve spec{{}, {}, 3, "bands asked for"};
  auto band = [&](double lo, double hi, double level) {
    spec.X.insert(spec.X.end(), {lo, lo, hi, hi});
    spec.Y.insert(spec.Y.end(), {NAN, level, level, NAN});
  };
  const double nyq = fs / 2;
  if (s.type == "lowpass") band(0, s.pass[0], -s.ripple), band(s.stop[0], nyq, -s.attenuation);
  if (s.type == "highpass") band(0, s.stop[0], -s.attenuation), band(s.pass[0], nyq, -s.ripple);
  if (s.type == "bandpass")
    band(0, s.stop[0], -s.attenuation), band(s.pass[0], s.pass[1], -s.ripple), band(s.stop[1], nyq, -s.attenuation);
  if (s.type == "bandstop")
    band(0, s.pass[0], -s.ripple), band(s.stop[0], s.stop[1], -s.attenuation), band(s.pass[1], nyq, -s.ripple);
  TAxis db = DbAxis("Magnitude (dB)", mag, std::max(40.0, s.attenuation + 40.0));
  db.Hi = std::max(db.Hi, 10.0);
  // phase and delay are what matters in the pass bands; elsewhere they jump at every zero
  std::vector<double> passPhase, passDelay;
  for (std::size_t i = 0; i < f.size(); ++i) {
    bool in = false;
    for (std::size_t k = 0; k + 1 < spec.X.size(); k += 4)
      in = in || (spec.Y[k + 1] == -s.ripple && f[i] >= spec.X[k] && f[i] <= spec.X[k + 2]);
    if (in) passPhase.push_back(phase[i]), passDelay.push_back(delay[i]);
  }
  TFigure fig(plot.File, 3, plot.W(1000), plot.H(1160));
  fig.Lines(s.method + " " + s.type + " at " + ShortNumber(fs) + " Hz, " + (IsIir(s) ? "order " : "length ") +
                std::to_string(length),
            x, db, {m, spec});
  fig.Lines("Phase (unwrapped)", x, FitAxis("Phase (degrees)", passPhase), {{f, phase, 0, ""}});
  fig.Lines("Group delay (axis fitted to the pass bands)", x, FitAxis("Group delay (ms)", passDelay), {{f, delay, 0, ""}});
}

int RunDesign(const DesignOptions& o) {
  if (!o.plot.File.empty()) CheckPlotFile(o.plot.File);
  auto f = MakeFilter(o.spec, o.fs);
  const TDesignReport& r = f->DesignReport();
  if (!o.plot.File.empty()) PlotResponse(o.plot, Response(*f, o.spec, o.fs, std::max(o.points, 2048)), o.spec, o.fs, r.Length);
  if (o.csv) {
    const auto resp = Response(*f, o.spec, o.fs, o.points);
    std::printf("frequency_hz,magnitude_db,phase_deg,group_delay_samples\n");
    for (int i = 0; i < o.points; ++i)
      std::printf("%.10g,%.10g,%.10g,%.10g\n", resp["frequency"][i].get<double>(), resp["magnitude_db"][i].get<double>(),
                  resp["phase_deg"][i].get<double>(), resp["group_delay_samples"][i].get<double>());
    return 0;
  }
  if (o.json) {
    nlohmann::ordered_json j;
    j["spec"] = SpecJson(o.spec, o.fs);
    j["all_bands_met"] = r.AllMet();
    for (const TBandReport& b : r.Bands)
      j["bands"].push_back({{"start", b.FreqStart}, {"stop", b.FreqStop}, {"gain", b.Gain},
                            {"specified_db", b.Specified}, {"achieved_db", b.Achieved}, {"met", b.Met}});
    if (IsIir(o.spec)) {
      j["order"] = r.Length;
      TVec num, den, zeros, poles;
      double gain = 0;
      f->TransferFunIIR(&num, &den);
      f->ZeroPoleIIR(&zeros, &poles, &gain);
      const TVec& sos = f->Taps();  // the sections the filter runs, from its zeros and poles
      j["b"] = Values(num);
      j["a"] = Values(den);
      std::vector<std::vector<double>> sections;
      for (int k = 0; k < SosSections(sos); ++k)
        sections.push_back(std::vector<double>(sos.PValues() + 6 * k, sos.PValues() + 6 * k + 6));
      j["sos"] = sections;
      auto cplx = [](const TVec& v) {
        std::vector<std::vector<double>> out;
        for (int i = 0; i < v.Length(); ++i) out.push_back({v.CValues(i).real(), v.CValues(i).imag()});
        return out;
      };
      j["zpk"] = {{"zeros", cplx(zeros)}, {"poles", cplx(poles)}, {"gain", gain}};
    } else {
      j["length"] = r.Length;
      j["taps"] = Values(f->Taps());
    }
    j["response"] = Response(*f, o.spec, o.fs, o.points);
    std::printf("%s\n", j.dump(1).c_str());
    return 0;
  }
  std::printf("%s %s at %g Hz: %s %d\n", o.spec.method.c_str(), o.spec.type.c_str(), o.fs,
              IsIir(o.spec) ? "order" : "length", r.Length);
  std::printf("%s", r.ToString().c_str());
  std::printf("%s\n", r.AllMet() ? "every band meets its specification"
                                 : "some band misses its specification (raise --order, or relax the bands)");
  return 0;
}

struct FilterOptions {
  std::string in, out, design;
  FilterSpec spec;
  bool quiet = false;
};

int RunFilter(FilterOptions o) {
  TSignalRead reader(nullptr);
  OpenReader(reader, o.in);
  if (std::filesystem::exists(o.out) && std::filesystem::equivalent(o.in, o.out))
    throw std::runtime_error("the output would overwrite the input");
  const double fs = reader.SamplingFrequency();
  if (!o.design.empty()) {
    std::ifstream file(o.design);
    if (!file) throw std::runtime_error("cannot open " + o.design);
    const auto j = nlohmann::json::parse(file, nullptr, false);
    if (j.is_discarded() || !j.contains("spec")) throw std::runtime_error(o.design + " is not a design written by `ondrix design --json`");
    const auto& s = j["spec"];
    if (s.value("fs", 0.0) != fs)
      throw std::runtime_error(o.design + " was designed for " + ShortNumber(s.value("fs", 0.0)) + " Hz, the file is at " +
                               ShortNumber(fs) + " Hz");
    o.spec.type = s.value("type", "lowpass");
    o.spec.pass = s.value("pass", std::vector<double>{});
    o.spec.stop = s.value("stop", std::vector<double>{});
    o.spec.ripple = s.value("ripple_db", 0.1);
    o.spec.attenuation = s.value("attenuation_db", 60.0);
    o.spec.method = s.value("method", "fir");
    o.spec.order = s.value("order", 0);
  }
  const FilterSpec spec = o.spec;
  const int channels = std::max(reader.ChannelCount(), 1);
  TChannelStages<TSignalFilter> stages([&] { return MakeFilter(spec, fs); }, channels);
  stages.SetName("Filters");
  stages.SetInput(&reader);
  TSignalWrite writer(nullptr);
  SetUpWriter(writer, o.out, reader.Precision());
  writer.SetInput(&stages);
  StreamFromStart(reader);
  Progress progress("filtering", reader.RecordLength(), o.quiet);
  while (writer.Pull() == pipeOK) progress.Update(reader.RecordPosition());
  writer.CloseFile();
  const TDesignReport& r = stages.Item(0).DesignReport();
  std::printf("%s -> %s: %s %s, %s %d, %d channel(s)%s\n", o.in.c_str(), o.out.c_str(), spec.method.c_str(),
              spec.type.c_str(), IsIir(spec) ? "order" : "length", r.Length, channels,
              IsIir(spec) ? "" : (", delay " + ShortNumber((r.Length - 1) / 2.0) + " samples").c_str());
  if (!r.AllMet()) std::printf("note: the design misses a band:\n%s", r.ToString().c_str());
  return 0;
}

}  // namespace

void AddFilterCommands(CLI::App& app, Commands& commands) {
  auto d = std::make_shared<DesignOptions>();
  CLI::App* sub = app.add_subcommand("design", "Design a filter: report, coefficients and response");
  AddSpecOptions(*sub, d->spec);
  sub->add_option("--fs", d->fs, "Sampling frequency, Hz")->check(FinitePositive())->capture_default_str();
  sub->add_flag("--json", d->json, "Specification, report, coefficients (taps, or b/a, sos and zpk) and response");
  sub->add_flag("--csv", d->csv, "The response: frequency, magnitude (dB), phase (deg), group delay (samples)");
  sub->add_option("--points", d->points, "Frequencies of the response, 0 .. fs/2")->check(CLI::Range(3, 1 << 20))
      ->capture_default_str();
  AddPlotOptions(*sub, d->plot, "Also draw magnitude, phase and group delay");
  sub->footer("Example: ondrix design --fs 48000 --type lowpass --pass 4000 --stop 5000 --attenuation 80 "
              "--method elliptic --json > lp.json");
  commands.push_back({sub, [d] {
                        if (d->json && d->csv) throw CLI::ValidationError("--csv", "choose --csv or --json, not both");
                        return RunDesign(*d);
                      }});

  auto f = std::make_shared<FilterOptions>();
  sub = app.add_subcommand("filter", "Filter every channel of a signal file");
  sub->add_option("in", f->in, "Input file")->required();
  sub->add_option("out", f->out, "Output file (.dat, .bin, .dbn, .sgl, .sfs, .asc or .wav)")->required();
  AddSpecOptions(*sub, f->spec);
  sub->add_option("--design", f->design, "A design written by `ondrix design --json` (instead of the options)");
  sub->add_flag("-q,--quiet", f->quiet, "No progress on stderr");
  sub->footer("Example: ondrix filter recording.wav low.wav --type lowpass --pass 1000 --stop 1500 --attenuation 60");
  commands.push_back({sub, [f] { return RunFilter(*f); }});
}

}  // namespace ondrix::app
