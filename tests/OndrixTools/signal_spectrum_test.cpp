// Scale arithmetic of signals and spectra, conversions, measures and text output.
#include <gtest/gtest.h>

#include <cmath>
#include <utility>
#include <vector>

#include "ondrix/OndrixTools/OndrixTools.h"
#include "tests/common/reference.h"
#include "ondrix/framework/TStringList.h"

using namespace ondrix;
using ondrix::testing::Raises;

/// Sampling frequency, sampling time, Dt, HzRes and bandwidth of a signal or spectrum.
template <class T>
std::vector<double> ScaleOf(const T& s) {
  return {s.SamplingFrequency(), s.SamplingTime(), s.Dt(), s.HzRes(), s.BandWidth()};
}

TEST(SignalScale, NewSignalAndLengthChanges) {
  TSignal s(nullptr);  // Length 128: signalprocessing_tests' PropertyTable
  EXPECT_EQ(ScaleOf(s), (std::vector<double>{1.0, 128.0, 1.0, 1.0 / 128, 0.5}));

  s.SetSamplingFrequency(1000.0);
  s.SetLength(0);  // empty: SamplingTime 0, the rest kept
  EXPECT_EQ(s.SamplingTime(), 0.0);
  EXPECT_EQ(s.Dt(), 0.001);
  EXPECT_EQ(s.BandWidth(), 500.0);
  EXPECT_EQ(s.SamplingFrequency(), 1000.0);
  s.SetLength(256);  // restored from the sampling frequency
  EXPECT_DOUBLE_EQ(s.SamplingTime(), 0.256);
  EXPECT_DOUBLE_EQ(s.HzRes(), 1.0 / 0.256);
}

TEST(SignalScale, SetterRulesOfTheScale) {
  TSignal e(nullptr);
  e.SetLength(0);
  e.SetSamplingTime(0.5);  // an empty signal has no scale
  EXPECT_EQ(e.SamplingTime(), 0.0);
  EXPECT_EQ(e.BandWidth(), 0.0);
  EXPECT_EQ(e.Dt(), 0.0);
  EXPECT_EQ(e.HzRes(), 0.0);

  TSignal s(nullptr);
  s.SetSamplingFrequency(0.0);  // stored; others kept; SamplingTime 0
  EXPECT_EQ(s.SamplingFrequency(), 0.0);
  EXPECT_EQ(s.Dt(), 1.0);
  EXPECT_EQ(s.BandWidth(), 0.5);
  EXPECT_EQ(s.SamplingTime(), 0.0);

  TSignal c(nullptr);
  c.SetLength(1024);
  c.SetDt(0.001);
  c.SetChannelCount(2);  // Dt kept: the block is half as long
  EXPECT_DOUBLE_EQ(c.SamplingTime(), 0.512);
  EXPECT_DOUBLE_EQ(c.SamplingFrequency(), 1000.0);

  TSignal z(nullptr);
  z.SetSamplingFrequency(1000.0);
  z.SetComplex(true);
  z.SetLength(128);
  EXPECT_DOUBLE_EQ(z.BandWidth(), 1000.0);
  EXPECT_DOUBLE_EQ(z.HzRes(), 1.0 / (2 * z.SamplingTime()));
  z.SetBandWidthL(-500.0);
  EXPECT_DOUBLE_EQ(z.BandWidthH(), 500.0);
  z.SetStartTime(2.0);
  z.SetHzRes(10.0);  // complex: SamplingTime = 1/(2·HzRes)
  EXPECT_DOUBLE_EQ(z.SamplingTime(), 0.05);
  EXPECT_DOUBLE_EQ(z.StopTime(), 2.05);
}

