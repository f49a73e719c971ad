// The multirate components: setter rules, messages, alias and image rejection on coherent
// tones, delays, block splits, the demodulator's band, envelopes and external taps.
#include <gtest/gtest.h>

#include <functional>

#include "../sigcore/filter_test_util.h"
#include "processing_helpers.h"
#include "ondrix/framework/Registry.h"
#include "ondrix/vec/calcbase.h"

using namespace ondrix;
using namespace ondrix::testing;

namespace {

// n samples of a·cos(2π·f·i + phase) (f in cycles per sample).
TVec Cosine(int n, double f, double a = 1.0, double phase = 0.0) {
  TVec x(n);
  for (int i = 0; i < n; ++i) x.Values(i) = a * std::cos(TWOPI * f * i + phase);
  return x;
}

// Amplitude of each bin of y[from .. from + len): exact for tones periodic in the segment.
TVec BinAmplitudes(const TVec& y, int from, int len) {
  TVec seg(len), spec, mag;
  seg.Copy(y, from, 0, len);
  spec.FFTFromReal(seg);
  mag.Mag(spec);
  mag.Scale(2.0 / len);
  return mag;
}

/// Largest |y[j] − want(j)| from output `from` on (the start-up response skipped).
double WorstFrom(const TVec& y, int from, const std::function<double(int)>& want) {
  double worst = 0;
  for (int j = from; j < y.Length(); ++j) worst = std::max(worst, std::fabs(y.Values(j) - want(j)));
  return worst;
}

}  // namespace

// Defaults: PropertyTable.EveryRegisteredClass.
TEST(MultiRate, SetterRules) {
  TSignalDecimator d(nullptr);
  for (auto [set, got] : {std::pair{3, 4}, {0, 1}, {1, 1}, {-5, 1}, {5, 8}, {64, 64}, {100, 128}}) {
    d.SetFactor(set);
    EXPECT_EQ(d.Factor(), got) << set;
  }
  d.SetFactor(4);
  d.SetEnvelopeFactor(16);  // raises Factor
  EXPECT_EQ(d.Factor(), 16);
  d.SetEnvelopeFactor(3);
  EXPECT_EQ(d.EnvelopeFactor(), 4);
  d.SetFactor(2);  // lowers EnvelopeFactor
  EXPECT_EQ(d.EnvelopeFactor(), 2);
  d.SetEnvelopeFactor(-3);
  EXPECT_EQ(d.EnvelopeFactor(), 0);
  d.SetEnvelopeFactor(1);
  EXPECT_EQ(d.EnvelopeFactor(), 1);
  EXPECT_EQ(d.Factor(), 2);
  TSignal src(nullptr);
  src.SetData(TVec(64));
  src.SetSamplingFrequency(1000.0);
  auto half = Decimator(2, 0, true);  // the one stage only filters, at the input's rate
  half->SetInput(&src);
  ASSERT_EQ(half->Pull(), pipeOK);
  EXPECT_EQ(half->SamplingFrequency(), 1000.0);

  // The demodulator's factor follows its band: r = 0.5/LargestExp2(trunc(0.5/W)), doubled
  // when below W; a band past half the rate gives 1.
  TSignalDemodulator m(nullptr);
  struct Case { double width, freq; int factor; double storedWidth, storedFreq; };
  for (const Case& c : {Case{0.1, 0.0, 8, 0.1, 0.0}, {0.125, 0.0, 8, 0.125, 0.0}, {0.3, 0.0, 2, 0.3, 0.0},
                        {0.1, 0.45, 1, 0.1, 0.45}, {0.1, 0.375, 8, 0.1, 0.375}, {0.7, 0.0, 2, 0.5, 0.0},
                        {-0.2, 0.1, 1, 0.0, 0.1}, {0.01, -1.0, 64, 0.01, 0.0}}) {
    m.SetSubBandFrequency(c.freq);
    m.SetSubBandWidth(c.width);
    EXPECT_EQ(m.Factor(), c.factor) << c.width << " " << c.freq;
    EXPECT_EQ(m.SubBandWidth(), c.storedWidth);
    EXPECT_EQ(m.SubBandFrequency(), c.storedFreq);
  }
  m.SetFactor(2);
  m.SetEnvelopeFactor(8);
  EXPECT_EQ(m.Factor(), 64);
  EXPECT_EQ(m.EnvelopeFactor(), 0);

  TSignalEnvelopeDetector e(nullptr);
  e.Delay();
  e.SetHilbertRipple(0.01);  // only stored
  EXPECT_TRUE(e.FirInitialized());
  e.SetHilbertTransBW(0.2);
  EXPECT_FALSE(e.FirInitialized());
}

