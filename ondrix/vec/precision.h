// Binary sample I/O: the sample precisions of file data and the conversion of TVec values to and
// from them.
#pragma once

#include <cstddef>
#include <cstdint>
#include <iosfwd>

#include "ondrix/vec/TVec.h"

namespace ondrix {

/// Precision of one stored value. Files store the ordinal, so the order is fixed.
/// Every multi-byte format is little-endian, whatever the host. The fixed underlying type
/// makes any ordinal read from a file a valid value to check, not undefined behaviour.
enum TPrecision : int {
  prDouble = 0,    ///< 8-byte IEEE 754 binary64
  prSingle = 1,    ///< 4-byte IEEE 754 binary32
  prInteger = 2,   ///< 32-bit signed integer
  prCardinal = 3,  ///< 32-bit unsigned integer
  prSmallInt = 4,  ///< 16-bit signed integer
  prWord = 5,      ///< 16-bit unsigned integer
  prShortInt = 6,  ///< 8-bit signed integer
  prByte = 7,      ///< 8-bit unsigned integer
  prMuLaw = 8,     ///< 8-bit G.711 mu-law code of a 16-bit linear value
  prALaw = 9,      ///< 8-bit G.711 A-law code of a 16-bit linear value
  prInt24 = 10     ///< 24-bit signed integer, 3 bytes
};

/// How a value is brought to an integer before it is stored at an integer precision.
enum TRounding {
  rnRound,  ///< to nearest, halves away from zero (2.5 -> 3, -2.5 -> -3)
  rnTrunc,  ///< toward zero
  rnFloor,  ///< toward minus infinity
  rnCeil    ///< toward plus infinity
};

/// Bytes taken by one value at the precision; a complex value takes twice as many (re, im).
/// Raises EVecError for an ordinal outside prDouble .. prInt24.
int SizeOfPrecision(TPrecision precision, bool complex = false);

/// Writes the values of src (re, im pairs when complex) to dst at the given precision.
/// dst must hold src.Length() * SizeOfPrecision(precision, src.Complex()) bytes.
///
/// Values are not scaled: a value of 1000 is stored as 1000 at prSmallInt. At integer
/// precisions (including the 16-bit linear input of mu-law / A-law) the value is rounded by
/// `rounding`, then saturated at the format's limits (so +inf gives the maximum, -inf the
/// minimum), and NaN is stored as 0. prSingle rounds to nearest as IEEE does: values beyond
/// its range become +-inf, NaN stays NaN.
void WriteValues(const TVec& src, std::uint8_t* dst, TPrecision precision,
                 TRounding rounding = rnRound);

/// Reads count values (count complex pairs when complex) from src into dst, which is sized to
/// count elements. Integer codes read as their integer value, unscaled (prSmallInt gives
/// -32768 .. 32767, prByte 0 .. 255); mu-law and A-law decode to the 16-bit linear range.
void ReadValues(TVec& dst, const std::uint8_t* src, int count, TPrecision precision, bool complex);

/// Converts n doubles to n stored values (dst holds n * SizeOfPrecision(precision) bytes),
/// rounding and saturating as WriteValues does; a complex vector is 2n reals.
void EncodeValues(const double* src, std::size_t n, std::uint8_t* dst, TPrecision precision,
                  TRounding rounding = rnRound);
/// Converts n stored values to n doubles, as ReadValues does, without resizing anything.
void DecodeValues(const std::uint8_t* src, std::size_t n, double* dst, TPrecision precision);

/// WriteValues to a stream, in fixed-size chunks (no allocation). Raises EVecError when the
/// stream fails.
void WriteValues(const TVec& src, std::ostream& dst, TPrecision precision,
                 TRounding rounding = rnRound);

/// ReadValues from a stream. Raises EVecError when fewer than the needed bytes can be read.
void ReadValues(TVec& dst, std::istream& src, int count, TPrecision precision, bool complex);

/// G.711 mu-law code of a 16-bit linear value (the 14 high bits are encoded).
std::uint8_t MuLawEncode(std::int16_t linear) noexcept;
/// 16-bit linear value of a mu-law code (-32124 .. 32124; both zero codes give 0).
std::int16_t MuLawDecode(std::uint8_t code) noexcept;
/// G.711 A-law code of a 16-bit linear value (the 13 high bits are encoded).
std::uint8_t ALawEncode(std::int16_t linear) noexcept;
/// 16-bit linear value of an A-law code (-32256 .. 32256, never 0).
std::int16_t ALawDecode(std::uint8_t code) noexcept;

}  // namespace ondrix
