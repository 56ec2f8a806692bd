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

}  // namespace
}  // namespace tovalin
