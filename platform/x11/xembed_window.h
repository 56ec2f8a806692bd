#pragma once

#include <xcb/xcb.h>

#include <optional>
#include <string>

#include "platform/tray_icon.h"
#include "platform/x11/x11_connection.h"
#include "platform/x11/x11_icon_canvas.h"

namespace tovalin {

// The atoms that the window's properties need.
struct XembedWindowAtoms {
  xcb_atom_t info = XCB_NONE;  // _XEMBED_INFO
  xcb_atom_t name = XCB_NONE;  // _NET_WM_NAME
  xcb_atom_t utf8 = XCB_NONE;  // UTF8_STRING
};

// The window of a tray icon: made outside of any tray, to be shown by the tray that takes it in.
// No call waits for the server, and none flushes. Main thread.
class XembedWindow {
 public:
  // `trayVisual` as the tray asks for it; XCB_NONE for the screen's own.
  XembedWindow(const X11Connection& connection, const X11IconCanvas& canvas,
               const XembedWindowAtoms& atoms, xcb_visualid_t trayVisual);
  ~XembedWindow();
  XembedWindow(const XembedWindow&) = delete;
  XembedWindow& operator=(const XembedWindow&) = delete;

  xcb_window_t id() const { return id_; }

  void setName(const std::string& name);
  // Lets the tray's own background shine through, once the window is in the tray.
  void takeBackgroundOfParent();
  // True when the size is a new one.
  bool resized(const xcb_configure_notify_event_t& event);
  // The side of the largest square that fits in.
  int pictureSize() const;
  void paint(const IconPicture& picture);
  // Takes a press or a release of a button; the place of the window when that ends a click.
  std::optional<TrayArea> clicked(const xcb_button_press_event_t& event);
  // The server has destroyed the window.
  void forget() { id_ = XCB_NONE; }

 private:
  const X11Connection& connection_;
  const X11IconCanvas& canvas_;
  const XembedWindowAtoms atoms_;
  xcb_window_t id_;
  xcb_visualid_t visual_;
  bool seeThrough_ = false;
  int width_;
  int height_;
  bool pressed_ = false;
};

}  // namespace tovalin
