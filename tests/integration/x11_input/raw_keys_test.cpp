#include "platform/linux/virtual_keys.h"
#include "tests/integration/x11_input/x11_input_fixture.h"

namespace tovalin::test {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

constexpr uint16_t kKeyA = 0;
constexpr uint16_t kKeyB = 11;
constexpr uint16_t kKeyC = 8;
constexpr uint16_t kKey1 = 18;
constexpr uint16_t kCommandKey = 55;
constexpr int kKeycodeOfA = 38;
constexpr int kGreatestKeycode = 255;

class X11RawKeysTest : public X11InputTest {
 protected:
  struct KeySeen {
    bool down;
    int keycode;
    bool operator==(const KeySeen&) const = default;
  };

  std::vector<KeySeen> keysSeen() {
    std::vector<KeySeen> keys;
    for (const auto& event : seenKeys()) {
      keys.push_back({event.type == XCB_KEY_PRESS, event.detail});
    }
    return keys;
  }

  // The modifiers in effect when `keycode` went down.
  int modifiersAtPressOf(int keycode) {
    for (const auto& event : seenKeys()) {
      if (event.type == XCB_KEY_PRESS && event.detail == keycode) return event.state;
    }
    return -1;
  }

  void expectNothingHeld() {
    EXPECT_FALSE(watcher.anyKeyIsDown());
    EXPECT_EQ(watcher.modifiers(), 0);
  }
};

TEST_F(X11RawKeysTest, EveryKeyArrivesAtItsPlace) {
  for (const auto& [code, evdev] : virtualKeys()) {
    SCOPED_TRACE(code);
    const int keycode = evdev + 8;
    tapKey(code);
    if (keycode > kGreatestKeycode) {
      EXPECT_THAT(keysSeen(), IsEmpty());
    } else {
      EXPECT_THAT(keysSeen(), ElementsAre(KeySeen{true, keycode}, KeySeen{false, keycode}));
    }
  }
}

TEST_F(X11RawKeysTest, UnknownCodesAreSkipped) {
  for (const uint16_t code : {52, 127, 200, 65535}) tapKey(code, kFlagShift);
  EXPECT_THAT(keysSeen(), IsEmpty());
}

TEST_F(X11RawKeysTest, FlagsAreHeldAroundTheKey) {
  const struct {
    uint64_t flags;
    int modifiers;
  } cases[] = {
      {kFlagControl, XCB_MOD_MASK_CONTROL},
      {kFlagShift, XCB_MOD_MASK_SHIFT},
      {kFlagOption, XCB_MOD_MASK_1},
      {kFlagCommand, XCB_MOD_MASK_4},
      {kFlagControl | kFlagShift, XCB_MOD_MASK_CONTROL | XCB_MOD_MASK_SHIFT},
      {kFlagFunction, 0},
      {0, 0},
  };
  for (const auto& [flags, modifiers] : cases) {
    SCOPED_TRACE(flags);
    tapKey(kKeyA, flags);
    EXPECT_EQ(modifiersAtPressOf(kKeycodeOfA), modifiers);
    expectNothingHeld();
  }
}

TEST_F(X11RawKeysTest, ModifierKeysWithTheirOwnFlagsLeaveNothingHeld) {
  key(kShiftKey, true, kFlagShift);
  key(kCommandKey, true, kFlagShift | kFlagCommand);
  tapKey(kKeyA, kFlagShift | kFlagCommand);
  EXPECT_EQ(modifiersAtPressOf(kKeycodeOfA), XCB_MOD_MASK_SHIFT | XCB_MOD_MASK_4);
  key(kShiftKey, false, kFlagCommand);
  key(kCommandKey, false);
  seen();
  expectNothingHeld();
}

TEST_F(X11RawKeysTest, HeldModifierKeyAppliesToKeysWithoutFlags) {
  key(kShiftKey, true);
  tapKey(kKeyA);
  EXPECT_EQ(modifiersAtPressOf(kKeycodeOfA), XCB_MOD_MASK_SHIFT);
  key(kShiftKey, false);
  tapKey(kKeyA);
  EXPECT_EQ(modifiersAtPressOf(kKeycodeOfA), 0);
}

TEST_F(X11RawKeysTest, SettlingLiftsFlagModifiersOfAKeyThatWasNeverLifted) {
  key(kKeyA, true, kFlagShift | kFlagControl);
  seen();
  EXPECT_EQ(watcher.modifiers(), XCB_MOD_MASK_SHIFT | XCB_MOD_MASK_CONTROL);
  input->settle();
  seen();
  EXPECT_EQ(watcher.modifiers(), 0);
  key(kKeyA, false);
  seen();
  expectNothingHeld();
}

TEST_F(X11RawKeysTest, DestructionLiftsFlagModifiers) {
  key(kKeyA, true, kFlagCommand);
  seen();
  EXPECT_EQ(watcher.modifiers(), XCB_MOD_MASK_4);
  input.reset();
  EXPECT_EQ(watcher.modifiers(), 0);
}

TEST_F(X11RawKeysTest, CapsLockFlagMakesCapitalsAndLeavesDigitsAndShortcutsAlone) {
  tapKey(kKeyA, kFlagCapsLock);
  tapKey(kKey1, kFlagCapsLock);
  EXPECT_EQ(seenText(), "A1");
  tapKey(kKeyC, kFlagCapsLock | kFlagControl);
  EXPECT_EQ(modifiersAtPressOf(54), XCB_MOD_MASK_CONTROL);
  EXPECT_FALSE(watcher.keyboard().capsAreLocked());
}

TEST_F(X11RawKeysTest, CapsLockFlagAndALockThatIsOnMakeCapitalsTogether) {
  tapKey(kKeyB);
  watcher.keyboard().lockCaps(true);
  // Lets the adapter hear of the lock, which is no event that a viewer could cause.
  seen();
  tapKey(kKeyA, kFlagCapsLock);
  EXPECT_EQ(seenText(), "A");
  EXPECT_TRUE(watcher.keyboard().capsAreLocked());
}

}  // namespace
}  // namespace tovalin::test
