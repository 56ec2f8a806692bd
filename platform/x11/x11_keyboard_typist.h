#pragma once

#include <functional>
#include <optional>
#include <string_view>

#include "platform/x11/x11_connection.h"
#include "platform/x11/x11_keyboard_layout.h"
#include "platform/x11/x11_keyboard_ledger.h"
#include "platform/x11/x11_keyboard_spares.h"
#include "platform/x11/xtest_device.h"

namespace tovalin {

// Types any character under any layout: by the layout's own keys where it has the character, else
// by keycodes that the mapping leaves unused and that carry the character for a while.
class X11KeyboardTypist {
 public:
  // `readEvents` hands to `layout` what the server has reported so far.
  X11KeyboardTypist(const X11Connection& connection, const XtestDevice& device,
                    X11KeyboardLayout& layout, std::function<void()> readEvents);

  // Presses and lifts what makes `text`, code point by code point. Asks the server for the
  // keyboard's state each time. May wait, up to KeyboardSpares::kQuietTime for each code point,
  // when more different characters than there are unused keycodes were typed within that time.
  // Skips what cannot be typed: control characters without a key, halves of surrogate pairs.
  void type(std::u16string_view text);

  // Empties the keycodes that were borrowed, but for those that others gave a meaning since. Blocks
  // for a few answers if there are any. Not flushed.
  void restoreMapping();

 private:
  std::optional<KeyboardState> catchUp();
  bool followLayout();
  bool emptyLeftovers();
  void typeCharacter(char32_t character);
  void typeBorrowed(char32_t character, const KeyboardState& state);
  void tap(xcb_keycode_t keycode);

  const X11Connection& connection_;
  const XtestDevice& device_;
  X11KeyboardLayout& layout_;
  const std::function<void()> readEvents_;
  X11KeyboardLedger ledger_;
  bool leftoversEmptied_ = false;
  KeyboardSpares spares_;
};

}  // namespace tovalin
