#include "ondrix/vec/precision.h"

#include <gtest/gtest.h>

#include <cmath>
#include <fstream>
#include <limits>
#include <map>
#include <sstream>
#include <string>
#include <vector>

#include "tests/common/reference.h"

using namespace ondrix;
using ondrix::testing::Vec;
using ondrix::testing::Values;

namespace {

constexpr double kInf = std::numeric_limits<double>::infinity();
constexpr double kNaN = std::numeric_limits<double>::quiet_NaN();

std::vector<std::uint8_t> Bytes(const TVec& v, TPrecision p, TRounding r = rnRound) {
  std::vector<std::uint8_t> out(static_cast<std::size_t>(v.Length() * SizeOfPrecision(p, v.Complex())));
  WriteValues(v, out.data(), p, r);
  return out;
}

// Writes then reads back the real values of v at precision p.
std::vector<double> Through(const std::vector<double>& v, TPrecision p, TRounding r = rnRound) {
  const std::vector<std::uint8_t> bytes = Bytes(Vec(v), p, r);
  TVec back;
  ReadValues(back, bytes.data(), static_cast<int>(v.size()), p, false);
  return Values(back);
}

struct IntFormat {
  TPrecision precision;
  double min, max;
};

const IntFormat kIntFormats[] = {
    {prInteger, -2147483648.0, 2147483647.0}, {prCardinal, 0.0, 4294967295.0},
    {prSmallInt, -32768.0, 32767.0},          {prWord, 0.0, 65535.0},
    {prShortInt, -128.0, 127.0},              {prByte, 0.0, 255.0},
    {prInt24, -8388608.0, 8388607.0}};

const TPrecision kAll[] = {prDouble,   prSingle, prInteger, prCardinal, prSmallInt, prWord,
                           prShortInt, prByte,   prMuLaw,   prALaw,     prInt24};

}  // namespace

TEST(Precision, OrdinalsAndSizes) {
  // Files store the ordinal: these numbers are part of the file formats.
  const int sizes[] = {8, 4, 4, 4, 2, 2, 1, 1, 1, 1, 3};
  for (int ord = 0; ord <= 10; ++ord) {
    EXPECT_EQ(static_cast<int>(kAll[ord]), ord);
    EXPECT_EQ(SizeOfPrecision(kAll[ord]), sizes[ord]) << ord;
    EXPECT_EQ(SizeOfPrecision(kAll[ord], true), 2 * sizes[ord]) << ord;
  }
  EXPECT_THROW(SizeOfPrecision(static_cast<TPrecision>(11)), EVecError);
  EXPECT_THROW(SizeOfPrecision(static_cast<TPrecision>(-1)), EVecError);
  TVec v;
  const std::uint8_t raw[4] = {};
  EXPECT_THROW(ReadValues(v, raw, 1, static_cast<TPrecision>(11), false), EVecError);
}

// The raw converters write exactly n values: the bytes and doubles after them keep a marker.
TEST(Precision, RawConvertersStopAtN) {
  constexpr std::size_t n = 5;
  const double src[n + 2] = {1, -2, 3, -4, 5, 99, 99};
  for (TPrecision p : kAll) {
    SCOPED_TRACE(p);
    const std::size_t size = static_cast<std::size_t>(SizeOfPrecision(p));
    std::vector<std::uint8_t> bytes((n + 2) * size, 0xAB);
    EncodeValues(src, n, bytes.data(), p);
    for (std::size_t i = n * size; i < bytes.size(); ++i) EXPECT_EQ(bytes[i], 0xAB) << "byte " << i;
    std::vector<double> back(n + 2, -7.5);
    DecodeValues(bytes.data(), n, back.data(), p);
    EXPECT_EQ(back[n], -7.5);
    EXPECT_EQ(back[n + 1], -7.5);
  }
}

