#include "ondrix/vec/calcbase.h"

#include <gtest/gtest.h>

#include <bit>
#include <clocale>
#include <cmath>
#include <fstream>
#include <random>
#include <sstream>
#include <string>
#include <vector>

#include "ondrix/vec/exceptions.h"
#include "tests/common/reference.h"

using namespace ondrix;
using ondrix::testing::Raises;

TEST(CalcBase, LargestExp2AndLog2) {
  const int n[] = {-5, 0, 1, 2, 3, 4, 5, 1023, 1024, 1025, 1 << 30};
  const int exp2[] = {1, 1, 1, 2, 4, 4, 8, 1024, 1024, 2048, 1 << 30};
  const int log2[] = {0, 0, 0, 1, 2, 2, 3, 10, 10, 11, 30};
  for (std::size_t i = 0; i < std::size(n); ++i) {
    EXPECT_EQ(LargestExp2(n[i]), exp2[i]) << n[i];
    EXPECT_EQ(LargestLog2(n[i]), log2[i]) << n[i];
  }
  for (int k = 2; k <= 5000; ++k) {  // the smallest power of two that holds k
    const int r = LargestExp2(k);
    ASSERT_TRUE(std::has_single_bit(static_cast<unsigned>(r)) && r >= k && r / 2 < k) << k;
    ASSERT_EQ(1 << LargestLog2(k), r) << k;
  }
  EXPECT_THROW(LargestExp2((1 << 30) + 1), EVecError);
}

TEST(CalcBase, EnsureRange) {
  EXPECT_EQ(EnsureRange(0, -3, 10), 0);
  EXPECT_EQ(EnsureRange(0, 13, 10), 10);
  EXPECT_EQ(EnsureRange(0, 7, 10), 7);
  EXPECT_EQ(EnsureRange(0, 0.25, 1), 0.25);  // the type follows x: no truncation to 0
  EXPECT_EQ(EnsureRange(-1.0, -INF_VALUE, 1.0), -1.0);
  EXPECT_TRUE(std::isnan(EnsureRange(0.0, NAN_VALUE, 1.0)));
  static_assert(EnsureRange(2, 5, 4) == 4);
}

TEST(CalcBase, NormalCDFInvMatchesScipyAndItsLimits) {
  std::ifstream in(std::string(ONDRIX_TEST_DATA_DIR) + "/normal_ppf_reference.txt");
  ASSERT_TRUE(in) << "run tests/gen_calcbase_reference.py";
  in.imbue(std::locale::classic());
  in.ignore(1 << 20, '\n');  // the header line
  int count = 0;
  for (double p, ref; in >> p >> ref; ++count) {
    const double got = NormalCDFInv(p);
    // About 9 ulp: room for scipy's own error and the host's log/sqrt, tight enough to expose
    // a wrong coefficient digit.
    EXPECT_LE(ref == 0 ? std::fabs(got) : std::fabs(got - ref) / std::fabs(ref), 2e-15) << "p = " << p << ": " << got;
  }
  EXPECT_TRUE(in.eof());
  EXPECT_GT(count, 300);
  // Outside the open interval (0, 1): the limits, else NaN.
  EXPECT_EQ(NormalCDFInv(0.0), -INF_VALUE);
  EXPECT_EQ(NormalCDFInv(1.0), INF_VALUE);
  EXPECT_TRUE(std::isnan(NormalCDFInv(-1e-300)));
  EXPECT_TRUE(std::isnan(NormalCDFInv(1.0 + 1e-15)));
  EXPECT_TRUE(std::isnan(NormalCDFInv(NAN_VALUE)));
}

TEST(CalcBase, FloatToStrIsShortestRoundTrip) {
  EXPECT_EQ(FloatToStr(1.0 / 3.0, "."), "0.3333333333333333");
  EXPECT_EQ(FloatToStr(1e-310, "."), "1e-310");  // subnormal
  EXPECT_EQ(FloatToStr(-0.0, "."), "-0");
  EXPECT_EQ(FloatToStr(NAN_VALUE, "."), "NAN");
  EXPECT_EQ(FloatToStr(INF_VALUE, "."), "INF");
  EXPECT_EQ(FloatToStr(-INF_VALUE, "."), "-INF");
  EXPECT_EQ(FloatToStr(0.1 + 0.2, ","), "0,30000000000000004");
  EXPECT_EQ(FloatToStr(2.5e-5, ","), "2,5e-05");

  // Random bit patterns (all finite) read back bit for bit, with either separator.
  std::mt19937_64 gen(12345);
  int failures = 0;
  for (int i = 0; i < 20000; ++i) {
    const double x = std::bit_cast<double>(gen());
    if (!std::isfinite(x)) continue;
    for (const char* sep : {".", ","}) {
      const double back = StrToFloat(FloatToStr(x, sep), sep);
      if (std::bit_cast<std::uint64_t>(back) != std::bit_cast<std::uint64_t>(x) && ++failures < 5)
        ADD_FAILURE() << FloatToStr(x, ".") << " with '" << sep << "'";
    }
  }
  EXPECT_EQ(failures, 0);
  EXPECT_EQ(std::bit_cast<std::uint64_t>(StrToFloat("-0", ".")),
            std::bit_cast<std::uint64_t>(-0.0));
}

