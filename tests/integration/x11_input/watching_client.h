#pragma once

#include <xcb/xcb.h>

#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "platform/x11/x11_connection.h"
#include "tests/integration/x11_input/keyboard_client.h"

namespace tovalin::test {

// An input event as a program got it.
struct SeenEvent {
  // XCB_MOTION_NOTIFY, XCB_BUTTON_PRESS, …; XCB_MAPPING_NOTIFY: a keycode got other symbols.
  int type = 0;
  int detail = 0;  // button or keycode
  int state = 0;   // modifiers and buttons before the event
  int x = 0;
  int y = 0;
  xcb_timestamp_t time = 0;  // the server's
  std::string text;          // what a key press stands for, as UTF-8

  bool isKey() const { return type == XCB_KEY_PRESS || type == XCB_KEY_RELEASE; }
  bool isButton() const { return type == XCB_BUTTON_PRESS || type == XCB_BUTTON_RELEASE; }
};

// A program with a focused window over the whole screen: it sees what users' programs see.
class WatchingClient {
 public:
  // Returns when the window is there and has the focus.
  explicit WatchingClient(const std::string& display);

  // Every event up to and without the first that `isLast`. Throws when that never comes.
  std::vector<SeenEvent> eventsUntil(const std::function<bool(const SeenEvent&)>& isLast);

  // Places where the pointer is right now, and which keys and modifiers are down.
  std::pair<int, int> pointer() const;
  bool anyKeyIsDown() const;
  int modifiers() const;

  KeyboardClient& keyboard() { return keyboard_; }
  xcb_connection_t* connection() const { return connection_.get(); }
  xcb_window_t root() const { return connection_.root(); }

 private:
  void openWindow();
  XcbOwned<xcb_generic_event_t> nextEvent();
  std::optional<SeenEvent> seen(const xcb_generic_event_t& event);

  X11Connection connection_;
  KeyboardClient keyboard_;
};

}  // namespace tovalin::test
