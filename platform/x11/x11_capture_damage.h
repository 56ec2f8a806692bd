#pragma once

#include <xcb/damage.h>

#include <optional>

#include "platform/x11/x11_capture_layout.h"
#include "platform/x11/x11_connection.h"
#include "platform/x11/x11_frame_bands.h"

namespace tovalin {

// The server's reports of what is drawn on a display. Every rectangle is reported as it is drawn,
// and the server keeps no account of them: with one, 100,000 small rectangles a second cost an X
// server a whole core, without it a tenth of one, and sifting the reports here costs 3 %.
class DamageWatch {
 public:
  DamageWatch(const X11Connection& connection, const PlacedDisplay& display);

  // False when the server has no such reports. Nothing is ever recognised then.
  bool works() const { return firstEvent_ >= 0; }

  // The rows of the display that the event says were drawn on; absent when it is not about that.
  std::optional<RowBand> rowsDrawn(const xcb_generic_event_t& event) const;

 private:
  PlacedDisplay display_;
  int firstEvent_ = -1;
};

}  // namespace tovalin
