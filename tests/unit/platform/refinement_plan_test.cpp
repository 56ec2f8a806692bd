#include "platform/webrtc/settled_picture_gate.h"

#include <gtest/gtest.h>

#include <chrono>

namespace tovalin {
namespace {

using namespace std::chrono_literals;
using Gate = SettledPictureGate;
using enum Gate::Verdict;

enum class Outcome { sharp, coarse, dropped };

// A screen of which a picture comes every half second, and an encoder that does as it is told.
class SettledPictureGateTest : public testing::Test {
 protected:
  Gate::Verdict pictureComes(bool changed, bool keyFrameWanted, Outcome outcome = Outcome::sharp) {
    now_ += interval_;
    const auto verdict = gate_.judge(now_, changed, keyFrameWanted);
    if (verdict == encode && outcome != Outcome::dropped) gate_.encoded(outcome == Outcome::sharp);
    return verdict;
  }
  Gate::Verdict repeatComes(Outcome outcome = Outcome::sharp) {
    return pictureComes(false, false, outcome);
  }
  Gate::Verdict changeComes(Outcome outcome = Outcome::sharp) {
    return pictureComes(true, false, outcome);
  }
  Gate::Verdict keyFrameIsWanted(Outcome outcome = Outcome::sharp) {
    return pictureComes(false, true, outcome);
  }

  // The first picture and as many repeats as it takes to sharpen it.
  void pictureSettles() {
    ASSERT_EQ(changeComes(), encode);
    sharpensAgain();
  }
  // All of them are encoded, and then one is not.
  void sharpensAgain() {
    for (int i = 0; i < Gate::kSharpeningPictures; ++i) ASSERT_EQ(repeatComes(), encode);
    ASSERT_EQ(repeatComes(), skip);
  }

  Gate gate_;
  Gate::Time now_ = 1h;
  Gate::Time interval_ = 500ms;
};

TEST_F(SettledPictureGateTest, RepeatsAreEncodedUntilTheyHaveSharpenedThePicture) {
  pictureSettles();
}

TEST_F(SettledPictureGateTest, TheFirstPictureIsEncodedEvenWhenCalledARepeat) {
  EXPECT_EQ(repeatComes(), encode);
}

TEST_F(SettledPictureGateTest, ASettledPictureIsEncodedOnceASecond) {
  pictureSettles();
  for (int second = 0; second < 60; ++second) {
    EXPECT_EQ(repeatComes(), encode);
    EXPECT_EQ(repeatComes(), skip);
  }
}

TEST_F(SettledPictureGateTest, RepeatsThatComeALittleEarlyAreStillEncodedOnceASecond) {
  interval_ = 450ms;
  pictureSettles();
  EXPECT_EQ(repeatComes(), encode);
  EXPECT_EQ(repeatComes(), skip);
  EXPECT_EQ(repeatComes(), encode);
}

TEST_F(SettledPictureGateTest, ARefreshThatTheEncoderDroppedIsMadeUpForByTheNextRepeat) {
  pictureSettles();
  EXPECT_EQ(repeatComes(Outcome::dropped), encode);
  EXPECT_EQ(repeatComes(), encode);
  EXPECT_EQ(repeatComes(), skip);
}

TEST_F(SettledPictureGateTest, AChangeIsEncodedAtOnceAndSharpenedAnew) {
  pictureSettles();
  interval_ = 1us;
  EXPECT_EQ(changeComes(), encode);
  sharpensAgain();
}

TEST_F(SettledPictureGateTest, AChangeThatTheEncoderDroppedIsOwedByTheRepeats) {
  pictureSettles();
  interval_ = 1us;
  EXPECT_EQ(changeComes(Outcome::dropped), encode);
  EXPECT_EQ(repeatComes(Outcome::dropped), encode);
  EXPECT_EQ(repeatComes(), encode) << "brings the change";
  sharpensAgain();
}

TEST_F(SettledPictureGateTest, AKeyFrameIsEncodedAtOnceAndSharpenedAnew) {
  pictureSettles();
  interval_ = 1us;
  EXPECT_EQ(keyFrameIsWanted(), encode);
  sharpensAgain();
}

TEST_F(SettledPictureGateTest, AKeyFrameThatTheEncoderDroppedIsOwedByTheRepeats) {
  pictureSettles();
  interval_ = 1us;
  EXPECT_EQ(keyFrameIsWanted(Outcome::dropped), encode);
  EXPECT_EQ(repeatComes(), encode) << "brings the key frame";
  sharpensAgain();
}

TEST_F(SettledPictureGateTest, ACoarsePictureNeverSettles) {
  ASSERT_EQ(changeComes(), encode);
  for (int i = 0; i < 10 * Gate::kSharpeningPictures; ++i) {
    ASSERT_EQ(repeatComes(Outcome::coarse), encode);
  }
  sharpensAgain();
}

TEST_F(SettledPictureGateTest, OneCoarsePictureBeginsTheSharpeningAnew) {
  ASSERT_EQ(changeComes(), encode);
  for (int i = 1; i < Gate::kSharpeningPictures; ++i) ASSERT_EQ(repeatComes(), encode);
  ASSERT_EQ(repeatComes(Outcome::coarse), encode);
  sharpensAgain();
}

TEST_F(SettledPictureGateTest, ARefreshThatTurnsOutCoarseUnsettlesThePicture) {
  pictureSettles();
  EXPECT_EQ(repeatComes(Outcome::coarse), encode);
  interval_ = 1us;
  sharpensAgain();
}

TEST_F(SettledPictureGateTest, AScreenThatKeepsChangingIsAlwaysEncoded) {
  interval_ = 33ms;
  for (int i = 0; i < 300; ++i) ASSERT_EQ(changeComes(), encode);
}

}  // namespace
}  // namespace tovalin
