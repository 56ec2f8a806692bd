#include "tests/integration/x11_input/watching_client.h"

#include <poll.h>

#include <algorithm>
#include <stdexcept>

namespace tovalin::test {
namespace {

constexpr int kPatienceMs = 30'000;

}  // namespace

WatchingClient::WatchingClient(const std::string& display)
    : connection_(display), keyboard_(connection_) {
  openWindow();
}

void WatchingClient::openWindow() {
  xcb_connection_t* c = connection_.get();
  const xcb_window_t window = xcb_generate_id(c);
  const uint32_t values[] = {1, XCB_EVENT_MASK_POINTER_MOTION | XCB_EVENT_MASK_BUTTON_PRESS |
                                    XCB_EVENT_MASK_BUTTON_RELEASE | XCB_EVENT_MASK_KEY_PRESS |
                                    XCB_EVENT_MASK_KEY_RELEASE | XCB_EVENT_MASK_FOCUS_CHANGE};
  xcb_create_window(c, XCB_COPY_FROM_PARENT, window, root(), 0, 0,
                    connection_.screen()->width_in_pixels, connection_.screen()->height_in_pixels,
                    0, XCB_WINDOW_CLASS_INPUT_OUTPUT, XCB_COPY_FROM_PARENT,
                    XCB_CW_OVERRIDE_REDIRECT | XCB_CW_EVENT_MASK, values);
  xcb_map_window(c, window);
  xcb_set_input_focus(c, XCB_INPUT_FOCUS_PARENT, window, XCB_CURRENT_TIME);
  xcb_flush(c);
  while ((nextEvent()->response_type & 0x7f) != XCB_FOCUS_IN) {
  }
}

XcbOwned<xcb_generic_event_t> WatchingClient::nextEvent() {
  for (;;) {
    auto event = XcbOwned<xcb_generic_event_t>(xcb_poll_for_event(connection_.get()));
    if (event != nullptr) return event;
    pollfd readable{xcb_get_file_descriptor(connection_.get()), POLLIN, 0};
    if (!connection_.alive() || poll(&readable, 1, kPatienceMs) <= 0) {
      throw std::runtime_error("the event waited for never came");
    }
  }
}

std::vector<SeenEvent> WatchingClient::eventsUntil(
    const std::function<bool(const SeenEvent&)>& isLast) {
  std::vector<SeenEvent> events;
  for (;;) {
    const auto event = seen(*nextEvent());
    if (!event) continue;
    if (isLast(*event)) return events;
    events.push_back(*event);
  }
}

std::optional<SeenEvent> WatchingClient::seen(const xcb_generic_event_t& event) {
  const size_t mappingsBefore = keyboard_.mappings().size();
  keyboard_.handle(event);
  if (keyboard_.mappings().size() != mappingsBefore) {
    const auto& mapping = keyboard_.mappings().back();
    return SeenEvent{XCB_MAPPING_NOTIFY, mapping.keycode, 0, 0, 0, mapping.time, {}};
  }
  const int type = event.response_type & 0x7f;
  if (type < XCB_KEY_PRESS || type > XCB_MOTION_NOTIFY) return std::nullopt;
  // The five kinds share one layout.
  const auto& input = reinterpret_cast<const xcb_key_press_event_t&>(event);
  SeenEvent result{type, input.detail, input.state, input.root_x, input.root_y, input.time, {}};
  if (type == XCB_KEY_PRESS) result.text = keyboard_.decode(input);
  return result;
}

std::pair<int, int> WatchingClient::pointer() const {
  const auto reply = XcbOwned<xcb_query_pointer_reply_t>(
      xcb_query_pointer_reply(connection(), xcb_query_pointer(connection(), root()), nullptr));
  return {reply->root_x, reply->root_y};
}

bool WatchingClient::anyKeyIsDown() const {
  const auto reply = XcbOwned<xcb_query_keymap_reply_t>(
      xcb_query_keymap_reply(connection(), xcb_query_keymap(connection()), nullptr));
  return std::ranges::any_of(reply->keys, [](uint8_t keys) { return keys != 0; });
}

int WatchingClient::modifiers() const {
  const auto reply = XcbOwned<xcb_query_pointer_reply_t>(
      xcb_query_pointer_reply(connection(), xcb_query_pointer(connection(), root()), nullptr));
  return reply->mask & 0xff;
}

}  // namespace tovalin::test
