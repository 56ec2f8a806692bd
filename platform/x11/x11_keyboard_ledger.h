#pragma once

#include <set>
#include <vector>

#include "platform/x11/x11_connection.h"

namespace tovalin {

// Which keycodes are borrowed, noted on the root window, where it outlives this process. One that
// was killed gave nothing back, and the next would find ever fewer unused keycodes.
class X11KeyboardLedger {
 public:
  // Blocks for an answer.
  explicit X11KeyboardLedger(const X11Connection& connection);

  // What is noted. Blocks for an answer.
  std::vector<xcb_keycode_t> read() const;

  // Neither is flushed.
  void add(xcb_keycode_t keycode);
  void clear();

 private:
  const X11Connection& connection_;
  xcb_atom_t property_ = XCB_NONE;
  std::set<xcb_keycode_t> keycodes_;
};

}  // namespace tovalin
