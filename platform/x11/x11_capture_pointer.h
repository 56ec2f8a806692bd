#pragma once

#include <xcb/xfixes.h>

#include <cstdint>
#include <map>
#include <memory>

#include "platform/x11/x11_capture_layout.h"
#include "platform/x11/x11_capture_notices.h"
#include "platform/x11/x11_connection.h"
#include "platform/x11/x11_frame_cursor.h"

namespace tovalin {

// Where the pointer is on a display and what it looks like.
//
// Its motion damages nothing. Raw motion events (XInput 2.1, sent to the root window also while
// somebody holds a grab) tell that it moved; the position is then asked for together with the
// picture's pixels, so it costs no round trip of its own, and a resting pointer costs nothing.
// Warping makes no raw event, so the position is also looked up twice a second. Servers
// without raw motion are looked at as often as pictures may be taken.
class PointerWatch {
 public:
  // Without `show`, or where the server does not tell cursor images (XFixes), nothing is ever
  // seen. Blocks for a few answers.
  PointerWatch(const X11Connection& connection, const PlacedDisplay& display, bool show,
               CaptureNotices& notices);

  bool shows() const { return firstEvent_ >= 0; }
  bool reportsMotion() const { return inputOpcode_ != 0; }

  void handle(const xcb_generic_event_t& event);
  // Whether something may have changed since the server was last asked.
  bool suspected() const { return suspected_; }

  // Sends the questions; `collect` waits for the answers. Only in pairs.
  void ask();
  void collect();
  // Asks and suspects a change if there was one.
  void lookAgain();

  // As of the last answer.
  const PlacedCursor& cursor() const { return cursor_; }

 private:
  void watchMotion();
  void keepShape(const xcb_xfixes_get_cursor_image_reply_t& image);

  const X11Connection& connection_;
  PlacedDisplay display_;
  int firstEvent_ = -1;
  uint8_t inputOpcode_ = 0;
  bool suspected_ = false;
  bool shapeUnknown_ = false;
  std::shared_ptr<const CursorShape> shape_;
  std::map<uint32_t, std::shared_ptr<const CursorShape>> shapes_;
  xcb_query_pointer_cookie_t positionRequest_{};
  xcb_xfixes_get_cursor_image_cookie_t shapeRequest_{};
  PlacedCursor cursor_;
};

}  // namespace tovalin
