#include "tests/integration/qtquick/desktop_client.h"

#include <xcb/xtest.h>

#include <algorithm>
#include <stdexcept>

namespace tovalin::test {

constexpr uint8_t kShiftKey = 50;

xcb_atom_t DesktopClient::atom(const std::string& name) const {
  const XcbOwned<xcb_intern_atom_reply_t> reply(xcb_intern_atom_reply(
      connection_.get(),
      xcb_intern_atom(connection_.get(), 0, static_cast<uint16_t>(name.size()), name.data()),
      nullptr));
  if (!reply) throw std::runtime_error("no atom");
  return reply->atom;
}

uint32_t DesktopClient::rootProperty(const std::string& name) const {
  const XcbOwned<xcb_get_property_reply_t> reply(xcb_get_property_reply(
      connection_.get(),
      xcb_get_property(connection_.get(), 0, connection_.root(), atom(name), XCB_ATOM_ANY, 0, 1),
      nullptr));
  if (!reply || xcb_get_property_value_length(reply.get()) < 4) return 0;
  return *static_cast<const uint32_t*>(xcb_get_property_value(reply.get()));
}

xcb_window_t DesktopClient::makeWindow(uint32_t colour, int width, int height, bool unmanaged) {
  const xcb_window_t window = xcb_generate_id(connection_.get());
  const uint32_t values[] = {colour, unmanaged ? 1U : 0U};
  xcb_create_window(connection_.get(), XCB_COPY_FROM_PARENT, window, connection_.root(), 0, 0,
                    static_cast<uint16_t>(width), static_cast<uint16_t>(height), 0,
                    XCB_WINDOW_CLASS_INPUT_OUTPUT, connection_.screen()->root_visual,
                    XCB_CW_BACK_PIXEL | XCB_CW_OVERRIDE_REDIRECT, values);
  return window;
}

xcb_window_t DesktopClient::openWindow(uint32_t colour, bool fullScreen) {
  const auto window = makeWindow(colour, 300, 200, false);
  if (fullScreen) {
    const xcb_atom_t state = atom("_NET_WM_STATE_FULLSCREEN");
    xcb_change_property(connection_.get(), XCB_PROP_MODE_REPLACE, window, atom("_NET_WM_STATE"),
                        XCB_ATOM_ATOM, 32, 1, &state);
  }
  xcb_map_window(connection_.get(), window);
  xcb_flush(connection_.get());
  return window;
}

xcb_window_t DesktopClient::openOnTop(uint32_t colour) {
  const auto* screen = connection_.screen();
  const auto window = makeWindow(colour, screen->width_in_pixels, screen->height_in_pixels, true);
  xcb_map_window(connection_.get(), window);
  xcb_flush(connection_.get());
  return window;
}

Screenshot DesktopClient::screenshot() const {
  const auto* screen = connection_.screen();
  Screenshot shot{screen->width_in_pixels, screen->height_in_pixels, {}};
  const XcbOwned<xcb_get_image_reply_t> reply(xcb_get_image_reply(
      connection_.get(),
      xcb_get_image(connection_.get(), XCB_IMAGE_FORMAT_Z_PIXMAP, connection_.root(), 0, 0,
                    screen->width_in_pixels, screen->height_in_pixels, ~0U),
      nullptr));
  if (!reply) throw std::runtime_error("no picture of the screen");
  const auto* bytes = reinterpret_cast<const uint32_t*>(xcb_get_image_data(reply.get()));
  shot.pixels.assign(bytes, bytes + static_cast<size_t>(shot.width) * shot.height);
  for (auto& pixel : shot.pixels) pixel &= 0xFFFFFF;
  return shot;
}

xcb_window_t DesktopClient::focus() const {
  const XcbOwned<xcb_get_input_focus_reply_t> reply(xcb_get_input_focus_reply(
      connection_.get(), xcb_get_input_focus(connection_.get()), nullptr));
  return reply ? reply->focus : XCB_NONE;
}

xcb_window_t DesktopClient::activeWindow() const {
  return rootProperty("_NET_ACTIVE_WINDOW");
}

bool DesktopClient::hasState(xcb_window_t window, const std::string& state) const {
  constexpr uint32_t kMostStates = 32;
  const XcbOwned<xcb_get_property_reply_t> reply(
      xcb_get_property_reply(connection_.get(),
                             xcb_get_property(connection_.get(), 0, window, atom("_NET_WM_STATE"),
                                              XCB_ATOM_ATOM, 0, kMostStates),
                             nullptr));
  if (!reply) return false;
  const auto* states = static_cast<const xcb_atom_t*>(xcb_get_property_value(reply.get()));
  const auto* end = states + reply->value_len;
  return std::find(states, end, atom(state)) != end;
}

uint32_t DesktopClient::workspace() const {
  return rootProperty("_NET_CURRENT_DESKTOP");
}

void DesktopClient::switchToWorkspace(uint32_t number) {
  xcb_client_message_event_t event{};
  event.response_type = XCB_CLIENT_MESSAGE;
  event.format = 32;
  event.window = connection_.root();
  event.type = atom("_NET_CURRENT_DESKTOP");
  event.data.data32[0] = number;
  xcb_send_event(connection_.get(), 0, connection_.root(),
                 XCB_EVENT_MASK_SUBSTRUCTURE_NOTIFY | XCB_EVENT_MASK_SUBSTRUCTURE_REDIRECT,
                 reinterpret_cast<const char*>(&event));
  xcb_flush(connection_.get());
}

void DesktopClient::fake(uint8_t type, uint8_t detail, int x, int y) const {
  xcb_test_fake_input(connection_.get(), type, detail, XCB_CURRENT_TIME, connection_.root(),
                      static_cast<int16_t>(x), static_cast<int16_t>(y), 0);
  xcb_flush(connection_.get());
}

void DesktopClient::movePointer(int x, int y) const {
  fake(XCB_MOTION_NOTIFY, 0, x, y);
}

void DesktopClient::pressButton(bool down) const {
  fake(down ? XCB_BUTTON_PRESS : XCB_BUTTON_RELEASE, 1);
}

void DesktopClient::click(int x, int y) const {
  movePointer(x, y);
  pressButton(true);
  pressButton(false);
}

void DesktopClient::type(uint8_t keycode, bool shift) const {
  if (shift) fake(XCB_KEY_PRESS, kShiftKey);
  fake(XCB_KEY_PRESS, keycode);
  fake(XCB_KEY_RELEASE, keycode);
  if (shift) fake(XCB_KEY_RELEASE, kShiftKey);
}

}  // namespace tovalin::test
