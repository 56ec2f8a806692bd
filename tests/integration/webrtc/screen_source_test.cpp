#include "platform/webrtc/screen_source.h"

#include <gmock/gmock.h>

#include <api/make_ref_counted.h>
#include <api/video/video_frame.h>
#include <api/video/video_sink_interface.h>
#include <rtc_base/time_utils.h>

#include <memory>
#include <string>
#include <vector>

#include "platform/webrtc/frame_trace.h"
#include "platform/webrtc/picture_converter.h"
#include "tests/integration/webrtc/test_picture.h"

namespace tovalin {
namespace {

using testing::Each;
using testing::SizeIs;
using Rect = webrtc::VideoFrame::UpdateRect;

constexpr int kWidth = 64;
constexpr int kHeight = 48;
constexpr Rect kNothing{0, 0, 0, 0};

class Watcher : public rtc::VideoSinkInterface<webrtc::VideoFrame> {
 public:
  void OnFrame(const webrtc::VideoFrame& frame) override {
    changed.push_back(frame.update_rect());
    if (keep) kept.push_back(frame);
  }
  void OnDiscardedFrame() override { ++dropped; }

  std::vector<Rect> changed;
  int dropped = 0;
  bool keep = false;
  std::vector<webrtc::VideoFrame> kept;
};

class AScreenSource : public testing::Test {
 protected:
  AScreenSource() { source_->AddOrUpdateSink(&watcher_, {}); }
  ~AScreenSource() override { source_->RemoveSink(&watcher_); }

  void push(const PixelBufferRef& picture) {
    constexpr int64_t kStepNs = 1'000'000'000;
    source_->push(picture, now_ += kStepNs);
  }

  static rtc::scoped_refptr<ScreenSource> make() {
    return rtc::make_ref_counted<ScreenSource>(std::make_shared<FrameTrace>(std::string()));
  }

  Watcher watcher_;
  const rtc::scoped_refptr<ScreenSource> source_ = make();

 private:
  int64_t now_ = rtc::TimeNanos();
};

TEST_F(AScreenSource, TellsWhichRowsChanged) {
  const auto first = fourQuarters(kWidth, kHeight);
  const auto second = first->next();
  second->setDamage({{10, 12}});
  push(first);
  push(second);
  EXPECT_THAT(watcher_.changed,
              testing::ElementsAre(Rect{0, 0, kWidth, kHeight}, Rect{0, 10, kWidth, 2}));
}

TEST_F(AScreenSource, CallsARepeatEmptyAsTheLibraryUnderstandsIt) {
  const auto picture = fourQuarters(kWidth, kHeight);
  push(picture);
  watcher_.changed.clear();
  push(picture);
  push(picture);
  EXPECT_THAT(watcher_.changed, SizeIs(2));
  EXPECT_THAT(watcher_.changed, Each(kNothing));
}

// The library does so with frames that it passes over when the line is slow.
TEST_F(AScreenSource, LetsRepeatsBeAddedUp) {
  const auto picture = fourQuarters(kWidth, kHeight);
  for (int i = 0; i < 3; ++i) push(picture);
  ASSERT_THAT(watcher_.changed, SizeIs(3));
  Rect sum = watcher_.changed[1];
  sum.Union(watcher_.changed[2]);
  EXPECT_TRUE(sum.IsEmpty());
  sum.Union(watcher_.changed[0]);
  EXPECT_EQ(sum, (Rect{0, 0, kWidth, kHeight}));
}

TEST_F(AScreenSource, GivesUpWhatItHasConverted) {
  const auto picture = fourQuarters(kWidth, kHeight);
  push(picture);
  EXPECT_TRUE(picture->givenUp());
}

TEST_F(AScreenSource, KeepsThePixelsOfWhatItHasNotConverted) {
  const auto picture = fourQuarters(kWidth, kHeight);
  make()->push(picture, rtc::TimeNanos());  // nobody watches
  EXPECT_FALSE(picture->givenUp());

  watcher_.keep = true;  // and with it the copies
  auto next = picture->next();
  for (size_t copies = 0; copies < PictureConverter::kCopies; ++copies, next = next->next()) {
    push(next);
    EXPECT_TRUE(next->givenUp());
  }
  push(next);
  EXPECT_FALSE(next->givenUp());
  EXPECT_EQ(watcher_.dropped, 1);
}

TEST_F(AScreenSource, RepeatsAPictureWhosePixelsAreGone) {
  const auto picture = fourQuarters(kWidth, kHeight);
  push(picture);
  picture->takeBackIfGivenUp();
  push(picture);
  EXPECT_THAT(watcher_.changed, SizeIs(2));
  EXPECT_EQ(watcher_.changed.back(), kNothing);
}

TEST_F(AScreenSource, BringsAPictureWhosePixelsAreGoneToWhoeverBeginsToWatch) {
  const auto picture = fourQuarters(kWidth, kHeight);
  push(picture);
  picture->takeBackIfGivenUp();
  Watcher second;
  source_->AddOrUpdateSink(&second, {});
  EXPECT_THAT(second.changed, SizeIs(1));
  source_->RemoveSink(&second);
}

TEST_F(AScreenSource, GetsWhatAnotherHasGivenUpWhileItStands) {
  const auto picture = fourQuarters(kWidth, kHeight);
  const auto other = make();
  Watcher watcher;
  other->AddOrUpdateSink(&watcher, {});
  other->push(picture, rtc::TimeNanos());
  ASSERT_TRUE(picture->givenUp());
  push(picture);
  EXPECT_THAT(watcher_.changed, SizeIs(1));
  other->RemoveSink(&watcher);
}

TEST_F(AScreenSource, LeavesOutWhatAnotherHasGivenUpOnceItIsGone) {
  const auto picture = fourQuarters(kWidth, kHeight);
  picture->giveUp();
  picture->takeBackIfGivenUp();
  push(picture);
  EXPECT_THAT(watcher_.changed, SizeIs(0));
  EXPECT_EQ(watcher_.dropped, 0);
  push(picture->next());
  EXPECT_THAT(watcher_.changed, SizeIs(1));
}

TEST_F(AScreenSource, LeavesOutARepeatThatTheNextPictureHasOvertaken) {
  const auto first = fourQuarters(kWidth, kHeight);
  const auto second = first->next();
  push(first);
  push(second);
  second->takeBackIfGivenUp();
  push(first);
  EXPECT_THAT(watcher_.changed, SizeIs(2));
  push(second);
  EXPECT_THAT(watcher_.changed, SizeIs(3));
}

TEST_F(AScreenSource, RepeatsWhatHasNotChangedOfLate) {
  constexpr int64_t kSecondNs = 1'000'000'000;
  const int64_t now = rtc::TimeNanos();
  const auto picture = fourQuarters(kWidth, kHeight);
  source_->push(picture, now - kSecondNs);
  source_->push(picture, now);  // sent again
  ASSERT_FALSE(source_->awaitsRepeat());
  EXPECT_EQ(source_->repeat(), std::nullopt);
  EXPECT_THAT(watcher_.changed, SizeIs(3));
  ASSERT_FALSE(source_->awaitsRepeat());
  source_->push(picture->next(), now + kSecondNs);
  EXPECT_EQ(source_->repeat(), ScreenSource::kRepeatAfter);
  EXPECT_THAT(watcher_.changed, SizeIs(4));
  EXPECT_TRUE(source_->awaitsRepeat()) << "what the new one asks for is that";
}

}  // namespace
}  // namespace tovalin
