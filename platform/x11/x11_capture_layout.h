#pragma once

#include <xcb/xcb.h>

#include <string>
#include <vector>

#include "platform/screen_capture.h"
#include "platform/x11/x11_connection.h"

namespace tovalin {

// A display and the part of the root window that it shows.
struct PlacedDisplay {
  DisplayId id = 0;
  int left = 0;
  int top = 0;
  int width = 0;
  int height = 0;

  bool operator==(const PlacedDisplay&) const = default;
};

// The displays of a screen: its outputs that show something, named by their RandR identifiers; or,
// where there are none (no RandR, every output off), the root window, named by its own.
struct DisplayLayout {
  std::vector<PlacedDisplay> displays;
  DisplayId main = 0;

  // Null when there is no such display.
  const PlacedDisplay* find(DisplayId id) const;
};

// Blocks for a few answers. A dead connection has no displays.
DisplayLayout readDisplayLayout(const X11Connection& connection);

// Says why a stream that was started on `before` cannot go on in `after`; empty when it can. A
// stream that showed the main display stays with the main display.
std::string whyLayoutEndsStream(const PlacedDisplay& streamed, bool streamedIsMain,
                                const DisplayLayout& after);

// Asks for events about the layout and recognises them. Without RandR nothing ever changes.
class LayoutWatch {
 public:
  explicit LayoutWatch(const X11Connection& connection);

  bool concerns(const xcb_generic_event_t& event) const;

 private:
  int firstEvent_ = -1;
};

}  // namespace tovalin
