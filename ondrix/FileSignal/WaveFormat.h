// The wave-format record of a RIFF "fmt " chunk: a WAVEFORMATEX with its extra bytes, large
// enough for the extensible form, kept as little-endian bytes.
#pragma once

#include <array>
#include <cstdint>
#include <cstring>
#include <string>

#include "ondrix/vec/precision.h"

namespace ondrix {

/// Wave format tags this library names.
enum : std::uint16_t {
  WAVE_FORMAT_PCM = 0x0001,
  WAVE_FORMAT_ADPCM = 0x0002,
  WAVE_FORMAT_IEEE_FLOAT = 0x0003,
  WAVE_FORMAT_ALAW = 0x0006,
  WAVE_FORMAT_MULAW = 0x0007,
  WAVE_FORMAT_IMA_ADPCM = 0x0011,
  WAVE_FORMAT_GSM610 = 0x0031,
  WAVE_FORMAT_MPEGLAYER3 = 0x0055,
  WAVE_FORMAT_EXTENSIBLE = 0xFFFE,
};

/// Speaker bits of dwChannelMask.
enum : std::uint32_t { SPEAKER_FRONT_LEFT = 0x1, SPEAKER_FRONT_RIGHT = 0x2 };

/// A 16-byte GUID in its file byte order.
using TWaveGuid = std::array<std::uint8_t, 16>;
/// 00000001-0000-0010-8000-00aa00389b71.
inline constexpr TWaveGuid KSDATAFORMAT_SUBTYPE_PCM = {0x01, 0x00, 0x00, 0x00, 0x00, 0x00, 0x10, 0x00,
                                                       0x80, 0x00, 0x00, 0xaa, 0x00, 0x38, 0x9b, 0x71};
/// 00000003-0000-0010-8000-00aa00389b71.
inline constexpr TWaveGuid KSDATAFORMAT_SUBTYPE_IEEE_FLOAT = {0x03, 0x00, 0x00, 0x00, 0x00, 0x00, 0x10, 0x00,
                                                              0x80, 0x00, 0x00, 0xaa, 0x00, 0x38, 0x9b, 0x71};

/// A wave-format record of kSize bytes: the 18-byte WAVEFORMATEX (tag, channels, rate, average
/// bytes per second, block align, bits per sample, cbSize), then cbSize extra bytes; in the
/// extensible form the extras are valid bits (offset 18), channel mask (20) and SubFormat (24).
/// Fields are read and written little-endian whatever the host.
struct TACMWaveFormat {
  static constexpr int kSize = 129;
  /// Bytes of the extensible form (WAVEFORMATEXTENSIBLE).
  static constexpr int kExtensibleSize = 40;

  std::array<std::uint8_t, kSize> Bytes{};

  std::uint16_t FormatTag() const noexcept { return U16(0); }
  void SetFormatTag(std::uint16_t v) noexcept { SetU16(0, v); }
  std::uint16_t Channels() const noexcept { return U16(2); }
  void SetChannels(std::uint16_t v) noexcept { SetU16(2, v); }
  std::uint32_t SamplesPerSec() const noexcept { return U32(4); }
  void SetSamplesPerSec(std::uint32_t v) noexcept { SetU32(4, v); }
  std::uint32_t AvgBytesPerSec() const noexcept { return U32(8); }
  void SetAvgBytesPerSec(std::uint32_t v) noexcept { SetU32(8, v); }
  std::uint16_t BlockAlign() const noexcept { return U16(12); }
  void SetBlockAlign(std::uint16_t v) noexcept { SetU16(12, v); }
  std::uint16_t BitsPerSample() const noexcept { return U16(14); }
  void SetBitsPerSample(std::uint16_t v) noexcept { SetU16(14, v); }
  std::uint16_t CbSize() const noexcept { return U16(16); }
  void SetCbSize(std::uint16_t v) noexcept { SetU16(16, v); }
  std::uint16_t ValidBitsPerSample() const noexcept { return U16(18); }
  void SetValidBitsPerSample(std::uint16_t v) noexcept { SetU16(18, v); }
  std::uint32_t ChannelMask() const noexcept { return U32(20); }
  void SetChannelMask(std::uint32_t v) noexcept { SetU32(20, v); }
  TWaveGuid SubFormat() const noexcept {
    TWaveGuid g;
    std::memcpy(g.data(), Bytes.data() + 24, g.size());
    return g;
  }
  void SetSubFormat(const TWaveGuid& g) noexcept { std::memcpy(Bytes.data() + 24, g.data(), g.size()); }

  bool IsExtensible() const noexcept { return FormatTag() == WAVE_FORMAT_EXTENSIBLE; }
  /// Integer PCM, IEEE float or extensible: the bytes are samples as they stand.
  bool IsPlain() const noexcept {
    return FormatTag() == WAVE_FORMAT_PCM || FormatTag() == WAVE_FORMAT_IEEE_FLOAT || IsExtensible();
  }
  /// 32-bit IEEE float samples, by tag or by the extensible SubFormat.
  bool IsFloat() const noexcept {
    return FormatTag() == WAVE_FORMAT_IEEE_FLOAT ||
           (IsExtensible() && SubFormat() == KSDATAFORMAT_SUBTYPE_IEEE_FLOAT);
  }

  bool operator==(const TACMWaveFormat&) const = default;

private:
  std::uint16_t U16(int o) const noexcept {
    return static_cast<std::uint16_t>(Bytes[o] | (Bytes[o + 1] << 8));
  }
  std::uint32_t U32(int o) const noexcept {
    return static_cast<std::uint32_t>(Bytes[o]) | (static_cast<std::uint32_t>(Bytes[o + 1]) << 8) |
           (static_cast<std::uint32_t>(Bytes[o + 2]) << 16) | (static_cast<std::uint32_t>(Bytes[o + 3]) << 24);
  }
  void SetU16(int o, std::uint16_t v) noexcept {
    Bytes[o] = static_cast<std::uint8_t>(v);
    Bytes[o + 1] = static_cast<std::uint8_t>(v >> 8);
  }
  void SetU32(int o, std::uint32_t v) noexcept {
    for (int i = 0; i < 4; ++i) Bytes[o + i] = static_cast<std::uint8_t>(v >> (8 * i));
  }
};

/// The 40-byte record a wave writer puts in "fmt ": integer PCM (float for prSingle) at the
/// precision's size; extensible, with channel mask 3, when the samples are wider than 16 bits
/// or there are three channels or more. Raises "Unsupported wav format: ..." for a precision
/// other than prSingle, prInteger, prSmallInt, prByte or prInt24.
TACMWaveFormat MakeWaveWriteFormat(TPrecision Precision, int ChannelCount, double SamplingFrequency);

/// Precision of the samples of a PCM (or float, or extensible) record: 8 bits prByte, 16
/// prSmallInt, 24 prInt24, 32 prInteger or prSingle (float), 64-bit float prDouble. Other
/// sizes raise "Error reading audio file: " and the size.
TPrecision WavePrecision(const TACMWaveFormat& Format);

}  // namespace ondrix
