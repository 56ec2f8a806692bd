#include <gtest/gtest.h>

#include "platform/x11/x11_frame_pacing.h"

namespace tovalin {
namespace {

using namespace std::chrono_literals;

const FramePacing::Time kStart = FramePacing::Time(1000s);

TEST(FramePacingTest, TheFirstPictureIsDueAtOnce) {
  EXPECT_LE(FramePacing(33ms, kStart).frameDue(), kStart);
}

TEST(FramePacingTest, TheNextPictureIsDueOneIntervalAfterTheOneBefore) {
  FramePacing pacing(33ms, kStart);
  pacing.takingPicture(kStart + 10ms);
  EXPECT_EQ(pacing.frameDue(), kStart + 43ms);
}

TEST(FramePacingTest, AfterAPauseAPictureIsDueAlready) {
  FramePacing pacing(33ms, kStart);
  pacing.takingPicture(kStart);
  EXPECT_LE(pacing.frameDue(), kStart + 5s);
}

TEST(FramePacingTest, MotionWaitsAMomentForWhatItLeadsTo) {
  FramePacing pacing(33ms, kStart);
  EXPECT_EQ(pacing.pointerDue(), FramePacing::Time::max());
  pacing.pointerSuspected(kStart + 1s);
  pacing.pointerSuspected(kStart + 1s + 3ms);
  EXPECT_EQ(pacing.pointerDue(), kStart + 1s + 4ms);
  pacing.takingPicture(kStart + 1s + 2ms);
  EXPECT_EQ(pacing.pointerDue(), FramePacing::Time::max());
}

TEST(FramePacingTest, ALookThatFoundNothingDelaysNoPicture) {
  FramePacing pacing(33ms, kStart);
  pacing.takingPicture(kStart + 1s);
  pacing.tookNone();
  EXPECT_LE(pacing.frameDue(), kStart + 1s);
}

TEST(FramePacingTest, AnIdleSampleIsOwedHalfASecondAfterAnySample) {
  FramePacing pacing(33ms, kStart);
  EXPECT_EQ(pacing.idleDue(), kStart + 500ms);
  pacing.deliveredSample(kStart + 300ms);
  EXPECT_EQ(pacing.idleDue(), kStart + 800ms);
}

TEST(FramePacingTest, WithoutDamageTheScreenIsNeverChecked) {
  FramePacing pacing(33ms, kStart);
  pacing.takingPicture(kStart);
  pacing.deliveredSample(kStart);
  EXPECT_EQ(pacing.checkDue(), FramePacing::Time::max());
}

TEST(FramePacingTest, TheScreenIsCheckedFourSecondsAfterTheFirstUncheckedDamage) {
  FramePacing pacing(33ms, kStart);
  pacing.damageReported(kStart + 1s);
  pacing.damageReported(kStart + 3s);
  EXPECT_EQ(pacing.checkDue(), kStart + 5s);
  pacing.checkedEverything();
  EXPECT_EQ(pacing.checkDue(), FramePacing::Time::max());
  pacing.damageReported(kStart + 6s);
  EXPECT_EQ(pacing.checkDue(), kStart + 10s);
}

}  // namespace
}  // namespace tovalin
