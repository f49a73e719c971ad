#include "ondrix/vec/precision.h"

#include <array>
#include <bit>
#include <cmath>
#include <cstring>
#include <type_traits>
#include <istream>
#include <ostream>
#include <string>

#include "ondrix/vec/exceptions.h"

namespace ondrix {

namespace {

// --- Little-endian byte access, independent of the host's byte order -------------------------

template <int N>
void PutLE(std::uint8_t* p, std::uint64_t v) noexcept {
  for (int i = 0; i < N; ++i) p[i] = static_cast<std::uint8_t>(v >> (8 * i));
}

template <int N>
std::uint64_t GetLE(const std::uint8_t* p) noexcept {
  std::uint64_t v = 0;
  for (int i = 0; i < N; ++i) v |= std::uint64_t{p[i]} << (8 * i);
  return v;
}

// n values of type T stored little-endian, converted to double. On a little-endian host the
// bytes are the value: a plain load, which the compiler vectorises.
template <class T>
void DecodeNative(const std::uint8_t* src, std::size_t n, double* dst) noexcept {
  if constexpr (std::endian::native == std::endian::little) {
    for (std::size_t i = 0; i < n; ++i) {
      T v;
      std::memcpy(&v, src + i * sizeof(T), sizeof(T));
      dst[i] = static_cast<double>(v);
    }
  } else {
    using U = std::conditional_t<sizeof(T) == 8, std::uint64_t, std::conditional_t<sizeof(T) == 4, std::uint32_t,
                                                                                    std::uint16_t>>;
    for (std::size_t i = 0; i < n; ++i)
      dst[i] = static_cast<double>(std::bit_cast<T>(static_cast<U>(GetLE<sizeof(T)>(src + i * sizeof(T)))));
  }
}

// --- Rounding and saturation -------------------------------------------------------------------

double RoundBy(double x, TRounding rounding) noexcept {
  switch (rounding) {
    case rnTrunc: return std::trunc(x);
    case rnFloor: return std::floor(x);
    case rnCeil: return std::ceil(x);
    case rnRound:
    default: return std::round(x);  // halves away from zero
  }
}

// Rounds, then clamps to [lo, hi] before the cast, so the cast is always defined. The limits
// of every integer format up to 32 bits are exact in a double.
std::int64_t ToInteger(double x, TRounding rounding, double lo, double hi) noexcept {
  if (std::isnan(x)) return 0;
  double r = RoundBy(x, rounding);
  if (r < lo) r = lo;
  if (r > hi) r = hi;
  return static_cast<std::int64_t>(r);
}

// --- G.711 --------------------------------------------------------------------------------------
//
// Both laws split the magnitude into 8 segments of 16 steps each; segment s covers values
// below segEnd[s]. Codes are stored with inverted bits (mu-law: all bits; A-law: the even bits,
// XOR 0x55), as transmitted on the line.

constexpr int kMuBias = 0x84;       // bias added to the magnitude (16-bit scale)
constexpr int kMuClip14 = 8159;     // largest 14-bit magnitude that can be encoded
constexpr std::array<int, 8> kMuSegEnd = {0x3F, 0x7F, 0xFF, 0x1FF, 0x3FF, 0x7FF, 0xFFF, 0x1FFF};
constexpr std::array<int, 8> kASegEnd = {0x1F, 0x3F, 0x7F, 0xFF, 0x1FF, 0x3FF, 0x7FF, 0xFFF};

template <std::size_t N>
int Segment(int v, const std::array<int, N>& ends) noexcept {
  for (std::size_t s = 0; s < N; ++s)
    if (v <= ends[s]) return static_cast<int>(s);
  return static_cast<int>(N);
}

}  // namespace

std::uint8_t MuLawEncode(std::int16_t linear) noexcept {
  int v = linear >> 2;  // 14-bit value, floored as the standard's reference coder does
  int mask = 0xFF;
  if (v < 0) {
    v = -v;
    mask = 0x7F;
  }
  if (v > kMuClip14) v = kMuClip14;
  v += kMuBias >> 2;
  const int seg = Segment(v, kMuSegEnd);
  const int code = seg >= 8 ? 0x7F : (seg << 4) | ((v >> (seg + 1)) & 0x0F);
  return static_cast<std::uint8_t>(code ^ mask);
}

std::int16_t MuLawDecode(std::uint8_t code) noexcept {
  const int u = ~code & 0xFF;
  int t = ((u & 0x0F) << 3) + kMuBias;
  t <<= (u & 0x70) >> 4;
  return static_cast<std::int16_t>((u & 0x80) ? kMuBias - t : t - kMuBias);
}

std::uint8_t ALawEncode(std::int16_t linear) noexcept {
  int v = linear >> 3;  // 13-bit value
  int mask = 0xD5;
  if (v < 0) {
    mask = 0x55;
    v = -v - 1;  // the negative half is one step larger; A-law has no zero code
  }
  const int seg = Segment(v, kASegEnd);
  if (seg >= 8) return static_cast<std::uint8_t>(0x7F ^ mask);
  int code = seg << 4;
  code |= seg < 2 ? (v >> 1) & 0x0F : (v >> seg) & 0x0F;
  return static_cast<std::uint8_t>(code ^ mask);
}

std::int16_t ALawDecode(std::uint8_t code) noexcept {
  const int a = code ^ 0x55;
  int t = (a & 0x0F) << 4;
  const int seg = (a & 0x70) >> 4;
  if (seg == 0)
    t += 8;
  else
    t = (t + 0x108) << (seg - 1);
  return static_cast<std::int16_t>((a & 0x80) ? t : -t);
}

int SizeOfPrecision(TPrecision precision, bool complex) {
  int size = 0;
  switch (precision) {
    case prDouble: size = 8; break;
    case prSingle:
    case prInteger:
    case prCardinal: size = 4; break;
    case prSmallInt:
    case prWord: size = 2; break;
    case prShortInt:
    case prByte:
    case prMuLaw:
    case prALaw: size = 1; break;
    case prInt24: size = 3; break;
    default: ERaise("Unknown precision ordinal: " + std::to_string(static_cast<int>(precision)));
  }
  return complex ? 2 * size : size;
}

namespace {

void Encode(const double* src, std::size_t n, std::uint8_t* dst, TPrecision precision,
            TRounding rounding) {
  switch (precision) {
    case prDouble:
      for (std::size_t i = 0; i < n; ++i, dst += 8)
        PutLE<8>(dst, std::bit_cast<std::uint64_t>(src[i]));
      break;
    case prSingle:
      for (std::size_t i = 0; i < n; ++i, dst += 4)
        PutLE<4>(dst, std::bit_cast<std::uint32_t>(static_cast<float>(src[i])));
      break;
    case prInteger:
      for (std::size_t i = 0; i < n; ++i, dst += 4)
        PutLE<4>(dst, static_cast<std::uint64_t>(
                          ToInteger(src[i], rounding, -2147483648.0, 2147483647.0)));
      break;
    case prCardinal:
      for (std::size_t i = 0; i < n; ++i, dst += 4)
        PutLE<4>(dst, static_cast<std::uint64_t>(ToInteger(src[i], rounding, 0.0, 4294967295.0)));
      break;
    case prSmallInt:
      for (std::size_t i = 0; i < n; ++i, dst += 2)
        PutLE<2>(dst, static_cast<std::uint64_t>(ToInteger(src[i], rounding, -32768.0, 32767.0)));
      break;
    case prWord:
      for (std::size_t i = 0; i < n; ++i, dst += 2)
        PutLE<2>(dst, static_cast<std::uint64_t>(ToInteger(src[i], rounding, 0.0, 65535.0)));
      break;
    case prShortInt:
      for (std::size_t i = 0; i < n; ++i)
        dst[i] = static_cast<std::uint8_t>(ToInteger(src[i], rounding, -128.0, 127.0));
      break;
    case prByte:
      for (std::size_t i = 0; i < n; ++i)
        dst[i] = static_cast<std::uint8_t>(ToInteger(src[i], rounding, 0.0, 255.0));
      break;
    case prMuLaw:
      for (std::size_t i = 0; i < n; ++i)
        dst[i] = MuLawEncode(
            static_cast<std::int16_t>(ToInteger(src[i], rounding, -32768.0, 32767.0)));
      break;
    case prALaw:
      for (std::size_t i = 0; i < n; ++i)
        dst[i] = ALawEncode(
            static_cast<std::int16_t>(ToInteger(src[i], rounding, -32768.0, 32767.0)));
      break;
    case prInt24:
      for (std::size_t i = 0; i < n; ++i, dst += 3)
        PutLE<3>(dst, static_cast<std::uint64_t>(
                          ToInteger(src[i], rounding, -8388608.0, 8388607.0)));
      break;
    default: SizeOfPrecision(precision);  // raises
  }
}

// Sign-extends the low `bits` bits of v.
std::int64_t SignExtend(std::uint64_t v, int bits) noexcept {
  const std::uint64_t m = std::uint64_t{1} << (bits - 1);
  return static_cast<std::int64_t>((v ^ m) - m);
}

void Decode(const std::uint8_t* src, std::size_t n, double* dst, TPrecision precision) {
  switch (precision) {
    case prDouble: DecodeNative<double>(src, n, dst); break;
    case prSingle: DecodeNative<float>(src, n, dst); break;
    case prInteger: DecodeNative<std::int32_t>(src, n, dst); break;
    case prCardinal: DecodeNative<std::uint32_t>(src, n, dst); break;
    case prSmallInt: DecodeNative<std::int16_t>(src, n, dst); break;
    case prWord: DecodeNative<std::uint16_t>(src, n, dst); break;
    case prShortInt:
      for (std::size_t i = 0; i < n; ++i) dst[i] = static_cast<double>(SignExtend(src[i], 8));
      break;
    case prByte:
      for (std::size_t i = 0; i < n; ++i) dst[i] = src[i];
      break;
    case prMuLaw:
      for (std::size_t i = 0; i < n; ++i) dst[i] = MuLawDecode(src[i]);
      break;
    case prALaw:
      for (std::size_t i = 0; i < n; ++i) dst[i] = ALawDecode(src[i]);
      break;
    case prInt24:
      for (std::size_t i = 0; i < n; ++i, src += 3)
        dst[i] = static_cast<double>(SignExtend(GetLE<3>(src), 24));
      break;
    default: SizeOfPrecision(precision);  // raises
  }
}

// Doubles converted per chunk by the stream forms; the byte buffer fits the widest format.
constexpr std::size_t kChunk = 1024;

}  // namespace

void EncodeValues(const double* src, std::size_t n, std::uint8_t* dst, TPrecision precision,
                  TRounding rounding) {
  SizeOfPrecision(precision);
  Encode(src, n, dst, precision, rounding);
}

void DecodeValues(const std::uint8_t* src, std::size_t n, double* dst, TPrecision precision) {
  SizeOfPrecision(precision);
  Decode(src, n, dst, precision);
}

void WriteValues(const TVec& src, std::uint8_t* dst, TPrecision precision, TRounding rounding) {
  SizeOfPrecision(precision);  // validates before anything is written
  Encode(src.PValues(), static_cast<std::size_t>(src.RealLength()), dst, precision, rounding);
}

void ReadValues(TVec& dst, const std::uint8_t* src, int count, TPrecision precision,
                bool complex) {
  if (count < 0) ERaise("ReadValues: negative count " + std::to_string(count));
  SizeOfPrecision(precision);
  dst.Size(count, complex);
  Decode(src, static_cast<std::size_t>(dst.RealLength()), dst.PValues(), precision);
}

void WriteValues(const TVec& src, std::ostream& dst, TPrecision precision, TRounding rounding) {
  const std::size_t size = static_cast<std::size_t>(SizeOfPrecision(precision));
  std::array<std::uint8_t, kChunk * 8> buffer;
  const double* p = src.PValues();
  std::size_t left = static_cast<std::size_t>(src.RealLength());
  while (left > 0) {
    const std::size_t n = left < kChunk ? left : kChunk;
    Encode(p, n, buffer.data(), precision, rounding);
    dst.write(reinterpret_cast<const char*>(buffer.data()), static_cast<std::streamsize>(n * size));
    if (!dst) ERaise("WriteValues: stream write failed");
    p += n;
    left -= n;
  }
}

void ReadValues(TVec& dst, std::istream& src, int count, TPrecision precision, bool complex) {
  if (count < 0) ERaise("ReadValues: negative count " + std::to_string(count));
  const std::size_t size = static_cast<std::size_t>(SizeOfPrecision(precision));
  dst.Size(count, complex);
  std::array<std::uint8_t, kChunk * 8> buffer;
  double* p = dst.PValues();
  std::size_t left = static_cast<std::size_t>(dst.RealLength());
  while (left > 0) {
    const std::size_t n = left < kChunk ? left : kChunk;
    const auto want = static_cast<std::streamsize>(n * size);
    src.read(reinterpret_cast<char*>(buffer.data()), want);
    if (src.gcount() != want)
      ERaise("ReadValues: unexpected end of stream (" + std::to_string(count) + " values of " +
             std::to_string(SizeOfPrecision(precision, complex)) + " bytes expected)");
    Decode(buffer.data(), n, p, precision);
    p += n;
    left -= n;
  }
}

}  // namespace ondrix