TEST(SignalScale, CopySizeFormatAndMeasures) {
  TSignal src(nullptr);
  src.SetSamplingFrequency(48000.0);
  src.SetChannelCount(2);
  src.SetLength(8);
  for (int i = 0; i < 8; ++i) src.Values(i) = i - 2.0;
  TSignal dst(nullptr);
  dst.Copy(src);
  EXPECT_EQ(dst.Length(), 8);
  EXPECT_EQ(dst.ChannelCount(), 1);  // not copied
  EXPECT_EQ(dst.SamplingFrequency(), 48000.0);
  EXPECT_EQ(dst.Values(7), 5.0);
  TSignal sized(nullptr);
  sized.Size(src);
  EXPECT_EQ(sized.Length(), 8);
  EXPECT_EQ(sized.Values(7), 0.0);

  src.MinMax();
  EXPECT_EQ(src.MaxAmplt(), 5.0);
  EXPECT_EQ(src.MinAmplt(), -2.0);
  // mean 1.5: peak about the mean is 3.5; RMS = √(Σx²/8) = √(60/8)
  EXPECT_DOUBLE_EQ(src.Peak(), 3.5);
  EXPECT_DOUBLE_EQ(src.Crest(), 3.5 / std::sqrt(60.0 / 8));
}

TEST(SignalText, ValuesAndMarksAlignToTheColumnWidth) {
  TSignal s(nullptr);
  s.SetLength(3);
  s.SetSamplingFrequency(2.0);
  s.Values(1) = 0.25;
  TStringList out;
  s.ValuesToStrings(out, "0.0", "0.00");
  ASSERT_EQ(out.Count(), 3);  // no header with empty headers
  EXPECT_EQ(out.Strings(1), std::string("0.5") + std::string(22, ' ') + "0.25");
  out.Clear();
  s.Marks().Add(0, 7.0, 0, 1.5);
  s.MarksToStrings(out, "", "", "t", "y");
  ASSERT_EQ(out.Count(), 2);
  EXPECT_EQ(out.Strings(0), "t" + std::string(24, ' ') + "y");
  EXPECT_EQ(out.Strings(1), "1.5" + std::string(22, ' ') + "7");
}

TEST(SpectrumScale, NewSpectrumZeroPaddingAndSetters) {
  TSpectrum s(nullptr);  // Length 64
  EXPECT_EQ(s.LineFactor(), 2.0);
  EXPECT_EQ(ScaleOf(s), (std::vector<double>{1.0, 128.0, 1.0, 0.5 / 64, 0.5}));

  s.SetZeroPadding(0);
  EXPECT_EQ(s.ZeroPadding(), 1);
  s.SetZeroPadding(2);  // a shorter time, the same lines
  EXPECT_EQ(ScaleOf(s), (std::vector<double>{1.0, 64.0, 1.0, 0.5 / 64, 0.5}));
  s.SetHzRes(3.0);
  EXPECT_EQ(s.HzRes(), 0.5 / 64);
  s.SetMainlobeWidth(1);
  EXPECT_EQ(s.MainlobeWidth(), 2);
  s.SetMainlobeWidth(500);
  EXPECT_EQ(s.MainlobeWidth(), 100);
  s.SetComplex(true);  // one sample per line
  EXPECT_EQ(s.BandWidth(), 1.0);
  EXPECT_THAT([&] { s.SetAmpltValues(64, 1.0); }, Raises<EVecError>("Range check error: i >= Length"));
}

TEST(SpectrumConversion, AmpltPowerAndPhaseModes) {
  TSpectrum s(nullptr);
  TVec x(2, true);
  x.CValues(0) = TCplx(3, 4);
  x.CValues(1) = TCplx(0, -2);
  s.AmpltSpectrum(x);
  EXPECT_EQ(s.Length(), 2);
  EXPECT_DOUBLE_EQ(s.AmpltValues(0), 5.0);
  EXPECT_DOUBLE_EQ(s.PhaseValues(1), -90.0);  // degrees by default
  s.SetPhaseUnits(puRad);
  s.PowerSpectrum(x);
  EXPECT_DOUBLE_EQ(s.AmpltValues(0), 25.0);
  EXPECT_DOUBLE_EQ(s.PhaseValues(1), -M_PI / 2);
  s.SetPhaseMode(pmIgnore);
  s.AmpltSpectrum(x);
  EXPECT_EQ(s.Phase().Length(), 0);
  TSpectrum other(nullptr);
  other.Phase().SetVal(7.0);
  other.SetPhaseMode(pmIgnore);
  other.Copy(s);
  EXPECT_EQ(other.Phase().Values(0), 7.0);  // not copied in pmIgnore

  s.SetPhaseMode(pmPhaseDelay);
  EXPECT_THAT([&] { s.AmpltSpectrum(x); }, Raises<EVecError>("Not implemented"));
  EXPECT_DOUBLE_EQ(s.AmpltValues(0), 5.0);  // filled before the hook raised
  s.SetPhaseMode(pmGroupDelay);
  EXPECT_THAT([&] { s.AmpltSpectrum(x); }, Raises<EVecError>("Not implemented!"));
}

