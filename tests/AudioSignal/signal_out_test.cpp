// Sound output through the real ALSA code path without a sound card: ALSA's "file" device
// records exactly the bytes played (over its "null" slave).
#include <gmock/gmock.h>

#include <cmath>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <thread>

#include "ondrix/AudioSignal/AudioSignal.h"
#include "tests/common/block_source.h"
#include "tests/common/reference.h"

namespace ondrix::testing {
namespace {

using ::testing::ThrowsMessage;

/// A source that counts its blocks, remembers which thread pulled it, and never ends.
class TEndless : public TSignal {
public:
  TEndless() : TSignal(nullptr) { SetLength(64); }
  int Blocks = 0;
  std::thread::id PulledOn;
  TPipeState InternalUpdate() override {
    PulledOn = std::this_thread::get_id();
    for (int i = 0; i < Length(); ++i) Data().Values(i) = Blocks * 100 + i;
    ++Blocks;
    return pipeOK;
  }
};

class SignalOut : public ::testing::Test {
protected:
  void SetUp() override {
    const std::string name = "ondrix_out_" + std::to_string(::getpid()) + "_" +
                             ::testing::UnitTest::GetInstance()->current_test_info()->name() + ".raw";
    file_ = (std::filesystem::temp_directory_path() / name).string();
    std::filesystem::remove(file_);
    out.SetDeviceName("file:FILE=" + file_ + ",FORMAT=raw");
    out.OnStop = [this](TObject*) { ++stops; };
  }
  void TearDown() override { std::filesystem::remove(file_); }

  std::vector<unsigned char> Recorded() const {
    std::ifstream f(file_, std::ios::binary);
    return {std::istreambuf_iterator<char>(f), std::istreambuf_iterator<char>()};
  }

