// Band levels, the octave and third-octave presets, and the text report.
#include <gtest/gtest.h>

#include <string>

#include "analyzer_helpers.h"
#include "ondrix/framework/TStringList.h"
#include "ondrix/vec/calcbase.h"

using namespace ondrix;
using namespace ondrix::testing;

TEST(Bands, PresetsCarryTheNominalFrequenciesAndBaseTenEdges) {
  TSpectrumAnalyzer an(nullptr);
  TSpectrumBandsAnalyzer& b = *an.Bands();
  b.SetThirdOctaveBands(20, 20000);
  const double thirds[] = {20,   25,   31.5, 40,   50,   63,   80,   100,  125,   160,   200,
                           250,  315,  400,  500,  630,  800,  1000, 1250, 1600,  2000,  2500,
                           3150, 4000, 5000, 6300, 8000, 10000, 12500, 16000, 20000};
  ASSERT_EQ(b.Count(), 31);
  for (int i = 0; i < 31; ++i) {
    EXPECT_DOUBLE_EQ(b.Band(i).NominalFrequency(), thirds[i]) << i;
    const double mid = 1000 * std::pow(10.0, (i - 17) / 10.0);
    EXPECT_NEAR(b.Band(i).StartFrequency(), mid * std::pow(10.0, -0.05), 1e-9 * mid);
    EXPECT_NEAR(b.Band(i).StopFrequency(), mid * std::pow(10.0, 0.05), 1e-9 * mid);
  }
  b.SetOctaveBands(16, 16000);
  const double octaves[] = {16, 31.5, 63, 125, 250, 500, 1000, 2000, 4000, 8000, 16000};
  ASSERT_EQ(b.Count(), 11);
  for (int i = 0; i < 11; ++i) EXPECT_DOUBLE_EQ(b.Band(i).NominalFrequency(), octaves[i]) << i;
  EXPECT_NEAR(b.Band(6).StopFrequency() / b.Band(6).StartFrequency(), std::pow(10.0, 0.3), 1e-12);
}

TEST(Bands, LevelIsTheRootSumOfSquaresOfTheLinesInside) {
  // Tones on lines (rectangular window): each occupies one line of amplitude A/2.
  const double fs = 8192.0;
  const TVec x = Sum(Sum(Sine(8192, fs, 1000, 1.0), Sine(8192, fs, 1100, 0.6)), Sine(8192, fs, 3000, 0.2));
  TRig rig(fs);
  TSpectrumBands& bands = *rig->Bands()->Bands();
  bands.AddBand(900, 1100);   // 1000 only: the stop edge is excluded
  bands.AddBand(900, 1101);   // 1000 and 1100
  bands.AddBand(2000, 2500);  // nothing
  bands.AddBand(2999.5, 3000.5);
  bands.AddBand(5000, 6000);  // beyond the spectrum
  rig.Feed(x);
  const TSpectrumBandsAnalyzer& b = *rig->Bands();
  const std::pair<double, int> want[] = {{0.5, 200}, {std::hypot(0.5, 0.3), 201}, {0.0, 500}, {0.1, 1}, {0.0, 0}};
  for (int i = 0; i < 5; ++i) {
    EXPECT_NEAR(b.Band(i).Level(), want[i].first, want[i].second ? 1e-12 : 0.0) << i;  // no lines: exactly 0
    EXPECT_EQ(b.Band(i).LineCount(), want[i].second) << i;
  }
  EXPECT_NEAR(b.LevelDb(3), -20.0, 1e-9);
  // The power type sums the lines, still before the dB conversion of the spectrum.
  rig->SetSpectrumType(stPower);
  rig->SetLogarithmic(true);
  rig.Feed(x);
  EXPECT_NEAR(b.Band(1).Level(), 0.25 + 0.09, 1e-12);
  EXPECT_NEAR(b.LevelDb(3), -20.0, 1e-9);
  // An assigned OnBandsUpdate replaces the update.
  bool called = false;
  rig->OnBandsUpdate = [&](TObject*) { called = true; };
  rig.Feed(Sine(8192, fs, 1000, 2.0));
  EXPECT_TRUE(called);
  EXPECT_NEAR(b.Band(1).Level(), 0.34, 1e-12);
}

