#include "platform/webrtc/refinement_plan.h"

#include <gtest/gtest.h>

#include <chrono>
#include <optional>
#include <ostream>

namespace tovalin {

void PrintTo(const RowBand& band, std::ostream* out) {
  *out << "rows " << band.top << " to " << band.bottom;
}

namespace {

using namespace std::chrono_literals;
using Plan = RefinementPlan;
using Rows = std::optional<RowBand>;

constexpr RowBand kNone{};
constexpr RowBand kLine{100, 117};
constexpr RowBand kOtherLine{300, 317};
constexpr RowBand kBothLines{100, 317};
constexpr RowBand kScreen{0, 1080};

enum class Outcome { sharp, coarse, dropped };

// A screen of which a picture comes every half second, and an encoder that does as it is told.
class RefinementPlanTest : public testing::Test {
 protected:
  Rows comes(RowBand changed, bool keyFrameWanted, Outcome outcome = Outcome::sharp) {
    now_ += interval_;
    const auto rows = plan_.judge(now_, changed, keyFrameWanted);
    if (rows && outcome != Outcome::dropped) plan_.encoded(outcome == Outcome::sharp);
    return rows;
  }
  Rows repeatComes(Outcome outcome = Outcome::sharp) { return comes(kNone, false, outcome); }
  Rows changeComes(RowBand rows, Outcome outcome = Outcome::sharp) {
    return comes(rows, false, outcome);
  }
  Rows keyFrameIsWanted(Outcome outcome = Outcome::sharp) { return comes(kNone, true, outcome); }

  // The first picture and as many repeats as it takes to sharpen it.
  void pictureSettles() {
    ASSERT_EQ(changeComes(kScreen), Plan::kAllRows);
    sharpens(Plan::kAllRows);
  }
  // These rows are encoded again and again, and then nothing is.
  void sharpens(RowBand rows) {
    for (int i = 0; i < Plan::kSharpeningPictures; ++i) ASSERT_EQ(repeatComes(), rows);
    ASSERT_EQ(repeatComes(), std::nullopt);
  }