TEST(Precision, LittleEndianByteLayout) {
  using B = std::vector<std::uint8_t>;
  EXPECT_EQ(Bytes(Vec({0xFFFE}), prWord), (B{0xFE, 0xFF}));
  EXPECT_EQ(Bytes(Vec({-2, 0x12345678}), prInteger),
            (B{0xFE, 0xFF, 0xFF, 0xFF, 0x78, 0x56, 0x34, 0x12}));
  EXPECT_EQ(Bytes(Vec({4294967294.0}), prCardinal), (B{0xFE, 0xFF, 0xFF, 0xFF}));
  EXPECT_EQ(Bytes(Vec({-2, 0x123456, -8388608, 8388607}), prInt24),
            (B{0xFE, 0xFF, 0xFF, 0x56, 0x34, 0x12, 0x00, 0x00, 0x80, 0xFF, 0xFF, 0x7F}));
  EXPECT_EQ(Bytes(Vec({-2, 200}), prShortInt), (B{0xFE, 0x7F}));
  // IEEE: 1.0 = 0x3FF0000000000000 (binary64), 0x3F800000 (binary32); -2.0f = 0xC0000000.
  EXPECT_EQ(Bytes(Vec({1.0}), prDouble), (B{0, 0, 0, 0, 0, 0, 0xF0, 0x3F}));
  EXPECT_EQ(Bytes(Vec({1.0, -2.0}), prSingle), (B{0, 0, 0x80, 0x3F, 0, 0, 0, 0xC0}));
  EXPECT_EQ(Bytes(Vec({254, 0, 128}), prByte), (B{0xFE, 0x00, 0x80}));
  // Decoding is pinned by these layouts and the round trips below.
}

TEST(Precision, FloatsAndCompandersRoundTrip) {
  const std::vector<double> any = {0.1, -1e300, 5e-324, -0.0, 1.0 / 3.0, kInf, -kInf};
  const std::vector<double> dbl = Through(any, prDouble);
  for (std::size_t i = 0; i < any.size(); ++i)
    EXPECT_EQ(std::signbit(dbl[i]), std::signbit(any[i])) << i;
  EXPECT_EQ(dbl, any);
  EXPECT_TRUE(std::isnan(Through({kNaN}, prDouble)[0]));

  std::vector<double> singles;
  for (double x : any) singles.push_back(static_cast<float>(x));
  EXPECT_EQ(Through(singles, prSingle), singles);  // float-representable values are exact
  EXPECT_EQ(Through({0.1}, prSingle)[0], static_cast<double>(0.1f));
  EXPECT_EQ(Through({1e300, -1e300}, prSingle), (std::vector<double>{kInf, -kInf}));
  EXPECT_TRUE(std::isnan(Through({kNaN}, prSingle)[0]));

  for (TPrecision law : {prMuLaw, prALaw}) {
    std::vector<double> decoded;
    for (int c = 0; c < 256; ++c)
      decoded.push_back(law == prMuLaw ? MuLawDecode(static_cast<std::uint8_t>(c))
                                       : ALawDecode(static_cast<std::uint8_t>(c)));
    EXPECT_EQ(Through(decoded, law), decoded) << law;
  }
}

TEST(Precision, ComplexValuesAreReThenIm) {
  const TVec c = Vec({1.0, -2.0, 300.0, -32768.0}, true);
  EXPECT_EQ(Bytes(c, prSmallInt),
            (std::vector<std::uint8_t>{0x01, 0x00, 0xFE, 0xFF, 0x2C, 0x01, 0x00, 0x80}));
  for (TPrecision p : kAll) {
    const std::vector<std::uint8_t> bytes = Bytes(c, p);
    ASSERT_EQ(bytes.size(), static_cast<std::size_t>(2 * SizeOfPrecision(p, true)));
    TVec back(7);  // wrong size and flag on purpose: ReadValues sizes it
    ReadValues(back, bytes.data(), 2, p, true);
    ASSERT_TRUE(back.Complex());
    ASSERT_EQ(back.Length(), 2);
    if (p == prDouble || p == prSingle || p == prInteger || p == prInt24 || p == prSmallInt) {
      EXPECT_EQ(back.CValues(0), TCplx(1.0, -2.0)) << p;
      EXPECT_EQ(back.CValues(1), TCplx(300.0, -32768.0)) << p;
    }
  }
  TVec empty(5, true);
  ReadValues(empty, nullptr, 0, prInteger, false);
  EXPECT_EQ(empty.Length(), 0);
  EXPECT_FALSE(empty.Complex());
}