TEST(SpectrumMeasures, THDFromMarks) {
  TSpectrum s(nullptr);
  EXPECT_EQ(s.THD(), 0.0);
  s.Marks().Add(3000, 0.04);
  s.Marks().Add(1000, 1.0);
  s.Marks().Add(2000, 0.03);
  EXPECT_NEAR(s.THD(), 5.0, 1e-12);
  s.SetHarmonics(2);  // fundamental and one harmonic
  EXPECT_NEAR(s.THD(), 3.0, 1e-12);
}

/// s holds the one-sided lines |X_k|/N at fs = 1 of n samples of sines (bin, amplitude) in
/// white noise of deviation sigma.
void FillWithTones(TSpectrum& s, int n, const std::vector<std::pair<int, double>>& tones, std::uint32_t seed,
                   double sigma) {
  TVec x(n), tone(n);
  x.RandGauss(seed, 0.0, sigma);
  for (const auto& [bin, a] : tones) x.Add(tone.Ramp(0, 2 * M_PI * bin / n).Sin().Scale(a));
  TVec spec;
  spec.FFT(x);
  spec.SetLength(n / 2);
  s.SetPhaseMode(pmIgnore);
  s.AmpltSpectrum(spec.Scale(1.0 / n));
  s.SetSamplingFrequency(1.0);
}

TEST(SpectrumMeasures, SnrOfASineInWhiteNoiseOfKnownPower) {
  // A real sine of amplitude A at a bin centre in white noise of variance σ²: the spectrum of
  // one-sided lines |X_k|/N has the tone at A/2 and noise lines of mean power σ²/N, so the
  // SNR is A²/(2σ²) whatever the window.
  const int n = 65536;
  const double a = 1.0, sigma = 0.01;
  TSpectrum s(nullptr);
  FillWithTones(s, n, {{1000, a}}, 42, sigma);
  const double f = 1000.0 / n;
  const double expected = 10 * std::log10(a * a / (2 * sigma * sigma));
  // The noise estimate averages ~32000 lines of χ²₂ power: its relative error is ~0.6 %,
  // 0.03 dB; 0.1 dB leaves room for the estimate of the measured noise variance.
  EXPECT_NEAR(s.SNR(f), expected, 0.1);
  EXPECT_NEAR(s.SINAD(f), expected, 0.1);  // no harmonics
  EXPECT_NEAR(s.THDN(f), 100 * std::pow(10, -expected / 20), 0.05);
  EXPECT_NEAR(s.NF(f), 10 * std::log10(sigma * sigma / n), 0.1);
  EXPECT_NEAR(s.AmpltEst(f), a / 2, 0.01);
  EXPECT_NEAR(s.PeakApproximate(f), f, 0.1 / n);
  // SFDR: tone line against the largest noise line.
  double maxNoise = 0;
  for (int i = 0; i < n / 2; ++i)
    if (std::abs(i - 1000) > 4 && i > 4) maxNoise = std::max(maxNoise, s.AmpltValues(i));
  EXPECT_NEAR(s.SFDR(), 20 * std::log10(s.AmpltValues(1000) / maxNoise), 1e-9);
  // Lines from -fs/2 (0 Hz on line 32): the strongest may be the first one.
  TSpectrum two(nullptr);
  TVec lines(64);
  lines.SetVal(1e-3);
  lines.Values(0) = 1.0;
  lines.Values(40) = 0.1;
  two.AmpltSpectrum(lines);
  two.SetSamplingFrequency(64.0);
  two.SetBandWidthL(-32.0);
  EXPECT_NEAR(two.SFDR(), 20.0, 1e-9);
}