TEST(CalcBase, StrToFloatAcceptsAndRejects) {
  EXPECT_EQ(StrToFloat(" 1.5 ", "."), 1.5);
  EXPECT_EQ(StrToFloat("\t-7\r\n", "."), -7.0);
  EXPECT_EQ(StrToFloat("+2", "."), 2.0);
  EXPECT_EQ(StrToFloat("-3e2", "."), -300.0);
  EXPECT_EQ(StrToFloat(".5", "."), 0.5);
  EXPECT_EQ(StrToFloat("1,25", ","), 1.25);
  EXPECT_EQ(StrToFloat("1.25", ","), 1.25);  // '.' is always accepted
  EXPECT_EQ(StrToFloat("-INF", "."), -INF_VALUE);
  EXPECT_EQ(StrToFloat("inf", "."), INF_VALUE);
  EXPECT_TRUE(std::isnan(StrToFloat("nan", ",")));

  EXPECT_THAT([] { (void)StrToFloat("abc", "."); }, Raises<EVecError>("'abc' is not a valid floating point value"));
  EXPECT_THAT([] { (void)StrToFloat(" 1x ", "."); }, Raises<EVecError>("' 1x ' is not a valid floating point value"));
  for (const char* bad :
       {"", "   ", "1.2.3", "1,5", "1e400", "--1", "+-1", "1 2", "0x10", "e5", "-", "nan(1)", "infx"})
    EXPECT_THROW(StrToFloat(bad, "."), EVecError) << "'" << bad << "'";
  EXPECT_THROW(StrToFloat("1,234.5", ","), EVecError);  // no thousands separators
}

TEST(CalcBase, LocaleSeparator) {
  // The default forms follow the C locale's separator.
  const std::string saved = std::setlocale(LC_NUMERIC, nullptr);
  EXPECT_EQ(LocaleDecimalSeparator(), std::string(std::localeconv()->decimal_point));
  bool switched = false;
  for (const char* name : {"de_DE.UTF-8", "de_DE.utf8", "fr_FR.UTF-8", "de_DE"}) {
    if (std::setlocale(LC_NUMERIC, name) != nullptr) {
      switched = true;
      break;
    }
  }
  if (!switched) GTEST_SKIP() << "no comma-decimal locale installed";
  ASSERT_EQ(LocaleDecimalSeparator(), ",");
  const std::string text = FloatToStr(0.25);
  const double back = StrToFloat("0,25");
  const std::string formatted = FormatSample("0.00", 1.5);
  const std::string grouped = FormatSample("#,##0.0", 1234.5);
  const std::string thousands = LocaleThousandSeparator();
  std::setlocale(LC_NUMERIC, saved.c_str());
  EXPECT_EQ(text, "0,25");
  EXPECT_EQ(back, 0.25);
  EXPECT_EQ(formatted, "1,50");
  EXPECT_EQ(grouped, "1" + thousands + "234,5");
  EXPECT_NE(thousands, ",");
}

