// Binary record files (.dat, .bin, .dbn): the record scan over memory, then a reader on the
// same bytes as a file, every record pulled whole and compared with its stored bytes, and the
// records written back in the same format and precision and read again.
//
// Input: one option byte, then the file. Bits 0-1 pick the format (dat, bin, dbn, dat),
// bits 2-4 the frame (1 << n samples of every channel), bits 5-7 a second frame of 1 .. 8
// values that need not hold whole samples.
#include <algorithm>

#include "fuzz/fuzz_common.h"
#include "ondrix/FileSignal/BinaryRecords.h"
#include "ondrix/framework/TStream.h"

using namespace ondrix;
using namespace ondrix::fuzz;

namespace {

constexpr TFileFormat kFormats[4] = {ffDat, ffBin, ffDbn, ffDat};

std::uint8_t Options(int format, int frameShift, int oddLength) {
  return static_cast<std::uint8_t>(format | frameShift << 2 | (oddLength - 1) << 5);
}

std::string Describe(const TBinaryRecord& r) {
  return "count " + std::to_string(r.Count) + ", channels " + std::to_string(r.ChannelCount) + ", data at " +
         std::to_string(r.DataOffset);
}

void Run(const std::uint8_t* data, std::size_t size) {
  if (size < 1) return;
  const TFileFormat format = kFormats[data[0] & 3];
  const int frameSamples = 1 << ((data[0] >> 2) & 7);
  const int oddLength = 1 + (data[0] >> 5);
  ++data;
  --size;

  std::vector<TBinaryRecord> scanned;
  const bool scanClean = Clean([&] {
    TMemoryStream m;
    m.WriteBuffer(data, static_cast<std::int64_t>(size));
    scanned = ScanBinaryRecords(m, format);
  });
  std::int64_t end = 0;
  for (const TBinaryRecord& rec : scanned) {
    FUZZ_CHECK(rec.HeaderOffset == end && rec.EndOffset() <= static_cast<std::int64_t>(size),
               "record outside the file: " + Describe(rec));
    end = rec.EndOffset();
  }

  const std::string file = WriteScratch(std::string("in") + FileFormatExtension(format), data, size);
  TSignalRead reader(nullptr);
  reader.SetFileName(file);
  const bool opened = Clean([&] { reader.OpenFile(); });
  FUZZ_CHECK(opened == (scanClean && !scanned.empty()), "the reader and the scan disagree on the file");
  if (!opened) return;
  FUZZ_CHECK(reader.NumberOfRecords() == static_cast<int>(scanned.size()), "record count");

  std::vector<TRecordRead> records;
  const bool readClean = Clean([&] {
    for (int k = 0; k < reader.NumberOfRecords(); ++k) {
      reader.SetRecordNumber(k);
      records.push_back(ReadRecord(reader, frameSamples * reader.ChannelCount()));
    }
  });
  if (readClean) {
    // Frame by frame must give the stored values of whole samples, decoded in one piece.
    bool reachable = true;
    for (std::size_t k = 0; k < records.size(); ++k) {
      const TBinaryRecord& s = scanned[k];
      const TRecordRead& got = records[k];
      // .bin and .dbn end at an empty record: the records after it read as empty.
      if (format != ffDat && s.Count == 0) reachable = false;
      const int samples = reachable ? s.RecordLength() : 0;
      FUZZ_CHECK(got.RecordLength == samples, "record " + std::to_string(k) + " length, " + Describe(s));
      const std::size_t n = static_cast<std::size_t>(samples) * s.ChannelCount * (s.Complex ? 2 : 1);
      FUZZ_CHECK(got.Values.size() == n, "record " + std::to_string(k) + " gives " +
                                             std::to_string(got.Values.size()) + " values, " + Describe(s));
      std::vector<double> want(n);
      DecodeValues(data + s.DataOffset, n, want.data(), s.Precision);
      for (std::size_t i = 0; i < n; ++i)
        FUZZ_CHECK(SameValue(want[i], got.Values[i]), "record " + std::to_string(k) + " value " + std::to_string(i));
    }

    // What was read, written again in the same format and precision, reads back the same.
    const std::string copy = (ScratchDir() / (std::string("copy") + FileFormatExtension(format))).string();
    FUZZ_CHECK(Clean([&] { WriteRecords(copy, records); }), "the records read cannot be written back");
    std::vector<TRecordRead> again;
    FUZZ_CHECK(Clean([&] {
                 TSignalRead r2(nullptr);
                 r2.SetFileName(copy);
                 r2.OpenFile();
                 for (int k = 0; k < r2.NumberOfRecords(); ++k) {
                   r2.SetRecordNumber(k);
                   again.push_back(ReadRecord(r2, frameSamples * r2.ChannelCount()));
                 }
               }),
               "the file written back cannot be read");
    CheckSameRecords(records, again);
  }

  // Frames that are not whole samples, and positioning: errors are allowed, hangs are not.
  Clean([&] {
    reader.SetRecordNumber(0);
    reader.SetRecordPosition(0);
    PullToEnd(reader, oddLength);
  });
  Clean([&] {
    reader.SetLength(frameSamples * std::max(reader.ChannelCount(), 1));
    reader.SetRecordTimePosition(reader.RecordTime() / 3);
    reader.LastFrame();
    reader.PrevFrame();
    reader.SetFrameNumber(1);
    reader.FirstFrame();
  });
}

// Seeds: files that the writer makes, of every precision, channel counts, complex data, several
// records and an empty one.
void WriteSeeds(const std::filesystem::path& dir) {
  auto record = [](std::vector<double> values, int channels, TPrecision p, bool complex = false, double fs = 1000) {
    TRecordRead r;
    r.Values = std::move(values);
    r.ChannelCount = channels;
    r.Precision = p;
    r.Complex = complex;
    r.SamplingFrequency = fs;
    return r;
  };
  std::vector<double> ramp;
  for (int i = 0; i < 24; ++i) ramp.push_back((i % 2 ? -1.0 : 1.0) * i * 1.5);
  const std::vector<double> small = {0, 1, -2, 3, 127, -128, 100, -7};
  struct Seed {
    const char* name;
    int format;
    std::vector<TRecordRead> records;
  };
  const Seed seeds[] = {
      {"dat-double-mono", 0, {record(ramp, 1, prDouble)}},
      {"dat-single-complex", 0, {record(small, 1, prSingle, true, 48000)}},
      {"dat-int16-stereo-2rec", 0, {record(ramp, 2, prSmallInt), record(small, 2, prSmallInt, false, 8000)}},
      {"dat-int24-3ch", 0, {record(ramp, 3, prInt24)}},
      {"dat-int32-uint32", 0, {record(small, 1, prInteger), record(small, 2, prCardinal)}},
      {"dat-word-shortint-byte", 0, {record(small, 1, prWord), record(small, 1, prShortInt), record(small, 4, prByte)}},
      {"dat-mulaw-alaw", 0, {record(ramp, 1, prMuLaw), record(ramp, 2, prALaw)}},
      {"dat-empty-then-data", 0, {record({}, 1, prDouble), record(small, 1, prSmallInt)}},
      {"bin-2rec", 1, {record(ramp, 1, prSingle), record(small, 1, prSingle, false, 250)}},
      {"dbn-2rec", 2, {record(small, 1, prDouble), record(ramp, 1, prDouble, false, 44100)}},
      {"dbn-empty-then-data", 2, {record({}, 1, prDouble), record(small, 1, prDouble)}},
  };
  int variant = 0;
  for (const Seed& s : seeds) {
    const std::string file = (ScratchDir() / (std::string("seed") + FileFormatExtension(kFormats[s.format]))).string();
    WriteRecords(file, s.records);
    std::vector<std::uint8_t> bytes = ReadBytes(file);
    bytes.insert(bytes.begin(), Options(s.format, 1 + variant % 4, 1 + (2 * variant + 1) % 8));
    ++variant;
    WriteSeed(dir, s.name, bytes);
  }
}

}  // namespace

extern "C" int LLVMFuzzerInitialize(int* argc, char*** argv) {
  MakeCorpusIfAsked(argc, argv, WriteSeeds);
  return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  Run(data, size);
  return 0;
}
