#include "platform/x11/x11_capture_damage.h"

#include <algorithm>

namespace tovalin {

DamageWatch::DamageWatch(const X11Connection& connection, const PlacedDisplay& display)
    : display_(display) {
  xcb_connection_t* c = connection.get();
  const auto* extension = connection.extension(&xcb_damage_id);
  if (extension == nullptr) return;
  const XcbOwned<xcb_damage_query_version_reply_t> version(
      xcb_damage_query_version_reply(c, xcb_damage_query_version(c, 1, 1), nullptr));
  if (version == nullptr) return;
  const XcbOwned<xcb_generic_error_t> refused(
      xcb_request_check(c, xcb_damage_create_checked(c, xcb_generate_id(c), connection.root(),
                                                     XCB_DAMAGE_REPORT_LEVEL_RAW_RECTANGLES)));
  if (refused == nullptr) firstEvent_ = extension->first_event;
}

std::optional<RowBand> DamageWatch::rowsDrawn(const xcb_generic_event_t& event) const {
  if (!works() || (event.response_type & 0x7f) != firstEvent_ + XCB_DAMAGE_NOTIFY) {
    return std::nullopt;
  }
  const auto& area = reinterpret_cast<const xcb_damage_notify_event_t&>(event).area;
  if (area.x >= display_.left + display_.width || area.x + area.width <= display_.left) {
    return std::nullopt;
  }
  const RowBand rows = commonRows({area.y - display_.top, area.y + area.height - display_.top},
                                  {0, display_.height});
  if (rows.bottom <= rows.top) return std::nullopt;
  return rows;
}

}  // namespace tovalin
