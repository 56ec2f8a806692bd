#include "platform/x11/x11_frame_pool.h"

#include <gtest/gtest.h>

#include <cstring>

namespace tovalin {
namespace {

using namespace std::chrono_literals;

class FramePoolTest : public testing::Test {
 protected:
  static constexpr int kDepth = 3;

  PixelBufferRef lendOne() {
    PooledFrame* frame = pool_.take();
    if (frame == nullptr) return nullptr;
    frame->stale.clear();
    return pool_.lend(*frame, BandSet({0, 1}));
  }

  // Uses the signal up.
  bool woken() { return wake_->wait(std::chrono::steady_clock::time_point{}, nullptr); }

  std::shared_ptr<CaptureWake> wake_ = std::make_shared<CaptureWake>();
  int allocated_ = 0;
  bool memoryLeft_ = true;
  FramePool pool_{4, 8, kDepth, wake_, [this]() -> std::shared_ptr<FrameMemory> {
                    if (!memoryLeft_) return nullptr;
                    ++allocated_;
                    return FrameMemory::ownedHere(4 * 4 * 8);
                  }};
};

TEST_F(FramePoolTest, LendsNoMoreThanItsDepth) {
  std::vector<PixelBufferRef> held;
  for (int count = 0; count < kDepth; ++count) held.push_back(lendOne());
  EXPECT_EQ(lendOne(), nullptr);
  held.pop_back();
  EXPECT_NE(lendOne(), nullptr);
}

TEST_F(FramePoolTest, WakesOnAReturnOnlyWhenOneIsAwaited) {
  std::vector<PixelBufferRef> held = {lendOne(), lendOne()};
  held.pop_back();
  EXPECT_FALSE(woken());
  while (auto picture = lendOne()) held.push_back(std::move(picture));
  EXPECT_FALSE(woken());
  held.pop_back();
  EXPECT_TRUE(woken());
  held.pop_back();
  EXPECT_FALSE(woken());
}

TEST_F(FramePoolTest, ABufferIsFreeOnlyWhenTheLastReferenceIsGone) {
  std::vector<PixelBufferRef> held;
  while (auto picture = lendOne()) held.push_back(std::move(picture));
  PixelBufferRef second = held.front();
  held.erase(held.begin());
  EXPECT_EQ(lendOne(), nullptr);
  second = nullptr;
  EXPECT_NE(lendOne(), nullptr);
}

TEST_F(FramePoolTest, MakesBuffersOnlyWhenNoneIsFree) {
  ASSERT_TRUE(pool_.prepare());
  for (int count = 0; count < 10; ++count) EXPECT_NE(lendOne(), nullptr);
  EXPECT_EQ(allocated_, 1);
  const auto held = lendOne();
  EXPECT_NE(lendOne(), nullptr);
  EXPECT_EQ(allocated_, 2);
}

TEST_F(FramePoolTest, OneBufferServesAConsumerThatGivesUp) {
  PixelBufferRef held;
  for (int count = 0; count < 20; ++count) {
    auto next = lendOne();
    ASSERT_NE(next, nullptr);
    next->giveUp();
    held = std::move(next);
  }
  EXPECT_EQ(allocated_, 1);
}

TEST_F(FramePoolTest, WhatIsGivenUpStandsUntilItIsTakenBack) {
  const auto picture = lendOne();
  picture->giveUp();
  EXPECT_TRUE(PixelLease(*picture));
  const auto next = lendOne();
  EXPECT_FALSE(PixelLease(*picture));
  EXPECT_TRUE(PixelLease(*next));
  EXPECT_EQ(next->data(), picture->data());
}

TEST_F(FramePoolTest, WhatIsNotGivenUpIsNeverTakenBack) {
  const auto picture = lendOne();
  EXPECT_NE(lendOne()->data(), picture->data());
  EXPECT_TRUE(PixelLease(*picture));
}

TEST_F(FramePoolTest, WhatIsBeingReadIsNotTakenBack) {
  const auto picture = lendOne();
  picture->giveUp();
  {
    const PixelLease lease(*picture);
    ASSERT_TRUE(lease);
    EXPECT_NE(lendOne()->data(), picture->data());
  }
  EXPECT_EQ(allocated_, 2);
  EXPECT_TRUE(PixelLease(*picture));
}

TEST_F(FramePoolTest, ThePictureBeforeCanNeitherGiveUpNorFreeTheNext) {
  auto picture = lendOne();
  picture->giveUp();
  const auto next = lendOne();
  picture->giveUp();
  picture = nullptr;
  EXPECT_NE(lendOne()->data(), next->data());
}

TEST_F(FramePoolTest, WakesOnGivingUpOnlyWhenOneIsAwaited) {
  std::vector<PixelBufferRef> held = {lendOne()};
  held.back()->giveUp();
  EXPECT_FALSE(woken());
  held.clear();
  while (auto picture = lendOne()) held.push_back(std::move(picture));
  held.back()->giveUp();
  EXPECT_TRUE(woken());
  held.back()->giveUp();
  EXPECT_FALSE(woken());
}

TEST_F(FramePoolTest, WakesAtTheEndOfTheLastReading) {
  std::vector<PixelBufferRef> held;
  while (auto picture = lendOne()) held.push_back(std::move(picture));
  auto first = std::make_unique<PixelLease>(*held.back());
  auto second = std::make_unique<PixelLease>(*held.back());
  held.back()->giveUp();
  first = nullptr;
  EXPECT_FALSE(woken());
  EXPECT_EQ(lendOne(), nullptr);
  second = nullptr;
  EXPECT_TRUE(woken());
  EXPECT_NE(lendOne(), nullptr);
}

TEST_F(FramePoolTest, ABufferThatIsNotNeededGivesItsPagesBack) {
  auto unneeded = lendOne();
  const uint8_t* pixels = unneeded->data();
  std::memset(const_cast<uint8_t*>(pixels), 0x5a, 4 * 4 * 8);
  auto used = lendOne();
  ASSERT_EQ(allocated_, 2);
  pool_.markStale(BandSet({0, 1}));
  const auto lendTheSame = [&] {
    used->giveUp();
    const auto* before = used->data();
    used = lendOne();
    ASSERT_EQ(used->data(), before);
  };
  // Not while somebody wants it.
  for (int count = 0; count < 2 * FramePool::kPassedOver; ++count) lendTheSame();
  EXPECT_EQ(pixels[0], 0x5a);
  unneeded->giveUp();
  for (int count = 0; count <= FramePool::kPassedOver; ++count) lendTheSame();
  EXPECT_FALSE(PixelLease(*unneeded));
  EXPECT_EQ(pixels[0], 0);
  // It is still there, and behind by everything.
  EXPECT_EQ(pool_.take()->stale, BandSet({0, 8}));
  EXPECT_EQ(allocated_, 2);
}

TEST_F(FramePoolTest, BuffersThatTakeTurnsKeepTheirPages) {
  PixelBufferRef held = lendOne();
  std::memset(const_cast<uint8_t*>(held->data()), 0x5a, 4 * 4 * 8);
  const auto* pixels = held->data();
  for (int count = 0; count < 3 * FramePool::kPassedOver; ++count) held = lendOne();
  EXPECT_EQ(allocated_, 2);
  EXPECT_EQ(pixels[0], 0x5a);
}

TEST_F(FramePoolTest, PrefersTheBufferThatIsBehindLeast) {
  PooledFrame* first = pool_.take();
  first->stale.clear();
  auto held = pool_.lend(*first, {});
  PooledFrame* second = pool_.take();
  second->stale.clear();
  held = nullptr;
  pool_.markStale(BandSet({2, 5}));
  second->stale.clear();
  EXPECT_EQ(pool_.take(), second);
  EXPECT_EQ(first->stale, BandSet({2, 5}));
}

TEST_F(FramePoolTest, ANewBufferIsBehindByAllRows) {
  EXPECT_EQ(pool_.take()->stale, BandSet({0, 8}));
}

TEST_F(FramePoolTest, TakesTheCursorOffABufferThatIsUsedAgain) {
  auto shape = std::make_shared<CursorShape>();
  shape->width = shape->height = 2;
  shape->pixels.assign(4, 0xffffffff);
  PooledFrame* frame = pool_.take();
  const uint8_t before = *frame->canvas.at(1, 1);
  frame->covered.drawOver(frame->canvas, {shape, 0, 0});
  EXPECT_NE(*frame->canvas.at(1, 1), before);
  EXPECT_EQ(pool_.take(), frame);
  EXPECT_EQ(*frame->canvas.at(1, 1), before);
}

TEST_F(FramePoolTest, WithoutMemoryThereIsNoBufferUntilThereIs) {
  memoryLeft_ = false;
  EXPECT_FALSE(pool_.prepare());
  EXPECT_EQ(lendOne(), nullptr);
  memoryLeft_ = true;
  EXPECT_NE(lendOne(), nullptr);
}

TEST_F(FramePoolTest, PicturesAreNumberedAndKnowTheirStreamAndDamage) {
  const auto first = lendOne();
  const auto second = lendOne();
  EXPECT_EQ(second->pictureNumber(), first->pictureNumber() + 1);
  EXPECT_EQ(second->streamIdentity(), first->streamIdentity());
  ASSERT_EQ(first->damage().size(), 1U);
  EXPECT_EQ(first->damage()[0], (RowBand{0, 1}));
  FramePool other(4, 8, kDepth, wake_, [] { return FrameMemory::ownedHere(4 * 4 * 8); });
  EXPECT_NE(other.lend(*other.take(), {})->streamIdentity(), first->streamIdentity());
}

TEST_F(FramePoolTest, PicturesOutliveThePool) {
  PixelBufferRef picture;
  {
    FramePool other(4, 8, kDepth, wake_, [] { return FrameMemory::ownedHere(4 * 4 * 8); });
    PooledFrame* frame = other.take();
    std::memset(frame->memory->data(), 0x5a, 4 * 4 * 8);
    picture = other.lend(*frame, {});
  }
  EXPECT_EQ(picture->data()[4 * 4 * 8 - 1], 0x5a);
}

}  // namespace
}  // namespace tovalin