TEST(CalcBase, FormatSamplePatterns) {
  auto F = [](const char* fmt, double v) { return FormatSample(fmt, v, ".", ","); };
  EXPECT_EQ(F("0.###", 1.23456), "1.235");
  EXPECT_EQ(F("0.###", -0.0005), "-0.001");  // half away from zero (upwards: "0" of 0.5 below)
  EXPECT_EQ(F("0.###", -0.0004), "0");  // no "-0"
  EXPECT_EQ(F("0.00", 2.675), "2.68");  // decimal 2.675, though the double is just below it
  EXPECT_EQ(F("0.00", 9.995), "10.00");  // carry into a new integer digit
  EXPECT_EQ(F("0", 1e-300), "0");
  EXPECT_EQ(F("0", 0.5), "1");
  EXPECT_EQ(F("#", 0.0), "");
  EXPECT_EQ(F("#.##", 0.5), ".5");
  EXPECT_EQ(F("000", 7), "007");
  EXPECT_EQ(F("#0.0#", 3.14159), "3.14");
  EXPECT_EQ(F("0.0#0", 1.5), "1.500");  // decimals up to the last '0' are mandatory

  EXPECT_EQ(F("#,##0.00", 1234567.891), "1,234,567.89");
  EXPECT_EQ(F("#,##0.00", -1234.5), "-1,234.50");
  EXPECT_EQ(F("#,##0", 999.5), "1,000");
  EXPECT_EQ(FormatSample("#,##0.00", 1234.5, ",", "."), "1.234,50");

  EXPECT_EQ(F("0.##%", 0.07), "7%");  // exact: 0.07 * 100 in binary would be 7.000000000000001
  EXPECT_EQ(F("0%", 0.995), "100%");

  EXPECT_EQ(F("0.0 'Hz'", 50), "50.0 Hz");
  EXPECT_EQ(F("\"f=\"0.0", 2.25), "f=2.3");
  EXPECT_EQ(F("'0.#'0", 4), "0.#4");  // quoted placeholders are text
  EXPECT_EQ(F("00-00", 1234), "12-34");
  EXPECT_EQ(F("00-00", 5), "00-05");
  EXPECT_EQ(F("text", 5), "text");

  EXPECT_EQ(F("0.0;(0.0);zero", -1.25), "(1.3)");
  EXPECT_EQ(F("0.0;(0.0);zero", 0.0), "zero");
  EXPECT_EQ(F("0.0;(0.0);zero", 2), "2.0");
  EXPECT_EQ(F("0.0;;zero", -1), "-1.0");  // empty negative section: the first, with a minus
  EXPECT_EQ(F("0.0';'0", 1.5), "1.5;0");  // a quoted ';' does not split

  EXPECT_EQ(FormatSample("", 0.5, ",", "."), "0,5");
  EXPECT_EQ(F("0.00", -INF_VALUE), "-INF");
  // The locale-default form, in the C locale the tests run in.
  if (LocaleDecimalSeparator() == ".") {
    EXPECT_EQ(FormatSample("#,##0.0", 1234.25), "1,234.3");
  }

  EXPECT_EQ(F("0.000E+00", 12345), "1.235E+04");
  EXPECT_EQ(F("0.000E+00", 0.00012345), "1.235E-04");
  EXPECT_EQ(F("0.000E+00", 0.0), "0.000E+00");
  EXPECT_EQ(F("0.000E+00", 9.9996), "1.000E+01");  // carry moves the exponent
  EXPECT_EQ(F("0.0e-0", 1500), "1.5e3");
  EXPECT_EQ(F("00.0E+0", 12345), "12.3E+3");
  EXPECT_EQ(F("0.###E+000", 1e-300), "1E-300");
  EXPECT_EQ(F("0.00E+0000", 6.02214076e23), "6.02E+0023");
  EXPECT_EQ(F("0.0E+00 V", 0.5), "5.0E-01 V");
  EXPECT_EQ(F("0.0Ex", 2), "2.0Ex");  // 'E' without a sign is text
}

TEST(CalcBase, AlignString) {
  EXPECT_EQ(AlignString("ab", 5), "ab   ");
  EXPECT_EQ(AlignString("ab", 5, alRight), "   ab");
  EXPECT_EQ(AlignString("ab", 5, alCenter), " ab  ");
  EXPECT_EQ(AlignString("abc", 3, alRight), "abc");
  EXPECT_EQ(AlignString("\xC2\xB5s", 4), "\xC2\xB5s  ");  // "µs" is two characters wide
}

TEST(CalcBase, ShortStrings) {
  const std::string s255(255, 'x');
  std::stringstream ss;
  for (const std::string& s : {std::string(), std::string("Hello"), s255}) WriteShortString(ss, s);
  const std::string bytes = ss.str();
  ASSERT_EQ(bytes.size(), 1u + 6u + 256u);
  EXPECT_EQ(bytes.substr(0, 7), std::string("\x00\x05Hello", 7));
  EXPECT_EQ(static_cast<unsigned char>(bytes[7]), 255u);
  EXPECT_EQ(ReadShortString(ss), "");
  EXPECT_EQ(ReadShortString(ss), "Hello");
  EXPECT_EQ(ReadShortString(ss), s255);
  EXPECT_THROW(ReadShortString(ss), EVecError);  // nothing left

  const std::vector<std::uint8_t> enc = EncodeShortString("Hi");
  EXPECT_EQ(enc, (std::vector<std::uint8_t>{2, 'H', 'i'}));
  const std::string encoded(reinterpret_cast<const char*>(EncodeShortString(s255).data()), 256);
  EXPECT_EQ(encoded, bytes.substr(7));
  std::size_t used = 0;
  const std::uint8_t two[] = {2, 'H', 'i', 1, '!'};
  EXPECT_EQ(DecodeShortString(two, sizeof two, used), "Hi");
  EXPECT_EQ(used, 3u);
  EXPECT_EQ(DecodeShortString(two + used, sizeof two - used, used), "!");
  EXPECT_EQ(used, 2u);
  EXPECT_THROW(DecodeShortString(two, 2, used), EVecError);
  EXPECT_THROW(DecodeShortString(two, 0, used), EVecError);

  const std::string s256(256, 'y');
  std::stringstream out;
  EXPECT_THROW(WriteShortString(out, s256), EVecError);
  EXPECT_TRUE(out.str().empty());
  EXPECT_THROW(EncodeShortString(s256), EVecError);
  std::stringstream truncated(std::string("\x05" "abc", 4));
  EXPECT_THROW(ReadShortString(truncated), EVecError);
}
