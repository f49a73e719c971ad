// The reader's framing and navigation against hand-computed positions, on a ramp whose value
// is its own sample index.
#include <gmock/gmock.h>

#include <numeric>

#include "tests/FileSignal/file_fixture.h"

namespace ondrix::testing {
namespace {

using ::testing::ElementsAreArray;
using ::testing::HasSubstr;
using ::testing::ThrowsMessage;

class SignalRead : public FileTest {
protected:
  void SetUp() override {
    FileTest::SetUp();
    std::vector<double> ramp(1000);
    std::iota(ramp.begin(), ramp.end(), 0.0);
    WriteBlocks(Path("ramp.dat"), {Vec(ramp)});
    reader.SetFileName(Path("ramp.dat"));
    reader.SetLength(256);
  }

  /// First value and length of every frame until pipeEnd (at most `limit` frames).
  std::vector<std::pair<int, int>> Frames(int limit = 100) {
    std::vector<std::pair<int, int>> frames;
    while (static_cast<int>(frames.size()) < limit && reader.Pull() == pipeOK)
      frames.emplace_back(static_cast<int>(reader.Data().Values(0)), reader.Length());
    return frames;
  }

  static std::vector<std::pair<int, int>> Grid(int step, int last, int length = 256) {
    std::vector<std::pair<int, int>> g;
    for (int p = 0; p <= last; p += step) g.emplace_back(p, length);
    return g;
  }

  TSignalRead reader{nullptr};
};

TEST_F(SignalRead, LastFrameChecksEndTheRecordAsTheyPromise) {
  reader.SetLastFrameCheck(lfcLastFullBlock);
  EXPECT_THAT(Frames(), ElementsAreArray(Grid(256, 512)));

  reader.CloseFile();
  reader.SetLastFrameCheck(lfcZeroPadded);
  auto frames = Frames();
  EXPECT_THAT(frames, ElementsAreArray(Grid(256, 768)));
  EXPECT_EQ(reader.Data().Values(231), 999.0);
  EXPECT_EQ(reader.Data().Values(232), 0.0);
  EXPECT_EQ(reader.Data().Values(255), 0.0);

  reader.CloseFile();
  reader.SetLastFrameCheck(lfcAdjustLength);
  frames = Frames();
  ASSERT_EQ(frames.size(), 4u);
  EXPECT_EQ(frames.back(), std::make_pair(768, 232));
}

TEST_F(SignalRead, OverlapSetsTheStep) {
  reader.SetLastFrameCheck(lfcLastFullBlock);
  reader.SetOverlappingPercent(50);
  EXPECT_EQ(reader.OverlappingSamples(), 128);
  EXPECT_THAT(Frames(), ElementsAreArray(Grid(128, 744)));
  EXPECT_EQ(reader.MaxFrames(), 5);  // trunc((1000 - 256) / 128)

  reader.CloseFile();
  reader.SetOverlappingSamples(192);
  EXPECT_DOUBLE_EQ(reader.OverlappingPercent(), 75.0);
  EXPECT_THAT(Frames(), ElementsAreArray(Grid(64, 744)));

  reader.SetLength(512);  // the overlap in samples follows the frame
  EXPECT_EQ(reader.OverlappingSamples(), 384);
  reader.SetOverlappingPercent(250);
  EXPECT_EQ(reader.OverlappingPercent(), 100.0);
}

TEST_F(SignalRead, LoopSelectionAndScale) {
  reader.SetLoop(true);
  reader.SetSelectionStart(100);
  auto frames = Frames(6);
  // After the last frame the reader starts again at SelectionStart, and counts the next
  // position from 0.
  EXPECT_THAT(frames, ElementsAreArray(std::vector<std::pair<int, int>>{
                          {0, 256}, {256, 256}, {512, 256}, {768, 256}, {100, 256}, {256, 256}}));

  reader.CloseFile();
  reader.SetLoop(false);
  reader.SetSelectionStop(500);
  reader.OpenFile();
  EXPECT_EQ(reader.SamplesLeft(), 500);
  EXPECT_THAT(Frames(), ElementsAreArray(Grid(256, 256)));

  reader.SetScaleFactor(0);
  EXPECT_EQ(reader.ScaleFactor(), 1.0);
  reader.SetScaleFactor(-2);
  reader.SetRecordPosition(10);
  EXPECT_EQ(reader.Data().Values(1), -22.0);
}

TEST_F(SignalRead, NavigationAndPositions) {
  reader.OpenFile();
  EXPECT_EQ(reader.MaxFrames(), 2);
  EXPECT_DOUBLE_EQ(reader.FramesPerSecond(), 2.0);  // 2 frames over a 1 s record
  reader.SetRecordTimePosition(0.5);
  EXPECT_EQ(reader.Data().Values(0), 500.0);
  EXPECT_EQ(reader.RecordPosition(), 500);
  EXPECT_EQ(reader.FrameNumber(), 1);
  reader.SetOverlappingPercent(50);
  reader.SetFrameNumber(3);
  EXPECT_EQ(reader.Data().Values(0), 384.0);
  reader.LastFrame();
  EXPECT_EQ(reader.Data().Values(0), 744.0);
  EXPECT_EQ(reader.RecordPosition(), 1000);
  reader.SetRecordPosition(512);
  reader.PrevFrame();
  EXPECT_EQ(reader.Data().Values(0), 512.0);
  EXPECT_EQ(reader.RecordPosition(), 384);
  reader.SetRecordPosition(-5);
  EXPECT_EQ(reader.RecordPosition(), 0);
  reader.SetFraming(frAcrossAllRecords);
  EXPECT_EQ(reader.MaxFrames(), 1);
}

TEST_F(SignalRead, MissingFilesAreSkippedByPositionsAndRaisedByOpening) {
  reader.SetFileName(Path("none.dat"));
  reader.SetRecordPosition(3);  // silently nothing
  EXPECT_FALSE(reader.FileIsOpen());
  EXPECT_THAT([&] { reader.OpenFile(); }, ThrowsMessage<Exception>("File not found: " + Path("none.dat")));
  EXPECT_THAT([&] { reader.Pull(); }, ThrowsMessage<Exception>(HasSubstr("File not found: ")));
}

}  // namespace
}  // namespace ondrix::testing
