#pragma once

#include <xcb/render.h>
#include <xcb/xcb.h>

#include "platform/tray_icon.h"
#include "platform/x11/x11_connection.h"

namespace tovalin {

// Paints see-through pictures into windows of any visual, over what the window's background shows.
// Needs the RENDER extension, without which `usable` is false and nothing is painted. Making one
// waits for one answer of the server; painting waits for none. The owner decides on the thread.
class X11IconCanvas {
 public:
  explicit X11IconCanvas(const X11Connection& connection);

  bool usable() const { return argb_ != XCB_NONE; }

  // Paints `picture` into the middle of a window of that visual and size; the requests are not yet
  // flushed.
  void paint(const IconPicture& picture, xcb_window_t window, xcb_visualid_t visual, int width,
             int height) const;

 private:
  xcb_render_pictformat_t formatOf(xcb_visualid_t visual) const;
  xcb_pixmap_t upload(const IconPicture& picture) const;

  const X11Connection& connection_;
  XcbOwned<xcb_render_query_pict_formats_reply_t> formats_;
  xcb_render_pictformat_t argb_ = XCB_NONE;
};

}  // namespace tovalin
