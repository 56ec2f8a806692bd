#include "platform/webrtc/encoder_share.h"

#include <gtest/gtest.h>

namespace tovalin {
namespace {

constexpr uint32_t kSecond = 90'000;
constexpr uint32_t kMbit = 1'000'000;

TEST(EncoderShareTest, SomethingIsLeftOverSoThatQueuesRunEmpty) {
  EncoderShare share;
  share.bitrate(2 * kMbit);
  EXPECT_TRUE(share.isNews());
  EXPECT_EQ(share.tell(), 1'800'000U);
  EXPECT_FALSE(share.isNews());
}

TEST(EncoderShareTest, WhatGoesOutBesideTheEncoderIsNotItsOwn) {
  EncoderShare share;
  share.bitrate(2 * kMbit);
  share.tell();
  // 800 bytes 25 times a second: 160 kbit/s.
  uint32_t time = 0;
  for (; time < 20 * kSecond; time += kSecond / 25) share.beside(time, 800);
  EXPECT_TRUE(share.isNews());
  EXPECT_NEAR(share.tell(), 1'640'000, 20'000);
  EXPECT_FALSE(share.isNews());
  share.pass(time + kSecond);
  EXPECT_TRUE(share.isNews());
  EXPECT_EQ(share.tell(), 1'800'000U);
}

TEST(EncoderShareTest, HalfOfItIsTheEncodersInAnyCase) {
  EncoderShare share;
  share.bitrate(kMbit);
  share.beside(0, 1'000'000);
  EXPECT_EQ(share.tell(), kMbit / 2);
}

TEST(EncoderShareTest, ASmallDifferenceIsNoNews) {
  EncoderShare share;
  share.bitrate(kMbit);
  share.tell();
  share.beside(0, 5'000);  // 40 kbit
  EXPECT_FALSE(share.isNews());
  share.beside(0, 5'000);
  EXPECT_TRUE(share.isNews());
}

TEST(EncoderShareTest, TheTimeMayWrapAndAPauseMayBeLong) {
  EncoderShare share;
  share.bitrate(kMbit);
  share.beside(0xFFFFFFF0U, 20'000);
  share.pass(kSecond / 4);
  EXPECT_NEAR(share.tell(), 780'000, 1'000);
  share.pass(100 * kSecond);
  EXPECT_EQ(share.tell(), 900'000U);
}

TEST(EncoderShareTest, WithoutABitrateThereIsNothingToShare) {
  EncoderShare share;
  EXPECT_EQ(share.tell(), 0U);
  EXPECT_FALSE(share.isNews());
}

TEST(EncoderShareTest, AFrameMayBeAsLargeAsWhatIsSentInATenthOfASecond) {
  EncoderShare share;
  EXPECT_EQ(share.room(), 0U);
  share.bitrate(8 * kMbit);
  EXPECT_EQ(share.room(), 100'000U);
  share.beside(0, 60'000);
  EXPECT_EQ(share.room(), 40'000U);
  share.encoded(0, 60'000);
  EXPECT_EQ(share.room(), 0U);
  // 900 bytes a millisecond are sent.
  share.pass(kSecond / 10);
  EXPECT_NEAR(static_cast<double>(share.room()), 70'000, 10);
  share.pass(kSecond);
  EXPECT_EQ(share.room(), 100'000U);
}

TEST(EncoderShareTest, OneOfManyFramesMayTakeItsShareOfASecond) {
  EncoderShare share;
  share.bitrate(8 * kMbit);
  EXPECT_EQ(share.roomForOneOfMany(), 30'000U);
  share.beside(0, 80'000);
  EXPECT_EQ(share.roomForOneOfMany(), 20'000U);
}

TEST(EncoderShareTest, TimeMayBeginAnywhereAndNeverGoesBack) {
  EncoderShare share;
  share.bitrate(8 * kMbit);
  constexpr uint32_t kBegin = 0xF000'0000;
  share.beside(kBegin, 50'000);
  share.pass(kBegin - kSecond);
  EXPECT_EQ(share.room(), 50'000U);
  share.pass(kBegin + kSecond);
  EXPECT_EQ(share.room(), 100'000U);
  share.beside(kBegin + kSecond, 50'000);
  share.pass(kBegin + 0x1000'0000);  // beyond its end
  EXPECT_EQ(share.room(), 100'000U);
}

}  // namespace
}  // namespace tovalin