TEST(SpectrumMeasures, HarmonicsLowerSinadButNotSnr) {
  const int n = 4096;
  TSpectrum s(nullptr);
  FillWithTones(s, n, {{64, 1.0}, {128, 0.1}}, 1, 1e-3);  // -20 dB second harmonic
  const double f = 64.0 / n;
  EXPECT_NEAR(s.SINAD(f), 20.0, 0.05);  // dominated by the harmonic: 10·log10(1/0.01)
  EXPECT_GT(s.SNR(f), 50.0);
  EXPECT_NEAR(s.THDN(f), 10.0, 0.05);
}

TEST(SpectrumOps, DifferentiateIntegrateAndLog) {
  TSpectrum s(nullptr);
  s.SetLength(4);
  s.SetSamplingFrequency(8.0);  // HzRes 1
  s.Amplt().SetVal(1.0);
  s.Differentiate();
  EXPECT_DOUBLE_EQ(s.AmpltValues(3), 2 * M_PI * 3);
  s.Integrate();
  EXPECT_DOUBLE_EQ(s.AmpltValues(3), 1.0);
  EXPECT_EQ(s.AmpltValues(0), 0.0);  // the DC line of an integral is set to 0
  s.SetBandWidthL(10.0);
  s.Amplt().SetVal(1.0);
  s.Differentiate();  // frequencies include the band's lower edge
  EXPECT_DOUBLE_EQ(s.AmpltValues(0), 2 * M_PI * 10);

  TSpectrum m(nullptr);
  m.SetLength(6);
  m.SetSamplingFrequency(12.0);
  m.SetConjExtend(true);  // ConjFlip: lower half scaled, mirrored to Length - i
  m.Amplt().SetVal(1.0);
  m.Differentiate();
  EXPECT_DOUBLE_EQ(m.AmpltValues(2), 2 * M_PI * 2);
  EXPECT_DOUBLE_EQ(m.AmpltValues(4), 2 * M_PI * 2);
  EXPECT_DOUBLE_EQ(m.AmpltValues(5), 2 * M_PI * 1);

  TSpectrum l(nullptr);
  l.SetLength(3);
  l.Amplt().Values(0) = 1.0;
  l.Amplt().Values(1) = 0.1;
  l.Amplt().Values(2) = 0.0;
  l.LogAmplt(1.0, 60.0, 10.0, false);
  EXPECT_DOUBLE_EQ(l.AmpltValues(0), 0.0);
  EXPECT_NEAR(l.AmpltValues(1), -20.0, 1e-12);
  EXPECT_DOUBLE_EQ(l.AmpltValues(2), -60.0);  // zero clipped to the span
}

TEST(SpectrumText, ValuesToStringsLayout) {
  TSpectrum s(nullptr);
  s.SetLength(2);
  s.SetSamplingFrequency(4.0);  // HzRes 1
  s.Amplt().Values(1) = 2.0;
  s.Phase().Values(1) = 45.0;
  s.SetBandWidthL(100.0);  // not added to the frequency column
  TStringList out;
  s.ValuesToStrings(out, "", "", "", "f", "a", "p", true);
  ASSERT_EQ(out.Count(), 3);
  std::string w24(24, ' ');
  EXPECT_EQ(out.Strings(0), "f" + w24 + "a" + w24 + "p");
  EXPECT_EQ(out.Strings(2), "1" + w24 + "2" + w24 + "45");
  out.Clear();
  s.SetPhaseMode(pmIgnore);
  s.ValuesToStrings(out, "", "", "", "", "", "", true);
  ASSERT_EQ(out.Count(), 2);
  EXPECT_EQ(out.Strings(1), "1" + w24 + "2" + w24);
}
