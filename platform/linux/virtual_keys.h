#pragma once

#include <cstdint>
#include <optional>
#include <span>

namespace tovalin {

// One key by the viewer's name for its place on the keyboard and by Linux's.
struct VirtualKey {
  uint16_t code = 0;   // positional Macintosh virtual key code (kVK_*)
  uint16_t evdev = 0;  // KEY_* of linux/input-event-codes.h; X11's keycode is this + 8
};

// Every key known, ordered by `code`.
std::span<const VirtualKey> virtualKeys();

// The evdev code of the key in the place that `code` names; absent for codes that name none.
std::optional<uint16_t> evdevCode(uint16_t code);

}  // namespace tovalin
