#include "platform/x11/xtest_device.h"

#include <xcb/xtest.h>

namespace tovalin {

XtestDevice::XtestDevice(const X11Connection& connection)
    : connection_(connection),
      present_(connection.alive() && connection.extension(&xcb_test_id) != nullptr) {
  // Some window managers and screenshot programs hold the whole server until a button is lifted,
  // which could then never reach it.
  if (present_) xcb_test_grab_control(connection.get(), 1);
}

void XtestDevice::motion(int16_t x, int16_t y) const {
  constexpr uint8_t kAbsolute = 0;
  xcb_test_fake_input(connection_.get(), XCB_MOTION_NOTIFY, kAbsolute, XCB_CURRENT_TIME,
                      connection_.root(), x, y, 0);
}

void XtestDevice::button(uint8_t button, bool down) const {
  xcb_test_fake_input(connection_.get(), down ? XCB_BUTTON_PRESS : XCB_BUTTON_RELEASE, button,
                      XCB_CURRENT_TIME, XCB_NONE, 0, 0, 0);
}

void XtestDevice::key(xcb_keycode_t keycode, bool down) const {
  xcb_test_fake_input(connection_.get(), down ? XCB_KEY_PRESS : XCB_KEY_RELEASE, keycode,
                      XCB_CURRENT_TIME, XCB_NONE, 0, 0, 0);
}

}  // namespace tovalin