TEST(MultiRate, Messages) {
  TSignal stereo(nullptr);
  stereo.SetChannelCount(2);
  stereo.SetLength(64);
  TSignalDecimator d(nullptr);
  TSignalInterpolator i(nullptr);
  TSignalDemodulator m(nullptr);
  TSignalEnvelopeDetector e(nullptr);
  for (TSignalMultiRate* c : std::initializer_list<TSignalMultiRate*>{&d, &i, &m, &e}) {
    c->SetName("Stage");
    c->SetInput(&stereo);
    EXPECT_THAT([&] { c->Pull(); }, Raises<std::exception>("Stage: MultiRate: Input.ChannelCount > 1 not supported!"));
    c->SetInput(nullptr);
  }
  m.SetSubBandWidth(0.1);
  TVec y;
  EXPECT_THAT([&] { m.Process(TVec(63), y); }, Raises<std::exception>("Stage: (Input.Length mod 2) <> 0"));
  EXPECT_EQ(m.Input(), nullptr);  // Process restores the input after a failure too
  e.SetFactor(8);
  EXPECT_THAT([&] { e.Process(TVec(7), y); }, Raises<std::exception>("Stage: Input.Length < FActor"));
  e.Process(TVec(0), y);
  EXPECT_EQ(y.Length(), 0);
  // Factor 1 copies the block.
  i.SetFactor(1);
  const TVec x = Cosine(100, 0.3);
  i.Process(x, y);
  EXPECT_EQ(Values(y), Values(x));
}

// A decimated stop-band tone (at and beyond 1 + TransBW times the new Nyquist frequency) is at
// least −20·log10(Ripple) dB down; a pass-band tone keeps its amplitude within the ripples of
// the stages, which add up: (1 + Ripple)^stages − 1. Coherent tones make every amplitude one FFT
// bin. (The interpolator runs the same taps through a cascade checked against upfirdn in
// tests/sigcore; its wiring is checked by DelayAlignsOutputWithInput.)
TEST(MultiRate, AliasRejectionForFactors2To64) {
  constexpr int M = 256;  // output bins analysed
  for (int f = 2; f <= 64; f *= 2) {
    SCOPED_TRACE("factor " + std::to_string(f));
    TSignalDecimator d(nullptr);
    d.SetFactor(f);
    const int skip = static_cast<int>(2 * d.Delay() / f) + 4;  // the cascade's whole response
    const double passBound = std::pow(1 + d.Ripple(), d.Stages()) - 1;
    // Tone positions in units of the new Nyquist frequency (bin k of M: u = 2k/M).
    for (double u : {1.1, 1.25, 1.6, 1.9, 2.3, 3.4, 4.2, 7.7, 8.6, 15.3, 17.9, 31.1, 40.6, 63.2, 0.05, 0.3, 0.6, 0.9}) {
      if (u >= f) continue;
      const int k = static_cast<int>(std::lround(u * M / 2));
      TVec y;  // the skipped outputs also flush the previous tone
      d.Process(Cosine(f * (skip + M), static_cast<double>(k) / (f * M), 1.0, 0.4), y);
      const int alias = k % M <= M / 2 ? k % M : M - k % M;
      const double a = BinAmplitudes(y, skip, M).Values(alias);
      if (u > 1)
        EXPECT_LE(a, d.Ripple()) << "stop-band tone at " << u;
      else
        EXPECT_NEAR(a, 1.0, passBound) << "pass-band tone at " << u;
    }
  }
}

