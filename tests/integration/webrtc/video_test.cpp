// What the viewer sees of the pictures that are pushed.

#include <gmock/gmock.h>

#include <algorithm>
#include <string>

#include "tests/integration/webrtc/visit_fixture.h"

namespace tovalin {
namespace {

using testing::Each;
using testing::Ge;
using testing::SizeIs;

bool showsFourQuarters(const SeenPicture& seen, int width, int height) {
  if (seen.width != width || seen.height != height) return false;
  const int left = width / 4, right = width * 3 / 4;
  const int above = height / 4, below = height * 3 / 4;
  return seen.shows(left, above, kRed) && seen.shows(right, above, kGreen) &&
         seen.shows(left, below, kBlue) && seen.shows(right, below, kWhite) &&
         seen.shows(2, 2, kRed) && seen.shows(width - 3, 2, kGreen) &&
         seen.shows(2, height - 3, kBlue) && seen.shows(width - 3, height - 3, kWhite);
}

struct ScreenSize {
  int width;
  int height;
};

class ScreenSizes : public VisitTest, public testing::WithParamInterface<ScreenSize> {};

TEST_P(ScreenSizes, ReachTheViewerWithTheRightColours) {
  const auto [width, height] = GetParam();
  connect();
  EXPECT_TRUE(showUntil(fourQuarters(width, height), [&](const SeenPicture& seen) {
    return showsFourQuarters(seen, width, height);
  }));
}

INSTANTIATE_TEST_SUITE_P(EvenAndOdd, ScreenSizes,
                         testing::Values(ScreenSize{1280, 720}, ScreenSize{1920, 1080},
                                         ScreenSize{1365, 767}),
                         [](const auto& chosen) {
                           return std::to_string(chosen.param.width) + "x" +
                                  std::to_string(chosen.param.height);
                         });

using VideoTest = VisitTest;

TEST_F(VideoTest, APictureFromBeforeTheConnectionIsTheFirstThatTheViewerGets) {
  hostStarts();
  viewerComes();
  show(fourQuarters(640, 360));
  negotiate();
  EXPECT_TRUE(
      board_.waitUntil([&] { return showsFourQuarters(viewer_->notes().picture, 640, 360); }));
}

TEST_F(VideoTest, DamagedRowsChangeAtTheViewerAndTheOthersStay) {
  connect();
  const auto first = fourQuarters(640, 360);
  ASSERT_TRUE(
      showUntil(first, [](const SeenPicture& seen) { return showsFourQuarters(seen, 640, 360); }));
  const auto second = first->next();
  second->fill(0, 101, 640, 151, kOrange);
  second->setDamage({{101, 151}});
  EXPECT_TRUE(showUntil(second, [](const SeenPicture& seen) {
    return seen.shows(160, 126, kOrange) && seen.shows(480, 126, kOrange) &&
           seen.shows(160, 90, kRed) && seen.shows(480, 162, kGreen) &&
           seen.shows(160, 270, kBlue) && seen.shows(480, 270, kWhite);
  }));
}

TEST_F(VideoTest, TheScreenMayChangeItsSizeDuringAVisit) {
  connect();
  ASSERT_TRUE(showUntil(fourQuarters(640, 360, 1),
                        [](const SeenPicture& seen) { return showsFourQuarters(seen, 640, 360); }));
  ASSERT_TRUE(showUntil(fourQuarters(360, 640, 2),
                        [](const SeenPicture& seen) { return showsFourQuarters(seen, 360, 640); }));
  EXPECT_TRUE(showUntil(fourQuarters(801, 601, 3),
                        [](const SeenPicture& seen) { return showsFourQuarters(seen, 801, 601); }));
}

TEST_F(VideoTest, EveryPictureAsksToBeShownAtOnce) {
  connect();
  ASSERT_TRUE(showUntil(fourQuarters(640, 360),
                        [](const SeenPicture& seen) { return showsFourQuarters(seen, 640, 360); }));
  board_.read([&] {
    EXPECT_THAT(viewer_->notes().minPlayoutDelaysMs, SizeIs(Ge(1u)));
    // Once the viewer has confirmed the request, pictures may come without it (-1: as before).
    EXPECT_EQ(viewer_->notes().minPlayoutDelaysMs.front(), 0);
    EXPECT_EQ(viewer_->notes().maxPlayoutDelaysMs.front(), 0);
    EXPECT_THAT(viewer_->notes().minPlayoutDelaysMs, Each(testing::Le(0)));
    EXPECT_THAT(viewer_->notes().maxPlayoutDelaysMs, Each(testing::Le(0)));
  });
}

TEST_F(VideoTest, PicturesBeforeTheConnectionAndAfterItsEndGoNowhere) {
  hostStarts();
  show(fourQuarters(640, 360));
  connection_->close();
  show(fourQuarters(640, 360));
  connection_.reset();
  track_.reset();
  show(fourQuarters(640, 360));
  source_->push(nullptr, 0);
  source_->push(std::make_shared<TestPicture>(0, 0), 0);
  board_.read([&] {
    EXPECT_TRUE(std::ranges::count(host_->notes.ice, IceConnectionState::connected) == 0);
  });
}

}  // namespace
}  // namespace tovalin
