#include "input/held_input.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace tovalin {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

TEST(HeldInputTest, HoldsNothingAtFirst) {
  HeldInput held;
  EXPECT_FALSE(held.isDown(MouseButton::left));
  EXPECT_FALSE(held.isDown(MouseButton::right));
  EXPECT_FALSE(held.isDown(MouseButton::center));
  EXPECT_THAT(held.takeAll().keys, IsEmpty());
  EXPECT_THAT(held.takeAll().buttons, IsEmpty());
}

TEST(HeldInputTest, TellsTheButtonsApart) {
  HeldInput held;
  held.setButton(MouseButton::right, true);
  EXPECT_TRUE(held.isDown(MouseButton::right));
  EXPECT_FALSE(held.isDown(MouseButton::left));
  EXPECT_FALSE(held.isDown(MouseButton::center));
}

TEST(HeldInputTest, ARepeatedPressIsHeldOnce) {
  HeldInput held;
  held.setKey(56, true);
  held.setKey(56, true);
  held.setButton(MouseButton::left, true);
  held.setButton(MouseButton::left, true);
  const auto everything = held.takeAll();
  EXPECT_THAT(everything.keys, ElementsAre(56));
  EXPECT_THAT(everything.buttons, ElementsAre(MouseButton::left));
}

TEST(HeldInputTest, OneReleaseEndsARepeatedPress) {
  HeldInput held;
  held.setKey(0, true);
  held.setKey(0, true);
  held.setKey(0, false);
  EXPECT_THAT(held.takeAll().keys, IsEmpty());
}

TEST(HeldInputTest, AReleaseOfWhatIsNotHeldDoesNothing) {
  HeldInput held;
  held.setKey(1, true);
  held.setKey(2, false);
  held.setButton(MouseButton::center, false);
  const auto everything = held.takeAll();
  EXPECT_THAT(everything.keys, ElementsAre(1));
  EXPECT_THAT(everything.buttons, IsEmpty());
}

TEST(HeldInputTest, HandsOverInTheOrderOfPressingAndForgets) {
  HeldInput held;
  held.setKey(56, true);
  held.setKey(0, true);
  held.setButton(MouseButton::center, true);
  held.setButton(MouseButton::left, true);
  const auto everything = held.takeAll();
  EXPECT_THAT(everything.keys, ElementsAre(56, 0));
  EXPECT_THAT(everything.buttons, ElementsAre(MouseButton::center, MouseButton::left));
  EXPECT_FALSE(held.isDown(MouseButton::left));
  EXPECT_THAT(held.takeAll().keys, IsEmpty());
}

}  // namespace
}  // namespace tovalin