TEST(Bands, NoiseBandwidthCorrectionMakesAToneBetweenLinesReadItsAmplitude) {
  // Parseval: a tone's Σ Amplt² over all lines is (A/2)²·B for any position between lines.
  const double fs = 8192.0;
  TRig rig(fs, wtHanning);
  rig->Bands()->Bands()->AddBand(900, 1100);
  rig.Feed(Sine(8192, fs, 1000.37, 1.2));
  EXPECT_NEAR(rig->NoiseBandwidthLines(), 1.5, 1e-12);  // N·Σw²/(Σw)² of the periodic Hann window
  const double plain = rig->Bands()->Band(0).Level();
  rig->Bands()->SetNoiseBandwidthCorrection(true);
  rig.Feed(Sine(8192, fs, 1000.37, 1.2));
  EXPECT_NEAR(rig->Bands()->Band(0).Level(), 0.6, 1e-6);  // Hann sidelobes outside the band
  EXPECT_NEAR(plain, 0.6 * std::sqrt(1.5), 1e-6);
  rig->SetZeroPadding(2);  // the lobe covers twice the lines
  rig.Feed(Sine(8192, fs, 1000.37, 1.2));
  EXPECT_NEAR(rig->NoiseBandwidthLines(), 3.0, 1e-12);
  EXPECT_NEAR(rig->Bands()->Band(0).Level(), 0.6, 1e-6);
}

TEST(Report, MarksThdAndBandsInAlignedColumns) {
  // Fundamental 1000 Hz, harmonics 0.03 and 0.04 of it: THD 5 %.
  const double fs = 8192.0;
  const TVec x = Sum(Sum(Sine(8192, fs, 1000, 1.0), Sine(8192, fs, 2000, 0.03)), Sine(8192, fs, 3000, 0.04));
  TRig rig(fs);
  rig->Peaks()->SetTraceMethod(ptAmpltHarmonics);
  rig->Peaks()->SetHarmonicsCount(10);
  rig->Bands()->SetOctaveBands(500, 4000);
  rig.Feed(x);
  ASSERT_EQ(rig->Peaks()->Count(), 4);  // 5000 Hz lies beyond the axis
  for (int h = 0; h < 3; ++h) EXPECT_EQ(rig->Peaks()->GetMarks(h).Freq, 1000.0 * (h + 1));
  EXPECT_NEAR(rig->Peaks()->GetMarks(3).Freq, 4000.0, rig->MainlobeWidth() / 2);  // no tone: a rounding-level line
  EXPECT_LT(rig->Peaks()->GetMarks(3).Amplt, 1e-12);
  EXPECT_NEAR(rig->THD(), 5.0, 1e-9);
  TStringList lines;
  rig->Report()->ToStrings(lines);
  const int w = SignalTextColumnWidth;
  ASSERT_GE(lines.Count(), 1 + 1 + 4 + 1 + 2 + 4);
  EXPECT_EQ(lines.Strings(0), "Marks");
  EXPECT_EQ(lines.Strings(1).substr(0, w), AlignString("Frequency [Hz]", w));
  EXPECT_EQ(lines.Strings(1).substr(w), "Amplitude");
  EXPECT_EQ(lines.Strings(2), AlignString("1000", w) + AlignString("5.00000E-01", w));
  EXPECT_EQ(lines.Strings(4), AlignString("3000", w) + AlignString("2.00000E-02", w));
  EXPECT_EQ(lines.Strings(6), AlignString("THD [%]", w) + "5.0000");
  EXPECT_EQ(lines.Strings(7), "Bands");
  const std::string& band1k = lines.Strings(10);  // 500, 1000, 2000, 4000
  EXPECT_EQ(band1k.substr(0, w), AlignString("1000", w));
  EXPECT_EQ(band1k.substr(3 * w, w), AlignString("5.00000E-01", w));
  EXPECT_EQ(band1k.substr(4 * w), "-6.02");
  // In dB the marks read dB and the THD stays the linear one.
  rig->SetLogarithmic(true);
  rig.Feed(x);
  EXPECT_NEAR(rig->Report()->THD(), 5.0, 1e-9);
  EXPECT_NE(rig->Report()->Text().find("Amplitude [dB]"), std::string::npos);
  EXPECT_NE(rig->Report()->Text().find(AlignString("2000", w) + "-36.48"), std::string::npos);
}
