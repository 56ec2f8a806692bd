// What the viewer gets of a screen that has not changed for a while.

#include <gtest/gtest.h>

#include <chrono>
#include <functional>
#include <memory>
#include <random>

#include "tests/integration/webrtc/visit_fixture.h"

namespace tovalin {
namespace {

using namespace std::chrono_literals;

// Hard to encode.
std::shared_ptr<TestPicture> noise(int width, int height) {
  auto picture = std::make_shared<TestPicture>(width, height);
  std::mt19937 random(1);
  const auto level = [&] { return static_cast<uint8_t>(random() % 256); };
  for (int y = 0; y < height; y += 2) {
    for (int x = 0; x < width; x += 2) {
      picture->fill(x, y, x + 2, y + 2, {level(), level(), level()});
    }
  }
  return picture;
}

class SettledVideoTest : public VisitTest {
 protected:
  // Shows the same picture until `holds` (asked under the noticeboard's lock), at most so often.
  [[nodiscard]] bool repeatUntil(const std::function<bool()>& holds, int atMost = 1000) {
    for (int i = 0; i < atMost; ++i) {
      show(picture_);
      if (board_.waitUntil(holds, 33ms)) return true;
    }
    return false;
  }

  // A visit that has come to the point where few of the repeats are sent.
  void screenSettles() {
    connect();
    ASSERT_TRUE(repeatUntil([&] { return viewer_->notes().picture.shows(160, 90, kRed); }));
    for (int i = 0; i < 30; ++i) {
      const int before = pictures();
      if (!repeatUntil([&] { return viewer_->notes().pictures > before + 10; }, 30)) return;
    }
    FAIL() << "every repeat is still sent";
  }

  int pictures() {
    return board_.read([&] { return viewer_->notes().pictures; });
  }

  const std::shared_ptr<TestPicture> picture_ = fourQuarters(640, 360);
};

TEST_F(SettledVideoTest, AStaticScreenStillYieldsPictures) {
  ASSERT_NO_FATAL_FAILURE(screenSettles());
  const ViewerNotes before = board_.read([&] { return viewer_->notes(); });
  EXPECT_TRUE(repeatUntil([&] { return viewer_->notes().pictures >= before.pictures + 3; }));
  // A viewer that gets nothing for too long asks for a key frame.
  board_.read([&] { EXPECT_EQ(viewer_->notes().keyFrames, before.keyFrames); });
}

TEST_F(SettledVideoTest, APictureThatIsNotSharpYetIsSentAgainUnasked) {
  connect();
  show(noise(1280, 720));
  EXPECT_TRUE(board_.waitUntil([&] { return viewer_->notes().pictures >= 4; }));
}

TEST_F(SettledVideoTest, AKeyFrameRequestYieldsAKeyFrame) {
  ASSERT_NO_FATAL_FAILURE(screenSettles());
  const int before = board_.read([&] { return viewer_->notes().keyFrames; });
  viewer_->askForKeyFrame();
  EXPECT_TRUE(repeatUntil([&] { return viewer_->notes().keyFrames > before; }));
}

TEST_F(SettledVideoTest, AChangeArrivesWithoutAnyRepeat) {
  ASSERT_NO_FATAL_FAILURE(screenSettles());
  const auto changed = picture_->next();
  changed->fill(0, 100, 640, 152, kOrange);
  changed->setDamage({{100, 152}});
  show(changed);
  EXPECT_TRUE(board_.waitUntil([&] {
    const SeenPicture& seen = viewer_->notes().picture;
    return seen.shows(160, 126, kOrange) && seen.shows(480, 126, kOrange) &&
           seen.shows(160, 90, kRed) && seen.shows(480, 270, kWhite);
  }));
}

TEST_F(SettledVideoTest, APictureOfAnotherStreamIsNoRepeat) {
  ASSERT_NO_FATAL_FAILURE(screenSettles());
  const auto restarted = std::make_shared<TestPicture>(640, 360, 2);
  restarted->fill(0, 0, 640, 360, kOrange);
  ASSERT_EQ(restarted->pictureNumber(), picture_->pictureNumber());
  show(restarted);
  EXPECT_TRUE(board_.waitUntil([&] { return viewer_->notes().picture.shows(160, 90, kOrange); }));
}

}  // namespace
}  // namespace tovalin
