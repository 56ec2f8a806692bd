#include "platform/x11/x11_keyboard_ledger.h"

#include <string_view>

namespace tovalin {
namespace {

constexpr std::string_view kProperty = "_TOVALIN_BORROWED_KEYCODES";
constexpr uint32_t kMostKeycodes = 256;
constexpr uint8_t kBitsEach = 8;

}  // namespace

X11KeyboardLedger::X11KeyboardLedger(const X11Connection& connection) : connection_(connection) {
  xcb_connection_t* c = connection.get();
  const auto atom = XcbOwned<xcb_intern_atom_reply_t>(xcb_intern_atom_reply(
      c, xcb_intern_atom(c, 0, static_cast<uint16_t>(kProperty.size()), kProperty.data()),
      nullptr));
  if (atom != nullptr) property_ = atom->atom;
}

std::vector<xcb_keycode_t> X11KeyboardLedger::read() const {
  xcb_connection_t* c = connection_.get();
  const auto property = XcbOwned<xcb_get_property_reply_t>(xcb_get_property_reply(
      c,
      xcb_get_property(c, 0, connection_.root(), property_, XCB_ATOM_CARDINAL, 0,
                       kMostKeycodes / sizeof(uint32_t)),
      nullptr));
  if (property == nullptr || property->format != kBitsEach) return {};
  const auto* first = static_cast<const xcb_keycode_t*>(xcb_get_property_value(property.get()));
  return {first, first + xcb_get_property_value_length(property.get())};
}

void X11KeyboardLedger::add(xcb_keycode_t keycode) {
  if (!keycodes_.insert(keycode).second) return;
  xcb_change_property(connection_.get(), XCB_PROP_MODE_APPEND, connection_.root(), property_,
                      XCB_ATOM_CARDINAL, kBitsEach, 1, &keycode);
}

void X11KeyboardLedger::clear() {
  keycodes_.clear();
  xcb_delete_property(connection_.get(), connection_.root(), property_);
}

}  // namespace tovalin