// Output j stands for the input at time j·Fo − Delay (Fo input samples per output sample):
// a pass-band tone comes out as the same tone shifted by Delay, for each component.
TEST(MultiRate, DelayAlignsOutputWithInput) {
  const double f = 0.011, phase = 0.7;
  const TVec x = Cosine(8192, f, 1.0, phase);
  std::pair<std::unique_ptr<TSignalMultiRate>, double> cases[] = {
      {Decimator(16), 16.0}, {Decimator(8, 0, true), 4.0}, {Interpolator(8, 0.2), 1.0 / 8}};
  for (auto& [c, step] : cases) {
    const double fo = step;  // clang 14 cannot capture a structured binding in a lambda
    TVec y;
    c->Process(x, y);
    const double delay = c->Delay();
    const auto tone = [&](int j) { return std::cos(TWOPI * f * (j * fo - delay) + phase); };
    EXPECT_LT(WorstFrom(y, static_cast<int>(2 * delay / fo) + 1, tone), 1e-3) << c->ClassName() << ", delay " << delay;
  }
}

// A stream cut into random blocks gives the output of one block (the demodulator takes even
// blocks, the envelope detector blocks of at least Factor samples).
TEST(MultiRate, RandomBlockSplitsGiveTheWholeStream) {
  TVec x(6000);
  x.RandGauss(3, 0.0, 1.0);
  const std::pair<std::function<std::unique_ptr<TSignalMultiRate>()>, int> makers[] = {
      {[] { return Decimator(8); }, 1},           {[] { return Decimator(16, 4, true); }, 1},
      {[] { return Interpolator(4); }, 1},        {[] { return Demodulator(0.15, 0.06); }, 2},
      {[] { return Decimator<TSignalEnvelopeDetector>(4); }, 4}};
  for (const auto& [make, step] : makers) {
    auto whole = make();
    TVec ref;
    whole->Process(x, ref);
    for (unsigned seed : {1u, 2u}) {
      auto parts = make();
      std::vector<int> blocks = ondrix::test::RandomBlocks(x.Length() / step, seed, 700 / step);
      for (int& b : blocks) b *= step;
      const TVec y = ondrix::test::InBlocks(x, blocks, [&](const TVec& a, TVec& b) { parts->Process(a, b); });
      EXPECT_LE(MaxDiff(y, ref), 1e-12 * ref.RMS()) << whole->ClassName();  // huge when the lengths differ
    }
  }
}

// The band [200, 325] Hz of a 1 kHz stream comes out at 250 Hz with the band's lower edge
// at 0 Hz: a tone at 200 Hz + f0 reads f0 with its amplitude, its carrier phase advanced by
// π·Delay/Factor. (How well the cascade rejects the rest is checked against upfirdn in tests/sigcore.)
// (The demodulator keeps the zero end taps of its half-band design; trimming them would
// shorten its Delay by the same amount as the output's, which this test cannot tell apart.)
TEST(MultiRate, DemodulatorShiftsItsBandToTheNewRate) {
  TSignal src(nullptr);
  src.SetSamplingFrequency(1000.0);
  TSignalDemodulator m(nullptr);
  m.SetInput(&src);
  m.SetSubBandFrequency(0.2);
  m.SetSubBandWidth(0.1);
  ASSERT_EQ(m.Factor(), 8);
  const double delay = m.Delay();
  const double f0 = 61 * 250.0 / 256;  // on a bin of 256 output samples
  src.SetData(Cosine(8192, (200.0 + f0) / 1000.0, 0.8, 0.3));
  src.SetSamplingFrequency(1000.0);
  ASSERT_EQ(m.Pull(), pipeOK);
  EXPECT_EQ(m.SamplingFrequency(), 250.0);
  EXPECT_EQ(m.BandWidthL(), 200.0);
  ASSERT_EQ(m.Length(), 2048);
  const auto tone = [&](int j) { return 0.8 * std::cos(TWOPI * f0 / 250.0 * (j - delay / 4) + 0.3 + PI * delay / 8); };
  EXPECT_LT(WorstFrom(m.Data(), static_cast<int>(2 * delay / 4) + 1, tone), 1e-3);
}

