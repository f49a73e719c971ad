// The codec layer: block sizing, failures, and the decoding of every compressed encoding sox
// writes to wave files, compared with sox's own decoding (plain layouts: wave_read_test).
#include <gtest/gtest.h>

#include <algorithm>
#include <climits>
#include <cstdlib>
#include <cstring>
#include <functional>

#include "file_fixture.h"
#include "ondrix/FileSignal/ACMConverter.h"
#include "ondrix/FileSignal/Riff.h"

namespace ondrix::testing {
namespace {

using TBytes = std::vector<std::uint8_t>;

TACMWaveFormat Wave(std::uint16_t tag, std::uint16_t ch, std::uint32_t rate, std::uint16_t bits, std::uint16_t align) {
  TACMWaveFormat f;
  f.SetFormatTag(tag), f.SetChannels(ch), f.SetSamplesPerSec(rate), f.SetAvgBytesPerSec(rate * align);
  f.SetBlockAlign(align), f.SetBitsPerSample(bits);
  return f;
}

TACMWaveFormat Extensible16Stereo() {
  TACMWaveFormat f = Wave(WAVE_FORMAT_EXTENSIBLE, 2, 44100, 16, 4);
  f.SetCbSize(22), f.SetValidBitsPerSample(16), f.SetSubFormat(KSDATAFORMAT_SUBTYPE_PCM);
  f.SetChannelMask(SPEAKER_FRONT_LEFT | SPEAKER_FRONT_RIGHT);
  return f;
}

// Decodes data in blocks of chunk(i) bytes (SrcByteCount by default). A block never decodes to
// more than the destination's size, and to exactly that where frames have a fixed size.
TBytes DecodeAll(TACMConverter& c, const TBytes& data, int n, bool exact,
                 const std::function<std::size_t(std::size_t)>& chunk = nullptr) {
  c.SuggestPCMFormat();
  c.SuggestSampleCount(n);
  TBytes out;
  for (std::size_t p = 0, i = 0; p < data.size(); ++i) {
    const std::size_t k = std::min<std::size_t>(chunk ? chunk(i) : c.SrcByteCount(), data.size() - p);
    std::memcpy(c.SrcBuffer(), data.data() + p, k);
    c.SetInitialByteCount(static_cast<int>(k));
    c.Convert();
    EXPECT_TRUE(!exact || static_cast<int>(k) < c.SrcByteCount() || c.GetFinalByteCount() == c.DstByteCount()) << i;
    EXPECT_LE(c.GetFinalByteCount(), std::max(c.DstByteCount(), c.SrcByteCount()));
    out.insert(out.end(), c.DstBuffer(), c.DstBuffer() + c.GetFinalByteCount());
    p += k;
  }
  return out;
}

TEST(ACMConverterRules, BlockSizing) {
  const TACMWaveFormat ext = Extensible16Stereo();
  struct Row { const char* name; TACMWaveFormat f; int n; bool exact; int src, dst; bool stream; };
  const Row rows[] = {
      {"PCM asks for 1024 values", Wave(WAVE_FORMAT_PCM, 2, 8000, 16, 4), -1, true, 2048, 2048, true},
      {"u-law decodes to twice its size", Wave(WAVE_FORMAT_MULAW, 1, 8000, 8, 1), -1, true, 1024, 2048, true},
      {"u-law, half a stereo frame", Wave(WAVE_FORMAT_MULAW, 2, 8000, 8, 2), 1023, false, 4096, 8192, true},
      {"extensible opens no stream", ext, -1, true, 2048, 2048, false},
      {"extensible, at least a block", ext, 1, true, 4, 2, false},
      {"IMA ADPCM: whole blocks", Wave(WAVE_FORMAT_IMA_ADPCM, 1, 8000, 4, 256), -1, false, 4096, 16 * 505 * 2, true},
      {"IMA ADPCM, largest block", Wave(WAVE_FORMAT_IMA_ADPCM, 1, 8000, 4, 65535), -1, false, 65535, 131057 * 2, true},
      {"MS ADPCM", Wave(WAVE_FORMAT_ADPCM, 1, 8000, 4, 256), -1, false, 4096, 16 * 500 * 2, true},
      {"GSM 6.10", Wave(WAVE_FORMAT_GSM610, 1, 8000, 0, 65), -1, false, 64 * 65, 64 * 320 * 2, true},
      {"PCM, beyond the block limit", Wave(WAVE_FORMAT_PCM, 1, 8000, 16, 2), INT_MAX, false, 4096, 4096, true},
  };
  for (const Row& r : rows) {
    SCOPED_TRACE(r.name);
    TACMConverter c;
    c.SrcFormat() = r.f;
    c.SuggestPCMFormat();
    EXPECT_EQ(c.DstFormat() == r.f, r.f.IsPlain());
    EXPECT_EQ(c.SuggestSampleCount(r.n), r.exact);
    EXPECT_EQ(c.SrcByteCount(), r.src);
    EXPECT_EQ(c.DstByteCount(), r.dst);
    EXPECT_EQ(c.StreamOpen(), r.stream);
  }
}

TEST(ACMConverterRules, Failures) {
  const auto suggest = [](TACMConverter& c) { c.SuggestPCMFormat(); };
  const auto open = [](TACMConverter& c) { c.SuggestPCMFormat(), c.InitializeStream(); };
  const auto size = [](TACMConverter& c) { c.SuggestPCMFormat(), c.SuggestSampleCount(-1); };
  const auto convert = [](int extra, int fill) {
    return [=](TACMConverter& c) {
      c.SuggestPCMFormat(), c.SuggestSampleCount(-1);
      std::memset(c.SrcBuffer(), fill, c.SrcByteCount());
      c.SetInitialByteCount(c.SrcByteCount() + extra);
      c.Convert();
    };
  };
  TACMWaveFormat noBits = Extensible16Stereo();
  noBits.SetBitsPerSample(0);
  const std::string suggestError = "Error calling acmFormatSuggest!", openError = "Error opening acm stream!",
                    tooMany = "FinitialByteCount > FSrcByteCount";
  struct Row { const char* name; TACMWaveFormat f; std::function<void(TACMConverter&)> step; std::string message; };
  const Row rows[] = {
      {"unknown tag", Wave(0x1234, 1, 8000, 4, 256), suggest, suggestError},
      {"no channels", Wave(WAVE_FORMAT_IMA_ADPCM, 0, 8000, 4, 256), suggest, suggestError},
      {"no block align", Wave(WAVE_FORMAT_IMA_ADPCM, 1, 8000, 4, 0), suggest, suggestError},
      {"absurd rate", Wave(WAVE_FORMAT_IMA_ADPCM, 1, 0xFFFFFFFF, 4, 256), suggest, suggestError},
      {"extensible without bits", noBits, suggest, suggestError},
      {"IMA block smaller than its header", Wave(WAVE_FORMAT_IMA_ADPCM, 1, 8000, 4, 2), open, openError},
      {"GSM with a huge block", Wave(WAVE_FORMAT_GSM610, 1, 8000, 0, 65535), open, openError},
      {"GSM stereo", Wave(WAVE_FORMAT_GSM610, 2, 8000, 0, 65), open, openError},
      {"MP3 with 500 channels", Wave(WAVE_FORMAT_MPEGLAYER3, 500, 44100, 0, 1), size, "Problem with acmStreamSize!"},
      {"PCM target not suggested", Wave(WAVE_FORMAT_PCM, 1, 8000, 16, 2), [](auto& c) { c.InitializeStream(); },
       openError},
      {"more bytes than the block", Wave(WAVE_FORMAT_PCM, 1, 8000, 16, 2), convert(1, 0), tooMany},
      // byte 2 of a block header, the step index, out of range
      {"corrupt IMA data", Wave(WAVE_FORMAT_IMA_ADPCM, 1, 8000, 4, 256), convert(0, 200), "Error converting with acm!"},
  };
  for (const Row& r : rows) {
    SCOPED_TRACE(r.name);
    TACMConverter c;
    c.SrcFormat() = r.f;
    EXPECT_THAT([&] { r.step(c); }, Raises<Exception>(r.message));
    EXPECT_EQ(c.ErrorStr().empty(), r.message == tooMany);  // every codec-layer failure says why
  }
}

TEST(ACMConverterRules, SuggestFormatAndDescriptions) {
  TACMConverter c;
  c.SrcFormat() = Wave(WAVE_FORMAT_IMA_ADPCM, 1, 8000, 4, 256);
  c.DstFormat().SetChannels(2);
  EXPECT_FALSE(c.SuggestFormat(false, true, false, false));  // no remixing
  EXPECT_FALSE(c.ErrorStr().empty());
  EXPECT_TRUE(c.SuggestFormat(false, false, false, false));
  EXPECT_EQ(c.DstFormat(), Wave(WAVE_FORMAT_PCM, 1, 8000, 16, 2));

  EXPECT_EQ(TACMConverter::FormatDescription(Extensible16Stereo()), "44100Hz, 16bit, 2ch ");
  EXPECT_EQ(TACMConverter::FormatTagDescription(Extensible16Stereo()), "Extended format");
  EXPECT_EQ(TACMConverter::FormatDescription(Wave(WAVE_FORMAT_GSM610, 1, 8000, 0, 65)), "GSM 6.10, 8000Hz, 1ch");
  EXPECT_EQ(TACMConverter::FormatTagDescription(Wave(0x1234, 1, 8000, 4, 256)), "Unknown format tag 0x1234");
  EXPECT_NE(TACMConverter::FormatTagDescription(Wave(0x0045, 1, 8000, 4, 1)).find("G.726"), std::string::npos);
}

// Layer-3 frames of silence (a header, then all-zero side information and data) cut into blocks
// at arbitrary bytes: the parser carries each incomplete frame into the next block.
TEST(ACMConverterRules, Mp3FramesSplitAcrossBlocks) {
  constexpr int kFrames = 30, kFrameBytes = 417;  // 128 kbit/s, 44.1 kHz, joint stereo
  TBytes data(kFrames * kFrameBytes, 0);
  for (int i = 0; i < kFrames; ++i) std::memcpy(&data[i * kFrameBytes], "\xFF\xFB\x90\x44", 4);
  TACMConverter c;
  c.SrcFormat() = Wave(WAVE_FORMAT_MPEGLAYER3, 2, 44100, 0, 1);
  const TBytes out = DecodeAll(c, data, -1, false, [](std::size_t i) { return 1 + i * 997 % 4096; });
  EXPECT_EQ(out.size(), std::size_t{kFrames * 1152 * 4});
  EXPECT_EQ(std::count(out.begin(), out.end(), 0), static_cast<long>(out.size()));
}

// libavcodec's ADPCM decoders round differently from sox's, which follow the reference
// algorithms: IMA ADPCM multiplies where the reference adds shifted steps, MS ADPCM truncates its
// prediction where sox floors it. The error builds up along a block (each block header resets
// it) to a few dozen steps: measured at most 41 for IMA and 62 for MS ADPCM on these signals.
// Everything else measures 0.
struct SoxCase {
  const char* name;
  const char* options;  // sox's output options: rate, channels, encoding
  int n;                // values asked of SuggestSampleCount
  int tolerance;        // largest difference from sox's decoding, in 16-bit steps
};

using ACMConverterSox = FileTest;

TEST_F(ACMConverterSox, DecodesLikeSox) {
  if (std::system("sox --version >/dev/null 2>&1") != 0) GTEST_SKIP() << "sox is not installed";
  const auto check = [&](const SoxCase& t) {
    const std::string wav = Path(std::string(t.name) + ".wav"), raw = Path(std::string(t.name) + ".raw");
    const std::string make = "sox -D -n " + std::string(t.options) + " '" + wav + "' synth 4 sine 300-3300 sine 440";
    ASSERT_EQ(std::system(make.c_str()), 0);
    TACMConverter c;
    TRiffFile f(wav, TRiffFile::rmRead);
    TRiffChunk riff, fmt, chunk;
    ASSERT_TRUE(f.Descend(riff, nullptr, FourCC("RIFF"), FourCC("WAVE")));
    ASSERT_TRUE(f.Descend(fmt, &riff, FourCC("fmt ")));
    f.Read(c.SrcFormat().Bytes.data(), std::min<std::int64_t>(fmt.Size, TACMWaveFormat::kSize));
    f.Ascend(fmt);
    ASSERT_TRUE(f.Descend(chunk, &riff, FourCC("data")));
    TBytes data(chunk.Size);
    ASSERT_EQ(f.Read(data.data(), chunk.Size), chunk.Size);

    const TBytes ours = DecodeAll(c, data, t.n, true);
    c.Reset();  // decoders with state across blocks (GSM) start afresh
    EXPECT_EQ(DecodeAll(c, data, t.n, true), ours);

    const std::string decode = "sox '" + wav + "' -e signed -b 16 -t raw '" + raw + "'";
    ASSERT_EQ(std::system(decode.c_str()), 0);
    const auto file = Bytes(raw);
    const TBytes ref(file.begin(), file.end());
    // Block codecs decode the padding of the last block, which sox cuts off.
    ASSERT_GE(ours.size(), ref.size());
    EXPECT_LT(ours.size() - ref.size(), static_cast<std::size_t>(c.DstByteCount()));
    int worst = 0;
    double error = 0, signal = 0;
    const auto value = [](const TBytes& b, std::size_t at) { return std::int16_t(b[at] | b[at + 1] << 8); };
    for (std::size_t i = 0; i + 1 < ref.size(); i += 2) {
      const int d = value(ours, i) - value(ref, i);
      worst = std::max(worst, std::abs(d));
      error += static_cast<double>(d) * d;
      signal += static_cast<double>(value(ref, i)) * value(ref, i);
    }
    EXPECT_LE(worst, t.tolerance);
    EXPECT_LE(error * 256 * 256, signal);  // and the differences stay 48 dB below the signal
  };
  const SoxCase cases[] = {
      {"ulaw", "-r 8000 -c 1 -e u-law", 1000, 1},
      {"alaw_stereo", "-r 8000 -c 2 -e a-law", -1, 1},
      {"ima", "-r 8000 -c 1 -e ima-adpcm", -1, 64},
      {"ima_stereo", "-r 11025 -c 2 -e ima-adpcm", -1, 64},
      {"ms", "-r 8000 -c 1 -e ms-adpcm", -1, 96},
      {"ms_stereo", "-r 22050 -c 2 -e ms-adpcm", -1, 96},
      {"gsm", "-r 8000 -c 1 -e gsm-full-rate", -1, 1},
  };
  for (const SoxCase& t : cases) {
    SCOPED_TRACE(t.name);
    check(t);
  }
}

}  // namespace
}  // namespace ondrix::testing
