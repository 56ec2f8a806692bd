#pragma once

#include <array>
#include <cstdint>
#include <set>
#include <vector>

namespace tovalin {

// A key to press or lift, by its evdev code.
struct KeyStep {
  uint16_t key = 0;
  bool down = true;

  bool operator==(const KeyStep&) const = default;
};

// Turns key events that carry modifier flags into presses and releases of real modifier keys.
//
// A flag presses its modifier before the key that carries it, unless the viewer holds that modifier
// by its own key; it stays down until that key is lifted, so that the key's repetitions and
// shortcuts see it. The next key gets the flag modifiers that it asks for itself and no others:
// fast typists press the next key before they lift the last one, and its Shift must not spread.
//
// Events of modifier keys stand for themselves, whatever flags they carry: those only repeat what
// the viewer holds.
//
// The caps lock flag presses Shift for the 26 letter places of a Latin keyboard, as long as no
// shortcut is meant (control, option or command) and this computer's own lock is off. The lock
// itself is never switched for a flag: a lost key-up would leave it on. fn has no counterpart.
//
// Pure: what is down follows from the events alone.
class KeyboardModifiers {
 public:
  // What to do for one key event, in order.
  std::vector<KeyStep> keyEvent(uint16_t key, bool down, uint64_t flags, bool capsLockIsOn);

  // Lifts what flags pressed. Modifiers that the viewer pressed by their keys are its to lift.
  std::vector<KeyStep> liftAll();

 private:
  struct Modifier {
    uint64_t flag = 0;
    uint16_t leftKey = 0;   // the one that flags press
    uint16_t rightKey = 0;  // counts as held as well
    bool leftHeld = false;
    bool rightHeld = false;
    bool pressedByFlag = false;
    std::set<uint16_t> askedBy = {};  // keys still down that carried the flag

    bool held() const { return leftHeld || rightHeld; }
  };

  Modifier* modifierOf(uint16_t key);
  std::vector<KeyStep> modifierEvent(Modifier& modifier, uint16_t key, bool down);
  uint64_t wantedFlags(uint16_t key, uint64_t flags, bool capsLockIsOn) const;

  std::array<Modifier, 4> modifiers_ = initialModifiers();
  static std::array<Modifier, 4> initialModifiers();
};

}  // namespace tovalin
