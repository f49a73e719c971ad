// The seven file formats: byte layouts against golden files written from the layouts alone
// (tests/gen_filesignal_reference.py), round trips of every format, precision and channel
// count, and the writer's rules.
#include <gmock/gmock.h>

#include <cstring>
#include <random>

#include "tests/FileSignal/file_fixture.h"

namespace ondrix::testing {
namespace {

using ::testing::ElementsAreArray;
using ::testing::HasSubstr;
using ::testing::ThrowsMessage;

const std::vector<double> kStereo = {0.5, -1.25, 100.0, -200.0, 3.75, 32767.0};
const std::vector<double> kMono = {0.5, -1.25, 3.75};

std::vector<unsigned char> Golden(const std::string& name) {
  return FileTest::Bytes(std::string(ONDRIX_TEST_DATA_DIR) + "/filesignal/" + name);
}

std::uint32_t U32(const std::vector<unsigned char>& b, std::size_t at) {
  std::uint32_t v;
  std::memcpy(&v, b.data() + at, 4);
  return v;
}

using FileFormats = FileTest;

// Written in two blocks, so that every count and duration in a header is a patched one.
TEST_F(FileFormats, WrittenBytesMatchTheLayouts) {
  struct Case {
    const char* golden;
    std::vector<double> values;
    int channels;
    TPrecision precision;
  };
  const Case cases[] = {{"golden.bin", kMono, 1, prDouble},        {"golden.dbn", kMono, 1, prDouble},
                        {"golden.sfs", kMono, 1, prDouble},        {"golden.asc", kMono, 1, prDouble},
                        {"golden16.wav", kStereo, 2, prSmallInt},  {"golden24.wav", kMono, 1, prInt24},
                        {"golden32f.wav", kStereo, 2, prSingle},   {"golden8.wav", kMono, 1, prByte},
                        {"golden16x3.wav", kStereo, 3, prSmallInt}};
  for (const Case& c : cases) {
    SCOPED_TRACE(c.golden);
    const std::string file = Path(std::string("out") + LowerExtension(c.golden));
    const TVec all = Vec(c.values);
    WriteBlocks(file, {Slice(all, 0, c.channels), Slice(all, c.channels, all.Length() - c.channels)}, c.channels,
                c.precision);
    const auto want = Golden(c.golden);
    auto got = Bytes(file);
    if (LowerExtension(file) != ".wav") {
      EXPECT_THAT(got, ElementsAreArray(want));
      continue;
    }
    ASSERT_GE(got.size(), want.size());
    EXPECT_EQ(U32(got, 4), got.size() - 8) << "RIFF size";
    std::vector<unsigned char> head(got.begin(), got.begin() + static_cast<std::ptrdiff_t>(want.size()));
    std::fill(head.begin() + 4, head.begin() + 8, 0);  // the RIFF size, checked above
    EXPECT_THAT(head, ElementsAreArray(want));
    const std::string tail(got.begin() + static_cast<std::ptrdiff_t>(want.size()), got.end());
    EXPECT_THAT(tail, HasSubstr("LIST")) << "after the data: LIST / INFO with ICRD and ISFT";
    EXPECT_THAT(tail, HasSubstr("INFOICRD"));
    EXPECT_THAT(tail, HasSubstr("ISFT"));
  }
}

TEST_F(FileFormats, DatRecordsOfDifferentLayoutsWriteAndReadBack) {
  TBlockSource stereo(2), mono(1, 8000.0);
  TSignalWrite w(nullptr);
  w.SetFileName(Path("two.dat"));
  w.SetPrecision(prSmallInt);
  w.SetInput(&stereo);
  const TVec all = Vec(kStereo);
  stereo.SetData(Slice(all, 0, 2));
  w.SaveBlock();
  stereo.SetData(Slice(all, 2, 4));
  w.SaveBlock();
  w.CloseRecord();
  w.SetPrecision(prDouble);
  w.SetInput(&mono);
  mono.SetData(Vec({1.0, 2.0, -3.5, 0.25}, true));
  w.SaveBlock();
  w.CloseFile();
  EXPECT_THAT(Bytes(Path("two.dat")), ElementsAreArray(Golden("golden.dat")));

  TSignalRead r(nullptr);
  r.SetFileName(Path("two.dat"));
  r.OpenFile();
  EXPECT_EQ(r.NumberOfRecords(), 2);
  EXPECT_EQ(r.Precision(), prSmallInt);  // channels and length of a record: EveryFormat...RoundTrips
  EXPECT_TRUE(Near(ReadAll(r, 4), Vec({1, -1, 100, -200, 4, 32767}), 0));
  r.SetRecordNumber(1);
  EXPECT_EQ(r.ChannelCount(), 1);
  EXPECT_EQ(r.SamplingFrequency(), 8000.0);
  EXPECT_TRUE(Near(ReadAll(r, 8), Vec({1.0, 2.0, -3.5, 0.25}, true), 0));
}

// Integer values the precision holds exactly; mu-law and A-law take their own code points.
TVec Representable(TPrecision p, int n, bool complex, std::mt19937& rng, bool wave) {
  TVec v;
  v.Size(n, complex);
  for (int i = 0; i < v.RealLength(); ++i) {
    double x = 0;
    switch (p) {
      case prDouble: x = std::uniform_real_distribution<double>(-1e6, 1e6)(rng); break;
      case prSingle: x = static_cast<float>(std::uniform_real_distribution<double>(-1e3, 1e3)(rng)); break;
      case prMuLaw: x = MuLawDecode(static_cast<std::uint8_t>(rng())); break;
      case prALaw: x = ALawDecode(static_cast<std::uint8_t>(rng())); break;
      default: {
        const int bits = SizeOfPrecision(p) * 8;
        const bool unsigned_ = p == prByte || p == prWord || p == prCardinal;
        const double lo = unsigned_ && !wave ? 0 : -std::ldexp(1.0, bits - 1);
        const double span = std::ldexp(1.0, bits) - 1;
        x = lo + std::floor(std::uniform_real_distribution<double>(0, 1)(rng) * span);
      }
    }
    v.PValues()[i] = x;
  }
  return v;
}

TEST_F(FileFormats, EveryFormatPrecisionAndChannelCountRoundTrips) {
  std::mt19937 rng(7);
  struct Case {
    const char* ext;
    std::vector<TPrecision> precisions;
    std::vector<int> channels;
    bool complex;
  };
  std::vector<TPrecision> all;
  for (int p = prDouble; p <= prInt24; ++p) all.push_back(static_cast<TPrecision>(p));
  const Case cases[] = {{".dat", all, {1, 2, 3}, false},
                        {".dat", all, {1, 3}, true},
                        {".wav", {prByte, prSmallInt, prInt24, prInteger, prSingle}, {1, 2, 3}, false},
                        {".bin", {prSingle}, {1}, false},
                        {".dbn", {prDouble}, {1}, false},
                        {".sfs", {prDouble}, {1}, false},
                        {".asc", {prDouble}, {1}, false}};
  for (const Case& c : cases) {
    for (TPrecision p : c.precisions) {
      for (int ch : c.channels) {
        SCOPED_TRACE(std::string(c.ext) + " precision " + std::to_string(p) + " channels " + std::to_string(ch) +
                     (c.complex ? " complex" : ""));
        const std::string file = Path(std::string("rt") + c.ext);
        const TVec values = Representable(p, 105 * ch, c.complex, rng, std::string(c.ext) == ".wav");
        std::vector<TVec> blocks;
        for (int at = 0, n = 30 * ch; at < values.Length(); at += n)
          blocks.push_back(Slice(values, at, std::min(n, values.Length() - at)));
        WriteBlocks(file, blocks, ch, p);
        TSignalRead r(nullptr);
        r.SetFileName(file);
        r.OpenFile();
        EXPECT_EQ(r.ChannelCount(), ch);
        EXPECT_EQ(r.RecordLength(), 105);
        EXPECT_NEAR(r.SamplingFrequency(), 1000.0, 1e-3);  // .bin keeps the duration in float32
        // Frames of one sample per channel, and of 16 leaving a partial last one, join to the record.
        for (int frame : {ch, 16 * ch}) {
          r.CloseFile();
          EXPECT_TRUE(Near(ReadAll(r, frame), values, 0)) << "frame " << frame;
        }
      }
    }
  }
}

TEST_F(FileFormats, SglRecordsAreWrittenWholeAndReadInThreeLines) {
  TBlockSource src;
  TSignalWrite w(nullptr);
  w.SetInput(&src);
  w.SetFileName(Path("a.sgl"));
  src.SetData(Vec(kMono));
  EXPECT_THAT([&] { w.SaveBlock(); }, ThrowsMessage<Exception>("Block save not supported for this FileFormat!"));
  w.SaveRecord();
  w.CloseFile();
  EXPECT_THAT(Bytes(Path("a.sgl")), ElementsAreArray(Golden("golden.sgl")));

  // A fourth, empty line per record: the second record written is out of step with the
  // three-line reading, the first always reads back.
  w.SaveFile();
  w.SaveRecord();
  src.SetData(Vec({1.0, -2.0, 3.0, 4.0}, true));
  w.SaveRecord();
  w.CloseFile();
  TSignalRead r(nullptr);
  r.SetFileName(Path("a.sgl"));
  r.OpenFile();
  EXPECT_EQ(r.NumberOfRecords(), 2);  // 8 lines
  EXPECT_TRUE(Near(ReadAll(r, 3), Vec(kMono), 0));
  EXPECT_THROW(r.SetRecordNumber(1), Exception);  // its count line is the values of record 1

  std::ofstream(Path("b.sgl"), std::ios::binary) << "2\r\n0.5\r\n1;2.5+1i\r\n3\r\n1\r\n4;5;6\r\n7\r\n";
  r.SetFileName(Path("b.sgl"));
  r.OpenFile();
  EXPECT_EQ(r.NumberOfRecords(), 2);  // the seventh line is ignored
  EXPECT_TRUE(Near(ReadAll(r, 2), Vec({1, 0, 2.5, 1}, true), 0));
  EXPECT_DOUBLE_EQ(r.SamplingFrequency(), 4.0);
  r.SetRecordNumber(1);
  EXPECT_EQ(r.RecordLength(), 3);
}

TEST_F(FileFormats, TextFormatsReadTheirLayouts) {
  std::ofstream(Path("s.asc"), std::ios::binary) << "0 1.5\r\n0.25 -2\r\n0.5 3\r\n";
  TSignalRead r(nullptr);
  r.SetFileName(Path("s.asc"));
  r.OpenFile();
  EXPECT_DOUBLE_EQ(r.SamplingFrequency(), 4.0);
  EXPECT_DOUBLE_EQ(r.RecordTime(), 0.75);
  EXPECT_TRUE(Near(ReadAll(r, 2), Vec({1.5, -2, 3}), 0));

  std::ofstream(Path("bad.asc"), std::ios::binary) << "0;1\r\n1;2\r\n";
  r.SetFileName(Path("bad.asc"));
  EXPECT_THAT([&] { r.OpenFile(); }, ThrowsMessage<Exception>("Delimiter for .asc must be tab or space!"));
  std::ofstream(Path("same.asc"), std::ios::binary) << "1\t1\r\n1\t2\r\n";
  r.SetFileName(Path("same.asc"));
  r.OpenFile();  // equal time stamps: an infinite rate, not checked
  EXPECT_EQ(r.RecordLength(), 2);

  std::ofstream(Path("empty.sgl"), std::ios::binary) << "";
  r.SetFileName(Path("empty.sgl"));
  EXPECT_THAT([&] { r.OpenFile(); }, ThrowsMessage<Exception>(Path("empty.sgl") + ": Strings.Count = 0!"));
}

TEST_F(FileFormats, BinRecordScanStopsAtAnEmptyRecord) {
  TBlockSource src;
  TSignalWrite w(nullptr);
  w.SetInput(&src);
  w.SetFileName(Path("r.bin"));
  for (const auto& values : {kMono, std::vector<double>{}, kMono}) {
    src.SetData(Vec(values));
    w.SaveRecord();
  }
  w.CloseFile();
  TSignalRead r(nullptr);
  r.SetFileName(Path("r.bin"));
  r.OpenFile();
  EXPECT_EQ(r.NumberOfRecords(), 3);
  EXPECT_EQ(r.RecordLength(), 3);
  r.SetRecordNumber(7);  // clamped to the last, which the scan cannot reach
  EXPECT_EQ(r.RecordNumber(), 2);
  EXPECT_EQ(r.RecordLength(), 0);
  EXPECT_EQ(r.RecordTime(), 0.0);
}

TEST_F(FileFormats, WriterRules) {
  TBlockSource src;
  TSignalWrite w(nullptr);
  w.SetInput(&src);
  EXPECT_THAT([&] { w.SaveFile(); }, ThrowsMessage<Exception>("FileName = '' !"));
  EXPECT_THAT([&] { w.SetFileName("x.xyz"); }, ThrowsMessage<Exception>("Unknown file file format extension: .xyz"));
  w.SetFileName(Path("UPPER.WAV"));
  EXPECT_EQ(w.FileFormat(), ffWav);
  w.SetPrecision(prDouble);
  EXPECT_THAT([&] { w.SaveFile(); },
              ThrowsMessage<Exception>("Unsupported wav format: Precision <> prInteger (32), prInt24 (24), prSmallInt "
                                       "(16),  prByte (8), prSingle(32)!"));
  // A byte rate or block size beyond its 32- or 16-bit field is refused, not wrapped.
  w.SetPrecision(prSingle);
  src.SetChannelCount(2);
  src.SetSamplingFrequency(1e9);
  EXPECT_THAT([&] { w.SaveFile(); }, ThrowsMessage<Exception>("Unsupported wav format: SamplingFrequency out of range"));
  src.SetChannelCount(20000);
  src.SetSamplingFrequency(1000);
  EXPECT_THAT([&] { w.SaveFile(); }, ThrowsMessage<Exception>("Unsupported wav format: ChannelCount = 20000"));
  src.SetChannelCount(1);

  // prByte centres the data on 128 without touching the input.
  w.SetPrecision(prByte);
  const TVec block = Vec({-1.0, 0.0, 1.5});
  src.SetData(block);
  w.SaveDataToFile(Path("b.wav"));
  EXPECT_TRUE(Near(src.Data(), block, 0));
  const auto bytes = Bytes(Path("b.wav"));
  EXPECT_THAT(std::vector<unsigned char>(bytes.begin() + 68, bytes.begin() + 71), ElementsAreArray({127, 128, 130}));

  // Appending keeps only what is written now.
  w.SetFileName(Path("n.dat"));
  w.AppendRecord();
  w.AppendRecord();
  TSignalRead r(nullptr);
  r.SetFileName(Path("n.dat"));
  r.OpenFile();
  EXPECT_EQ(r.NumberOfRecords(), 1);
}

}  // namespace
}  // namespace ondrix::testing