TEST(Precision, IntegersRoundTripAndSaturate) {
  for (const IntFormat& f : kIntFormats) {
    SCOPED_TRACE(f.precision);
    // Limits, neighbours of zero and of the limits, a spread of interior integers.
    std::vector<double> v = {f.min, f.min + 1, f.max - 1, f.max, 0, 1};
    if (f.min < 0) v.push_back(-1);
    for (int k = 1; k < 50; ++k) v.push_back(std::floor(f.min + (f.max - f.min) * k / 50.0));
    EXPECT_EQ(Through(v, f.precision), v);
    const std::vector<double> above = {f.max + 1, f.max + 0.4, f.max + 1e6, 1e30, kInf};
    for (double got : Through(above, f.precision)) EXPECT_EQ(got, f.max);
    const std::vector<double> below = {f.min - 1, f.min - 0.4, f.min - 1e6, -1e30, -kInf};
    for (double got : Through(below, f.precision)) EXPECT_EQ(got, f.min);
    EXPECT_EQ(Through({kNaN, -kNaN}, f.precision), (std::vector<double>{0, 0}));
  }
  // Unsigned formats clip negatives to zero after rounding: -0.4 rounds to 0, -0.6 to -1 -> 0.
  EXPECT_EQ(Through({-0.4, -0.6, 255.5, 255.4}, prByte), (std::vector<double>{0, 0, 255, 255}));
  // Mu-law / A-law saturate their 16-bit linear input before encoding.
  EXPECT_EQ(Bytes(Vec({1e9, kInf, -1e9, -kInf, kNaN}), prMuLaw),
            (std::vector<std::uint8_t>{0x80, 0x80, 0x00, 0x00, 0xFF}));
  EXPECT_EQ(Bytes(Vec({1e9, -1e9, kNaN}), prALaw), (std::vector<std::uint8_t>{0xAA, 0x2A, 0xD5}));
}

TEST(Precision, RoundingModes) {
  const std::vector<double> x = {2.5, -2.5, 2.4, -2.4, 2.6, -2.6, 0.5, -0.5, 7.0, -7.0};
  const std::map<TRounding, std::vector<double>> expected = {
      {rnRound, {3, -3, 2, -2, 3, -3, 1, -1, 7, -7}},
      {rnTrunc, {2, -2, 2, -2, 2, -2, 0, 0, 7, -7}},
      {rnFloor, {2, -3, 2, -3, 2, -3, 0, -1, 7, -7}},
      {rnCeil, {3, -2, 3, -2, 3, -2, 1, 0, 7, -7}}};
  for (const auto& [mode, want] : expected)
    for (TPrecision p : {prInteger, prSmallInt, prShortInt, prInt24})
      EXPECT_EQ(Through(x, p, mode), want) << "mode " << mode << " precision " << p;
  // Large halves stay exact at 32 bits.
  EXPECT_EQ(Through({-2147483647.5, 2147483646.5}, prInteger),
            (std::vector<double>{-2147483648.0, 2147483647.0}));
  // The linear input of the companders is rounded the same way; 3 and 4 lie in different
  // mu-law steps (14-bit values 0 and 1), so 3.5 shows the rounding.
  ASSERT_NE(Bytes(Vec({3.0}), prMuLaw), Bytes(Vec({4.0}), prMuLaw));
  EXPECT_EQ(Bytes(Vec({3.5}), prMuLaw), Bytes(Vec({4.0}), prMuLaw));
  EXPECT_EQ(Bytes(Vec({3.5}), prMuLaw, rnFloor), Bytes(Vec({3.0}), prMuLaw));
}

