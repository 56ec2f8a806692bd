#include "platform/webrtc/picture_converter.h"

#include <gtest/gtest.h>

#include <cstring>
#include <random>
#include <vector>

#include "tests/integration/webrtc/test_picture.h"

namespace tovalin {
namespace {

using Converted = rtc::scoped_refptr<webrtc::I420BufferInterface>;

bool sameRows(const uint8_t* a, int strideA, const uint8_t* b, int strideB, int width, int height) {
  for (int y = 0; y < height; ++y) {
    if (std::memcmp(a + y * strideA, b + y * strideB, static_cast<size_t>(width)) != 0) {
      return false;
    }
  }
  return true;
}

// Whether `converted` is what a converter without any history makes of the picture.
bool isExact(const Converted& converted, const PixelBuffer& picture) {
  PictureConverter fresh;
  const Converted expected = fresh.convert(picture);
  return converted && converted->width() == expected->width() &&
         converted->height() == expected->height() &&
         sameRows(converted->DataY(), converted->StrideY(), expected->DataY(), expected->StrideY(),
                  expected->width(), expected->height()) &&
         sameRows(converted->DataU(), converted->StrideU(), expected->DataU(), expected->StrideU(),
                  expected->ChromaWidth(), expected->ChromaHeight()) &&
         sameRows(converted->DataV(), converted->StrideV(), expected->DataV(), expected->StrideV(),
                  expected->ChromaWidth(), expected->ChromaHeight());
}

class PictureConverterTest : public testing::Test {
 protected:
  // Converts and lets the copy go at once; tells how many rows that took.
  int64_t rowsFor(const PixelBuffer& picture) {
    const int64_t before = converter_.rowsConverted();
    EXPECT_TRUE(isExact(converter_.convert(picture), picture));
    return converter_.rowsConverted() - before;
  }

  // The next picture, with rows [top, bottom) painted and said to be damaged.
  static std::shared_ptr<TestPicture> painted(const TestPicture& picture, int top, int bottom,
                                              Colour colour) {
    auto successor = picture.next();
    successor->fill(0, top, picture.width(), bottom, colour);
    successor->setDamage({{top, bottom}});
    return successor;
  }

