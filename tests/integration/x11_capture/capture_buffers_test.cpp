#include <gtest/gtest.h>

#include <atomic>
#include <cstring>
#include <random>
#include <set>
#include <thread>

#include "platform/x11/x11_connection.h"
#include "platform/x11/x11_frame_memory.h"
#include "tests/integration/x11_capture/capture_fixture.h"

namespace tovalin::test {
namespace {

class CaptureBuffersTest : public CaptureFixture {
 protected:
  // With the pointer in the middle of the screen.
  void streamGivenUp(std::vector<std::string> options = {}) {
    startServer("801x601x24", std::move(options));
    desktop_->setCursor(16, 0xff0000);
    desktop_->warpPointer(400, 300);
    makeStream(configuration());
    output_->giveUpPictures();
    ASSERT_FALSE(start());
    ASSERT_TRUE(output_->waitForSamples(FrameStatus::complete, 1));
  }

  // Buffers that pictures have come in.
  size_t buffersUsed() {
    std::set<const uint8_t*> buffers;
    for (const auto& sample : output_->samples()) {
      if (sample.status == FrameStatus::complete) buffers.insert(sample.pixels);
    }
    return buffers.size();
  }

  bool newestCanBeRead() { return static_cast<bool>(PixelLease(*output_->picture())); }

  void streamWithDepth(int depth, std::vector<std::string> options = {}) {
    startServer("640x480x24", std::move(options));
    CaptureConfiguration wanted = configuration();
    wanted.showsCursor = false;
    wanted.queueDepth = depth;
    stream(wanted);
  }

  // Changes the screen until the consumer, which lets nothing go, has all it may have.
  void consumerHoldsAll(size_t depth) {
    output_->holdPictures();
    for (uint32_t number = 2; number <= depth; ++number) {
      desktop_->fill(0, 0, 10, 10, number);
      ASSERT_TRUE(output_->waitForSamples(FrameStatus::complete, number));
    }
  }