// The envelope of A·(1 + m·cos(2π·fm·t))·sin(2π·fc·t) is A·(1 + m·cos(2π·fm·(t − Delay))) within
// 1 %; a decimator with EnvelopeFactor = Factor reads a steady tone's amplitude on average.
TEST(MultiRate, EnvelopeOfAnAmplitudeModulatedTone) {
  const double fc = 0.2, fm = 0.005, mod = 0.5, amp = 1.3;
  TVec x(16384);
  for (int i = 0; i < x.Length(); ++i)
    x.Values(i) = amp * (1 + mod * std::cos(TWOPI * fm * i)) * std::sin(TWOPI * fc * i);
  TSignalEnvelopeDetector e(nullptr);
  e.SetFactor(8);
  TVec y;
  e.Process(x, y);
  const double delay = e.Delay();
  const auto envelope = [&](int j) { return amp * (1 + mod * std::cos(TWOPI * fm * (8 * j - delay))); };
  EXPECT_LT(WorstFrom(y, static_cast<int>(2 * delay / 8) + 1, envelope), 0.01 * amp);

  Decimator(16, 16)->Process(Cosine(32768, 0.0371, 0.7), y);
  double mean = 0;
  for (int j = 200; j < y.Length(); ++j) mean += y.Values(j) / (y.Length() - 200);
  EXPECT_NEAR(mean, 0.7, 1e-3);
}

// With ExternalTaps the taps set in OnGetFilterTaps are used as given; the event follows every design.
TEST(MultiRate, ExternalTapsAndTheTapsEvent) {
  TSignalDecimator d(nullptr);
  d.SetFactor(4);
  int calls = 0;
  d.OnGetFilterTaps = [&](TObject*) { ++calls; };
  d.Delay();
  EXPECT_EQ(calls, 1);
  EXPECT_GT(d.HalfBandTaps().Length(), 0);
  d.SetRipple(1e-6);
  d.Delay();
  EXPECT_EQ(calls, 2);
  d.SetExternalTaps(true);
  d.OnGetFilterTaps = [](TObject* s) {
    auto* c = static_cast<TSignalMultiRate*>(s);
    c->HalfBandTaps() = TVec(1);
    c->HalfBandTaps().Values(0) = 1.0;  // keep every second sample
    c->LastStageTaps() = TVec(2);
    c->LastStageTaps().SetVal(0.5);  // average pairs
  };
  TVec x(16), y;
  x.Ramp(0.0, 1.0);
  d.Process(x, y);
  // Stage 1 keeps x[0], x[2], ...; stage 2 averages (x[2j − 2] + x[2j]) of those.
  EXPECT_EQ(Values(y), (std::vector<double>{0.0, 3.0, 7.0, 11.0}));
}

TEST(ProcessingLists, MakeItemsOfTheirClass) {
  RegisterSignalProcessingClasses();
  for (const char* name : {"TSignalDecimatorList", "TSignalInterpolatorList", "TSignalDemodulatorList",
                           "TSignalEnvelopeDetectorList", "TSpectrumFilterList"}) {
    auto list = CreateComponentByName(name);
    auto* l = dynamic_cast<TSignalList*>(list.get());
    ASSERT_NE(l, nullptr) << name;
    l->SetCount(2);
    EXPECT_EQ(std::string(l->Items(1)->ClassName()) + "List", name);
  }
}
