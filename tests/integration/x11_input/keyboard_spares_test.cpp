#include "platform/x11/x11_keyboard_spares.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace tovalin {
namespace {

using std::chrono::milliseconds;
using testing::ElementsAre;
using testing::IsEmpty;

class KeyboardSparesTest : public testing::Test {
 protected:
  KeyboardSparesTest() { follow({8, 93, 97}); }

  void follow(const std::vector<uint8_t>& unused, bool loansSurvive = true) {
    spares.follow(unused, [loansSurvive](uint8_t, uint32_t) { return loansSurvive; });
  }
  // Lends and uses.
  KeyboardSpares::Loan use(uint32_t keysym) {
    const auto loan = spares.lend(keysym, now).value();
    EXPECT_EQ(loan.wait, KeyboardSpares::Duration{});
    spares.used(loan.keycode, now);
    return loan;
  }
  KeyboardSpares::Duration waitFor(uint32_t keysym) { return spares.lend(keysym, now)->wait; }

  KeyboardSpares spares;
  KeyboardSpares::Time now{std::chrono::hours(5)};
};

TEST_F(KeyboardSparesTest, DifferentSymbolsGetDifferentKeycodesAtOnce) {
  EXPECT_EQ(use('a'), (KeyboardSpares::Loan{8, true, {}}));
  EXPECT_EQ(use('b'), (KeyboardSpares::Loan{93, true, {}}));
  EXPECT_EQ(use('c'), (KeyboardSpares::Loan{97, true, {}}));
}

TEST_F(KeyboardSparesTest, SymbolKeepsItsKeycode) {
  use('a');
  use('b');
  EXPECT_EQ(use('a'), (KeyboardSpares::Loan{8, false, {}}));
}

TEST_F(KeyboardSparesTest, LongestUnusedKeycodeIsLentAgain) {
  use('a');
  now += milliseconds(1);
  use('b');
  now += milliseconds(1);
  use('c');
  now += milliseconds(1);
  use('a');
  now += milliseconds(500);
  EXPECT_EQ(use('d'), (KeyboardSpares::Loan{93, true, {}}));
}

TEST_F(KeyboardSparesTest, KeycodeIsLeftAloneForTwoHundredMillisecondsAfterItsUse) {
  use('a');
  now += milliseconds(10);
  use('b');
  use('c');
  now += milliseconds(60);
  EXPECT_EQ(waitFor('d'), milliseconds(130));
  EXPECT_EQ(use('a'), (KeyboardSpares::Loan{8, false, {}})) << "nothing was lent meanwhile";
  EXPECT_EQ(waitFor('d'), milliseconds(140));
  now += milliseconds(140);
  EXPECT_EQ(use('d'), (KeyboardSpares::Loan{93, true, {}}));
  EXPECT_EQ(use('e'), (KeyboardSpares::Loan{97, true, {}}));
  EXPECT_EQ(waitFor('f'), milliseconds(60));
}

TEST_F(KeyboardSparesTest, NothingIsLentWithoutUnusedKeycodes) {
  follow({}, false);
  EXPECT_EQ(spares.lend('a', now), std::nullopt);
}

TEST_F(KeyboardSparesTest, LoansSurviveAMappingThatStillHasThem) {
  use('a');
  follow({93, 97});
  EXPECT_TRUE(spares.isLent(8));
  EXPECT_FALSE(use('a').isNew);
}

TEST_F(KeyboardSparesTest, LoansThatAMappingDroppedAreForgotten) {
  use('a');
  follow({93}, false);
  EXPECT_FALSE(spares.hasLoans());
  EXPECT_THAT(spares.takeBack(), IsEmpty());
  EXPECT_EQ(use('a'), (KeyboardSpares::Loan{93, true, {}}));
}

TEST_F(KeyboardSparesTest, TakesBackWhatItLentAndNothingElse) {
  use('a');
  use('b');
  EXPECT_TRUE(spares.hasLoans());
  EXPECT_THAT(spares.takeBack(), ElementsAre(8, 93));
  EXPECT_FALSE(spares.hasLoans());
  EXPECT_THAT(spares.takeBack(), IsEmpty());
}

}  // namespace
}  // namespace tovalin