  TNotificationQueue queue;
  TSignalOut out{queue};
  int stops = 0;
  std::string file_;
};

/// The bytes a device of `bits` gets for v: rounded half away from zero, 8-bit unsigned.
void Expect(std::vector<unsigned char>& bytes, double v, int bits) {
  if (bits == 8) v += 128;
  const auto k = static_cast<std::int64_t>(std::copysign(std::floor(std::fabs(v) + 0.5), v));
  for (int b = 0; b < bits / 8; ++b) bytes.push_back(static_cast<unsigned char>(k >> (8 * b)));
}

TEST_F(SignalOut, RecordsExactlyTheConvertedBlocksInOrder) {
  for (int bits : {8, 16, 24, 32}) {
    for (int channels : {1, 2}) {
      SCOPED_TRACE(std::to_string(bits) + " bits, " + std::to_string(channels) + " channels");
      TBlockSource src(channels, 8000);
      std::vector<unsigned char> expected;
      for (int b = 0; b < 3; ++b) {
        TVec v(100 * channels, false);
        for (int i = 0; i < v.Length(); ++i) v.Values(i) = 40.0 * std::sin(0.1 * i + b) + (i % 3) * 0.5 - 0.25;
        for (int i = 0; i < v.Length(); ++i) Expect(expected, v.Values(i), bits);
        src.Blocks.push_back(v);
      }
      const TVec last = src.Blocks.back();
      out.SetInput(&src);
      out.SetQuantization(static_cast<std::uint16_t>(bits));
      stops = 0;
      out.Start();
      EXPECT_EQ(out.ChannelCount(), channels);
      EXPECT_EQ(out.WaveFormat().FormatTag, bits > 16 ? 0xFFFE : 1);
      PlayUntilStopped(queue, out);
      EXPECT_FALSE(out.Active());
      EXPECT_EQ(stops, 1);
      EXPECT_EQ(Recorded(), expected);
      EXPECT_TRUE(Near(src.Data(), last, 0)) << "the input's block is left as it was";
    }
  }
}

TEST_F(SignalOut, PropertyRules) {
  out.SetQuantization(20);
  EXPECT_EQ(out.Quantization(), 16);
  out.SetNumBuffers(1);
  EXPECT_EQ(out.NumBuffers(), 2);
  out.SetNumBuffers(100);
  EXPECT_EQ(out.NumBuffers(), 24);
  out.SetBufferSize(100);
  EXPECT_EQ(out.BufferSize(), 512);
  out.SetStereo(true);
  EXPECT_EQ(out.ChannelCount(), 2);
  out.SetChannelCount(3);
  EXPECT_EQ(out.WaveFormat().FormatTag, 0xFFFE);
  EXPECT_EQ(out.WaveFormat().ChannelMask, 3u);
  EXPECT_EQ(out.UsableBufferLength(), 510);  // whole frames of 6 bytes
  out.SetChannelCount(1);
  EXPECT_EQ(out.SamplingFrequency(), 22050.0);
  EXPECT_EQ(out.RecomendedBufferSize(), 16384);   // 2 bytes × 22050 Hz × 0.2 s = 8820
  EXPECT_EQ(out.RecomendedBufferLength(), 8192);  // 4410 values
  out.SetActive(true);
  EXPECT_FALSE(out.Active());

  TComponent plain(nullptr);
  EXPECT_THAT([&] { TSignalOut o(&plain); }, ThrowsMessage<Exception>("not (AOwner is TWinControl)"));
  TSignalOut orphan(nullptr);
  TEndless src;
  orphan.SetInput(&src);
  EXPECT_THAT([&] { orphan.Start(); }, ThrowsMessage<Exception>("not (WinOwner is TWinControl)"));
}

TEST_F(SignalOut, FailuresLeaveTheDeviceClosed) {
  TBlockSource empty;
  out.SetInput(&empty);
  EXPECT_THAT([&] { out.Start(); }, ThrowsMessage<Exception>("There must be at least one filled buffer"));
  EXPECT_FALSE(out.Active());

  TEndless src;
  out.SetInput(&src);
  out.SetDeviceName("nosuchdevice");
  EXPECT_THROW(out.Start(), Exception);  // ALSA's text for the missing device
  EXPECT_FALSE(out.Active());
  out.SetDeviceName("null");
  out.Start();  // the failures left nothing open
  EXPECT_TRUE(out.Active());
  out.StopAtOnce();

  // Converting outside a refill, and a block longer than the buffers the first one set.
  EXPECT_THAT([&] { out.Update(); }, ThrowsMessage<Exception>(::testing::HasSubstr("Buffer not ready!")));
  TBlockSource growing;
  growing.Blocks = {TVec(100, false), TVec(100, false), TVec(100, false), TVec(100, false), TVec(5000, false)};
  out.SetInput(&growing);
  out.Start();
  EXPECT_THAT([&] { PlayUntilStopped(queue, out); },
              ThrowsMessage<Exception>(::testing::HasSubstr("BufferSize < Input.Length!")));
  out.StopAtOnce();
}

TEST_F(SignalOut, StoppingAndRestarting) {
  TEndless src;
  out.SetInput(&src);
  out.SetOverlapping(3);
  out.Start();
  EXPECT_EQ(out.Overlapping(), 0.0f);
  out.SetOverlapping(3);
  out.Start();  // while playing: nothing
  EXPECT_EQ(out.Overlapping(), 3.0f);
  // The buffers' shape cannot change while they play.
  out.SetBufferSize(4096);
  out.SetNumBuffers(8);
  out.SetQuantization(8);
  out.SetStereo(true);
  EXPECT_EQ(out.BufferSize(), 512);
  EXPECT_EQ(out.NumBuffers(), 4);
  EXPECT_EQ(out.Quantization(), 16);
  EXPECT_FALSE(out.Stereo());
  while (src.Blocks < 10) queue.WaitAndProcess(std::chrono::milliseconds(100));
  out.StopGracefully();
  PlayUntilStopped(queue, out);
  EXPECT_EQ(stops, 1);
  EXPECT_EQ(src.PulledOn, std::this_thread::get_id()) << "the graph is pulled on the pumping thread only";
  // Every block pulled was queued and played, in order.
  const auto bytes = Recorded();
  ASSERT_EQ(bytes.size(), static_cast<std::size_t>(src.Blocks) * 64 * 2);
  for (int b = 0; b < src.Blocks; ++b)
    EXPECT_EQ(bytes[static_cast<std::size_t>(b) * 128 + 2], (b * 100 + 1) & 0xFF) << b;

  out.Start();
  EXPECT_TRUE(out.Active());
  out.StopAtOnce();
  EXPECT_FALSE(out.Active());
  queue.ProcessMessages();
  EXPECT_EQ(stops, 2);
}

TEST_F(SignalOut, DestroyedWhilePlaying) {
  TEndless src;
  auto owned = new TSignalOut(&queue);  // the queue owns it
  owned->SetInput(&src);
  owned->SetDeviceName("null");
  owned->Start();
  queue.WaitAndProcess(std::chrono::milliseconds(50));
  delete owned;  // stops the device and joins its thread; its notices go with it
  queue.ProcessMessages();
  EXPECT_EQ(queue.Pending(), 0u);
}

}  // namespace
}  // namespace ondrix::testing
