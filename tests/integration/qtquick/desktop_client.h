#pragma once

#include <xcb/xcb.h>

#include <cstdint>
#include <string>
#include <vector>

#include "platform/x11/x11_connection.h"

namespace tovalin::test {

// A picture of the whole screen, as the X server has it.
struct Screenshot {
  int width = 0;
  int height = 0;
  std::vector<uint32_t> pixels;  // 0xRRGGBB

  uint32_t at(int x, int y) const { return pixels[static_cast<size_t>(y) * width + x]; }
};

// Another program on the desktop: has windows of its own, works the pointer and the keyboard, and
// sees of the host's windows what the X server shows.
class DesktopClient {
 public:
  explicit DesktopClient(const std::string& display) : connection_(display) {}

  // A managed window filled with `colour`, or one over the full screen; with the focus.
  xcb_window_t openWindow(uint32_t colour, bool fullScreen);
  // A window over everything else, as a rude program's.
  xcb_window_t openOnTop(uint32_t colour);

  Screenshot screenshot() const;
  xcb_window_t focus() const;
  xcb_window_t activeWindow() const;
  // Whether the window manager treats the window as being in that _NET_WM_STATE.
  bool hasState(xcb_window_t window, const std::string& state) const;
  uint32_t workspace() const;
  void switchToWorkspace(uint32_t number);

  void movePointer(int x, int y) const;
  void pressButton(bool down) const;
  void click(int x, int y) const;
  // One key, by its X keycode; with `shift` held.
  void type(uint8_t keycode, bool shift = false) const;

 private:
  xcb_window_t makeWindow(uint32_t colour, int width, int height, bool unmanaged);
  xcb_atom_t atom(const std::string& name) const;
  uint32_t rootProperty(const std::string& name) const;
  void fake(uint8_t type, uint8_t detail, int x = 0, int y = 0) const;

  X11Connection connection_;
};

inline constexpr uint8_t kEscapeKey = 9;
inline constexpr uint8_t kTabKey = 23;
inline constexpr uint8_t kReturnKey = 36;
inline constexpr uint8_t kSpaceKey = 65;

}  // namespace tovalin::test
