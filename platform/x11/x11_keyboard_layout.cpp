#include "platform/x11/x11_keyboard_layout.h"

#include <xcb/xinput.h>
#include <xkbcommon/xkbcommon-x11.h>

#include <algorithm>
#include <array>
#include <bit>
#include <string_view>

#include "platform/x11/x11_keyboard_protocol.h"

namespace tovalin {
namespace {

constexpr uint8_t kLock = XCB_MOD_MASK_LOCK;

// The device that posted keys come from. A keyboard configured by itself may have another mapping
// than it, and the server takes the mapping of whichever device spoke last. Falls back on `core`.
int postingKeyboard(const X11Connection& connection, int core) {
  xcb_connection_t* c = connection.get();
  if (connection.extension(&xcb_input_id) == nullptr) return core;
  const auto version = XcbOwned<xcb_input_xi_query_version_reply_t>(
      xcb_input_xi_query_version_reply(c, xcb_input_xi_query_version(c, 2, 0), nullptr));
  const auto devices = XcbOwned<xcb_input_xi_query_device_reply_t>(xcb_input_xi_query_device_reply(
      c, xcb_input_xi_query_device(c, XCB_INPUT_DEVICE_ALL), nullptr));
  if (version == nullptr || devices == nullptr) return core;
  for (auto device = xcb_input_xi_query_device_infos_iterator(devices.get()); device.rem != 0;
       xcb_input_xi_device_info_next(&device)) {
    const std::string_view name(
        xcb_input_xi_device_info_name(device.data),
        static_cast<size_t>(xcb_input_xi_device_info_name_length(device.data)));
    if (device.data->type == XCB_INPUT_DEVICE_TYPE_SLAVE_KEYBOARD &&
        device.data->attachment == core && name.ends_with("XTEST keyboard")) {
      return device.data->deviceid;
    }
  }
  return core;
}

// Keypad keys make digits too, but programs may take them for something else.
bool isKeypad(xkb_keysym_t keysym) {
  return keysym >= XKB_KEY_KP_Space && keysym <= XKB_KEY_KP_Equal;
}

}  // namespace

X11KeyboardLayout::X11KeyboardLayout(const X11Connection& connection)
    : connection_(connection), context_(xkb_context_new(XKB_CONTEXT_NO_DEFAULT_INCLUDES)) {
  const bool hasXkb = connection.alive() && context_ != nullptr &&
                      xkb_x11_setup_xkb_extension(connection.get(), XKB_X11_MIN_MAJOR_XKB_VERSION,
                                                  XKB_X11_MIN_MINOR_XKB_VERSION,
                                                  XKB_X11_SETUP_XKB_EXTENSION_NO_FLAGS, nullptr,
                                                  nullptr, &firstEvent_, nullptr) == 1;
  const int core = hasXkb ? xkb_x11_get_core_keyboard_device_id(connection.get()) : -1;
  if (core < 0) return;
  device_ = postingKeyboard(connection, core);
  selectEvents();
  if (const auto now = state()) lockedModifiers_ = now->locked;
}

// Only what changes seldom: nobody reads these events while no viewer is there.
void X11KeyboardLayout::selectEvents() {
  constexpr uint16_t kMapEvents =
      XCB_XKB_EVENT_TYPE_NEW_KEYBOARD_NOTIFY | XCB_XKB_EVENT_TYPE_MAP_NOTIFY;
  constexpr uint16_t kMapParts = 0xff;
  xcb_xkb_select_events_details_t details{};
  details.affectState = XCB_XKB_STATE_PART_MODIFIER_LOCK;
  details.stateDetails = XCB_XKB_STATE_PART_MODIFIER_LOCK;
  xcb_xkb_select_events_aux(connection_.get(), XCB_XKB_ID_USE_CORE_KBD,
                            kMapEvents | XCB_XKB_EVENT_TYPE_STATE_NOTIFY, 0, kMapEvents, kMapParts,
                            kMapParts, &details);
}

void X11KeyboardLayout::handle(const xcb_generic_event_t& event) {
  if (device_ < 0 || (event.response_type & 0x7f) != firstEvent_) return;
  switch (reinterpret_cast<const XkbAnyEvent&>(event).xkbType) {
    case XCB_XKB_NEW_KEYBOARD_NOTIFY:
      outdated_ = true;
      break;
    case XCB_XKB_MAP_NOTIFY:
      // Reading the mapping again for every borrowed keycode would take most of the time that
      // typing takes. Events that a request of ours causes carry its number.
      outdated_ |= event.full_sequence != borrowing_;
      break;
    case XCB_XKB_STATE_NOTIFY:
      lockedModifiers_ = reinterpret_cast<const xcb_xkb_state_notify_event_t&>(event).lockedMods;
      break;
    default:
      break;
  }
}

bool X11KeyboardLayout::capsLockIsOn() const {
  return (lockedModifiers_ & kLock) != 0;
}

X11KeyboardLayout::Reading X11KeyboardLayout::read() {
  if (device_ < 0 || !connection_.alive()) return Reading::failed;
  if (!outdated_) return Reading::unchanged;
  keymap_.reset(xkb_x11_keymap_new_from_device(context_.get(), connection_.get(), device_,
                                               XKB_KEYMAP_COMPILE_NO_FLAGS));
  strokesState_.reset();
  if (keymap_ == nullptr) return Reading::failed;
  outdated_ = false;
  return Reading::renewed;
}

std::optional<KeyboardState> X11KeyboardLayout::state() {
  if (device_ < 0) return std::nullopt;
  const auto reply = XcbOwned<xcb_xkb_get_state_reply_t>(xcb_xkb_get_state_reply(
      connection_.get(), xcb_xkb_get_state(connection_.get(), XCB_XKB_ID_USE_CORE_KBD), nullptr));
  if (reply == nullptr) return std::nullopt;
  const auto held = static_cast<uint8_t>(reply->baseMods | reply->latchedMods);
  return KeyboardState{held, reply->lockedMods, reply->group};
}

std::optional<KeyStroke> X11KeyboardLayout::strokeFor(
    char32_t character, const KeyboardState& state,
    const std::function<bool(xcb_keycode_t)>& isLent) {
  if (strokesState_ != state) findStrokes(state, isLent);
  const auto found = strokes_.find(character);
  return found != strokes_.end() ? std::optional(found->second) : std::nullopt;
}

std::vector<xcb_keycode_t> X11KeyboardLayout::unusedKeycodes() const {
  xcb_connection_t* c = connection_.get();
  const auto modifiers = XcbOwned<xcb_get_modifier_mapping_reply_t>(
      xcb_get_modifier_mapping_reply(c, xcb_get_modifier_mapping(c), nullptr));
  if (modifiers == nullptr) return {};
  const xcb_keycode_t* first = xcb_get_modifier_mapping_keycodes(modifiers.get());
  const xcb_keycode_t* last = first + xcb_get_modifier_mapping_keycodes_length(modifiers.get());

  const auto isEmpty = [this](xkb_keycode_t keycode) {
    for (xkb_layout_index_t group = 0;
         group < xkb_keymap_num_layouts_for_key(keymap_.get(), keycode); ++group) {
      const auto levels = xkb_keymap_num_levels_for_key(keymap_.get(), keycode, group);
      for (xkb_level_index_t level = 0; level < levels; ++level) {
        const xkb_keysym_t* keysyms = nullptr;
        if (xkb_keymap_key_get_syms_by_level(keymap_.get(), keycode, group, level, &keysyms) > 0) {
          return false;
        }
      }
    }
    return true;
  };
  std::vector<xcb_keycode_t> unused;
  for (auto keycode = xkb_keymap_min_keycode(keymap_.get());
       keycode <= xkb_keymap_max_keycode(keymap_.get()); ++keycode) {
    const auto narrow = static_cast<xcb_keycode_t>(keycode);
    if (isEmpty(keycode) && std::find(first, last, narrow) == last) unused.push_back(narrow);
  }
  return unused;
}

std::optional<xkb_keysym_t> X11KeyboardLayout::soleSymbol(xcb_keycode_t keycode) const {
  if (xkb_keymap_num_layouts_for_key(keymap_.get(), keycode) != 1) return std::nullopt;
  std::optional<xkb_keysym_t> sole;
  const auto levels = xkb_keymap_num_levels_for_key(keymap_.get(), keycode, 0);
  for (xkb_level_index_t level = 0; level < levels; ++level) {
    const xkb_keysym_t* keysyms = nullptr;
    if (xkb_keymap_key_get_syms_by_level(keymap_.get(), keycode, 0, level, &keysyms) != 1 ||
        *keysyms != sole.value_or(*keysyms)) {
      return std::nullopt;
    }
    sole = *keysyms;
  }
  return sole;
}

// Both levels are given: what stands alone on a key, the server completes with its capital.
void X11KeyboardLayout::borrow(xcb_keycode_t keycode, xkb_keysym_t keysym) {
  const std::array<xcb_keysym_t, 2> levels{keysym, keysym};
  const auto request =
      xcb_change_keyboard_mapping(connection_.get(), 1, keycode, levels.size(), levels.data());
  borrowing_ = request.sequence;
}

void X11KeyboardLayout::giveBack(xcb_keycode_t keycode) {
  constexpr xcb_keysym_t kNothing = XCB_NO_SYMBOL;
  xcb_change_keyboard_mapping(connection_.get(), 1, keycode, 1, &kNothing);
}

void X11KeyboardLayout::lockCaps(bool on) {
  xcb_xkb_latch_lock_state(connection_.get(), XCB_XKB_ID_USE_CORE_KBD, kLock, on ? kLock : 0, 0, 0,
                           0, 0, 0);
}

std::optional<X11KeyboardLayout::Chooser> X11KeyboardLayout::findChooser(xkb_keysym_t keysym,
                                                                         uint8_t group) const {
  const Simulation idle(xkb_state_new(keymap_.get()));
  xkb_state_update_mask(idle.get(), 0, 0, 0, 0, 0, group);
  for (auto keycode = xkb_keymap_min_keycode(keymap_.get());
       keycode <= xkb_keymap_max_keycode(keymap_.get()); ++keycode) {
    if (xkb_state_key_get_one_sym(idle.get(), keycode) != keysym) continue;
    const Simulation pressed(xkb_state_new(keymap_.get()));
    xkb_state_update_mask(pressed.get(), 0, 0, 0, 0, 0, group);
    xkb_state_update_key(pressed.get(), keycode, XKB_KEY_DOWN);
    const auto modifiers =
        static_cast<uint8_t>(xkb_state_serialize_mods(pressed.get(), XKB_STATE_MODS_DEPRESSED));
    if (modifiers != 0) return Chooser{static_cast<xcb_keycode_t>(keycode), modifiers};
  }
  return std::nullopt;
}

void X11KeyboardLayout::findChoosers(uint8_t group) {
  choosers_.clear();
  for (const xkb_keysym_t keysym :
       {XKB_KEY_Shift_L, XKB_KEY_ISO_Level3_Shift, XKB_KEY_ISO_Level5_Shift}) {
    if (const auto chooser = findChooser(keysym, group)) choosers_.push_back(*chooser);
  }
}

// Tries every key with every set of choosers, fewest first, on a simulated keyboard, which decodes
// just as programs do. So whatever the layout's types make of Shift, AltGr and locks comes out.
void X11KeyboardLayout::findStrokes(const KeyboardState& state,
                                    const std::function<bool(xcb_keycode_t)>& isLent) {
  strokes_.clear();
  strokesState_ = state;
  findChoosers(state.group);
  std::vector<uint32_t> sets(size_t{1} << choosers_.size());
  for (uint32_t set = 0; set < sets.size(); ++set) sets[set] = set;
  std::ranges::stable_sort(sets, {}, [](uint32_t set) { return std::popcount(set); });
  for (const uint32_t set : sets) addStrokes(set, state, isLent);
}

void X11KeyboardLayout::addStrokes(uint32_t chosen, const KeyboardState& state,
                                   const std::function<bool(xcb_keycode_t)>& isLent) {
  // Held Control, Alt and the like are left out: who holds them means the key, not its character.
  uint8_t choosing = 0;
  uint8_t pressed = 0;
  std::vector<xcb_keycode_t> with;
  for (size_t index = 0; index < choosers_.size(); ++index) {
    choosing |= choosers_[index].modifiers;
    if ((chosen >> index & 1) == 0) continue;
    if ((state.held & choosers_[index].modifiers) == choosers_[index].modifiers) return;
    pressed |= choosers_[index].modifiers;
    with.push_back(choosers_[index].keycode);
  }
  const Simulation simulation(xkb_state_new(keymap_.get()));
  xkb_state_update_mask(simulation.get(), (state.held & choosing) | pressed, 0, state.locked, 0, 0,
                        state.group);
  for (auto keycode = xkb_keymap_min_keycode(keymap_.get());
       keycode <= xkb_keymap_max_keycode(keymap_.get()); ++keycode) {
    const auto narrow = static_cast<xcb_keycode_t>(keycode);
    const xkb_keysym_t keysym = xkb_state_key_get_one_sym(simulation.get(), keycode);
    const char32_t character = xkb_keysym_to_utf32(keysym);
    if (character < U' ' || isKeypad(keysym) || isLent(narrow)) continue;
    strokes_.try_emplace(character, KeyStroke{narrow, with});
  }
}

}  // namespace tovalin
