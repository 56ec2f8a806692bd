#include "platform/x11/x11_input_session.h"

#include <algorithm>
#include <cmath>
#include <cstdlib>

#include "platform/linux/virtual_keys.h"

namespace tovalin {
namespace {

// X11's buttons count from the left; the wheel's directions are buttons too.
constexpr uint8_t kLeftButton = 1;
constexpr uint8_t kCenterButton = 2;
constexpr uint8_t kRightButton = 3;
constexpr uint8_t kWheelUp = 4;
constexpr uint8_t kWheelDown = 5;

// Wheel clicks that one message may cause. More than anybody turns in one go, and few enough for
// programs that scroll at every click, which would otherwise work through thousands.
constexpr int64_t kMostWheelClicks = 100;

// X11's keycodes are one byte wide and begin at 8.
constexpr uint16_t kFirstKeycode = 8;
constexpr uint16_t kLastEvdevKey = 255 - kFirstKeycode;

// The last pixel of a display is one less than its end.
int16_t pixel(double position, double origin, double extent) {
  const double last = origin + std::max(extent - 1, 0.0);
  return static_cast<int16_t>(std::clamp(std::round(position), origin, last));
}

}  // namespace

X11InputSession::X11InputSession(const std::string& displayName)
    : connection_(displayName),
      device_(connection_),
      displaysWatch_(connection_),
      displays_(readDisplayLayout(connection_)),
      keyboard_(connection_),
      typist_(connection_, device_, keyboard_, [this] { catchUp(); }) {
  if (isAlive()) flush();
}

void X11InputSession::catchUp() {
  bool displaysChanged = false;
  // Errors come this way as well; what the server refused is skipped.
  while (const auto event = XcbOwned<xcb_generic_event_t>(xcb_poll_for_event(connection_.get()))) {
    displaysChanged |= displaysWatch_.concerns(*event);
    keyboard_.handle(*event);
  }
  if (displaysChanged) displays_ = readDisplayLayout(connection_);
}

Rect X11InputSession::mainBounds() const {
  const PlacedDisplay* main = displays_.find(displays_.main);
  if (main == nullptr) return {};
  return {static_cast<double>(main->left), static_cast<double>(main->top),
          static_cast<double>(main->width), static_cast<double>(main->height)};
}

// Click states need no doing: programs on X11 count clicks themselves, by time and place.
void X11InputSession::post(const MouseEvent& event) {
  // Also before a button, even if the last event went to the same place: somebody at the desk may
  // have moved the mouse since, and asking would take a round trip.
  place(event.position);
  switch (event.type) {
    case MouseEventType::moved:
    case MouseEventType::leftDragged:
    case MouseEventType::rightDragged:
      break;
    case MouseEventType::leftDown:
    case MouseEventType::leftUp:
      device_.button(kLeftButton, event.type == MouseEventType::leftDown);
      break;
    case MouseEventType::rightDown:
    case MouseEventType::rightUp:
      device_.button(kRightButton, event.type == MouseEventType::rightDown);
      break;
    case MouseEventType::otherDown:
    case MouseEventType::otherUp:
      device_.button(kCenterButton, event.type == MouseEventType::otherDown);
      break;
  }
  flush();
}

void X11InputSession::post(const KeyboardEvent& event) {
  if (event.unicodeString.empty()) {
    postRawKey(event);
  } else if (event.down) {
    // Typed at the first half of the pair, press and release: a second half that never comes must
    // not leave a key repeating, nor a borrowed keycode pressed.
    typist_.type(event.unicodeString);
  }
  flush();
}

void X11InputSession::post(const ScrollEvent& event) {
  const int64_t clicks = std::min(std::abs(int64_t{event.lines}), kMostWheelClicks);
  const uint8_t button = event.lines > 0 ? kWheelUp : kWheelDown;
  for (int64_t click = 0; click < clicks; ++click) {
    device_.button(button, true);
    device_.button(button, false);
  }
  flush();
}

void X11InputSession::settle() {
  postSteps(modifiers_.liftAll());
  typist_.restoreMapping();
  // Waits until it is done: when this connection is closed next, the server may drop what it has
  // not got to.
  xcb_connection_t* c = connection_.get();
  XcbOwned<xcb_get_input_focus_reply_t>(
      xcb_get_input_focus_reply(c, xcb_get_input_focus(c), nullptr));
}

void X11InputSession::place(const Point& position) {
  const Rect bounds = mainBounds();
  device_.motion(pixel(position.x, bounds.x, bounds.width),
                 pixel(position.y, bounds.y, bounds.height));
}

void X11InputSession::postRawKey(const KeyboardEvent& event) {
  const auto key = evdevCode(event.keyCode);
  if (!key || *key > kLastEvdevKey) return;
  postSteps(modifiers_.keyEvent(*key, event.down, event.flags, keyboard_.capsLockIsOn()));
}

void X11InputSession::postSteps(const std::vector<KeyStep>& steps) {
  for (const auto& step : steps) {
    device_.key(static_cast<xcb_keycode_t>(step.key + kFirstKeycode), step.down);
  }
}

void X11InputSession::flush() {
  xcb_flush(connection_.get());
}

}  // namespace tovalin
