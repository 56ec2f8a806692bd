#pragma once

#include <xcb/xcb.h>

#include <cstdint>
#include <string>
#include <vector>

#include "platform/x11/x11_connection.h"

namespace tovalin::test {

// Another program on the desktop: paints, moves the pointer, rearranges the screen. Everything is
// done by the server when an operation returns.
class DesktopClient {
 public:
  explicit DesktopClient(const std::string& display);

  // Fills a rectangle of the root window with 0xRRGGBB (a pixel value, on a 24-bit screen).
  void fill(int x, int y, int width, int height, uint32_t color);
  // Many rectangles in one go.
  struct Fill {
    int x, y, width, height;
    uint32_t color;
  };
  void fill(const std::vector<Fill>& fills);

  // Moves the pointer as a device does, and as a program does.
  void movePointer(int x, int y);
  void warpPointer(int x, int y);

  // Gives the desktop a square opaque pointer of one colour, whose hot spot is its middle.
  void setCursor(int size, uint32_t color);

  // The screen's pixels as 0xRRGGBB words with their topmost byte clear, for 24-bit screens.
  std::vector<uint32_t> screen(int width, int height);

  // Switches the only output off, or to a new size together with the screen.
  void switchOff();
  void resize(int width, int height);
  // Has the output show this part of the screen.
  void showPart(int x, int y, int width, int height);

  int width() const { return connection_.screen()->width_in_pixels; }
  int height() const { return connection_.screen()->height_in_pixels; }

 private:
  void sync();

  X11Connection connection_;
  xcb_gcontext_t context_;
};

}  // namespace tovalin::test
