#pragma once

#include <xcb/xcb.h>
#include <xkbcommon/xkbcommon.h>

#include <functional>
#include <memory>
#include <optional>
#include <unordered_map>
#include <vector>

#include "platform/x11/x11_connection.h"

namespace tovalin {

// How the keyboard stands: XKB's real modifiers, and the layout group in effect.
struct KeyboardState {
  uint8_t held = 0;  // by keys that are down, or latched
  uint8_t locked = 0;
  uint8_t group = 0;

  bool operator==(const KeyboardState&) const = default;
};

// A key, and the keys to hold around it.
struct KeyStroke {
  xcb_keycode_t keycode = 0;
  std::vector<xcb_keycode_t> with;
};

// The keyboard mapping that posted keys go through, and which strokes make which characters on it.
// Follows the mapping: events mark it outdated, and it is read again when it is next needed.
class X11KeyboardLayout {
 public:
  // Blocks for a few answers. On a server without XKB nothing here ever succeeds.
  explicit X11KeyboardLayout(const X11Connection& connection);

  // Takes note of mapping and lock changes. Every event of the connection goes through here.
  void handle(const xcb_generic_event_t& event);

  // Whether the caps lock is on, as last heard.
  bool capsLockIsOn() const;

  enum class Reading { failed, unchanged, renewed };
  // Brings the mapping up to date. Blocks for a few answers when it is outdated.
  Reading read();

  // Asks the server, for one round trip; everything posted before is accounted for.
  std::optional<KeyboardState> state();

  // The stroke that makes `character` in `state`, with what is held or locked there left as it is.
  // Uses no keycode that `isLent`. read() must have succeeded.
  std::optional<KeyStroke> strokeFor(char32_t character, const KeyboardState& state,
                                     const std::function<bool(xcb_keycode_t)>& isLent);

  // Keycodes without a symbol in any group, which are no modifiers either. Blocks for one answer.
  std::vector<xcb_keycode_t> unusedKeycodes() const;
  // The one symbol that the keycode has on all its levels; absent when it has none or several.
  std::optional<xkb_keysym_t> soleSymbol(xcb_keycode_t keycode) const;

  // Gives a keycode `keysym` on all its levels, and does not count that as a change of the mapping:
  // it goes on as it was read, with the keycode unused. Not flushed.
  void borrow(xcb_keycode_t keycode, xkb_keysym_t keysym);
  // Empties the keycode again. Not flushed.
  void giveBack(xcb_keycode_t keycode);

  // Switches the caps lock itself, for the whole desktop. Not flushed.
  void lockCaps(bool on);

 private:
  struct ContextUnref {
    void operator()(xkb_context* context) const { xkb_context_unref(context); }
  };
  struct KeymapUnref {
    void operator()(xkb_keymap* keymap) const { xkb_keymap_unref(keymap); }
  };
  struct StateUnref {
    void operator()(xkb_state* state) const { xkb_state_unref(state); }
  };
  using Simulation = std::unique_ptr<xkb_state, StateUnref>;

  // A key that chooses among the characters of other keys: Shift, AltGr, the fifth level's.
  struct Chooser {
    xcb_keycode_t keycode = 0;
    uint8_t modifiers = 0;
  };

  void selectEvents();
  std::optional<Chooser> findChooser(xkb_keysym_t keysym, uint8_t group) const;
  void findChoosers(uint8_t group);
  void findStrokes(const KeyboardState& state, const std::function<bool(xcb_keycode_t)>& isLent);
  void addStrokes(uint32_t chosen, const KeyboardState& state,
                  const std::function<bool(xcb_keycode_t)>& isLent);

  const X11Connection& connection_;
  std::unique_ptr<xkb_context, ContextUnref> context_;
  std::unique_ptr<xkb_keymap, KeymapUnref> keymap_;
  int device_ = -1;  // the keyboard whose mapping counts; -1: no XKB
  uint8_t firstEvent_ = 0;
  bool outdated_ = true;
  uint32_t borrowing_ = 0;  // the sequence number of the last request that borrowed a keycode
  uint8_t lockedModifiers_ = 0;

  // What the characters' strokes were found for; absent: not yet.
  std::optional<KeyboardState> strokesState_;
  std::vector<Chooser> choosers_;
  std::unordered_map<char32_t, KeyStroke> strokes_;
};

}  // namespace tovalin
