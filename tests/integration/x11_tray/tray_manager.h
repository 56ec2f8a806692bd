#pragma once

#include <xcb/xcb.h>

#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "platform/descriptor_watcher.h"
#include "platform/x11/x11_connection.h"

namespace tovalin::test {

// A tray, as a desktop's panel would be one: a window at a place of the screen, into which it takes
// whatever asks to be docked, in the middle and at a fixed size. Ends as a crash would when it is
// destroyed.
class TrayManager {
 public:
  struct Options {
    uint32_t background = 0x204060;
    int iconSize = 24;        // 0 for what the icon asks for
    bool argb = false;        // asks for windows with an alpha channel
    bool savesIcons = false;  // icons are saved by the server when this ends
  };

  TrayManager(DescriptorWatcher& watcher, const std::string& display, const Options& options);
  ~TrayManager();

  // The icons taken in so far, those that are gone included.
  const std::vector<xcb_window_t>& docked() const { return docked_; }
  // Whether the latest icon is on screen.
  bool showsIcon();
  void resizeIcons(int size);

  // What the screen shows of the tray, pixel by pixel, as 0xRRGGBB.
  std::vector<uint32_t> pixels();
  // The number of pixels that are not the tray's background.
  int paintedPixels();

  // Buttons and the pointer, as the hardware would report them; the place is the icon's middle.
  void moveToIcon();
  void moveAway();
  void press(int button);
  void release(int button);
  void click(int button);

  // Where the latest icon is on the screen.
  int iconX() const;
  int iconY() const;

  static constexpr int kX = 100;
  static constexpr int kY = 40;
  static constexpr int kWidth = 80;
  static constexpr int kHeight = 48;

 private:
  void becomeOwner();
  void process();
  void takeIn(xcb_window_t icon);
  int askedSize(xcb_window_t icon);
  void fake(uint8_t type, uint8_t detail, int x, int y);
  xcb_atom_t atom(const std::string& name);
  void roundTrip();

  const Options options_;
  const X11Connection connection_;
  xcb_window_t window_ = XCB_NONE;
  int iconSize_;
  std::vector<xcb_window_t> docked_;
  std::unique_ptr<Subscription> watch_;
};

// Whether a window of that id exists and is viewable.
bool isViewable(const X11Connection& connection, xcb_window_t window);
// The top-level windows of the screen, mapped ones only.
std::vector<xcb_window_t> viewableTopLevels(const X11Connection& connection);

}  // namespace tovalin::test