  Plan plan_;
  Plan::Time now_ = 1h;
  Plan::Time interval_ = 500ms;
};

TEST_F(RefinementPlanTest, RepeatsAreEncodedUntilTheyHaveSharpenedThePicture) {
  pictureSettles();
}

TEST_F(RefinementPlanTest, TheFirstPictureIsEncodedWholeEvenWhenCalledARepeat) {
  EXPECT_EQ(repeatComes(), Plan::kAllRows);
}

TEST_F(RefinementPlanTest, ASettledPictureIsRefreshedOnceASecondWithoutALookAtAnyRow) {
  pictureSettles();
  for (int second = 0; second < 60; ++second) {
    EXPECT_EQ(repeatComes(), kNone);
    EXPECT_EQ(repeatComes(), std::nullopt);
  }
}

TEST_F(RefinementPlanTest, RepeatsThatComeALittleEarlyAreStillEncodedOnceASecond) {
  interval_ = 450ms;
  pictureSettles();
  EXPECT_EQ(repeatComes(), kNone);
  EXPECT_EQ(repeatComes(), std::nullopt);
  EXPECT_EQ(repeatComes(), kNone);
}

TEST_F(RefinementPlanTest, ARefreshThatTheEncoderDroppedIsMadeUpForByTheNextRepeat) {
  pictureSettles();
  EXPECT_EQ(repeatComes(Outcome::dropped), kNone);
  EXPECT_EQ(repeatComes(), kNone);
  EXPECT_EQ(repeatComes(), std::nullopt);
}

TEST_F(RefinementPlanTest, OfASettledPictureOnlyTheRowsThatChangedAreEncodedAndSharpened) {
  pictureSettles();
  interval_ = 1us;
  EXPECT_EQ(changeComes(kLine), kLine);
  sharpens(kLine);
}

TEST_F(RefinementPlanTest, RowsThatChangedOneAfterTheOtherAreSharpenedTogether) {
  pictureSettles();
  EXPECT_EQ(changeComes(kLine), kLine);
  EXPECT_EQ(repeatComes(), kLine);
  EXPECT_EQ(changeComes(kOtherLine), kBothLines);
  sharpens(kBothLines);
}

TEST_F(RefinementPlanTest, AChangeThatTheEncoderDroppedIsOwedByTheRepeats) {
  pictureSettles();
  interval_ = 1us;
  EXPECT_EQ(changeComes(kLine, Outcome::dropped), kLine);
  EXPECT_EQ(repeatComes(Outcome::dropped), kLine);
  EXPECT_EQ(repeatComes(), kLine) << "brings the change";
  sharpens(kLine);
}

TEST_F(RefinementPlanTest, AKeyFrameThatWasWantedIsEncodedWholeAndSharpenedAnew) {
  pictureSettles();
  interval_ = 1us;
  EXPECT_EQ(keyFrameIsWanted(), Plan::kAllRows);
  sharpens(Plan::kAllRows);
}

TEST_F(RefinementPlanTest, AKeyFrameThatTheEncoderMadeByItselfIsSharpenedAnew) {
  pictureSettles();
  now_ += 1s;
  ASSERT_EQ(plan_.judge(now_, kNone, false), kNone);
  plan_.keyFrameCame();
  plan_.encoded(true);
  sharpens(Plan::kAllRows);
}

TEST_F(RefinementPlanTest, AKeyFrameThatTheEncoderDroppedIsOwedByTheRepeats) {
  pictureSettles();
  interval_ = 1us;
  EXPECT_EQ(keyFrameIsWanted(Outcome::dropped), Plan::kAllRows);
  EXPECT_EQ(repeatComes(), Plan::kAllRows) << "brings the key frame";
  sharpens(Plan::kAllRows);
}

TEST_F(RefinementPlanTest, ACoarsePictureNeverSettles) {
  ASSERT_EQ(changeComes(kScreen), Plan::kAllRows);
  for (int i = 0; i < 10 * Plan::kSharpeningPictures; ++i) {
    ASSERT_EQ(repeatComes(Outcome::coarse), Plan::kAllRows);
  }
  EXPECT_EQ(repeatComes(), Plan::kAllRows);
  sharpens(Plan::kAllRows);
}

TEST_F(RefinementPlanTest, OneCoarsePictureBeginsTheSharpeningAnew) {
  ASSERT_EQ(changeComes(kScreen), Plan::kAllRows);
  for (int i = 1; i < Plan::kSharpeningPictures; ++i) ASSERT_EQ(repeatComes(), Plan::kAllRows);
  ASSERT_EQ(repeatComes(Outcome::coarse), Plan::kAllRows);
  EXPECT_EQ(repeatComes(), Plan::kAllRows);
  sharpens(Plan::kAllRows);
}

TEST_F(RefinementPlanTest, ABlinkingCaretDoesNotKeepTheRestFromSettling) {
  ASSERT_EQ(changeComes(kScreen), Plan::kAllRows);
  for (int i = 0; i < Plan::kSharpeningPictures; ++i) {
    ASSERT_EQ(changeComes(kLine), Plan::kAllRows);
  }
  for (int i = 0; i < 100; ++i) ASSERT_EQ(changeComes(kLine), kLine);
}

TEST_F(RefinementPlanTest, AScreenThatKeepsChangingIsAlwaysEncodedWhole) {
  interval_ = 33ms;
  for (int i = 0; i < 300; ++i) {
    const auto rows = changeComes(kScreen);
    ASSERT_TRUE(rows == Plan::kAllRows || rows == kScreen);
  }
}

TEST_F(RefinementPlanTest, WhatChangedLastIsSharpenedHoweverLongItHadBeenChanging) {
  interval_ = 33ms;
  for (int changes = 0; changes < 3 * Plan::kSharpeningPictures; ++changes) {
    plan_ = {};
    for (int i = 0; i <= changes; ++i) changeComes(kScreen);
    for (int i = 0; i < Plan::kSharpeningPictures; ++i) {
      const auto rows = repeatComes();
      ASSERT_TRUE(rows == Plan::kAllRows || rows == kScreen) << changes << " changes, repeat " << i;
    }
  }
}

TEST_F(RefinementPlanTest, AfterAMoveOnlyTheRestIsLookedAtUntilTheScreenRests) {
  pictureSettles();
  constexpr RowBand kMoved{0, 1060};
  constexpr RowBand kRest{1040, 1080};
  EXPECT_EQ(plan_.judgeMoved(now_, kMoved, 19, kRest), kRest);
  plan_.encoded(true);
  EXPECT_EQ(repeatComes(), kRest);
}

TEST_F(RefinementPlanTest, WhatIsCoarseMovesAlong) {
  pictureSettles();
  EXPECT_EQ(changeComes(kLine, Outcome::coarse), kLine);
  plan_.judgeMoved(now_, {0, 1060}, 20, {1060, 1080});
  plan_.encoded(true);
  EXPECT_EQ(repeatComes(), (RowBand{80, 1080}));
}

TEST_F(RefinementPlanTest, WhatIsCoarseElsewhereStays) {
  pictureSettles();
  EXPECT_EQ(changeComes(kOtherLine, Outcome::coarse), kOtherLine);
  plan_.judgeMoved(now_, {0, 200}, 20, {180, 200});
  plan_.encoded(true);
  EXPECT_EQ(repeatComes(), (RowBand{180, 317}));
}

TEST_F(RefinementPlanTest, MovesSharpenNothing) {
  pictureSettles();
  changeComes(kLine);
  for (int i = 0; i < 2 * Plan::kSharpeningPictures; ++i) {
    plan_.judgeMoved(now_, kBothLines, 17, kOtherLine);
    plan_.encoded(true);
  }
  const auto rows = repeatComes();
  ASSERT_TRUE(rows);
  for (int i = 1; i < Plan::kSharpeningPictures; ++i) ASSERT_EQ(repeatComes(), rows);
  EXPECT_EQ(repeatComes(), rows);
  EXPECT_EQ(repeatComes(), std::nullopt);
}

TEST_F(RefinementPlanTest, TheRestOfAMoveThatIsDroppedIsStillOwed) {
  pictureSettles();
  plan_.judgeMoved(now_, {0, 1060}, 19, {1040, 1080});
  EXPECT_EQ(repeatComes(Outcome::dropped), (RowBand{1040, 1080}));
  EXPECT_EQ(repeatComes(), (RowBand{1040, 1080}));
}

TEST_F(RefinementPlanTest, AMoveBeforeThePictureHasSettledLeavesAllRowsCoarse) {
  changeComes(kScreen, Outcome::coarse);
  plan_.judgeMoved(now_, {0, 1060}, 19, {1040, 1080});
  plan_.encoded(true);
  EXPECT_EQ(repeatComes(), Plan::kAllRows);
}

TEST_F(RefinementPlanTest, RowsThatWerePatchedFinelyAreSettled) {
  pictureSettles();
  plan_.judge(now_ += interval_, kLine, false);
  EXPECT_FALSE(plan_.isSettled());
  plan_.patched(kLine);
  EXPECT_TRUE(plan_.isSettled());
  EXPECT_EQ(repeatComes(), std::nullopt);
}

TEST_F(RefinementPlanTest, RowsThatWerePatchedQuicklyAreNot) {
  pictureSettles();
  plan_.judge(now_ += interval_, kLine, false);
  plan_.patched(kNone);
  EXPECT_FALSE(plan_.isSettled());
  EXPECT_EQ(repeatComes(), kLine);
}

TEST_F(RefinementPlanTest, APictureSettlesPartByPart) {
  pictureSettles();
  changeComes(kScreen);
  for (const RowBand part : {RowBand{0, 400}, RowBand{400, 416}, RowBand{1000, 1080}}) {
    EXPECT_TRUE(plan_.judge(now_ += interval_, kNone, false));
    plan_.patched(part);
  }
  EXPECT_EQ(repeatComes(), (RowBand{416, 1000}));
  plan_.judge(now_ += interval_, kNone, false);
  plan_.patched({500, 600});
  EXPECT_EQ(repeatComes(), (RowBand{416, 1000})) << "which is one band";
  plan_.judge(now_ += interval_, kNone, false);
  plan_.patched({400, 1080});
  EXPECT_TRUE(plan_.isSettled());
}

TEST_F(RefinementPlanTest, WhatWasOwedIsPaidByAPatch) {
  pictureSettles();
  changeComes(kLine, Outcome::dropped);
  plan_.judge(now_ += interval_, kNone, false);
  plan_.patched(kLine);
  EXPECT_EQ(repeatComes(), std::nullopt);
}

}  // namespace
}  // namespace tovalin