  PictureConverter converter_;
};

TEST_F(PictureConverterTest, ConvertsToTheColoursAViewerExpects) {
  const auto picture = fourQuarters(64, 32);
  const Converted converted = converter_.convert(*picture);
  const auto at = [&](int x, int y) {
    return std::vector<int>{converted->DataY()[y * converted->StrideY() + x],
                            converted->DataU()[y / 2 * converted->StrideU() + x / 2],
                            converted->DataV()[y / 2 * converted->StrideV() + x / 2]};
  };
  // BT.601 limited range, rounded; the library's fixed point may differ by one.
  const auto near = [](std::vector<int> a, std::vector<int> b) {
    return std::abs(a[0] - b[0]) <= 1 && std::abs(a[1] - b[1]) <= 1 && std::abs(a[2] - b[2]) <= 1;
  };
  EXPECT_TRUE(near(at(5, 5), {90, 95, 212}));
  EXPECT_TRUE(near(at(40, 5), {126, 84, 60}));
  EXPECT_TRUE(near(at(5, 20), {66, 213, 110}));
  EXPECT_TRUE(near(at(40, 20), {226, 128, 128}));
}

TEST_F(PictureConverterTest, ConvertsEverythingTheFirstTime) {
  EXPECT_EQ(rowsFor(*fourQuarters(64, 32)), 32);
}

TEST_F(PictureConverterTest, HandsOutTheSameCopyForTheSamePicture) {
  const auto picture = fourQuarters(64, 32);
  const Converted first = converter_.convert(*picture);
  const Converted again = converter_.convert(*picture);
  EXPECT_EQ(first, again);
  EXPECT_EQ(converter_.rowsConverted(), 32);
}

TEST_F(PictureConverterTest, ConvertsOnlyTheDamagedRows) {
  const auto picture = fourQuarters(64, 32);
  rowsFor(*picture);
  EXPECT_EQ(rowsFor(*painted(*picture, 8, 12, kOrange)), 4);
}

TEST_F(PictureConverterTest, WidensDamageToWholePairsOfRows) {
  const auto picture = fourQuarters(64, 32);
  rowsFor(*picture);
  EXPECT_EQ(rowsFor(*painted(*picture, 7, 8, kOrange)), 2);
}

TEST_F(PictureConverterTest, ConvertsNothingForAPictureWithoutDamage) {
  const auto picture = fourQuarters(64, 32);
  rowsFor(*picture);
  EXPECT_EQ(rowsFor(*picture->next()), 0);
}

TEST_F(PictureConverterTest, BringsAnOlderCopyUpToDateWithAllDamageSince) {
  const auto first = fourQuarters(64, 32);
  Converted held = converter_.convert(*first);
  const auto second = painted(*first, 2, 6, kOrange);
  const Converted heldToo = converter_.convert(*second);
  held = nullptr;  // the only free copy now shows the first picture
  const auto third = painted(*second, 20, 24, kGreen);
  EXPECT_EQ(rowsFor(*third), 4 + 4);
}

TEST_F(PictureConverterTest, CountsOverlappingDamageOnce) {
  const auto picture = fourQuarters(64, 32);
  rowsFor(*picture);
  auto damaged = picture->next();
  damaged->fill(0, 4, 64, 16, kOrange);
  damaged->setDamage({{8, 16}, {4, 10}, {9, 11}});
  EXPECT_EQ(rowsFor(*damaged), 12);
}

TEST_F(PictureConverterTest, IgnoresDamageOutsideThePicture) {
  const auto picture = fourQuarters(64, 32);
  rowsFor(*picture);
  auto damaged = picture->next();
  damaged->fill(0, 30, 64, 32, kOrange);
  damaged->setDamage({{-20, -4}, {30, 400}, {50, 60}, {12, 12}, {20, 10}});
  EXPECT_EQ(rowsFor(*damaged), 2);
}

TEST_F(PictureConverterTest, RemembersTheDamageOfSkippedPictures) {
  const auto first = fourQuarters(64, 32);
  rowsFor(*first);
  const auto second = painted(*first, 2, 6, kOrange);
  converter_.skip(*second);
  EXPECT_EQ(rowsFor(*painted(*second, 10, 12, kGreen)), 4 + 2);
}

TEST_F(PictureConverterTest, ConvertsEverythingAfterAGapInTheNumbers) {
  const auto picture = fourQuarters(64, 32);
  rowsFor(*picture);
  EXPECT_EQ(rowsFor(*painted(*picture->next(), 2, 4, kOrange)), 32);
}

TEST_F(PictureConverterTest, ConvertsEverythingOfAnotherStream) {
  rowsFor(*fourQuarters(64, 32, 1));
  EXPECT_EQ(rowsFor(*fourQuarters(64, 32, 2)), 32);
}

TEST_F(PictureConverterTest, ConvertsEverythingAtAnotherSize) {
  rowsFor(*fourQuarters(64, 32));
  EXPECT_EQ(rowsFor(*fourQuarters(32, 64)), 64);
}

TEST_F(PictureConverterTest, ConvertsEverythingWhenTheDamageIsForgotten) {
  auto picture = fourQuarters(64, 32);
  rowsFor(*picture);
  for (size_t i = 0; i <= DamageHistory::kPictures; ++i) {
    picture = painted(*picture, 2, 4, i % 2 == 0 ? kOrange : kGreen);
    if (i < DamageHistory::kPictures) converter_.skip(*picture);
  }
  EXPECT_EQ(rowsFor(*picture), 32);
}

TEST_F(PictureConverterTest, ConvertsAnOlderPictureWholeAndKeepsTheNewerInOrder) {
  const auto first = fourQuarters(64, 32);
  rowsFor(*first);
  const auto second = painted(*first, 2, 6, kOrange);
  rowsFor(*second);
  EXPECT_EQ(rowsFor(*first), 32);
  const auto third = painted(*second, 20, 24, kGreen);
  EXPECT_EQ(rowsFor(*third), 4 + 4);
}

TEST_F(PictureConverterTest, NeverTouchesACopyThatIsStillHeld) {
  const auto first = fourQuarters(64, 32);
  const Converted held = converter_.convert(*first);
  const auto second = painted(*first, 0, 32, kOrange);
  EXPECT_EQ(rowsFor(*second), 32);
  EXPECT_TRUE(isExact(held, *first));
}

TEST_F(PictureConverterTest, DropsAPictureWhileEveryCopyIsHeld) {
  auto picture = fourQuarters(64, 32);
  std::vector<Converted> held;
  for (size_t i = 0; i < PictureConverter::kCopies; ++i) {
    held.push_back(converter_.convert(*picture));
    ASSERT_TRUE(held.back());
    picture = painted(*picture, 2, 4, kOrange);
  }
  EXPECT_FALSE(converter_.convert(*picture));
  held.erase(held.begin());
  EXPECT_EQ(rowsFor(*painted(*picture, 8, 10, kGreen)), 2 + 2);
}

TEST_F(PictureConverterTest, MakesNothingOfAPictureWhosePixelsAreGone) {
  const auto first = fourQuarters(64, 32);
  rowsFor(*first);
  const auto second = painted(*first, 2, 6, kOrange);
  second->giveUp();
  second->takeBackIfGivenUp();
  EXPECT_FALSE(converter_.convert(*second));
  EXPECT_TRUE(converter_.pixelsGone());
  EXPECT_EQ(rowsFor(*painted(*second, 8, 10, kGreen)), 4 + 2);
  EXPECT_FALSE(converter_.pixelsGone());
}

TEST_F(PictureConverterTest, HandsOutTheCopyOfAPictureWhosePixelsAreGone) {
  const auto picture = fourQuarters(64, 32);
  const Converted before = converter_.convert(*picture);
  picture->giveUp();
  picture->takeBackIfGivenUp();
  EXPECT_EQ(converter_.convert(*picture), before);
  EXPECT_FALSE(converter_.pixelsGone());
}

TEST_F(PictureConverterTest, KeepsTheCopyWhileTheNextIsOnlySkippedOrGone) {
  const auto first = fourQuarters(64, 32);
  const uint8_t* copy = converter_.convert(*first)->DataY();
  first->giveUp();
  first->takeBackIfGivenUp();
  const auto second = painted(*first, 2, 6, kOrange);
  converter_.skip(*second);
  second->giveUp();
  second->takeBackIfGivenUp();
  EXPECT_FALSE(converter_.convert(*second));
  EXPECT_EQ(converter_.convert(*first)->DataY(), copy);
}

TEST_F(PictureConverterTest, IsBehindNotWithoutPixelsWhenEveryCopyIsHeld) {
  auto picture = fourQuarters(64, 32);
  std::vector<Converted> held;
  for (size_t i = 0; i < PictureConverter::kCopies; ++i) {
    held.push_back(converter_.convert(*picture));
    picture = painted(*picture, 2, 4, kOrange);
  }
  EXPECT_FALSE(converter_.convert(*picture));
  EXPECT_FALSE(converter_.pixelsGone());
}

TEST_F(PictureConverterTest, GivesACopyBackThatLongWasNotNeeded) {
  constexpr int kHeight = 32;
  auto picture = fourQuarters(64, kHeight);
  const auto next = [&picture]() -> const PixelBuffer& {
    return *(picture = painted(*picture, 2, 4, kOrange));
  };
  // What another copy takes while one is held.
  const auto rowsForAnother = [&] {
    const Converted held = converter_.convert(next());
    return rowsFor(next());
  };
  rowsFor(*picture);
  EXPECT_EQ(rowsForAnother(), kHeight);
  EXPECT_LT(rowsForAnother(), kHeight) << "there are two now";
  for (int64_t i = 0; i <= PictureConverter::kIdlePictures; ++i)
    EXPECT_LT(rowsFor(next()), kHeight);
  EXPECT_EQ(rowsForAnother(), kHeight) << "one was enough for so long";
}

TEST_F(PictureConverterTest, HeldCopiesOfAnotherSizeDoNotCount) {
  auto picture = fourQuarters(64, 32);
  std::vector<Converted> held;
  for (size_t i = 0; i < PictureConverter::kCopies; ++i) {
    held.push_back(converter_.convert(*picture));
    picture = picture->next();
    picture->setDamage({{0, 32}});
  }
  EXPECT_EQ(rowsFor(*fourQuarters(48, 24)), 24);
}

struct Size {
  int width;
  int height;
};

class PictureSizes : public PictureConverterTest, public testing::WithParamInterface<Size> {};

TEST_P(PictureSizes, StayExactThroughRandomDamage) {
  const auto [width, height] = GetParam();
  std::mt19937 random(7);
  const auto below = [&](int bound) {
    return static_cast<int>(random() % static_cast<unsigned>(bound));
  };
  auto picture = fourQuarters(width, height);
  std::vector<Converted> held;
  for (int round = 0; round < 200; ++round) {
    const int top = below(height);
    const int bottom = top + 1 + below(height - top);
    picture = painted(*picture, top, bottom,
                      {static_cast<uint8_t>(below(256)), static_cast<uint8_t>(below(256)),
                       static_cast<uint8_t>(below(256))});
    const Converted converted = converter_.convert(*picture);
    ASSERT_TRUE(isExact(converted, *picture)) << "round " << round;
    held.push_back(converted);
    while (held.size() > static_cast<size_t>(below(2)) + 1) {
      held.erase(held.begin() + below(static_cast<int>(held.size())));
    }
  }
}

INSTANTIATE_TEST_SUITE_P(OfAllShapes, PictureSizes,
                         testing::Values(Size{1, 1}, Size{2, 2}, Size{3, 1}, Size{1, 7},
                                         Size{63, 31}, Size{64, 31}, Size{63, 32}, Size{130, 90}),
                         [](const auto& chosen) {
                           return std::to_string(chosen.param.width) + "x" +
                                  std::to_string(chosen.param.height);
                         });

}  // namespace
}  // namespace tovalin
