// Wave files made by sox in every sample layout, read through the reader frame by frame and
// compared with sox's own decode of the same file.
#include <gmock/gmock.h>

#include <cstdlib>
#include <cstring>

#include "tests/FileSignal/file_fixture.h"

namespace ondrix::testing {
namespace {

using ::testing::ThrowsMessage;

class WaveRead : public FileTest {
protected:
  void SetUp() override {
    FileTest::SetUp();
    if (std::system("sox --version >/dev/null 2>&1") != 0) GTEST_SKIP() << "sox is not installed";
  }

  void Sox(const std::string& args) { ASSERT_EQ(std::system(("sox " + args + " 2>/dev/null").c_str()), 0) << args; }

  /// sox's decode of file as 32-bit integers (or floats), scaled by 1/scale.
  TVec SoxDecode(const std::string& file, bool asFloat, double scale) {
    const std::string raw = Path("ref.raw");
    Sox(file + (asFloat ? " -t raw -e floating-point -b 32 " : " -t raw -e signed -b 32 ") + raw);
    const auto bytes = Bytes(raw);
    std::vector<double> v(bytes.size() / 4);
    for (std::size_t i = 0; i < v.size(); ++i) {
      std::int32_t k;
      float f;
      std::memcpy(&k, bytes.data() + 4 * i, 4);
      std::memcpy(&f, bytes.data() + 4 * i, 4);
      v[i] = asFloat ? f : k / scale;
    }
    return Vec(v);
  }
};

TEST_F(WaveRead, PlainLayoutsReadAsSoxDecodesThem) {
  const struct {
    const char* encoding;
    TPrecision precision;
    double scale;  // sox's 32-bit value per unit of ours
  } cases[] = {{"-e unsigned -b 8", prByte, 16777216.0},   {"-e signed -b 16", prSmallInt, 65536.0},
               {"-e signed -b 24", prInt24, 256.0},        {"-e signed -b 32", prInteger, 1.0},
               {"-e floating-point -b 32", prSingle, 0.0}};
  for (const auto& c : cases) {
    for (int channels : {1, 2, 3}) {
      SCOPED_TRACE(std::string(c.encoding) + " channels " + std::to_string(channels));
      const std::string file = Path("in.wav");
      Sox("-n -r 8000 -c " + std::to_string(channels) + " " + c.encoding + " " + file +
          " synth 0.3 sine 440 sine 1000 sine 97 gain -2");
      TSignalRead r(nullptr);
      r.SetFileName(file);
      r.OpenFile();
      EXPECT_EQ(r.Precision(), c.precision);
      EXPECT_EQ(r.ChannelCount(), channels);
      EXPECT_EQ(r.RecordLength(), 2400);
      EXPECT_TRUE(Near(ReadAll(r, 250 * channels), SoxDecode(file, c.scale == 0.0, c.scale), 0));
    }
  }
}

// A block codec reads in whole source blocks; a frame length it cannot meet is refused
// before anything changes.
TEST_F(WaveRead, CompressedDataReadsInWholeBlocks) {
  const std::string file = Path("ima.wav");
  Sox("-n -r 8000 -c 1 -e ima-adpcm " + file + " synth 0.5 sine 440 gain -3");
  TSignalRead r(nullptr);
  r.SetFileName(file);
  r.SetLength(1000);
  const TVec before = Vec(std::vector<double>(1000, 7.0));
  r.SetData(before);
  EXPECT_THAT([&] { r.Pull(); },
              ThrowsMessage<Exception>(::testing::HasSubstr(
                  "The suggested Length of the data block can not be used with the current audio format!")));
  EXPECT_TRUE(Near(r.Data(), before, 0));

  r.SetForceLength(false);
  r.Converter().SuggestSampleCount(-1);
  const int perBlock = r.Converter().DstByteCount() / 2;
  const TVec ref = SoxDecode(file, false, 65536.0);
  const TVec got = ReadAll(r, perBlock);
  ASSERT_GE(got.Length(), ref.Length());
  // libavcodec's IMA decoder rounds its step sums differently from sox's (see the converter's
  // tests): the two stay within 64 steps of 16 bits. A block read out of place would not.
  TVec diff = Slice(got, 0, ref.Length());
  diff.Sub(ref);
  double lo = 0, hi = 0;
  diff.MaxMin(hi, lo);
  EXPECT_LE(std::max(hi, -lo), 64.0);
}

}  // namespace
}  // namespace ondrix::testing
