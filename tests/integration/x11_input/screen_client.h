#pragma once

#include <xcb/xcb.h>

#include <string>

#include "platform/x11/x11_connection.h"

namespace tovalin::test {

// The desk's screen as its user changes it: size, screen saver.
class ScreenClient {
 public:
  explicit ScreenClient(const std::string& display) : connection_(display) {}

  // Gives the one output a mode of that size and shrinks the screen to it. Returns when done.
  void resize(uint16_t width, uint16_t height);

  void startScreenSaver();
  // Seconds without input after which the screen saver starts by itself.
  void setScreenSaverTimeout(int16_t seconds);
  bool screenSaverIsOn() const;
  uint32_t idleMs() const;

 private:
  X11Connection connection_;
};

}  // namespace tovalin::test
