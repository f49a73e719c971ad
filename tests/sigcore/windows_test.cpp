#include <gtest/gtest.h>

#include <cmath>
#include <string>
#include <utility>

#include "ondrix/sigcore/windows.h"
#include "ondrix/vec/calcbase.h"
#include "filter_test_util.h"

using namespace ondrix;
using namespace ondrix::test;

namespace {

// The lengths of tests/gen_windows_reference.py, in its order.
const int kLengths[] = {1, 2, 3, 8, 63, 256};

const std::pair<std::string, void (*)(TVec&, bool)> kWindowCases[] = {
    {"hann", Hanning},
    {"hamming", Hamming},
    {"flattop3", FlatTop},
    {"bartlett", Bartlett},
    {"blackman", [](TVec& w, bool s) { Blackman(w, -0.16, s); }},
    {"blackmanharris3", BlackmanHarris},
    {"blackmanexact", BlackmanExact},
    {"tukey20", [](TVec& w, bool s) { CosineTappered(w, 20.0, s); }},
    {"tukey50", [](TVec& w, bool s) { CosineTappered(w, 50.0, s); }},
    {"kaiser3", [](TVec& w, bool s) { Kaiser(w, 3.0, s); }},
    {"kaiser8_6", [](TVec& w, bool s) { Kaiser(w, 8.6, s); }},
    {"cheb40", [](TVec& w, bool s) { Chebyshev(w, 40.0, s); }},
    {"cheb100", [](TVec& w, bool s) { Chebyshev(w, -100.0, s); }},
    {"exp001", [](TVec& w, bool s) { ExponentWindow(w, 0.01, s); }},
};

TVec Ones(int n) { return TVec(n).SetVal(1.0); }

// Highest sidelobe in dB below the main lobe, from a 32× zero-padded spectrum: everything
// beyond the first minimum after the peak at DC.
double HighestSidelobeDb(const TVec& w) {
  TVec padded(32 * w.Length());
  padded.Copy(w, 0, 0, w.Length());
  TVec spec;
  spec.FFTFromReal(padded);
  TVec mag;
  mag.Mag(spec);
  int i = 1;
  while (i + 1 < mag.Length() && mag.Values(i + 1) < mag.Values(i)) ++i;
  double side = 0;
  for (int k = i; k < mag.Length(); ++k) side = std::max(side, mag.Values(k));
  return 20.0 * std::log10(mag.Values(0) / side);
}

}  // namespace

TEST(Windows, MatchScipyPeriodicAndSymmetric) {
  for (const auto& [name, gen] : kWindowCases) {
    const auto recs = ReadRecords("win_" + name + ".f64");
    ASSERT_EQ(recs.size(), 2 * std::size(kLengths)) << name;
    for (size_t li = 0; li < std::size(kLengths); ++li) {
      for (bool sym : {false, true}) {
        const auto& ref = recs[2 * li + (sym ? 1 : 0)];
        TVec w = Ones(kLengths[li]);
        gen(w, sym);
        EXPECT_LE(MaxAbsDiff(w, ToVec(ref)), 1e-12) << name << " N=" << kLengths[li] << " sym=" << sym;
      }
    }
  }
}

// The analyzers' fixed amplitude corrections are the reciprocal means of the periodic windows,
// for every power-of-two frame length (and odd lengths where the window allows).
TEST(Windows, TableScaleFactorsAreReciprocalMeans) {
  // Tolerance: half a unit of the constant's last printed digit, except where windows.h says
  // the constant is one unit high (BlackmanHarris, BlackmanExact).
  const struct {
    TSignalWindowType type;
    double tol;
  } fixed[] = {{wtRectangular, 5e-9}, {wtHanning, 5e-9},        {wtHamming, 5e-9},
               {wtFlatTop, 5e-9},     {wtBartlett, 5e-9},       {wtBlackman, 5e-9},
               {wtBlackmanHarris, 1e-6}, {wtBlackmanExact, 1e-6}};
  for (int n = 64; n <= 65536; n *= 2) {
    for (const auto& f : fixed) {
      TVec w;
      const double s = GenerateWindow(f.type, w, n);
      EXPECT_NEAR(s, WindowTableScaleFactor(f.type), f.tol) << "type " << f.type << " N=" << n;
      EXPECT_NEAR(s, 1.0 / WindowMean(w), 1e-12);
    }
  }
  for (int n : {63, 255, 1001}) {
    TVec w;
    for (auto t : {wtHanning, wtHamming, wtFlatTop, wtBlackman})
      EXPECT_NEAR(GenerateWindow(t, w, n), WindowTableScaleFactor(t), 5e-9) << t << " N=" << n;
    // An odd periodic triangle misses its apex: mean 1/2 − 1/(2N²).
    GenerateWindow(wtBartlett, w, n);
    EXPECT_NEAR(WindowMean(w), 0.5 - 0.5 / (double(n) * n), 1e-14);
  }
  for (auto t : {wtCosineTapered, wtKaiser, wtChebyshev}) EXPECT_EQ(WindowTableScaleFactor(t), 0.0);
}

