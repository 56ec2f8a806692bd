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
  void OnFrame(const webrtc::VideoFrame& frame) override { changed.push_back(frame.update_rect()); }

  std::vector<Rect> changed;
};

class AScreenSource : public testing::Test {
 protected:
  AScreenSource() { source_->AddOrUpdateSink(&watcher_, {}); }
  ~AScreenSource() override { source_->RemoveSink(&watcher_); }

  void push(const PixelBufferRef& picture) {
    constexpr int64_t kStepNs = 1'000'000'000;
    source_->push(picture, now_ += kStepNs);
  }

  Watcher watcher_;

 private:
  const rtc::scoped_refptr<ScreenSource> source_ =
      rtc::make_ref_counted<ScreenSource>(std::make_shared<FrameTrace>(std::string()));
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

}  // namespace
}  // namespace tovalin
