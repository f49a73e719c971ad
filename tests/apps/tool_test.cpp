// The tool end to end: its commands on small files written here, output files and reports
// checked against the signals' known content, and its usage errors.
#include <gmock/gmock.h>

#include <array>
#include <cmath>
#include <complex>
#include <cstdio>
#include <fstream>
#include <memory>
#include <sstream>

#include <nlohmann/json.hpp>

#include "tests/FileSignal/file_fixture.h"

namespace ondrix::testing {
namespace {

using ::testing::HasSubstr;

/// Runs the tool; its exit status and standard output.
std::pair<int, std::string> Tool(const std::string& args) {
  const std::string cmd = std::string(ONDRIX_TOOL) + " " + args + " 2>&1";
  std::unique_ptr<FILE, int (*)(FILE*)> pipe(popen(cmd.c_str(), "r"), pclose);
  std::string out;
  char buf[4096];
  while (std::size_t n = std::fread(buf, 1, sizeof buf, pipe.get())) out.append(buf, n);
  const int status = pclose(pipe.release());
  return {WIFEXITED(status) ? WEXITSTATUS(status) : -1, out};
}

/// The standard output of a run that must succeed.
std::string Ok(const std::string& args) {
  const auto [rc, out] = Tool(args);
  EXPECT_EQ(rc, 0) << args << "\n" << out;
  return out;
}

TVec ReadWhole(const std::string& file) {
  TSignalRead r(nullptr);
  r.SetFileName(file);
  return FileTest::ReadAll(r, 64);
}

using ToolFiles = FileTest;

TEST_F(ToolFiles, ConvertAndPlayKeepEverySample) {
  std::vector<double> values(2 * 3000);
  for (std::size_t i = 0; i < values.size(); ++i) values[i] = static_cast<double>((i * 7919) % 4001) - 2000;
  WriteBlocks(Path("a.wav"), {Vec(values)}, 2, prSmallInt, 8000);
  // stereo survives .dat; the single-channel formats carry the interleaved values
  for (const char* hop : {"b.dat", "c.dbn", "d.sfs", "e.asc"}) {
    Ok("convert --quiet " + Path("a.wav") + " " + Path(hop));
    EXPECT_TRUE(Near(ReadWhole(Path(hop)), Vec(values), 0)) << hop;
  }
  Ok("convert -q " + Path("b.dat") + " " + Path("f.wav"));
  EXPECT_EQ(Bytes(Path("f.wav")).size(), Bytes(Path("a.wav")).size());
  EXPECT_TRUE(Near(ReadWhole(Path("f.wav")), Vec(values), 0));
  EXPECT_THAT(Ok("info --json " + Path("b.dat")),
              HasSubstr("\"samples\": 3000, \"duration\": 0.375, \"rate\": 8000, \"channels\": 2, "
                        "\"precision\": \"prSmallInt\""));

  Ok("play -q " + Path("a.wav") + " --buffers 3 -d file:FILE=" + Path("out.raw") + ",FORMAT=raw");
  const auto played = Bytes(Path("out.raw"));
  ASSERT_EQ(played.size(), values.size() * 2);
  for (std::size_t i = 0; i < values.size(); ++i)
    ASSERT_EQ(static_cast<std::int16_t>(played[2 * i] | played[2 * i + 1] << 8), values[i]) << i;
}

// Amplitude of the tone at f in channel c of interleaved x (one DFT bin over whole periods).
double Tone(const TVec& x, int c, int ch, double f, double fs) {
  std::complex<double> acc = 0;
  const int n = x.Length() / ch;
  for (int i = 0; i < n; ++i) acc += x.Values(i * ch + c) * std::polar(1.0, -2 * M_PI * f * i / fs);
  return 2 * std::abs(acc) / n;
}

TEST_F(ToolFiles, DecimateKeepsThePassBandAndRejectsAliases) {
  const int n = 16000;
  Ok("generate -q " + Path("in.dat") + " --fs 8000 -d 2 \"sine(200, 1000) + sine(3500, 1000)\" \"sine(300, 500)\"");
  Ok("decimate -q " + Path("in.dat") + " " + Path("out.dat") + " --factor 4");
  TSignalRead r(nullptr);
  r.SetFileName(Path("out.dat"));
  const TVec y = FileTest::ReadAll(r, 2 * 500);
  EXPECT_EQ(r.SamplingFrequency(), 2000.0);
  ASSERT_EQ(y.Length(), 2 * n / 4);
  const TVec tail = Slice(y, 2 * 1000, 2 * 2000);  // past the filters' start, whole periods
  EXPECT_NEAR(Tone(tail, 0, 2, 200, 2000), 1000, 1);
  EXPECT_NEAR(Tone(tail, 1, 2, 300, 2000), 500, 0.5);
  EXPECT_LT(Tone(tail, 0, 2, 500, 2000), 0.1);  // 3500 Hz would fold onto 500 Hz
}

TEST_F(ToolFiles, SpectrumReadsTonesBetweenLinesAndNoiseDensity) {
  // channel 0: a tone of amplitude 0.5 a third of a line off; channel 1: white noise, σ = 0.1
  const double fs = 48000, f = 1000.37, A = 0.5, sd = 0.1;
  Ok("generate -q " + Path("s.wav") + " --fs 48000 -d 1 --seed 7 \"sine(1000.37, 0.5, 23)\" \"noise(0.1)\"");
  auto run = [&](const std::string& args) {
    const std::string out = Ok("spectrum -q --json " + Path("s.wav") + " " + args);
    return nlohmann::json::parse(out.substr(out.find('{')));
  };
  const double line = fs / 4096;
  // the peak fit is checked for every window in C++: here a tapered and the rectangular one
  for (const char* window : {"Blackman-Harris", "rect"}) {
    const auto j = run(std::string("-w ") + window + " --average none");
    EXPECT_EQ(j["frames"], 22);  // (48000 − 4096)/2048 + 1
    const double tol = window == std::string("rect") ? 0.01 : 0.002;  // leakage of the image
    EXPECT_NEAR(j["peaks"][0]["frequency"].get<double>(), f, tol * line) << window;
    EXPECT_NEAR(j["peaks"][0]["level"].get<double>(), A, tol * A) << window;
  }
  // what a sine of amplitude A reads in each type, and dBFS (full scale 1.0 for floats)
  EXPECT_NEAR(run("-t rms")["peaks"][0]["level"].get<double>(), A / std::sqrt(2.0), 1e-3 * A);
  EXPECT_NEAR(run("-t power")["peaks"][0]["level"].get<double>(), A * A / 2, 2e-3 * A * A);
  EXPECT_NEAR(run("-t peak --dbfs")["peaks"][0]["level"].get<double>(), 20 * std::log10(A), 0.01);
  // white noise reads σ²/(fs/2) per Hz; 22 frames × ~2000 lines leave ±0.5 % of scatter
  const auto psd = run("-t psd -c 1 --fmin 100 --fmax 23000");
  double mean = 0;
  for (double v : psd["spectrum"]["value"]) mean += v;
  mean /= psd["spectrum"]["value"].size();
  EXPECT_NEAR(mean, sd * sd / (fs / 2), 0.02 * sd * sd / (fs / 2));
}

TEST_F(ToolFiles, SpectrogramRowsAreTheFramesOfOneChannel) {
  // stereo: channel 1 holds a tone on line 20 of a 256 frame; 3000 samples per channel
  const double fs = 8000, A = 0.3;
  const int n = 3000;
  Ok("generate -q " + Path("t.dat") + " --fs 8000 -d 0.375 \"noise(0.01)\" \"sine(625, 0.3, 90)\"");
  std::istringstream lines(Ok("spectrogram -q --csv -c 1 -n 256 --overlap 75 " + Path("t.dat")));
  std::string line;
  std::getline(lines, line);
  ASSERT_EQ(line.substr(0, 14), "time_s,0,31.25");
  int frames = 0;
  while (std::getline(lines, line)) {
    std::vector<double> v;
    std::istringstream cells(line);
    for (std::string c; std::getline(cells, c, ',');) v.push_back(std::stod(c));
    ASSERT_EQ(v.size(), 1u + 128);  // lines 0 .. N/2 − 1
    EXPECT_NEAR(v[0], (frames * 64 + 128) / fs, 1e-12);  // the frame's centre
    EXPECT_NEAR(v[1 + 20], A * A, 1e-12);                  // (peak amplitude)² of a tone on a line
    EXPECT_LT(v[1 + 40], 1e-20);
    ++frames;
  }
  EXPECT_EQ(frames, 1 + (n - 256) / 64);
  // a frame longer than half the interleaved values still fits one channel's samples
  Ok("spectrum -q --json -c 1 -n 2048 " + Path("t.dat"));
}

TEST_F(ToolFiles, GenerateWritesTheFormulasChannelByChannel) {
  const double fs = 8000;
  auto gen = [&](const std::string& file, const std::string& args) {
    Ok("generate -q " + Path(file) + " --fs 8000 --block 1000 " + args);
    return ReadWhole(Path(file));
  };
  // 1.3 s is not whole blocks; the operators, the phase in degrees and unary minus
  const TVec x = gen("a.dat", "-d 1.3 \"0.5*sine(1000, 1, 30) - -0.25\" \"(1 + 0.5*square(10))*2\"");
  ASSERT_EQ(x.Length(), 2 * 10400);
  for (int i = 0; i < 10400; ++i) {
    ASSERT_NEAR(x.Values(2 * i), 0.5 * std::sin(2 * M_PI * 1000 * i / fs + M_PI / 6) + 0.25, 1e-12) << i;
    ASSERT_NEAR(std::fabs(x.Values(2 * i + 1) - 2.0), 1.0, 1e-12) << i;  // a square wave of ±1 around 1
  }
  // noise is the same for a seed and differs between seeds; its spread is the one asked for
  const TVec n1 = gen("n1.dat", "--seed 5 \"noise(0.1)\""), n2 = gen("n2.dat", "--seed 5 \"noise(0.1)\""),
             n3 = gen("n3.dat", "--seed 6 \"noise(0.1)\"");
  EXPECT_TRUE(Near(n1, n2, 0));
  EXPECT_FALSE(Near(n1, n3, 0.1));
  EXPECT_NEAR(n1.StdDev(), 0.1, 0.003);
}

TEST_F(ToolFiles, FilterMeetsItsDesignOnEveryChannel) {
  const int n = 24000;
  Ok("generate -q " + Path("in.dat") + " --fs 8000 -d 3 \"sine(500) + sine(3000)\" \"sine(2000, 0.5)\"");
  const std::string spec = " --pass 1000 --stop 1500 --attenuation 70 --ripple 0.05";
  for (const char* method : {"fir", "remez", "elliptic", "chebyshev2"}) {
    Ok(std::string("filter -q ") + Path("in.dat") + " " + Path("out.dat") + spec + " -m " + method);
    const TVec y = ReadWhole(Path("out.dat"));
    ASSERT_EQ(y.Length(), 2 * n);
    const TVec tail = Slice(y, 2 * 8000, 2 * 16000);  // whole periods, past the start
    EXPECT_NEAR(Tone(tail, 0, 2, 500, 8000), 1.0, 0.006) << method;  // 0.05 dB
    EXPECT_LT(Tone(tail, 0, 2, 3000, 8000), std::pow(10.0, -70 / 20.0)) << method;
    EXPECT_LT(Tone(tail, 1, 2, 2000, 8000), 0.5 * std::pow(10.0, -70 / 20.0)) << method;
  }
  // a design saved as JSON filters exactly as the options it was made from
  const std::string json = Ok("design --json --fs 8000 -m elliptic" + spec);
  std::ofstream(Path("d.json")) << json;
  const auto j = nlohmann::json::parse(json);
  EXPECT_EQ(j["sos"].size(), (j["order"].get<std::size_t>() + 1) / 2);
  Ok("filter -q " + Path("in.dat") + " " + Path("a.dat") + " --design " + Path("d.json"));
  Ok("filter -q " + Path("in.dat") + " " + Path("b.dat") + " -m elliptic" + spec);
  EXPECT_TRUE(Near(ReadWhole(Path("a.dat")), ReadWhole(Path("b.dat")), 0));

  // a narrow band at a high rate: the sections, not the ill-conditioned b/a, carry the design
  const auto d =
      nlohmann::json::parse(Ok("design --json --fs 48000 -t bandpass --stop 800 3000 --pass 1000 2500 -m elliptic"));
  for (double f = 1000; f <= 2500; f += 7.5) {
    std::complex<double> h = 1.0;
    const std::complex<double> z = std::polar(1.0, -2 * M_PI * f / 48000);  // z^-1
    for (const auto& c : d["sos"])
      h *= (c[0].get<double>() + c[1].get<double>() * z + c[2].get<double>() * z * z) /
           (c[3].get<double>() + c[4].get<double>() * z + c[5].get<double>() * z * z);
    EXPECT_NEAR(20 * std::log10(std::abs(h)), -0.05, 0.0501) << f;  // within the 0.1 dB ripple
  }
}

TEST_F(ToolFiles, CoherenceOfAFilteredNoiseGivesTheFiltersResponse) {
  Ok("generate -q " + Path("x.wav") + " --fs 8000 -d 4 --seed 2 \"noise(1)\"");
  Ok("filter -q " + Path("x.wav") + " " + Path("y.wav") + " --pass 1000 --stop 1500 -m elliptic");
  std::istringstream lines(Ok("coherence -q " + Path("x.wav") + " " + Path("y.wav") + " -n 1024"));
  std::string line;
  std::getline(lines, line);
  EXPECT_EQ(line, "frequency_hz,coherence,h1_magnitude,h1_phase_deg");
  int checked = 0;
  while (std::getline(lines, line)) {
    double f, c, h, ph;
    ASSERT_EQ(std::sscanf(line.c_str(), "%lf,%lf,%lf,%lf", &f, &c, &h, &ph), 4) << line;
    if (f > 100 && f < 900) {  // the pass band: a noiseless linear system
      EXPECT_GT(c, 0.99) << f;
      EXPECT_NEAR(h, 1.0, 0.02) << f;
      ++checked;
    }
    if (f > 1600 && f < 3900) {
      EXPECT_LT(h, 2e-3) << f;  // the stop band's -60 dB, plus the window's leakage
    }
  }
  EXPECT_GT(checked, 90);
}

TEST_F(ToolFiles, BispectrumFindsQuadraticPhaseCouplingOnly) {
  // 1000 + 1500 → 2500 Hz with coupled phases; the same with 2501 Hz drifts apart
  const std::string coupled = "\"sine(1000) + sine(1500, 1, 40) + sine(2500, 1, 40) + noise(0.3)\"";
  const std::string drifting = "\"sine(1000) + sine(1500, 1, 40) + sine(2501, 1, 70) + noise(0.3)\"";
  Ok("generate -q " + Path("c.wav") + " --fs 8000 -d 8 " + coupled);
  Ok("generate -q " + Path("d.wav") + " --fs 8000 -d 8 " + drifting);
  auto largest = [&](const std::string& file) {
    const std::string out = Ok("bispectrum -q --top 1 " + Path(file));
    double f1 = 0, f2 = 0, sum = 0, b = -1;
    std::istringstream in(out.substr(out.find("bicoherence\n") + 12));
    in >> f1 >> f2 >> sum >> b;
    return std::array<double, 3>{f1, f2, b};
  };
  const auto c = largest("c.wav");
  EXPECT_EQ(c[0], 1000);
  EXPECT_EQ(c[1], 1500);
  EXPECT_GT(c[2], 0.98);
  EXPECT_LT(largest("d.wav")[2], 0.1);  // about 1/sqrt(499 frames) plus the largest of many
}

TEST_F(ToolFiles, RunPullsAHandWrittenGraphWithSharedSourcesToItsEnd) {
  const int n = 16000;
  Ok("generate -q " + Path("in.dat") + " --fs 8000 -d 2 \"sine(500) + sine(3000)\"");
  // the writer and the analyzer both read "Slow": each must see every block
  std::ofstream(Path("g.json")) << R"({"class": "TComponent", "name": "Graph", "components": [
    {"class": "TSignalRead", "name": "Reader", "properties": {"FileName": ")" << Path("in.dat") << R"(",
      "Length": 1000, "LastFrameCheck": "lfcAdjustLength"}},
    {"class": "TSignalDecimator", "name": "Slow", "properties": {"Input": "Reader", "Factor": 2}},
    {"class": "TSignalWrite", "name": "Writer", "properties": {"Input": "Slow", "FileName": ")" << Path("out.dat") << R"("}},
    {"class": "TSpectrumAnalyzer", "name": "Spectrum", "properties": {"Inputs": [{"properties": {"Input": "Slow"}}]}}]})";
  const std::string out = Ok("run -q " + Path("g.json"));
  EXPECT_THAT(out, HasSubstr("Writer (TSignalWrite): 16 block(s), to the end"));
  EXPECT_THAT(out, HasSubstr("Spectrum (TSpectrumAnalyzer): 16 block(s), to the end"));
  const TVec y = ReadWhole(Path("out.dat"));
  ASSERT_EQ(y.Length(), n / 2);
  const TVec tail = Slice(y, 4000, 4000);  // whole periods, past the filters' start
  EXPECT_NEAR(Tone(tail, 0, 1, 500, 4000), 1.0, 1e-3);
  EXPECT_LT(Tone(tail, 0, 1, 1000, 4000), 1e-3);  // 3000 Hz would fold onto 1000 Hz
}

