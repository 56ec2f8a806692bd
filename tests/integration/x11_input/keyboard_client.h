#pragma once

#include <xcb/xcb.h>
#include <xkbcommon/xkbcommon.h>

#include <memory>
#include <string>
#include <vector>

#include "platform/x11/x11_connection.h"

namespace tovalin::test {

// A keycode whose symbols were changed, and when by the server's clock.
struct SeenMapping {
  int keycode = 0;
  xcb_timestamp_t time = 0;
};

// The keyboard as a program uses it: keeps its mapping up to date by the server's events and
// decodes key presses with the state that they carry.
class KeyboardClient {
 public:
  explicit KeyboardClient(const X11Connection& connection);

  void handle(const xcb_generic_event_t& event);
  std::string decode(const xcb_key_press_event_t& press);

  // Changes of single keycodes' symbols so far.
  const std::vector<SeenMapping>& mappings() const { return mappings_; }

  // The whole mapping, read afresh, as text.
  std::string mapping() const;
  // What a keycode carries, in the core protocol's terms.
  std::vector<xcb_keysym_t> keysyms(xcb_keycode_t keycode) const;
  void setKeysym(xcb_keycode_t keycode, xcb_keysym_t keysym);

  // What the person at the desk does.
  void lockCaps(bool on);
  void lockGroup(uint8_t group);
  bool capsAreLocked() const;

  // Runs setxkbmap with `layout` ("de", "us,ru") and returns when the server has it.
  void setLayout(const std::string& display, const std::string& layout);

 private:
  using Keymap = std::unique_ptr<xkb_keymap, decltype(&xkb_keymap_unref)>;
  Keymap readKeymap() const;

  const X11Connection& connection_;
  std::unique_ptr<xkb_context, decltype(&xkb_context_unref)> context_;
  int device_;
  uint8_t firstEvent_ = 0;
  Keymap keymap_;
  bool outdated_ = true;
  std::vector<SeenMapping> mappings_;
};

}  // namespace tovalin::test
