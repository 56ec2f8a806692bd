#include "platform/x11/x11_keyboard_modifiers.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <linux/input-event-codes.h>

#include <string>

#include "platform/input_events.h"

namespace tovalin {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

constexpr KeyStep down(uint16_t key) {
  return {key, true};
}
constexpr KeyStep up(uint16_t key) {
  return {key, false};
}

class KeyboardModifiersTest : public testing::Test {
 protected:
  std::vector<KeyStep> press(uint16_t key, uint64_t flags = 0, bool capsLockIsOn = false) {
    return modifiers.keyEvent(key, true, flags, capsLockIsOn);
  }
  std::vector<KeyStep> lift(uint16_t key, uint64_t flags = 0) {
    return modifiers.keyEvent(key, false, flags, false);
  }

  KeyboardModifiers modifiers;
};

TEST_F(KeyboardModifiersTest, KeysWithoutFlagsPassThrough) {
  EXPECT_THAT(press(KEY_A), ElementsAre(down(KEY_A)));
  EXPECT_THAT(lift(KEY_A), ElementsAre(up(KEY_A)));
}

TEST_F(KeyboardModifiersTest, FlagPressesItsModifierAroundTheKey) {
  const struct {
    uint64_t flag;
    uint16_t modifier;
  } cases[] = {{kFlagShift, KEY_LEFTSHIFT},
               {kFlagControl, KEY_LEFTCTRL},
               {kFlagOption, KEY_LEFTALT},
               {kFlagCommand, KEY_LEFTMETA}};
  for (const auto& [flag, modifier] : cases) {
    SCOPED_TRACE(modifier);
    EXPECT_THAT(press(KEY_A, flag), ElementsAre(down(modifier), down(KEY_A)));
    EXPECT_THAT(lift(KEY_A, flag), ElementsAre(up(KEY_A), up(modifier)));
  }
}

TEST_F(KeyboardModifiersTest, SeveralFlagsPressSeveralModifiers) {
  EXPECT_THAT(press(KEY_A, kFlagShift | kFlagControl | kFlagOption | kFlagCommand),
              ElementsAre(down(KEY_LEFTSHIFT), down(KEY_LEFTCTRL), down(KEY_LEFTALT),
                          down(KEY_LEFTMETA), down(KEY_A)));
  EXPECT_THAT(lift(KEY_A), ElementsAre(up(KEY_A), up(KEY_LEFTSHIFT), up(KEY_LEFTCTRL),
                                       up(KEY_LEFTALT), up(KEY_LEFTMETA)));
}

TEST_F(KeyboardModifiersTest, FunctionAndUnknownFlagsPressNothing) {
  EXPECT_THAT(press(KEY_A, kFlagFunction | 0x100 | 0x20000000), ElementsAre(down(KEY_A)));
}

TEST_F(KeyboardModifiersTest, RepeatedKeyKeepsItsModifier) {
  press(KEY_A, kFlagShift);
  EXPECT_THAT(press(KEY_A, kFlagShift), ElementsAre(down(KEY_A)));
  EXPECT_THAT(lift(KEY_A), ElementsAre(up(KEY_A), up(KEY_LEFTSHIFT)));
}

TEST_F(KeyboardModifiersTest, ModifierStaysUntilTheLastKeyThatAskedIsLifted) {
  press(KEY_A, kFlagControl);
  EXPECT_THAT(press(KEY_B, kFlagControl), ElementsAre(down(KEY_B)));
  EXPECT_THAT(lift(KEY_A), ElementsAre(up(KEY_A)));
  EXPECT_THAT(lift(KEY_B), ElementsAre(up(KEY_B), up(KEY_LEFTCTRL)));
}

TEST_F(KeyboardModifiersTest, ShiftDoesNotSpreadToTheNextKeyOfAFastTypist) {
  press(KEY_A, kFlagShift);
  EXPECT_THAT(press(KEY_B), ElementsAre(up(KEY_LEFTSHIFT), down(KEY_B)));
  EXPECT_THAT(lift(KEY_A), ElementsAre(up(KEY_A)));
  EXPECT_THAT(lift(KEY_B), ElementsAre(up(KEY_B)));
}

TEST_F(KeyboardModifiersTest, HeldModifierKeySatisfiesItsFlag) {
  const uint16_t keys[][2] = {{KEY_LEFTSHIFT, 0}, {KEY_RIGHTSHIFT, 0}};
  for (const auto& [shift, unused] : keys) {
    EXPECT_THAT(press(shift, kFlagShift), ElementsAre(down(shift)));
    EXPECT_THAT(press(KEY_A, kFlagShift), ElementsAre(down(KEY_A)));
    EXPECT_THAT(lift(KEY_A, kFlagShift), ElementsAre(up(KEY_A)));
    EXPECT_THAT(lift(shift), ElementsAre(up(shift)));
  }
}

TEST_F(KeyboardModifiersTest, HeldModifierKeyIsNotLiftedForKeysWithoutItsFlag) {
  press(KEY_LEFTSHIFT);
  EXPECT_THAT(press(KEY_A), ElementsAre(down(KEY_A)));
  EXPECT_THAT(press(KEY_B, kFlagControl), ElementsAre(down(KEY_LEFTCTRL), down(KEY_B)));
}

TEST_F(KeyboardModifiersTest, EventsOfModifierKeysStandForThemselvesWhateverTheirFlags) {
  const struct {
    uint16_t key;
    uint64_t flag;
  } cases[] = {{KEY_LEFTSHIFT, kFlagShift},   {KEY_RIGHTSHIFT, kFlagShift},
               {KEY_LEFTCTRL, kFlagControl},  {KEY_RIGHTCTRL, kFlagControl},
               {KEY_LEFTALT, kFlagOption},    {KEY_RIGHTALT, kFlagOption},
               {KEY_LEFTMETA, kFlagCommand},  {KEY_RIGHTMETA, kFlagCommand},
               {KEY_CAPSLOCK, kFlagCapsLock}, {KEY_CAPSLOCK, kFlagShift}};
  for (const auto& [key, flag] : cases) {
    SCOPED_TRACE(key);
    EXPECT_THAT(press(key, flag), ElementsAre(down(key)));
    EXPECT_THAT(lift(key, flag), ElementsAre(up(key)));
    EXPECT_THAT(press(key, kFlagShift | kFlagCommand), ElementsAre(down(key)));
    EXPECT_THAT(lift(key), ElementsAre(up(key)));
    EXPECT_THAT(modifiers.liftAll(), IsEmpty());
  }
}

TEST_F(KeyboardModifiersTest, ModifierKeyTakesOverWhatAFlagPressed) {
  press(KEY_A, kFlagShift);
  EXPECT_THAT(press(KEY_LEFTSHIFT, kFlagShift), IsEmpty()) << "it is down already";
  EXPECT_THAT(lift(KEY_A), ElementsAre(up(KEY_A)));
  EXPECT_THAT(lift(KEY_LEFTSHIFT), ElementsAre(up(KEY_LEFTSHIFT)));
}

TEST_F(KeyboardModifiersTest, LiftingAModifierKeyLiftsWhatAFlagPressedThere) {
  press(KEY_A, kFlagShift);
  EXPECT_THAT(lift(KEY_LEFTSHIFT), ElementsAre(up(KEY_LEFTSHIFT)));
  EXPECT_THAT(lift(KEY_A), ElementsAre(up(KEY_A)));
}

TEST_F(KeyboardModifiersTest, LiftAllLiftsWhatFlagsPressedOnce) {
  press(KEY_RIGHTCTRL);
  press(KEY_A, kFlagShift | kFlagCommand);
  EXPECT_THAT(modifiers.liftAll(), ElementsAre(up(KEY_LEFTSHIFT), up(KEY_LEFTMETA)));
  EXPECT_THAT(modifiers.liftAll(), IsEmpty());
  EXPECT_THAT(lift(KEY_A), ElementsAre(up(KEY_A)));
}

TEST_F(KeyboardModifiersTest, CapsLockFlagShiftsLettersOnly) {
  for (const uint16_t letter : {KEY_Q, KEY_P, KEY_A, KEY_L, KEY_Z, KEY_M}) {
    EXPECT_THAT(press(letter, kFlagCapsLock), ElementsAre(down(KEY_LEFTSHIFT), down(letter)));
    EXPECT_THAT(lift(letter), ElementsAre(up(letter), up(KEY_LEFTSHIFT)));
  }
  for (const uint16_t other :
       {KEY_1, KEY_0, KEY_LEFTBRACE, KEY_ENTER, KEY_SEMICOLON, KEY_BACKSLASH, KEY_COMMA, KEY_F1}) {
    EXPECT_THAT(press(other, kFlagCapsLock), ElementsAre(down(other)));
    EXPECT_THAT(lift(other), ElementsAre(up(other)));
  }
}

TEST_F(KeyboardModifiersTest, CapsLockFlagLeavesTheCapitalsToALockThatIsOn) {
  EXPECT_THAT(press(KEY_A, kFlagCapsLock, true), ElementsAre(down(KEY_A)));
}

TEST_F(KeyboardModifiersTest, CapsLockFlagDoesNotTurnShortcutsIntoOthers) {
  EXPECT_THAT(press(KEY_C, kFlagCapsLock | kFlagControl),
              ElementsAre(down(KEY_LEFTCTRL), down(KEY_C)));
  lift(KEY_C);
  press(KEY_RIGHTMETA);
  EXPECT_THAT(press(KEY_C, kFlagCapsLock), ElementsAre(down(KEY_C)));
}

}  // namespace
}  // namespace tovalin