TEST_F(ToolFiles, EveryCommandExitsWithItsStatusAndSaysWhy) {
  WriteBlocks(Path("m.wav"), {Vec(std::vector<double>(1000, 0.0))}, 1, prSmallInt, 8000);
  std::ofstream(Path("x.dat"), std::ios::binary) << "abc";
  // " " + s trips a GCC 12 false -Wrestrict
  const auto at = [&](const char* name) { return std::string(" ").append(Path(name)); };
  const std::string m = at("m.wav");
  const struct {
    std::string args, says;
    int rc;
  } cases[] = {
      {"--version", "ondrix 0.", 0},
      {"run --list", "\nTSignalFilter\n", 0},
      {"run --describe TSignalDecimator", "Factor", 0},
      {"info" + at("missing.wav"), "ondrix: File not found: ", 1},
      {"convert" + at("x.dat") + at("y.wav"), "ondrix: Error reading audio file: record 0 has a truncated header", 1},
      {"play -q" + m + " -d nosuchdevice", "cannot play on audio device 'nosuchdevice'", 1},
      {"spectrum" + m + " -n 1024", "fewer than one 1024-sample frame", 1},
      {"nosuchcommand", "ondrix: unknown command 'nosuchcommand'; commands: demo, info,", 2},
      {"spectrum" + m + " --bogus", "ondrix: The following argument was not expected: --bogus", 2},
      {"spectrum" + m + " -w hanning2", "choose one of: rectangular, hann,", 2},
      {"spectrum" + m + " --overlap nan", "is not a finite number in [0, 95]", 2},
      {"spectrum" + m + " -c 3", "the file has 1 channel(s): 0 .. 0", 2},
      {"spectrum" + m + " --fmax 4001", "must be at most half the sampling rate", 2},
      {"demo --fs inf", "is not a finite number above 0", 2},
      {"run --describe TNoSuchThing", "no class named 'TNoSuchThing'", 2},
      {"design --fs 8000 --pass 1500 --stop 1000", "a lowpass wants --pass below --stop", 2},
      {"generate" + at("b.dat") + " --fs 8000 \"sine(4000)\"",
       "sine(): frequency 4000 Hz is not below half the sampling rate (4000 Hz)", 2},
  };
  for (const auto& c : cases) {
    const auto [rc, out] = Tool(c.args);
    EXPECT_EQ(rc, c.rc) << c.args << "\n" << out;
    EXPECT_THAT(out, HasSubstr(c.says)) << c.args;
  }
}

}  // namespace
}  // namespace ondrix::testing
