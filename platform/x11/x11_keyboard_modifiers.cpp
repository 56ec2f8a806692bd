#include "platform/x11/x11_keyboard_modifiers.h"

#include <linux/input-event-codes.h>

#include "platform/input_events.h"

namespace tovalin {
namespace {

constexpr uint64_t kShortcutFlags = kFlagControl | kFlagOption | kFlagCommand;

bool isLetterPlace(uint16_t key) {
  return (key >= KEY_Q && key <= KEY_P) || (key >= KEY_A && key <= KEY_L) ||
         (key >= KEY_Z && key <= KEY_M);
}

}  // namespace

std::array<KeyboardModifiers::Modifier, 4> KeyboardModifiers::initialModifiers() {
  return {Modifier{kFlagShift, KEY_LEFTSHIFT, KEY_RIGHTSHIFT},
          Modifier{kFlagControl, KEY_LEFTCTRL, KEY_RIGHTCTRL},
          Modifier{kFlagOption, KEY_LEFTALT, KEY_RIGHTALT},
          Modifier{kFlagCommand, KEY_LEFTMETA, KEY_RIGHTMETA}};
}

std::vector<KeyStep> KeyboardModifiers::keyEvent(uint16_t key, bool down, uint64_t flags,
                                                 bool capsLockIsOn) {
  if (auto* modifier = modifierOf(key)) return modifierEvent(*modifier, key, down);
  if (key == KEY_CAPSLOCK) return {{key, down}};

  std::vector<KeyStep> steps;
  if (!down) steps.push_back({key, false});
  const uint64_t wanted = down ? wantedFlags(key, flags, capsLockIsOn) : 0;
  for (auto& modifier : modifiers_) {
    const bool isWanted = (wanted & modifier.flag) != 0;
    if (isWanted && !modifier.held()) {
      if (!modifier.pressedByFlag) steps.push_back({modifier.leftKey, true});
      modifier.pressedByFlag = true;
      modifier.askedBy.insert(key);
    } else if (modifier.pressedByFlag) {
      modifier.askedBy.erase(key);
      if (!down && !modifier.askedBy.empty()) continue;
      steps.push_back({modifier.leftKey, false});
      modifier.pressedByFlag = false;
      modifier.askedBy.clear();
    }
  }
  if (down) steps.push_back({key, true});
  return steps;
}

std::vector<KeyStep> KeyboardModifiers::liftAll() {
  std::vector<KeyStep> steps;
  for (auto& modifier : modifiers_) {
    if (modifier.pressedByFlag) steps.push_back({modifier.leftKey, false});
    modifier.pressedByFlag = false;
    modifier.askedBy.clear();
  }
  return steps;
}

KeyboardModifiers::Modifier* KeyboardModifiers::modifierOf(uint16_t key) {
  for (auto& modifier : modifiers_) {
    if (modifier.leftKey == key || modifier.rightKey == key) return &modifier;
  }
  return nullptr;
}

std::vector<KeyStep> KeyboardModifiers::modifierEvent(Modifier& modifier, uint16_t key, bool down) {
  const bool isLeft = key == modifier.leftKey;
  (isLeft ? modifier.leftHeld : modifier.rightHeld) = down;
  // From here on that key is the viewer's, down or up; no flag lifts it any more.
  if (isLeft && modifier.pressedByFlag) {
    modifier.pressedByFlag = false;
    modifier.askedBy.clear();
    if (down) return {};
  }
  return {{key, down}};
}

uint64_t KeyboardModifiers::wantedFlags(uint16_t key, uint64_t flags, bool capsLockIsOn) const {
  if ((flags & kFlagCapsLock) == 0 || capsLockIsOn || !isLetterPlace(key)) return flags;
  uint64_t shortcut = flags & kShortcutFlags;
  for (const auto& modifier : modifiers_) {
    if (modifier.held()) shortcut |= modifier.flag & kShortcutFlags;
  }
  return shortcut == 0 ? flags | kFlagShift : flags;
}

}  // namespace tovalin