  // Two more idle samples, which is far longer than a picture would have taken.
  bool nothingComes() {
    const size_t pictures = output_->count(FrameStatus::complete);
    const size_t idle = output_->count(FrameStatus::idle);
    return output_->waitForSamples(FrameStatus::idle, idle + 2) &&
           output_->count(FrameStatus::complete) == pictures;
  }
};

TEST_F(CaptureBuffersTest, DropsPicturesWhileTheConsumerHoldsAllAndDeliversTheNewestAfter) {
  streamWithDepth(5);
  consumerHoldsAll(5);
  desktop_->fill(0, 100, 10, 10, 0x111111);
  desktop_->fill(0, 200, 10, 10, 0x222222);
  desktop_->fill(0, 200, 10, 10, 0x333333);
  ASSERT_TRUE(nothingComes());
  output_->releaseOne();
  ASSERT_TRUE(output_->waitForSamples(FrameStatus::complete, 6));
  const auto picture = output_->picture();
  EXPECT_EQ(pixelAt(*picture, 0, 100), 0x111111U);
  EXPECT_EQ(pixelAt(*picture, 0, 200), 0x333333U);
  ASSERT_TRUE(nothingComes());
  EXPECT_EQ(output_->count(FrameStatus::complete), 6U);
  EXPECT_EQ(output_->brokenPromises(), 0);
}

TEST_F(CaptureBuffersTest, OneBufferIsEnough) {
  for (const auto& options : {std::vector<std::string>{}, {"-extension", "DAMAGE"}}) {
    streamWithDepth(1, options);
    consumerHoldsAll(1);
    desktop_->fill(0, 100, 10, 10, 0x111111);
    ASSERT_TRUE(nothingComes());
    output_->releaseAll();
    EXPECT_TRUE(pixelBecomes(0, 100, 0x111111));
  }
}

TEST_F(CaptureBuffersTest, OneServesAConsumerThatGivesUpAndEveryPictureIsTheScreen) {
  for (const auto& options :
       {std::vector<std::string>{}, {"-extension", "DAMAGE"}, {"-extension", "MIT-SHM"}}) {
    streamGivenUp(options);
    std::mt19937 random(5);
    const auto below = [&random](int limit) { return static_cast<int>(random() % limit); };
    for (int round = 0; output_->count(FrameStatus::complete) < 40; ++round) {
      desktop_->fill(below(801), below(601), 1 + below(200), 1 + below(30),
                     static_cast<uint32_t>(random()) & 0xffffff);
      desktop_->movePointer(below(801), below(601));
    }
    EXPECT_EQ(buffersUsed(), 1U);
    EXPECT_EQ(output_->brokenPromises(), 0);
    EXPECT_TRUE(output_->waitForPicture([](const PixelBuffer&) { return true; }));
  }
}

TEST_F(CaptureBuffersTest, WhatStaysUnderThePointerIsThereWhenItLeavesTheOneBuffer) {
  streamGivenUp();
  desktop_->fill(0, 0, 801, 601, 0x0000ff);
  ASSERT_TRUE(pixelBecomes(10, 10, 0x0000ff));
  for (const int x : {100, 200, 300}) {
    desktop_->movePointer(x, 300);
    ASSERT_TRUE(pixelBecomes(x, 300, 0xff0000));
  }
  EXPECT_TRUE(output_->waitForPicture([](const PixelBuffer& picture) {
    return pixelAt(picture, 100, 300) == 0x0000ff && pixelAt(picture, 200, 300) == 0x0000ff &&
           pixelAt(picture, 400, 300) == 0x0000ff;
  }));
  EXPECT_EQ(buffersUsed(), 1U);
}

// Motion on the spot and comparisons that find nothing make no picture: were the memory taken for
// one, nobody could see the newest any more.
TEST_F(CaptureBuffersTest, TheNewestPictureOfAStillScreenStands) {
  for (const auto& options : {std::vector<std::string>{}, {"-extension", "DAMAGE"}}) {
    streamGivenUp(options);
    desktop_->fill(0, 0, 10, 10, 0x123456);
    ASSERT_TRUE(pixelBecomes(0, 0, 0x123456));
    const size_t pictures = output_->count(FrameStatus::complete);
    // Beyond the time after which the whole screen is compared.
    const size_t before = output_->count(FrameStatus::idle);
    for (size_t idle = 1; idle <= 10; ++idle) {
      for (int motion = 0; motion < 5; ++motion) desktop_->movePointer(400, 300);
      ASSERT_TRUE(newestCanBeRead());
      ASSERT_TRUE(output_->waitForSamples(FrameStatus::idle, before + idle));
    }
    EXPECT_EQ(output_->count(FrameStatus::complete), pictures);
  }
}

// A reader on another thread, as a second consumer is.
TEST_F(CaptureBuffersTest, WhatIsReadStandsStillWhileOthersGiveItUp) {
  streamGivenUp();
  std::atomic<bool> ended = false;
  std::atomic<int> changedMeanwhile = 0;
  std::atomic<int> read = 0;
  std::thread reader([&] {
    while (!ended) {
      const auto picture = output_->picture();
      const PixelLease lease(*picture);
      if (!lease) continue;
      const size_t bytes = static_cast<size_t>(picture->stride()) * 601;
      const std::vector<uint8_t> copy(picture->data(), picture->data() + bytes);
      changedMeanwhile += std::memcmp(copy.data(), picture->data(), bytes) != 0;
      ++read;
    }
  });
  for (uint32_t colour = 0; output_->count(FrameStatus::complete) < 60; ++colour) {
    desktop_->fill(0, 0, 801, 601, colour);
  }
  ended = true;
  reader.join();
  EXPECT_EQ(changedMeanwhile, 0);
  EXPECT_GT(read, 0);
  EXPECT_EQ(output_->brokenPromises(), 0);
}

TEST_F(CaptureBuffersTest, GivingUpEndsTheWaitForABuffer) {
  streamWithDepth(2);
  consumerHoldsAll(2);
  desktop_->fill(0, 100, 10, 10, 0x111111);
  ASSERT_TRUE(nothingComes());
  output_->giveUpPictures();
  EXPECT_TRUE(pixelBecomes(0, 100, 0x111111));
}

TEST_F(CaptureBuffersTest, HeldPicturesNeverChange) {
  streamWithDepth(5);
  output_->holdPictures();
  const auto first = output_->picture();
  const std::vector<uint8_t> bytes(first->data(),
                                   first->data() + first->stride() * first->height());
  for (uint32_t number = 1; number < 20; ++number) {
    desktop_->fill(0, 0, 640, 480, number);
    ASSERT_TRUE(output_->waitForSamples(FrameStatus::complete, 2));
    output_->releaseOne();
  }
  EXPECT_EQ(std::vector<uint8_t>(first->data(), first->data() + first->stride() * first->height()),
            bytes);
}

TEST(FrameMemoryTest, SharedPagesAreGivenBackAndComeAgain) {
  const Xvfb server("640x480x24");
  X11Connection connection(server.display());
  const auto memory = FrameMemory::sharedWith(connection, 1 << 20);
  ASSERT_NE(memory, nullptr);
  std::memset(memory->data(), 0x5a, 1 << 20);
  memory->dropPages();
  EXPECT_EQ(memory->data()[0], 0);
  EXPECT_EQ(memory->data()[(1 << 20) - 1], 0);
  memory->data()[0] = 0x5a;
  EXPECT_EQ(memory->data()[0], 0x5a);
}

TEST_F(CaptureBuffersTest, APictureOutlivesItsStreamAndTheServer) {
  startServer();
  desktop_->fill(0, 0, 640, 480, 0x123456);
  CaptureConfiguration wanted = configuration();
  wanted.showsCursor = false;
  stream(wanted);
  const auto picture = output_->picture();
  output_->releaseAll();
  stop();
  stream_ = nullptr;
  capture_ = nullptr;
  server_->kill();
  EXPECT_EQ(pixelAt(*picture, 0, 0), 0x123456U);
  EXPECT_EQ(pixelAt(*picture, 639, 479), 0x123456U);
}

TEST_F(CaptureBuffersTest, EveryStartHasAnIdentityOfItsOwn) {
  streamWithDepth(5);
  const uint64_t first = output_->picture()->streamIdentity();
  stop();
  stream();
  EXPECT_NE(output_->picture()->streamIdentity(), first);
}

}  // namespace
}  // namespace tovalin::test
