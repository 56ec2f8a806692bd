#include "tests/integration/x11_input/keyboard_client.h"

#include <sys/wait.h>
#include <unistd.h>
#include <xkbcommon/xkbcommon-x11.h>

#include <stdexcept>

#include "platform/x11/x11_keyboard_protocol.h"

namespace tovalin::test {

KeyboardClient::KeyboardClient(const X11Connection& connection)
    : connection_(connection),
      context_(xkb_context_new(XKB_CONTEXT_NO_DEFAULT_INCLUDES), &xkb_context_unref),
      keymap_(nullptr, &xkb_keymap_unref) {
  xcb_connection_t* c = connection.get();
  if (xkb_x11_setup_xkb_extension(c, 1, 0, XKB_X11_SETUP_XKB_EXTENSION_NO_FLAGS, nullptr, nullptr,
                                  &firstEvent_, nullptr) != 1) {
    throw std::runtime_error("the server has no XKB");
  }
  device_ = xkb_x11_get_core_keyboard_device_id(c);
  constexpr uint16_t kEvents =
      XCB_XKB_EVENT_TYPE_NEW_KEYBOARD_NOTIFY | XCB_XKB_EVENT_TYPE_MAP_NOTIFY;
  xcb_xkb_select_events(c, XCB_XKB_ID_USE_CORE_KBD, kEvents, 0, kEvents, 0xff, 0xff, nullptr);
}

void KeyboardClient::handle(const xcb_generic_event_t& event) {
  if ((event.response_type & 0x7f) != firstEvent_) return;
  outdated_ = true;
  if (reinterpret_cast<const XkbAnyEvent&>(event).xkbType != XCB_XKB_MAP_NOTIFY) return;
  const auto& change = reinterpret_cast<const xcb_xkb_map_notify_event_t&>(event);
  if (change.deviceID == device_ && change.nKeySyms == 1) {
    mappings_.push_back({change.firstKeySym, change.time});
  }
}

std::string KeyboardClient::decode(const xcb_key_press_event_t& press) {
  if (outdated_) keymap_ = readKeymap();
  outdated_ = false;
  // The event carries the effective modifiers, and the group in two bits above the buttons'.
  const std::unique_ptr<xkb_state, decltype(&xkb_state_unref)> state(xkb_state_new(keymap_.get()),
                                                                     &xkb_state_unref);
  xkb_state_update_mask(state.get(), press.state & 0xff, 0, 0, 0, 0, press.state >> 13 & 3);
  char text[32] = "";
  xkb_state_key_get_utf8(state.get(), press.detail, text, sizeof text);
  return text;
}

std::string KeyboardClient::mapping() const {
  const auto keymap = readKeymap();
  const std::unique_ptr<char, decltype(&free)> text(
      xkb_keymap_get_as_string(keymap.get(), XKB_KEYMAP_FORMAT_TEXT_V1), &free);
  return text.get();
}

std::vector<xcb_keysym_t> KeyboardClient::keysyms(xcb_keycode_t keycode) const {
  xcb_connection_t* c = connection_.get();
  const auto reply = XcbOwned<xcb_get_keyboard_mapping_reply_t>(
      xcb_get_keyboard_mapping_reply(c, xcb_get_keyboard_mapping(c, keycode, 1), nullptr));
  const xcb_keysym_t* first = xcb_get_keyboard_mapping_keysyms(reply.get());
  return {first, first + xcb_get_keyboard_mapping_keysyms_length(reply.get())};
}

void KeyboardClient::setKeysym(xcb_keycode_t keycode, xcb_keysym_t keysym) {
  xcb_connection_t* c = connection_.get();
  free(xcb_request_check(c, xcb_change_keyboard_mapping_checked(c, 1, keycode, 1, &keysym)));
}

void KeyboardClient::lockCaps(bool on) {
  xcb_connection_t* c = connection_.get();
  constexpr uint8_t kLock = XCB_MOD_MASK_LOCK;
  free(xcb_request_check(c, xcb_xkb_latch_lock_state_checked(c, XCB_XKB_ID_USE_CORE_KBD, kLock,
                                                             on ? kLock : 0, 0, 0, 0, 0, 0)));
}

void KeyboardClient::lockGroup(uint8_t group) {
  xcb_connection_t* c = connection_.get();
  free(xcb_request_check(
      c, xcb_xkb_latch_lock_state_checked(c, XCB_XKB_ID_USE_CORE_KBD, 0, 0, 1, group, 0, 0, 0)));
}

bool KeyboardClient::capsAreLocked() const {
  xcb_connection_t* c = connection_.get();
  const auto state = XcbOwned<xcb_xkb_get_state_reply_t>(
      xcb_xkb_get_state_reply(c, xcb_xkb_get_state(c, XCB_XKB_ID_USE_CORE_KBD), nullptr));
  return (state->lockedMods & XCB_MOD_MASK_LOCK) != 0;
}

void KeyboardClient::setLayout(const std::string& display, const std::string& layout) {
  const pid_t child = fork();
  if (child == 0) {
    execlp("setxkbmap", "setxkbmap", "-display", display.c_str(), "-layout", layout.c_str(),
           nullptr);
    _exit(127);
  }
  int status = 0;
  if (child < 0 || waitpid(child, &status, 0) != child || status != 0) {
    throw std::runtime_error("setxkbmap failed; is the package x11-xkb-utils installed?");
  }
}

KeyboardClient::Keymap KeyboardClient::readKeymap() const {
  return {xkb_x11_keymap_new_from_device(context_.get(), connection_.get(), device_,
                                         XKB_KEYMAP_COMPILE_NO_FLAGS),
          &xkb_keymap_unref};
}

}  // namespace tovalin::test
