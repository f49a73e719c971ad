#include "ondrix/FileSignal/WaveFormat.h"

#include <cmath>

#include "ondrix/vec/exceptions.h"

namespace ondrix {

TACMWaveFormat MakeWaveWriteFormat(TPrecision Precision, int ChannelCount, double SamplingFrequency) {
  if (Precision != prSingle && Precision != prInteger && Precision != prSmallInt && Precision != prByte &&
      Precision != prInt24)
    ERaise("Unsupported wav format: Precision <> prInteger (32), prInt24 (24), prSmallInt (16),  prByte (8), "
           "prSingle(32)!");
  const int bytes = SizeOfPrecision(Precision);
  // The block size and the byte rate are 16- and 32-bit fields of the record.
  if (ChannelCount < 1 || ChannelCount > 65535 / bytes)
    ERaise("Unsupported wav format: ChannelCount = " + std::to_string(ChannelCount));
  const double rate = std::round(SamplingFrequency);
  if (!(rate >= 1 && rate * bytes * ChannelCount <= 4294967295.0))
    ERaise("Unsupported wav format: SamplingFrequency out of range");
  TACMWaveFormat f;
  f.SetFormatTag(WAVE_FORMAT_PCM);
  f.SetChannels(static_cast<std::uint16_t>(ChannelCount));
  f.SetSamplesPerSec(static_cast<std::uint32_t>(rate));
  f.SetBitsPerSample(static_cast<std::uint16_t>(bytes * 8));
  f.SetBlockAlign(static_cast<std::uint16_t>(bytes * ChannelCount));
  f.SetAvgBytesPerSec(static_cast<std::uint32_t>(bytes * ChannelCount * f.SamplesPerSec()));
  if (bytes * 8 > 16 || ChannelCount >= 3) {
    f.SetFormatTag(WAVE_FORMAT_EXTENSIBLE);
    f.SetCbSize(TACMWaveFormat::kExtensibleSize - 18);
    f.SetValidBitsPerSample(f.BitsPerSample());
    f.SetChannelMask(SPEAKER_FRONT_LEFT | SPEAKER_FRONT_RIGHT);
    f.SetSubFormat(Precision == prSingle ? KSDATAFORMAT_SUBTYPE_IEEE_FLOAT : KSDATAFORMAT_SUBTYPE_PCM);
  }
  return f;
}

TPrecision WavePrecision(const TACMWaveFormat& Format) {
  const bool isFloat = Format.IsFloat();
  switch (Format.BitsPerSample()) {
    case 8: if (!isFloat) return prByte; break;
    case 16: if (!isFloat) return prSmallInt; break;
    case 24: if (!isFloat) return prInt24; break;
    case 32: return isFloat ? prSingle : prInteger;
    case 64: if (isFloat) return prDouble; break;
    default: break;
  }
  ERaise("Error reading audio file: " + std::to_string(Format.BitsPerSample()) + "-bit " +
         (isFloat ? "float" : "integer") + " samples are not supported");
}

}  // namespace ondrix
