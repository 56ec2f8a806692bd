#pragma once

#include <string>

#include "platform/input_events.h"
#include "platform/x11/x11_capture_layout.h"
#include "platform/x11/x11_connection.h"
#include "platform/x11/x11_keyboard_layout.h"
#include "platform/x11/x11_keyboard_modifiers.h"
#include "platform/x11/x11_keyboard_typist.h"
#include "platform/x11/xtest_device.h"

namespace tovalin {

// Input events on one connection, for as long as that lives. Everything that is known of a server
// (its displays, its keyboard mapping, what is pressed there) begins and ends with it.
class X11InputSession {
 public:
  // Connects, blocking for a few answers.
  explicit X11InputSession(const std::string& displayName);

  // Whether the server can still be reached, as far as is known.
  bool isAlive() const { return connection_.alive(); }
  // Whether it takes events at all.
  bool canPost() const { return device_.present(); }

  // Reads what the server reported, without waiting, and follows it. Blocks for a few answers when
  // the displays have changed.
  void catchUp();

  DisplayId mainDisplay() const { return displays_.main; }
  Rect mainBounds() const;

  // Each is flushed on return.
  void post(const MouseEvent& event);
  void post(const KeyboardEvent& event);
  void post(const ScrollEvent& event);
  // Blocks until the server has done it.
  void settle();

 private:
  void place(const Point& position);
  void postRawKey(const KeyboardEvent& event);
  void postSteps(const std::vector<KeyStep>& steps);
  void flush();

  X11Connection connection_;
  XtestDevice device_;
  LayoutWatch displaysWatch_;
  DisplayLayout displays_;
  X11KeyboardLayout keyboard_;
  X11KeyboardTypist typist_;
  KeyboardModifiers modifiers_;
};

}  // namespace tovalin
