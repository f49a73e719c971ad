// RIFF wave files: the chunk reader, the format record and the codec layer, through a reader
// on the input as a .wav file. The record is pulled whole in the frames that one codec block
// decodes to (as the tool reads) and, for integer and float data, in frames of an exact length
// (as a caller who insists on a length reads); plain data is written back and read again.
//
// Input: the file itself, so that any wave file is a seed as it stands.
#include <algorithm>
#include <cmath>

extern "C" {
#include <libavutil/log.h>
}

#include "fuzz/fuzz_common.h"

using namespace ondrix;
using namespace ondrix::fuzz;

namespace {

bool WaveWritable(TPrecision p) {
  return p == prByte || p == prSmallInt || p == prInt24 || p == prInteger || p == prSingle;
}

// Pulls allowed for a whole read: the frames the record has, or the source blocks the file
// holds when a block decodes to less than a frame.
std::int64_t MaxPulls(TSignalRead& r, int Length) {
  const int align = std::max<int>(r.Converter().SrcFormat().BlockAlign(), 1);
  return FramesLeft(r, Length) + r.FileSize() / align + 2;
}

void Run(const std::uint8_t* data, std::size_t size) {
  const std::string file = WriteScratch("in.wav", data, size);
  TSignalRead reader(nullptr);
  reader.SetFileName(file);
  if (!Clean([&] { reader.OpenFile(); })) return;
  (void)reader.FormatDescription();
  (void)TACMConverter::FormatDescription(reader.Converter().SrcFormat());
  const int channels = std::max(reader.ChannelCount(), 1);

  // The frame one codec block decodes to, without insisting on a length.
  Clean([&] {
    reader.SetForceLength(false);
    reader.Converter().SuggestSampleCount(-1);
    const int bytes = std::max(reader.Converter().DstFormat().BitsPerSample() / 8, 1);
    const int length = std::max(reader.Converter().DstByteCount() / bytes, 1);
    reader.SetLength(length);
    reader.SetRecordPosition(0);
    PullToEnd(reader, length, MaxPulls(reader, length));
  });

  if (!reader.Converter().SrcFormat().IsPlain()) {
    // Positioning in compressed data goes by whole source blocks.
    Clean([&] {
      reader.SetRecordPosition(reader.RecordLength() / 2);
      reader.LastFrame();
      reader.PrevFrame();
    });
    return;
  }

  // Frames of an exact length; what they give, written as a wave file of the same precision,
  // reads back the same.
  // At most 16 samples a frame, fewer for many channels: a header may claim 65535 of them.
  const int length = std::clamp(256 / channels, 1, 16) * channels;
  reader.SetForceLength(true);
  TRecordRead rec;
  if (!Clean([&] { rec = ReadRecord(reader, length, MaxPulls(reader, length)); })) return;
  Clean([&] {
    reader.SetRecordTimePosition(reader.RecordTime() / 2);
    reader.LastFrame();
    reader.PrevFrame();
  });
  if (!WaveWritable(rec.Precision) || rec.Values.empty()) return;
  const std::string copy = (ScratchDir() / "copy.wav").string();
  // The writer may refuse a format that its 16- and 32-bit fields cannot describe.
  if (!Clean([&] { WriteRecords(copy, {rec}); })) return;
  TRecordRead again;
  FUZZ_CHECK(Clean([&] {
               TSignalRead r2(nullptr);
               r2.SetFileName(copy);
               r2.OpenFile();
               again = ReadRecord(r2, length, MaxPulls(r2, length));
             }),
             "the file written back cannot be read");
  CheckSameRecords({rec}, {again});
}

// Seeds: wave files that the writer makes at every writable precision and 1 to 3 channels.
// Files in compressed encodings are made from these with sox (fuzz/make_corpus.sh).
void WriteSeeds(const std::filesystem::path& dir) {
  const struct {
    const char* name;
    TPrecision precision;
    int channels;
    double fs;
  } seeds[] = {
      {"pcm8-mono.wav", prByte, 1, 8000},      {"pcm16-stereo.wav", prSmallInt, 2, 8000},
      {"pcm16-3ch.wav", prSmallInt, 3, 16000}, {"pcm24-mono.wav", prInt24, 1, 44100},
      {"pcm32-mono.wav", prInteger, 1, 8000},  {"float32-stereo.wav", prSingle, 2, 48000},
  };
  for (const auto& s : seeds) {
    TRecordRead rec;
    rec.ChannelCount = s.channels;
    rec.SamplingFrequency = s.fs;
    rec.Precision = s.precision;
    const double full = s.precision == prSingle ? 1.0 : s.precision == prByte ? 127 : 32767;
    for (int i = 0; i < 40 * s.channels; ++i) rec.Values.push_back(std::round(full * std::sin(0.3 * i) * 100) / 100);
    const std::string file = (ScratchDir() / s.name).string();
    WriteRecords(file, {rec});
    WriteSeed(dir, s.name, ReadBytes(file));
  }
}

}  // namespace

extern "C" int LLVMFuzzerInitialize(int* argc, char*** argv) {
  av_log_set_level(AV_LOG_QUIET);
  MakeCorpusIfAsked(argc, argv, WriteSeeds);
  return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  Run(data, size);
  return 0;
}
