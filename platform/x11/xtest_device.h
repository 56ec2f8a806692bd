#pragma once

#include <cstdint>

#include "platform/x11/x11_connection.h"

namespace tovalin {

// The virtual pointer and keyboard of the server's XTEST extension. Requests are queued on the
// connection, in order with its other requests; none waits for an answer.
class XtestDevice {
 public:
  // Blocks for an answer or two.
  explicit XtestDevice(const X11Connection& connection);

  // Whether the server has the extension. Without it nothing may be posted.
  bool present() const { return present_; }

  void motion(int16_t x, int16_t y) const;
  void button(uint8_t button, bool down) const;
  void key(xcb_keycode_t keycode, bool down) const;

 private:
  const X11Connection& connection_;
  bool present_;
};

}  // namespace tovalin
