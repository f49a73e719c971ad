// The calculation base: constants, small numeric helpers, locale-aware number text and the
// short-string encoding used by binary streams.
#pragma once

#include <cstddef>
#include <cstdint>
#include <iosfwd>
#include <limits>
#include <string>
#include <string_view>
#include <type_traits>
#include <vector>

namespace ondrix {

// --- Constants -----------------------------------------------------------------------------------

/// π to double precision.
inline constexpr double PI = 3.14159265358979323846;
/// 2π.
inline constexpr double TWOPI = 6.28318530717958647692;
/// A quiet NaN (named so as not to clash with the NAN macro of <cmath>).
inline constexpr double NAN_VALUE = std::numeric_limits<double>::quiet_NaN();
/// Positive infinity (named so as not to clash with the INFINITY macro of <cmath>).
inline constexpr double INF_VALUE = std::numeric_limits<double>::infinity();

// --- Integers and ranges -------------------------------------------------------------------------

/// The smallest power of two >= n (the FFT length that holds n values); 1 for n <= 1.
/// Raises EVecError when the result does not fit an int (n > 2^30).
int LargestExp2(int n);

/// log2 of LargestExp2(n): the smallest k with 2^k >= n; 0 for n <= 1.
int LargestLog2(int n);

/// x clamped to [min, max] (min <= max expected). The type follows x, so EnsureRange(0, x, 1)
/// works for an int or a double x. A NaN x is returned unchanged.
template <class T>
constexpr T EnsureRange(std::type_identity_t<T> min, T x, std::type_identity_t<T> max) noexcept {
  if (x < min) return min;
  if (x > max) return max;
  return x;
}

// --- Special functions ---------------------------------------------------------------------------

/// Inverse of the standard normal CDF: the x with Φ(x) = p (scipy.stats.norm.ppf), accurate to a
/// few ulp over the whole open interval (0, 1), including p as small as the smallest subnormal.
/// p = 0 gives -inf, p = 1 gives +inf, p outside [0, 1] or NaN gives NaN.
double NormalCDFInv(double p);

// --- Number text ---------------------------------------------------------------------------------

/// Decimal separator of the current C locale (localeconv), "." in the "C" locale.
std::string LocaleDecimalSeparator();

/// Thousands separator used for grouping: the current locale's, or, when the locale has none
/// (as the "C" locale), "," - or "." when the decimal separator is already ",".
std::string LocaleThousandSeparator();

/// The shortest text that reads back as exactly x (std::to_chars), with the locale's decimal
/// separator: "0.1", "0.3333333333333333", "1e+300", "-0". Non-finite values give "NAN",
/// "INF" and "-INF".
std::string FloatToStr(double x);
/// FloatToStr with an explicit decimal separator instead of the locale's.
std::string FloatToStr(double x, std::string_view decimalSeparator);

/// Parses a floating point number. The locale's decimal separator and "." are both accepted,
/// as are leading and trailing blanks, a leading "+", an exponent ("1e-3", "1E+300") and
/// "NAN" / "INF" / "-INF" (any case). Anything else, and values beyond the double range, raise
/// EVecError "'<text>' is not a valid floating point value".
double StrToFloat(const std::string& s);
/// StrToFloat with an explicit decimal separator instead of the locale's.
double StrToFloat(const std::string& s, std::string_view decimalSeparator);

/// Formats a value by a number pattern, e.g. "0.###" (at most three decimals), "0.00",
/// "#,##0.00", "0.000E+00", "0.##%". An empty pattern gives FloatToStr(value).
///
/// Supported pattern elements:
/// - `0`  digit placeholder, prints a digit or 0. In the integer part every placeholder from
///        the first `0` on is printed; after the point, decimals up to the last `0` are printed.
/// - `#`  digit placeholder, prints a digit or nothing (trailing decimal zeros are dropped).
///        Integer digits beyond the placeholders all go to the first one.
/// - `.`  position of the decimal point (the first one counts); printed as the locale's
///        separator, and only when decimals follow.
/// - `,`  anywhere in the integer part: group the integer digits by three with the thousands
///        separator. Commas after the point are ignored.
/// - `E+0`, `E-0`, `e+0`, `e-0` (one to four `0`s): scientific notation with as many integer
///        digits as there are integer placeholders (at least one); `+` always prints the
///        exponent's sign, `-` only a minus; the `0`s give the minimum exponent digits.
/// - `%`  printed as is, and the value is multiplied by 100 (exactly, in decimal).
/// - `"text"` or `'text'`  literal text; every other character is literal as well.
/// - `;`  separates sections: "positive;negative;zero". The negative section formats the
///        magnitude (write the minus yourself); an empty or missing section falls back to the
///        first, which then prints "-" for negative values.
/// Rounding is half away from zero and applies to the shortest decimal text of the value
/// (FloatToStr's digits), so 0.15 with "0.0" gives "0.2" as written, not the binary residue.
/// A result that prints as zero gets no minus sign. Non-finite values give "NAN", "INF",
/// "-INF" whatever the pattern. Not supported: engineering exponents, scaling commas, escapes.
std::string FormatSample(const std::string& format, double value);
/// FormatSample with explicit separators instead of the locale's.
std::string FormatSample(const std::string& format, double value,
                         std::string_view decimalSeparator, std::string_view thousandSeparator);

/// Text alignment within a fixed-width column.
enum TAlignment { alLeft, alRight, alCenter };

/// Pads s with spaces to width characters (UTF-8 code points), text placed by align; a centred
/// text gets the odd space on its right. A string already as wide or wider is returned as is.
std::string AlignString(const std::string& s, int width, TAlignment align = alLeft);

// --- Short strings -------------------------------------------------------------------------------
//
// Encoding: one length byte (0..255) followed by that many bytes, no terminator. Strings longer
// than 255 bytes raise EVecError on writing; a truncated encoding raises EVecError on reading.

/// Writes s in the short-string encoding.
void WriteShortString(std::ostream& dst, const std::string& s);
/// Reads one short string.
std::string ReadShortString(std::istream& src);
/// The short-string encoding of s as bytes.
std::vector<std::uint8_t> EncodeShortString(const std::string& s);
/// Decodes one short string from the n bytes at p; consumed receives the bytes used.
std::string DecodeShortString(const std::uint8_t* p, std::size_t n, std::size_t& consumed);

}  // namespace ondrix
