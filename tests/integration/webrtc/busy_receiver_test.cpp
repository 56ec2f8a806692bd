// What a receiver that is slower than the screen gets.

#include "platform/webrtc/screen_source.h"

#include <api/make_ref_counted.h>
#include <gtest/gtest.h>

#include <memory>
#include <vector>

#include "platform/webrtc/frame_trace.h"
#include "platform/webrtc/picture_converter.h"
#include "tests/integration/webrtc/test_picture.h"

namespace tovalin {
namespace {

constexpr int64_t kStepNs = 33'333'333;

// Keeps the pictures that it is given, as an encoder does that is behind.
class BusyReceiver final : public rtc::VideoSinkInterface<webrtc::VideoFrame> {
 public:
  void OnFrame(const webrtc::VideoFrame& frame) override { held.push_back(frame); }

  std::vector<webrtc::VideoFrame> held;
};

class BusyReceiverTest : public testing::Test {
 protected:
  BusyReceiverTest() { source_->AddOrUpdateSink(&receiver_, {}); }
  ~BusyReceiverTest() override { source_->RemoveSink(&receiver_); }

  // The next picture, of which only these rows are new.
  void show(int top, int bottom) {
    picture_ = picture_->next();
    picture_->setDamage({{top, bottom}});
    now_ += kStepNs;
    source_->push(picture_, now_);
  }

  const rtc::scoped_refptr<ScreenSource> source_ =
      rtc::make_ref_counted<ScreenSource>(std::make_shared<FrameTrace>(""));
  BusyReceiver receiver_;
  std::shared_ptr<TestPicture> picture_ = fourQuarters(64, 64);
  int64_t now_ = kStepNs;
};

TEST_F(BusyReceiverTest, ABusyReceiverIsGivenNoMoreThanItsShare) {
  for (int i = 0; i < 20; ++i) show(0, 2);
  EXPECT_EQ(receiver_.held.size(), PictureConverter::kCopies);
}

TEST_F(BusyReceiverTest, WhatWasDroppedMeanwhileComesWithTheNextPicture) {
  for (size_t i = 0; i < PictureConverter::kCopies; ++i) show(0, 2);
  show(20, 22);
  receiver_.held.clear();
  show(40, 42);
  ASSERT_EQ(receiver_.held.size(), 1u);
  const auto changed = receiver_.held.front().update_rect();
  EXPECT_EQ(changed.offset_y, 20);
  EXPECT_EQ(changed.offset_y + changed.height, 42);
}

}  // namespace
}  // namespace tovalin
