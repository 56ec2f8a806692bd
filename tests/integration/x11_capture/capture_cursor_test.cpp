#include <gtest/gtest.h>

#include "platform/x11/x11_capture_pointer.h"
#include "tests/integration/x11_capture/capture_fixture.h"

namespace tovalin::test {
namespace {

// A red pointer of 16 pixels, its hot spot in the middle, on a black screen.
class CaptureCursorTest : public CaptureFixture {
 protected:
  static constexpr uint32_t kRed = 0xff0000;

  void streamWithPointerAt(int x, int y) {
    startServer();
    desktop_->fill(0, 0, 640, 480, 0);
    desktop_->setCursor(16, kRed);
    desktop_->warpPointer(x, y);
    stream();
  }

  bool pointerIsSeenAt(int x, int y) {
    return output_->waitForPicture([=](const PixelBuffer& picture) {
      return pixelAt(picture, x - 8, y - 8) == kRed && pixelAt(picture, x + 7, y + 7) == kRed &&
             pixelAt(picture, x - 9, y) == 0 && pixelAt(picture, x + 8, y) == 0 &&
             pixelAt(picture, x, y - 9) == 0 && pixelAt(picture, x, y + 8) == 0;
    });
  }

  size_t redPixels() {
    const auto picture = output_->picture();
    size_t count = 0;
    for (int y = 0; y < 480; ++y) {
      for (int x = 0; x < 640; ++x) count += pixelAt(*picture, x, y) == kRed;
    }
    return count;
  }
};

TEST_F(CaptureCursorTest, IsDrawnAtThePointersPlace) {
  streamWithPointerAt(200, 100);
  ASSERT_TRUE(pointerIsSeenAt(200, 100));
  EXPECT_EQ(redPixels(), 256U);
}

TEST_F(CaptureCursorTest, AMovingPointerAloneMakesPictures) {
  streamWithPointerAt(200, 100);
  ASSERT_TRUE(pointerIsSeenAt(200, 100));
  for (const auto& [x, y] : {std::pair(300, 200), {301, 201}, {20, 460}, {600, 20}}) {
    desktop_->movePointer(x, y);
    ASSERT_TRUE(pointerIsSeenAt(x, y)) << x << ", " << y;
    EXPECT_EQ(redPixels(), 256U);
  }
  EXPECT_EQ(output_->brokenPromises(), 0);
}

TEST_F(CaptureCursorTest, OldAndNewRowsOfThePointerAreTheDamage) {
  streamWithPointerAt(200, 100);
  ASSERT_TRUE(pointerIsSeenAt(200, 100));
  desktop_->movePointer(300, 300);
  ASSERT_TRUE(pointerIsSeenAt(300, 300));
  EXPECT_EQ(output_->newestDamage(), (std::vector<RowBand>{{92, 108}, {292, 308}}));
}

TEST_F(CaptureCursorTest, AWarpedPointerIsFoundToo) {
  streamWithPointerAt(200, 100);
  desktop_->warpPointer(400, 300);
  EXPECT_TRUE(pointerIsSeenAt(400, 300));
}

TEST_F(CaptureCursorTest, IsClippedAtTheEdges) {
  streamWithPointerAt(0, 0);
  ASSERT_TRUE(output_->waitForPicture([](const PixelBuffer& picture) {
    return pixelAt(picture, 7, 7) == kRed && pixelAt(picture, 8, 8) == 0;
  }));
  EXPECT_EQ(redPixels(), 64U);
  desktop_->movePointer(639, 479);
  ASSERT_TRUE(output_->waitForPicture([](const PixelBuffer& picture) {
    return pixelAt(picture, 639, 479) == kRed && pixelAt(picture, 0, 0) == 0;
  }));
  EXPECT_EQ(redPixels(), 81U);
}

TEST_F(CaptureCursorTest, ANewShapeIsSeenWithoutMotion) {
  streamWithPointerAt(200, 100);
  desktop_->setCursor(4, 0x00ff00);
  ASSERT_TRUE(pixelBecomes(200, 100, 0x00ff00));
  EXPECT_EQ(redPixels(), 0U);
  desktop_->setCursor(16, kRed);
  EXPECT_TRUE(pointerIsSeenAt(200, 100));
}

TEST_F(CaptureCursorTest, WhatChangesUnderThePointerIsThereWhenItLeaves) {
  streamWithPointerAt(200, 100);
  desktop_->fill(150, 90, 100, 20, 0x0000ff);
  ASSERT_TRUE(pixelBecomes(150, 90, 0x0000ff));
  EXPECT_EQ(pixelAt(*output_->picture(), 200, 100), kRed);
  desktop_->movePointer(400, 300);
  ASSERT_TRUE(pointerIsSeenAt(400, 300));
  EXPECT_EQ(pixelAt(*output_->picture(), 200, 100), 0x0000ffU);
}

TEST_F(CaptureCursorTest, IsLeftOutWhenNotWanted) {
  startServer();
  desktop_->setCursor(16, kRed);
  desktop_->warpPointer(200, 100);
  CaptureConfiguration wanted = configuration();
  wanted.showsCursor = false;
  stream(wanted);
  desktop_->movePointer(210, 110);
  desktop_->fill(0, 0, 5, 5, 0xff);
  ASSERT_TRUE(pixelBecomes(0, 0, 0xff));
  EXPECT_EQ(redPixels(), 0U);
}

// With one client only: this server, without that extension, dies of an assertion as soon as one
// of several disconnects (seen with 21.1.7).
TEST_F(CaptureCursorTest, NothingIsSeenWhereTheServerTellsNoImages) {
  const Xvfb server("640x480x24", {"-extension", "XFIXES"});
  const X11Connection connection(server.display());
  ASSERT_TRUE(connection.alive());
  CaptureNotices notices(log_);
  for (int start = 0; start < 2; ++start) {
    PointerWatch pointer(connection, {1, 0, 0, 640, 480}, true, notices);
    EXPECT_FALSE(pointer.shows());
    pointer.ask();
    pointer.collect();
    pointer.lookAgain();
    EXPECT_FALSE(pointer.suspected());
    EXPECT_EQ(pointer.cursor().shape, nullptr);
  }
  EXPECT_TRUE(connection.alive());
  EXPECT_EQ(log_.lines(),
            std::vector<std::string>{
                "[Tovalin] the x server tells no cursor images, the pointer is not shown"});
}

}  // namespace
}  // namespace tovalin::test
