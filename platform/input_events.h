#pragma once

#include <cstdint>
#include <string>

#include "platform/screen_capture.h"

namespace tovalin {

struct Point {
  double x = 0;
  double y = 0;

  bool operator==(const Point&) const = default;
};

struct Rect {
  double x = 0;
  double y = 0;
  double width = 0;
  double height = 0;

  bool operator==(const Rect&) const = default;
};

enum class MouseButton : int { left = 0, right = 1, center = 2 };

// Numbers as the viewer's platform knows them; they name what happened, not how it is posted.
enum class MouseEventType : int {
  leftDown = 1,
  leftUp = 2,
  rightDown = 3,
  rightUp = 4,
  moved = 5,
  leftDragged = 6,
  rightDragged = 7,
  otherDown = 25,
  otherUp = 26,
};

struct MouseEvent {
  MouseEventType type = MouseEventType::moved;
  Point position;  // global display coordinates, pixels
  MouseButton button = MouseButton::left;
  int64_t clickState = 1;  // 1 single, 2 double, …

  bool operator==(const MouseEvent&) const = default;
};

// Modifier flag masks as they come from the viewer; other bits are ignored.
inline constexpr uint64_t kFlagCapsLock = 0x00010000;
inline constexpr uint64_t kFlagShift = 0x00020000;
inline constexpr uint64_t kFlagControl = 0x00040000;
inline constexpr uint64_t kFlagOption = 0x00080000;
inline constexpr uint64_t kFlagCommand = 0x00100000;
inline constexpr uint64_t kFlagFunction = 0x00800000;

struct KeyboardEvent {
  uint16_t keyCode = 0;  // positional Macintosh virtual key code
  bool down = true;
  uint64_t flags = 0;            // 0: whatever modifiers are held apply
  std::u16string unicodeString;  // not empty: type this text, the key code means nothing

  bool operator==(const KeyboardEvent&) const = default;
};

struct ScrollEvent {
  int32_t lines = 0;  // wheel 1; positive scrolls up

  bool operator==(const ScrollEvent&) const = default;
};

// Posts input into the desktop. Calls come from one thread at a time, never block on the display
// server beyond a flush, and report nothing: what cannot be posted is skipped.
class InputEvents {
 public:
  virtual ~InputEvents() = default;

  virtual DisplayId mainDisplay() const = 0;
  // The display's place in global coordinates, as last known; follows resizes.
  virtual Rect bounds(DisplayId display) const = 0;

  virtual void post(const MouseEvent& event) = 0;
  virtual void post(const KeyboardEvent& event) = 0;
  virtual void post(const ScrollEvent& event) = 0;

  // The visit is over: lifts every modifier that flags pressed and gives back what typing borrowed
  // from the keyboard mapping. Keys and buttons posted as down are their poster's to lift.
  virtual void settle() = 0;
};

}  // namespace tovalin