// The exponential window's mean is that of its continuous envelope, (1 − e^(−a))/a with
// a = ½·ln(1/param), at every length; the analyzers' constant differs by 4e-5 (windows.h).
TEST(Windows, ExponentMeanIndependentOfLength) {
  for (double p : {0.01, 0.1, 0.5}) {
    const double a = 0.5 * std::log(1.0 / p);
    const double mean = -std::expm1(-a) / a;
    for (int n : {2, 3, 64, 1000, 4096, 65536}) {
      TVec w;
      GenerateWindow(wtExponent, w, n, 40.0, p);
      EXPECT_NEAR(WindowMean(w), mean, 1e-13 * mean) << "p=" << p << " N=" << n;
    }
  }
  TVec w;
  EXPECT_NEAR(GenerateWindow(wtExponent, w, 4096) / WindowTableScaleFactor(wtExponent), 1.0, 5e-5);
  EXPECT_THROW(ExponentWindow(w, 0.0), EVecError);
  EXPECT_THROW(ExponentWindow(w, 1.5), EVecError);
  TVec r = Ones(16);
  ExponentWindow(r, 1.0);
  EXPECT_EQ(MaxAbsDiff(r, Ones(16)), 0.0);
}

TEST(Windows, GeneratorsMultiplyInPlaceAndConventions) {
  auto make = [](auto gen, TVec w) {
    gen(w);
    return w;
  };
  // A complex frame is scaled element by element by the real window; lengths 0 and 1 are left.
  const TVec x = Noise(37, 7, 1.0, true);
  const TVec w = make([](TVec& v) { Kaiser(v, 6.0); }, Ones(37));
  TVec expected(x);
  for (int i = 0; i < 37; ++i) expected.CValues(i) *= w.Values(i);
  EXPECT_LE(MaxAbsDiff(make([](TVec& v) { Kaiser(v, 6.0); }, x), expected), 1e-15);
  EXPECT_EQ(make([](TVec& v) { Chebyshev(v, 60); }, TVec()).Length(), 0);
  EXPECT_EQ(make([](TVec& v) { Hanning(v); }, ondrix::testing::Vec({3.0})).Values(0), 3.0);
  // Only |alpha| of the Blackman window is read; the taper runs from rectangular to Hann.
  const TVec hann = make([](TVec& v) { Hanning(v); }, Ones(128));
  EXPECT_EQ(MaxAbsDiff(make([](TVec& v) { Blackman(v, -0.3); }, Ones(128)),
                       make([](TVec& v) { Blackman(v, 0.3); }, Ones(128))), 0.0);
  EXPECT_EQ(MaxAbsDiff(make([](TVec& v) { CosineTappered(v, 0.0); }, Ones(128)), Ones(128)), 0.0);
  EXPECT_EQ(MaxAbsDiff(make([](TVec& v) { CosineTappered(v, 150.0); }, Ones(128)), hann), 0.0);
  // GenerateWindow passes the analyzers' parameters.
  TVec g;
  GenerateWindow(wtKaiser, g, 128, 70.0);
  EXPECT_EQ(MaxAbsDiff(g, make([](TVec& v) { Kaiser(v, KaiserBetaWindowAtt(70.0)); }, Ones(128))), 0.0);
  GenerateWindow(wtChebyshev, g, 128, 70.0);
  EXPECT_EQ(MaxAbsDiff(g, make([](TVec& v) { Chebyshev(v, 70.0); }, Ones(128))), 0.0);
  GenerateWindow(wtCosineTapered, g, 128);
  EXPECT_EQ(MaxAbsDiff(g, make([](TVec& v) { CosineTappered(v, 20.0); }, Ones(128))), 0.0);
  EXPECT_EQ(GenerateWindow(wtRectangular, g, 0), 1.0);
  EXPECT_THROW(GenerateWindow(static_cast<TSignalWindowType>(12), g, 8), EVecError);
}

// KaiserBetaWindowAtt gives the window whose highest sidelobe is the requested attenuation.
TEST(Windows, KaiserBetaMeetsSidelobeAttenuation) {
  EXPECT_EQ(KaiserBetaWindowAtt(10.0), 0.0);
  for (double att : {15.0, 20.0, 30.0, 40.0, 50.0, 60.0, 80.0, 100.0, 120.0, 140.0}) {
    TVec w = Ones(512);
    Kaiser(w, KaiserBetaWindowAtt(att));
    EXPECT_NEAR(HighestSidelobeDb(w), att, 0.5) << att;
  }
}

// A periodic cosine-sum window Σ ±a_k·cos(2πkt) has the noise bandwidth
// (a0² + ½·Σ_{k≥1} a_k²) / a0² lines for every length above twice its number of terms.
TEST(Windows, NoiseBandwidthOfCosineSums) {
  const struct {
    TSignalWindowType type;
    std::vector<double> a;
  } cases[] = {{wtRectangular, {1}}, {wtHamming, {0.54, 0.46}}, {wtFlatTop, {0.2810639, 0.5208972, 0.1980399}}};
  for (const auto& c : cases) {
    double s = c.a[0] * c.a[0];
    for (size_t k = 1; k < c.a.size(); ++k) s += 0.5 * c.a[k] * c.a[k];
    for (int n : {7, 256, 1001}) {
      TVec w;
      GenerateWindow(c.type, w, n);
      EXPECT_NEAR(WindowEnbw(w), s / (c.a[0] * c.a[0]), 1e-13) << c.type << " N=" << n;
    }
  }
  EXPECT_EQ(WindowEnbw(TVec()), 1.0);
}
