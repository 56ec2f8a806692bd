#include <gtest/gtest.h>

#include "tests/integration/x11_capture/capture_fixture.h"

namespace tovalin::test {
namespace {

class CaptureBuffersTest : public CaptureFixture {
 protected:
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
