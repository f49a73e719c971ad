// Truncated, corrupt and hostile files: each gives a clear error at once, leaves the reader
// closed and its last frame in Data, and never allocates by an unchecked header field.
#include <gmock/gmock.h>

#include <chrono>

#include "tests/FileSignal/file_fixture.h"

namespace ondrix::testing {
namespace {


/// Little-endian bytes of a sequence of fields.
struct Le {
  std::string s;
  Le& i32(std::int32_t v) { return raw(&v, 4); }
  Le& u16(std::uint16_t v) { return raw(&v, 2); }
  Le& f64(double v) { return raw(&v, 8); }
  Le& f32(float v) { return raw(&v, 4); }
  Le& str(const std::string& t) {
    s += t;
    return *this;
  }
  Le& raw(const void* p, std::size_t n) {
    s.append(static_cast<const char*>(p), n);
    return *this;
  }
};

std::string DatHeader(std::int32_t n, double fs, std::int32_t precision, std::int32_t complex, std::int32_t ch) {
  return Le().i32(n).f64(fs).i32(precision).i32(complex).i32(ch).s;
}

/// A wave file: "fmt " of the given fields (or raw bytes), then "data" of the given size.
std::string Wave(const std::string& fmt, std::uint32_t dataSize, std::size_t dataBytes) {
  std::string body = Le().str("fmt ").i32(static_cast<std::int32_t>(fmt.size())).str(fmt).s;
  if (fmt.size() % 2) body += '\0';
  body += Le().str("data").i32(static_cast<std::int32_t>(dataSize)).s + std::string(dataBytes, '\x01');
  return Le().str("RIFF").i32(static_cast<std::int32_t>(body.size() + 4)).str("WAVE").s + body;
}

std::string Fmt(std::uint16_t tag, std::uint16_t ch, std::int32_t rate, std::uint16_t bits, std::int32_t avg = 4000,
                std::uint16_t align = 2) {
  return Le().u16(tag).u16(ch).i32(rate).i32(avg).u16(align).u16(bits).u16(0).s;
}

using HostileFiles = FileTest;

TEST_F(HostileFiles, GiveClearErrors) {
  const std::string pcm = Fmt(1, 1, 2000, 16);
  const struct {
    const char* name;
    std::string bytes;
    const char* message;
  } cases[] = {
      {"count.dat", DatHeader(0x7FFFFFFF, 1000, 0, 0, 1) + std::string(76, '\0'), "runs past the end of the file"},
      {"channels.dat", DatHeader(4, 1000, 0, 0, -1), "bad channel count"},
      {"zero-fs.dat", DatHeader(0, 0.0, 0, 0, 1), "sampling frequency that is not positive"},
      {"nan-fs.dat", DatHeader(0, std::nan(""), 0, 0, 1), "sampling frequency that is not positive"},
      {"tiny-fs.dat", DatHeader(0, 1e-320, 0, 0, 1), "sampling frequency out of range"},
      {"huge-fs.dat", DatHeader(0, 1e300, 0, 0, 1), "sampling frequency out of range"},
      {"long.dbn", Le().i32(1).f64(1e300).f64(1).s, "sampling frequency out of range"},
      {"precision.dat", DatHeader(0, 1000, 99, 0, 1), "unknown precision"},
      {"complex.dat", DatHeader(0, 1000, 0, 7, 1), "complex flag"},
      {"second.dat", DatHeader(0, 1000, 0, 0, 1) + "0123456789", "record 1 has a truncated header"},
      {"negative.bin", Le().i32(-5).f32(1.0f).s, "negative value count"},
      {"time.dbn", Le().i32(3).f64(-1.0).f64(1).f64(2).f64(3).s, "duration that is not positive"},
      {"fmt3.wav", Wave("abc", 0, 0), "\"fmt \" chunk holds 3 bytes"},
      {"size.wav", Wave(pcm, 0x7FFFFFF0, 100), "Error in mmIoDescend!"},
      {"rate.wav", Wave(Fmt(1, 1, 0, 16), 4, 4), "the sampling frequency is 0"},
      {"channels.wav", Wave(Fmt(1, 0, 2000, 16), 4, 4), "no channels"},
      {"bits.wav", Wave(Fmt(1, 1, 2000, 12), 4, 4), "12-bit integer samples are not supported"},
      {"tag.wav", Wave(Fmt(0x7A7A, 1, 2000, 16), 4, 4), "Error calling acmFormatSuggest!"},
      {"text.wav", std::string(1000, 'x'), "Error in mmIoDescend!"},
      {"separators.sgl", "3\r\n1\r\n" + std::string(1000000, ';') + "\r\n", "empty value"},
      {"count.sfs", "2147483647\r\n1\r\n\r\n1\r\n", "holds fewer"},
      {"huge.sfs", "1e300\r\n1\r\n\r\n1\r\n", "is not a count"},
      {"one.asc", "0 1\r\n", "needs two lines"},
  };
  TSignalRead r(nullptr);
  const TVec before = Vec({1, 2, 3});
  for (const auto& c : cases) {
    SCOPED_TRACE(c.name);
    std::ofstream(Path(c.name), std::ios::binary) << c.bytes;
    r.SetFileName(Path(c.name));
    r.SetData(before);
    const auto start = std::chrono::steady_clock::now();
    EXPECT_THAT([&] { r.OpenFile(); }, RaisesWith<Exception>(c.message));
    EXPECT_LT(std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count(), 0.5);
    EXPECT_FALSE(r.FileIsOpen());
    EXPECT_TRUE(Near(r.Data(), before, 0));
  }
}

// A record shorter than its header says cannot be read; one longer is read as the header says.
TEST_F(HostileFiles, ReadsStopAtTheRecord) {
  std::ofstream(Path("two.dbn"), std::ios::binary)
      << Le().i32(2).f64(0.002).f64(1).f64(2).i32(1).f64(0.001).f64(9).s;
  TSignalRead r(nullptr);
  r.SetFileName(Path("two.dbn"));
  r.SetLength(4);
  r.SetRecordPosition(0);
  EXPECT_TRUE(Near(r.Data(), Vec({1, 2, 0, 0}), 0));  // the next record's header is not a sample
}

// Chunks the reader does not know, of odd size with their pad byte, stand before and after
// "fmt " in real files.
TEST_F(HostileFiles, UnknownChunksAndPadBytesAreSkipped) {
  const std::string body = Le().str("junk").i32(3).str("abc").str(std::string(1, '\0')).str("fmt ").i32(18).s +
                           Fmt(1, 1, 2000, 16) + Le().str("odd!").i32(1).str("x").str(std::string(1, '\0')).s +
                           Le().str("data").i32(4).i32(0x00020001).s;
  std::ofstream(Path("junk.wav"), std::ios::binary)
      << Le().str("RIFF").i32(static_cast<std::int32_t>(body.size() + 4)).str("WAVE").s + body;
  TSignalRead r(nullptr);
  r.SetFileName(Path("junk.wav"));
  r.SetLength(2);
  r.SetRecordPosition(0);
  EXPECT_TRUE(Near(r.Data(), Vec({1, 2}), 0));
}

// Pulls always move on: a frame without one sample of every channel is an error, and wave data
// whose tail is shorter than a block, or whose byte rate gives fewer samples than blocks, is
// read to its end.
TEST_F(HostileFiles, PullsReachTheEnd) {
  std::ofstream(Path("8ch.dat"), std::ios::binary) << DatHeader(16, 1000, 0, 0, 8) + std::string(128, '\0');
  TSignalRead r(nullptr);
  r.SetFileName(Path("8ch.dat"));
  r.SetLength(6);
  EXPECT_THAT([&] { r.Pull(); }, RaisesWith<Exception>("Length is smaller than ChannelCount"));

  const struct {
    const char* name;
    std::string bytes;
  } waves[] = {
      {"tail.wav", Wave(Fmt(1, 1, 8000, 16, 16000, 6), 100, 100)},  // 16 blocks of 6 bytes, then 4
      {"rate.wav", Wave(Fmt(1, 1, 8000, 16, 426667, 2), 160, 160)},  // 80 blocks, 3 samples
  };
  for (const auto& w : waves) {
    SCOPED_TRACE(w.name);
    std::ofstream(Path(w.name), std::ios::binary) << w.bytes;
    TSignalRead wr(nullptr);
    wr.SetFileName(Path(w.name));
    wr.SetLength(64);
    wr.SetLastFrameCheck(lfcAdjustLength);
    int pulls = 0;
    while (pulls < 100 && wr.Pull() == pipeOK) ++pulls;
    EXPECT_LE(pulls, 3);
  }
}

}  // namespace
}  // namespace ondrix::testing
