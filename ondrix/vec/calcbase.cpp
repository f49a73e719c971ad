#include "ondrix/vec/calcbase.h"

#include <algorithm>
#include <bit>
#include <charconv>
#include <clocale>
#include <cmath>
#include <istream>
#include <ostream>
#include <system_error>

#include "ondrix/vec/exceptions.h"

namespace ondrix {

// --- Integers ------------------------------------------------------------------------------------

int LargestExp2(int n) {
  if (n <= 1) return 1;
  if (n > (1 << 30)) ERaise("LargestExp2: no power of two >= " + std::to_string(n) + " fits an int");
  return static_cast<int>(std::bit_ceil(static_cast<unsigned>(n)));
}

int LargestLog2(int n) { return std::countr_zero(static_cast<unsigned>(LargestExp2(n))); }

// --- NormalCDFInv --------------------------------------------------------------------------------

namespace {

// Horner evaluation of c[0] + c[1] x + ... + c[7] x^7.
double Poly7(const double (&c)[8], double x) noexcept {
  double s = c[7];
  for (int i = 6; i >= 0; --i) s = s * x + c[i];
  return s;
}

}  // namespace

double NormalCDFInv(double p) {
  // Wichura, "The percentage points of the normal distribution", Applied Statistics 37 (1988),
  // algorithm AS 241 (PPND16): rational approximations in three regions, relative accuracy
  // about 1e-16.
  static constexpr double a[8] = {3.3871328727963666080e0, 1.3314166789178437745e+2,
                                  1.9715909503065514427e+3, 1.3731693765509461125e+4,
                                  4.5921953931549871457e+4, 6.7265770927008700853e+4,
                                  3.3430575583588128105e+4, 2.5090809287301226727e+3};
  static constexpr double b[8] = {1.0,
                                  4.2313330701600911252e+1, 6.8718700749205790830e+2,
                                  5.3941960214247511077e+3, 2.1213794301586595867e+4,
                                  3.9307895800092710610e+4, 2.8729085735721942674e+4,
                                  5.2264952788528545610e+3};
  static constexpr double c[8] = {1.42343711074968357734e0, 4.63033784615654529590e0,
                                  5.76949722146069140550e0, 3.64784832476320460504e0,
                                  1.27045825245236838258e0, 2.41780725177450611770e-1,
                                  2.27238449892691845833e-2, 7.74545014278341407640e-4};
  static constexpr double d[8] = {1.0,
                                  2.05319162663775882187e0, 1.67638483018380384940e0,
                                  6.89767334985100004550e-1, 1.48103976427480074590e-1,
                                  1.51986665636164571966e-2, 5.47593808499534494600e-4,
                                  1.05075007164441684324e-9};
  static constexpr double e[8] = {6.65790464350110377720e0, 5.46378491116411436990e0,
                                  1.78482653991729133580e0, 2.96560571828504891230e-1,
                                  2.65321895265761230930e-2, 1.24266094738807843860e-3,
                                  2.71155556874348757815e-5, 2.01033439929228813265e-7};
  static constexpr double f[8] = {1.0,
                                  5.99832206555887937690e-1, 1.36929880922735805310e-1,
                                  1.48753612908506148525e-2, 7.86869131145613259100e-4,
                                  1.84631831751005468180e-5, 1.42151175831644588870e-7,
                                  2.04426310338993978564e-15};
  constexpr double kSplit1 = 0.425;
  constexpr double kSplit2 = 5.0;
  constexpr double kConst1 = 0.180625;  // kSplit1^2
  constexpr double kConst2 = 1.6;

  if (std::isnan(p) || p < 0.0 || p > 1.0) return NAN_VALUE;
  if (p == 0.0) return -INF_VALUE;
  if (p == 1.0) return INF_VALUE;

  const double q = p - 0.5;
  if (std::fabs(q) <= kSplit1) {
    const double r = kConst1 - q * q;
    return q * Poly7(a, r) / Poly7(b, r);
  }
  // 1 - p is exact for p >= 0.5, so the upper tail loses nothing here.
  double r = std::sqrt(-std::log(q < 0.0 ? p : 1.0 - p));
  double x;
  if (r <= kSplit2) {
    r -= kConst2;
    x = Poly7(c, r) / Poly7(d, r);
  } else {
    r -= kSplit2;
    x = Poly7(e, r) / Poly7(f, r);
  }
  return q < 0.0 ? -x : x;
}

// --- Number text ---------------------------------------------------------------------------------

std::string LocaleDecimalSeparator() {
  const std::lconv* lc = std::localeconv();
  if (lc == nullptr || lc->decimal_point == nullptr || *lc->decimal_point == '\0') return ".";
  return lc->decimal_point;
}

std::string LocaleThousandSeparator() {
  const std::lconv* lc = std::localeconv();
  if (lc != nullptr && lc->thousands_sep != nullptr && *lc->thousands_sep != '\0')
    return lc->thousands_sep;
  return LocaleDecimalSeparator() == "," ? "." : ",";
}

namespace {

const char* NonFiniteText(double x) noexcept {
  if (std::isnan(x)) return "NAN";
  return x > 0 ? "INF" : "-INF";
}

std::string ReplaceAll(std::string s, std::string_view from, std::string_view to) {
  if (from.empty() || from == to) return s;
  for (std::size_t pos = 0; (pos = s.find(from, pos)) != std::string::npos; pos += to.size())
    s.replace(pos, from.size(), to);
  return s;
}

bool EqualsNoCase(std::string_view a, std::string_view b) noexcept {
  if (a.size() != b.size()) return false;
  for (std::size_t i = 0; i < a.size(); ++i) {
    char x = a[i];
    if (x >= 'a' && x <= 'z') x = static_cast<char>(x - 'a' + 'A');
    if (x != b[i]) return false;
  }
  return true;
}

[[noreturn]] void RaiseNotFloat(const std::string& s) {
  ERaise("'" + s + "' is not a valid floating point value");
}

}  // namespace

std::string FloatToStr(double x) { return FloatToStr(x, LocaleDecimalSeparator()); }

std::string FloatToStr(double x, std::string_view decimalSeparator) {
  if (!std::isfinite(x)) return NonFiniteText(x);
  char buf[64];
  const auto res = std::to_chars(buf, buf + sizeof buf, x);
  return ReplaceAll(std::string(buf, res.ptr), ".", decimalSeparator);
}

double StrToFloat(const std::string& s) { return StrToFloat(s, LocaleDecimalSeparator()); }

double StrToFloat(const std::string& s, std::string_view decimalSeparator) {
  constexpr const char* kBlanks = " \t\r\n\v\f";
  const std::size_t first = s.find_first_not_of(kBlanks);
  if (first == std::string::npos) RaiseNotFloat(s);
  const std::size_t last = s.find_last_not_of(kBlanks);
  std::string_view t(s.data() + first, last - first + 1);

  bool negative = false;
  if (t.front() == '+' || t.front() == '-') {
    negative = t.front() == '-';
    t.remove_prefix(1);
  }
  if (t.empty() || t.front() == '+' || t.front() == '-') RaiseNotFloat(s);
  if (EqualsNoCase(t, "NAN")) return NAN_VALUE;
  if (EqualsNoCase(t, "INF") || EqualsNoCase(t, "INFINITY")) return negative ? -INF_VALUE : INF_VALUE;

  const std::string body = ReplaceAll(std::string(t), decimalSeparator, ".");
  // from_chars would also take "nan(...)" and "inf" spellings; only digits get this far.
  const char c0 = body.front();
  if (!((c0 >= '0' && c0 <= '9') || c0 == '.')) RaiseNotFloat(s);
  double value = 0.0;
  const auto res = std::from_chars(body.data(), body.data() + body.size(), value,
                                   std::chars_format::general);
  if (res.ec != std::errc() || res.ptr != body.data() + body.size()) RaiseNotFloat(s);
  return negative ? -value : value;
}

// --- FormatSample --------------------------------------------------------------------------------

namespace {

// A non-negative decimal value 0.dig × 10^point; an empty dig is zero.
struct Decimal {
  std::string dig;
  int point = 0;
};

// The shortest round-trip digits of a finite a >= 0.
Decimal ShortestDigits(double a) {
  Decimal d;
  if (a == 0.0) return d;
  char buf[64];
  const auto res = std::to_chars(buf, buf + sizeof buf, a, std::chars_format::scientific);
  const std::string_view text(buf, static_cast<std::size_t>(res.ptr - buf));
  const std::size_t ePos = text.find('e');
  for (std::size_t i = 0; i < ePos; ++i)
    if (text[i] != '.') d.dig.push_back(text[i]);
  int exp10 = 0;
  std::from_chars(text.data() + ePos + (text[ePos + 1] == '+' ? 2 : 1), text.data() + text.size(),
                  exp10);
  d.point = exp10 + 1;
  while (!d.dig.empty() && d.dig.back() == '0') d.dig.pop_back();
  return d;
}

// Keeps the first `keep` digits, rounding half away from zero (keep may be <= 0).
void RoundDigits(Decimal& d, int keep) {
  if (keep >= static_cast<int>(d.dig.size())) return;
  if (keep < 0) {  // the first dropped digit is an implicit leading zero
    d.dig.clear();
    return;
  }
  const bool up = d.dig[static_cast<std::size_t>(keep)] >= '5';
  d.dig.resize(static_cast<std::size_t>(keep));
  if (up) {
    int i = keep - 1;
    while (i >= 0 && d.dig[static_cast<std::size_t>(i)] == '9') d.dig[static_cast<std::size_t>(i--)] = '0';
    if (i < 0) {
      d.dig.insert(d.dig.begin(), '1');
      ++d.point;
    } else {
      ++d.dig[static_cast<std::size_t>(i)];
    }
  }
  while (!d.dig.empty() && d.dig.back() == '0') d.dig.pop_back();
}

// Digit at absolute position i of 0.dig (0 outside the stored digits).
char DigitAt(const Decimal& d, int i) {
  return i >= 0 && i < static_cast<int>(d.dig.size()) ? d.dig[static_cast<std::size_t>(i)] : '0';
}

enum class TokKind { Literal, Digit, Point, Exponent };

struct Token {
  TokKind kind;
  std::string text;     // Literal: the text; Exponent: "E" or "e"
  bool zero = false;    // Digit: '0' (else '#'); Exponent: '+' form
  int expDigits = 0;    // Exponent: minimum digits
};

struct Pattern {
  std::vector<Token> tokens;
  int intCount = 0;   // integer placeholders
  int intMin = 0;     // integer digits always printed
  int fracMax = 0;    // decimal placeholders
  int fracMin = 0;    // decimals always printed
  bool grouping = false;
  bool scientific = false;
  int percent = 0;
};

void AddLiteral(Pattern& p, std::string_view text) {
  if (!p.tokens.empty() && p.tokens.back().kind == TokKind::Literal)
    p.tokens.back().text.append(text);
  else
    p.tokens.push_back({TokKind::Literal, std::string(text)});
}

Pattern ParsePattern(std::string_view f) {
  Pattern p;
  bool afterPoint = false;
  int firstIntZero = -1;
  std::size_t i = 0;
  while (i < f.size()) {
    const char ch = f[i];
    if (ch == '"' || ch == '\'') {
      const std::size_t end = f.find(ch, i + 1);
      const std::size_t stop = end == std::string_view::npos ? f.size() : end;
      AddLiteral(p, f.substr(i + 1, stop - i - 1));
      i = stop == f.size() ? stop : stop + 1;
      continue;
    }
    if (p.scientific) {  // nothing after the exponent is numeric
      AddLiteral(p, f.substr(i, 1));
      if (ch == '%') ++p.percent;
      ++i;
      continue;
    }
    if (ch == '0' || ch == '#') {
      p.tokens.push_back({TokKind::Digit, {}, ch == '0'});
      if (afterPoint) {
        ++p.fracMax;
        if (ch == '0') p.fracMin = p.fracMax;
      } else {
        if (ch == '0' && firstIntZero < 0) firstIntZero = p.intCount;
        ++p.intCount;
      }
    } else if (ch == '.') {
      if (!afterPoint) p.tokens.push_back({TokKind::Point, {}});
      afterPoint = true;
    } else if (ch == ',') {
      if (!afterPoint) p.grouping = true;
    } else if ((ch == 'E' || ch == 'e') && i + 2 < f.size() && (f[i + 1] == '+' || f[i + 1] == '-') &&
               f[i + 2] == '0') {
      Token t{TokKind::Exponent, std::string(1, ch), f[i + 1] == '+'};
      i += 2;
      while (i < f.size() && f[i] == '0' && t.expDigits < 4) {
        ++t.expDigits;
        ++i;
      }
      p.tokens.push_back(std::move(t));
      p.scientific = true;
      continue;
    } else {
      if (ch == '%') ++p.percent;
      AddLiteral(p, f.substr(i, 1));
    }
    ++i;
  }
  p.intMin = firstIntZero < 0 ? 0 : p.intCount - firstIntZero;
  return p;
}

// Splits at ';' outside quotes.
std::vector<std::string_view> SplitSections(std::string_view f) {
  std::vector<std::string_view> out;
  std::size_t start = 0;
  char quote = 0;
  for (std::size_t i = 0; i < f.size(); ++i) {
    const char ch = f[i];
    if (quote) {
      if (ch == quote) quote = 0;
    } else if (ch == '"' || ch == '\'') {
      quote = ch;
    } else if (ch == ';') {
      out.push_back(f.substr(start, i - start));
      start = i + 1;
    }
  }
  out.push_back(f.substr(start));
  return out;
}

std::string FormatSection(const Pattern& p, double value, bool withMinus, std::string_view decSep,
                          std::string_view thouSep) {
  if (p.intCount == 0 && p.fracMax == 0 && !p.scientific) {
    std::string out;  // no placeholders: the literal text only
    for (const Token& t : p.tokens) out += t.text;
    return out;
  }

  Decimal d = ShortestDigits(std::fabs(value));
  d.point += 2 * p.percent;

  std::string intDigits, fracDigits, expText;
  if (p.scientific) {
    const int nInt = (p.intCount == 0 && p.fracMax == 0) ? 1 : p.intCount;
    RoundDigits(d, nInt + p.fracMax);
    const int exp10 = d.dig.empty() ? 0 : d.point - nInt;
    for (int k = 0; k < nInt; ++k) intDigits.push_back(DigitAt(d, k));
    for (int k = 0; k < p.fracMax; ++k) fracDigits.push_back(DigitAt(d, nInt + k));
    const Token& e = *std::find_if(p.tokens.begin(), p.tokens.end(),
                                   [](const Token& t) { return t.kind == TokKind::Exponent; });
    std::string digits = std::to_string(exp10 < 0 ? -exp10 : exp10);
    if (static_cast<int>(digits.size()) < e.expDigits)
      digits.insert(0, static_cast<std::size_t>(e.expDigits) - digits.size(), '0');
    expText = e.text + (exp10 < 0 ? "-" : (e.zero ? "+" : "")) + digits;
  } else {
    RoundDigits(d, d.point + p.fracMax);
    if (!d.dig.empty())
      for (int k = 0; k < d.point; ++k) intDigits.push_back(DigitAt(d, k));
    for (int k = 0; k < p.fracMax; ++k) fracDigits.push_back(DigitAt(d, d.point + k));
  }
  const bool isZero = d.dig.empty();

  // Trim to the mandatory digits, then pad the integer part to its minimum.
  while (static_cast<int>(fracDigits.size()) > p.fracMin && fracDigits.back() == '0')
    fracDigits.pop_back();
  std::size_t lead = 0;
  while (lead < intDigits.size() && intDigits[lead] == '0') ++lead;
  intDigits.erase(0, lead);
  if (static_cast<int>(intDigits.size()) < p.intMin)
    intDigits.insert(0, static_cast<std::size_t>(p.intMin) - intDigits.size(), '0');

  // Integer digits as units, each carrying the group separator that follows it.
  std::vector<std::string> units;
  for (std::size_t k = 0; k < intDigits.size(); ++k) {
    std::string u(1, intDigits[k]);
    const std::size_t rest = intDigits.size() - k - 1;
    if (p.grouping && !p.scientific && rest > 0 && rest % 3 == 0) u.append(thouSep);
    units.push_back(std::move(u));
  }

  std::string out;
  if (withMinus && !isZero) out.push_back('-');
  const int n = p.intCount;
  const int m = static_cast<int>(units.size());
  int intSeen = 0, fracSeen = 0;
  bool afterPoint = false, intPlaced = false;
  auto placeAllInt = [&] {
    if (!intPlaced) {
      for (const std::string& u : units) out += u;
      intPlaced = true;
    }
  };
  for (const Token& t : p.tokens) {
    switch (t.kind) {
      case TokKind::Literal: out += t.text; break;
      case TokKind::Digit:
        if (afterPoint) {
          if (fracSeen < static_cast<int>(fracDigits.size()))
            out.push_back(fracDigits[static_cast<std::size_t>(fracSeen)]);
          ++fracSeen;
        } else {
          // Right-aligned: the first placeholder takes every surplus digit.
          const int j = intSeen++;
          if (j == 0)
            for (int k = 0; k <= m - n; ++k) out += units[static_cast<std::size_t>(k)];
          else if (j - (n - m) >= 0)
            out += units[static_cast<std::size_t>(j - (n - m))];
          intPlaced = true;
        }
        break;
      case TokKind::Point:
        if (n == 0) placeAllInt();
        afterPoint = true;
        if (!fracDigits.empty()) out.append(decSep);
        break;
      case TokKind::Exponent:
        if (n == 0) placeAllInt();
        out += expText;
        break;
    }
  }
  return out;
}

}  // namespace

std::string FormatSample(const std::string& format, double value) {
  return FormatSample(format, value, LocaleDecimalSeparator(), LocaleThousandSeparator());
}

std::string FormatSample(const std::string& format, double value,
                         std::string_view decimalSeparator, std::string_view thousandSeparator) {
  if (!std::isfinite(value)) return NonFiniteText(value);
  const std::vector<std::string_view> sections = SplitSections(format);
  std::string_view section = sections[0];
  bool withMinus = value < 0.0;
  if (value < 0.0 && sections.size() >= 2 && !sections[1].empty()) {
    section = sections[1];
    withMinus = false;
  } else if (value == 0.0 && sections.size() >= 3 && !sections[2].empty()) {
    section = sections[2];
  }
  if (section.empty()) return FloatToStr(value, decimalSeparator);
  return FormatSection(ParsePattern(section), value, withMinus, decimalSeparator,
                       thousandSeparator);
}

// --- AlignString ---------------------------------------------------------------------------------

std::string AlignString(const std::string& s, int width, TAlignment align) {
  int chars = 0;
  for (const char ch : s)
    if ((static_cast<unsigned char>(ch) & 0xC0) != 0x80) ++chars;  // skip UTF-8 continuations
  if (chars >= width) return s;
  const std::size_t pad = static_cast<std::size_t>(width - chars);
  switch (align) {
    case alRight: return std::string(pad, ' ') + s;
    case alCenter: return std::string(pad / 2, ' ') + s + std::string(pad - pad / 2, ' ');
    case alLeft:
    default: return s + std::string(pad, ' ');
  }
}

// --- Short strings -------------------------------------------------------------------------------

namespace {

constexpr std::size_t kMaxShortString = 255;

void CheckShortLength(const std::string& s) {
  if (s.size() > kMaxShortString)
    ERaise("Short string too long: " + std::to_string(s.size()) + " bytes (at most 255)");
}

[[noreturn]] void RaiseShortRead() { ERaise("Short string truncated: unexpected end of data"); }

}  // namespace

void WriteShortString(std::ostream& dst, const std::string& s) {
  CheckShortLength(s);
  dst.put(static_cast<char>(s.size()));
  dst.write(s.data(), static_cast<std::streamsize>(s.size()));
  if (!dst) ERaise("WriteShortString: stream write failed");
}

std::string ReadShortString(std::istream& src) {
  const auto len = src.get();
  if (len == std::istream::traits_type::eof()) RaiseShortRead();
  std::string s(static_cast<std::size_t>(len), '\0');
  src.read(s.data(), static_cast<std::streamsize>(len));
  if (src.gcount() != static_cast<std::streamsize>(len)) RaiseShortRead();
  return s;
}

std::vector<std::uint8_t> EncodeShortString(const std::string& s) {
  CheckShortLength(s);
  std::vector<std::uint8_t> out;
  out.reserve(s.size() + 1);
  out.push_back(static_cast<std::uint8_t>(s.size()));
  out.insert(out.end(), s.begin(), s.end());
  return out;
}

std::string DecodeShortString(const std::uint8_t* p, std::size_t n, std::size_t& consumed) {
  if (n == 0) RaiseShortRead();
  const std::size_t len = p[0];
  if (n < len + 1) RaiseShortRead();
  consumed = len + 1;
  return std::string(reinterpret_cast<const char*>(p + 1), len);
}

}  // namespace ondrix
