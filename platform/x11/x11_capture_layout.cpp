#include "platform/x11/x11_capture_layout.h"

#include <xcb/randr.h>

#include <algorithm>
#include <optional>

namespace tovalin {
namespace {

template <typename Reply>
XcbOwned<Reply> owned(Reply* reply) {
  return XcbOwned<Reply>(reply);
}

// Version 1.3 is the first that tells the primary output, and the resources without probing the
// monitors, which takes a second on some hardware.
bool hasOutputs(const X11Connection& connection) {
  if (connection.extension(&xcb_randr_id) == nullptr) return false;
  const auto version = owned(xcb_randr_query_version_reply(
      connection.get(), xcb_randr_query_version(connection.get(), 1, 3), nullptr));
  return version != nullptr && (version->major_version > 1 ||
                                (version->major_version == 1 && version->minor_version >= 3));
}

std::optional<PlacedDisplay> rootWindow(const X11Connection& connection) {
  const auto geometry = owned(xcb_get_geometry_reply(
      connection.get(), xcb_get_geometry(connection.get(), connection.root()), nullptr));
  if (geometry == nullptr) return std::nullopt;
  return PlacedDisplay{connection.root(), 0, 0, geometry->width, geometry->height};
}

PlacedDisplay clipped(DisplayId id, const xcb_randr_get_crtc_info_reply_t& crtc,
                      const PlacedDisplay& root) {
  const int left = std::max<int>(crtc.x, 0);
  const int top = std::max<int>(crtc.y, 0);
  return {id, left, top, std::min(crtc.x + crtc.width, root.width) - left,
          std::min(crtc.y + crtc.height, root.height) - top};
}

std::vector<PlacedDisplay> activeOutputs(const X11Connection& connection,
                                         const xcb_randr_get_screen_resources_current_reply_t& all,
                                         const PlacedDisplay& root) {
  xcb_connection_t* c = connection.get();
  const xcb_randr_output_t* outputs = xcb_randr_get_screen_resources_current_outputs(&all);
  const int count = xcb_randr_get_screen_resources_current_outputs_length(&all);
  std::vector<xcb_randr_get_output_info_cookie_t> outputRequests;
  outputRequests.reserve(static_cast<size_t>(count));
  for (int index = 0; index < count; ++index) {
    outputRequests.push_back(xcb_randr_get_output_info(c, outputs[index], all.config_timestamp));
  }
  std::vector<std::pair<DisplayId, xcb_randr_get_crtc_info_cookie_t>> crtcRequests;
  for (int index = 0; index < count; ++index) {
    const auto info = owned(
        xcb_randr_get_output_info_reply(c, outputRequests[static_cast<size_t>(index)], nullptr));
    if (info == nullptr || info->crtc == XCB_NONE) continue;
    crtcRequests.emplace_back(outputs[index],
                              xcb_randr_get_crtc_info(c, info->crtc, all.config_timestamp));
  }
  std::vector<PlacedDisplay> displays;
  for (const auto& [id, request] : crtcRequests) {
    const auto crtc = owned(xcb_randr_get_crtc_info_reply(c, request, nullptr));
    if (crtc == nullptr || crtc->mode == XCB_NONE) continue;
    const PlacedDisplay display = clipped(id, *crtc, root);
    if (display.width > 0 && display.height > 0) displays.push_back(display);
  }
  return displays;
}

}  // namespace

const PlacedDisplay* DisplayLayout::find(DisplayId id) const {
  const auto found = std::find_if(displays.begin(), displays.end(),
                                  [id](const PlacedDisplay& display) { return display.id == id; });
  return found != displays.end() ? &*found : nullptr;
}

DisplayLayout readDisplayLayout(const X11Connection& connection) {
  const auto root = connection.alive() ? rootWindow(connection) : std::nullopt;
  if (!root) return {};
  DisplayLayout layout;
  if (hasOutputs(connection)) {
    xcb_connection_t* c = connection.get();
    const auto resourcesRequest = xcb_randr_get_screen_resources_current(c, connection.root());
    const auto primaryRequest = xcb_randr_get_output_primary(c, connection.root());
    const auto resources =
        owned(xcb_randr_get_screen_resources_current_reply(c, resourcesRequest, nullptr));
    const auto primary = owned(xcb_randr_get_output_primary_reply(c, primaryRequest, nullptr));
    if (resources != nullptr) layout.displays = activeOutputs(connection, *resources, *root);
    if (primary != nullptr) layout.main = primary->output;
  }
  if (layout.displays.empty()) layout.displays.push_back(*root);
  if (layout.find(layout.main) == nullptr) layout.main = layout.displays.front().id;
  return layout;
}

std::string whyLayoutEndsStream(const PlacedDisplay& streamed, bool streamedIsMain,
                                const DisplayLayout& after) {
  const auto size = [](const PlacedDisplay& display) {
    return std::to_string(display.width) + "x" + std::to_string(display.height);
  };
  const PlacedDisplay* now = after.find(streamed.id);
  if (now == nullptr) return "the display is gone";
  if (now->width != streamed.width || now->height != streamed.height) {
    return "the display changed from " + size(streamed) + " to " + size(*now);
  }
  if (*now != streamed) return "the display was moved";
  if (streamedIsMain && after.main != streamed.id) return "another display became the main one";
  return {};
}

LayoutWatch::LayoutWatch(const X11Connection& connection) {
  if (!hasOutputs(connection)) return;
  firstEvent_ = connection.extension(&xcb_randr_id)->first_event;
  xcb_randr_select_input(connection.get(), connection.root(),
                         XCB_RANDR_NOTIFY_MASK_SCREEN_CHANGE | XCB_RANDR_NOTIFY_MASK_CRTC_CHANGE |
                             XCB_RANDR_NOTIFY_MASK_OUTPUT_CHANGE);
}

bool LayoutWatch::concerns(const xcb_generic_event_t& event) const {
  const int type = event.response_type & 0x7f;
  return firstEvent_ >= 0 && (type == firstEvent_ + XCB_RANDR_SCREEN_CHANGE_NOTIFY ||
                              type == firstEvent_ + XCB_RANDR_NOTIFY);
}

}  // namespace tovalin