namespace {

using G711Reference = std::map<std::string, std::vector<std::pair<int, int>>>;  // key -> (a, b) pairs

G711Reference LoadG711() {
  G711Reference ref;
  std::ifstream in(std::string(ONDRIX_TEST_DATA_DIR) + "/g711_reference.txt");
  std::string line;
  while (std::getline(in, line)) {
    if (line.empty() || line[0] == '#') continue;
    std::istringstream ls(line);
    std::string key;
    int a = 0, b = 0;
    ls >> key >> a >> b;
    ref[key].emplace_back(a, b);
  }
  return ref;
}

}  // namespace

TEST(Precision, G711MatchesReferenceCoder) {
  const G711Reference ref = LoadG711();
  ASSERT_EQ(ref.at("ulaw_decode").size(), 256u);
  ASSERT_EQ(ref.at("alaw_decode").size(), 256u);
  for (auto [c, v] : ref.at("ulaw_decode"))
    EXPECT_EQ(MuLawDecode(static_cast<std::uint8_t>(c)), v) << "code " << c;
  for (auto [c, v] : ref.at("alaw_decode"))
    EXPECT_EQ(ALawDecode(static_cast<std::uint8_t>(c)), v) << "code " << c;

  // Encoders over every 16-bit input, expanded from the reference's runs.
  for (const char* key : {"ulaw_encode", "alaw_encode"}) {
    const auto& runs = ref.at(key);
    ASSERT_EQ(runs.front().first, -32768);
    int mismatches = 0;
    for (std::size_t r = 0; r < runs.size(); ++r) {
      const int end = r + 1 < runs.size() ? runs[r + 1].first : 32768;
      for (int x = runs[r].first; x < end; ++x) {
        const auto s = static_cast<std::int16_t>(x);
        const int got = key[0] == 'u' ? MuLawEncode(s) : ALawEncode(s);
        if (got != runs[r].second && ++mismatches <= 5)
          ADD_FAILURE() << key << "(" << x << ") = " << got << ", expected " << runs[r].second;
      }
    }
    EXPECT_EQ(mismatches, 0) << key;
  }
}

TEST(Precision, StreamsMatchBuffersAcrossChunksOrRaiseWhenShort) {
  // More values than one internal chunk, complex, at a 3-byte precision.
  TVec v(1500, true);
  for (int i = 0; i < v.RealLength(); ++i) v.Values(i) = (i * 7919 % 16777216) - 8388608.0;
  for (TPrecision p : {prInt24, prDouble, prALaw}) {
    std::stringstream ss;
    WriteValues(v, ss, p);
    const std::string s = ss.str();
    const std::vector<std::uint8_t> expected = Bytes(v, p);
    ASSERT_EQ(s.size(), expected.size());
    EXPECT_TRUE(std::equal(expected.begin(), expected.end(),
                           reinterpret_cast<const std::uint8_t*>(s.data())));
    TVec fromStream, fromBuffer;
    ReadValues(fromStream, ss, 1500, p, true);
    ReadValues(fromBuffer, expected.data(), 1500, p, true);
    // The buffer form reads back what was written: ComplexValuesAreReThenIm and the round trips.
    EXPECT_TRUE(fromStream.Complex());
    EXPECT_EQ(Values(fromStream), Values(fromBuffer)) << p;
  }
  // A stream shorter than the values asked for raises.
  std::stringstream ss;
  WriteValues(Vec({1, 2, 3}), ss, prSmallInt);
  EXPECT_THROW(ReadValues(v, ss, 4, prSmallInt, false), EVecError);
  std::stringstream odd(std::string("\x01\x02\x03", 3));
  EXPECT_THROW(ReadValues(v, odd, 1, prSmallInt, true), EVecError);  // 4 bytes needed
  std::stringstream ok(std::string("\x01\x02\x03\x04", 4));
  ReadValues(v, ok, 1, prSmallInt, true);
  EXPECT_EQ(v.CValues(0), TCplx(0x0201, 0x0403));
}
