#include "platform/x11/x11_keyboard_typist.h"

#include <linux/input-event-codes.h>

#include <chrono>
#include <optional>
#include <thread>
#include <utility>

namespace tovalin {
namespace {

constexpr uint16_t kFirstEvdevKeycode = 8;

// Takes one code point off the front of `text`; absent for half a surrogate pair.
std::optional<char32_t> takeCodePoint(std::u16string_view& text) {
  const char32_t first = text.front();
  text.remove_prefix(1);
  if (first < 0xd800 || first > 0xdfff) return first;
  if (first > 0xdbff || text.empty()) return std::nullopt;
  const char32_t second = text.front();
  if (second < 0xdc00 || second > 0xdfff) return std::nullopt;
  text.remove_prefix(1);
  return 0x10000 + ((first - 0xd800) << 10) + (second - 0xdc00);
}

bool isControl(char32_t character) {
  return character < 0x20 || (character >= 0x7f && character < 0xa0);
}

// The key of a control character, in the same place under every layout.
std::optional<xcb_keycode_t> controlKey(char32_t character) {
  switch (character) {
    case '\n':
    case '\r':
      return KEY_ENTER + kFirstEvdevKeycode;
    case '\t':
      return KEY_TAB + kFirstEvdevKeycode;
    case '\b':
    case 0x7f:
      return KEY_BACKSPACE + kFirstEvdevKeycode;
    default:
      return std::nullopt;
  }
}

}  // namespace

X11KeyboardTypist::X11KeyboardTypist(const X11Connection& connection, const XtestDevice& device,
                                     X11KeyboardLayout& layout, std::function<void()> readEvents)
    : connection_(connection),
      device_(device),
      layout_(layout),
      readEvents_(std::move(readEvents)),
      ledger_(connection) {}

void X11KeyboardTypist::type(std::u16string_view text) {
  while (!text.empty()) {
    // One user-perceived character, and one Return.
    if (text.starts_with(u"\r\n")) text.remove_prefix(1);
    const auto character = takeCodePoint(text);
    if (!character) continue;
    if (!isControl(*character)) {
      typeCharacter(*character);
    } else if (const auto key = controlKey(*character)) {
      tap(*key);
    }
  }
}

void X11KeyboardTypist::restoreMapping() {
  if (!spares_.hasLoans() || !catchUp()) return;
  for (const xcb_keycode_t keycode : spares_.takeBack()) layout_.giveBack(keycode);
  ledger_.clear();
}

// The keyboard's state, with the mapping that belongs to it: whatever changed it before the server
// answered has been reported before the answer.
std::optional<KeyboardState> X11KeyboardTypist::catchUp() {
  const auto state = layout_.state();
  readEvents_();
  return state && followLayout() ? state : std::nullopt;
}

bool X11KeyboardTypist::followLayout() {
  switch (layout_.read()) {
    case X11KeyboardLayout::Reading::failed:
      return false;
    case X11KeyboardLayout::Reading::unchanged:
      return true;
    case X11KeyboardLayout::Reading::renewed:
      break;
  }
  if (emptyLeftovers()) return catchUp().has_value();
  spares_.follow(layout_.unusedKeycodes(), [this](uint8_t keycode, uint32_t keysym) {
    return layout_.soleSymbol(keycode) == keysym;
  });
  return true;
}

// What a process that was killed has borrowed. True when that changed the mapping.
bool X11KeyboardTypist::emptyLeftovers() {
  if (std::exchange(leftoversEmptied_, true)) return false;
  bool any = false;
  for (const xcb_keycode_t keycode : ledger_.read()) {
    if (!layout_.soleSymbol(keycode)) continue;
    layout_.giveBack(keycode);
    any = true;
  }
  ledger_.clear();
  return any;
}

void X11KeyboardTypist::typeCharacter(char32_t character) {
  const auto state = catchUp();
  if (!state) return;
  const auto isLent = [this](xcb_keycode_t keycode) { return spares_.isLent(keycode); };
  const auto stroke = layout_.strokeFor(character, *state, isLent);
  if (!stroke) return typeBorrowed(character, *state);
  for (const auto keycode : stroke->with) device_.key(keycode, true);
  tap(stroke->keycode);
  for (const auto keycode : stroke->with) device_.key(keycode, false);
}

// Keys that somebody holds are left alone: a physical one cannot be lifted from here anyway, and
// every level of a borrowed keycode carries the same. Only the lock has to go, for the moment:
// programs make capitals of what a lock finds that the key itself makes no use of.
void X11KeyboardTypist::typeBorrowed(char32_t character, const KeyboardState& state) {
  const xkb_keysym_t keysym = xkb_utf32_to_keysym(character);
  if (keysym == XKB_KEY_NoSymbol) return;
  const auto loan = spares_.lend(keysym, std::chrono::steady_clock::now());
  if (!loan) return;
  if (loan->wait > KeyboardSpares::Duration{}) {
    xcb_flush(connection_.get());
    std::this_thread::sleep_for(loan->wait);
    return typeCharacter(character);  // much may have changed
  }
  if (loan->isNew) {
    ledger_.add(loan->keycode);
    layout_.borrow(loan->keycode, keysym);
  }
  const bool liftLock = (state.locked & XCB_MOD_MASK_LOCK) != 0;
  if (liftLock) layout_.lockCaps(false);
  tap(loan->keycode);
  if (liftLock) layout_.lockCaps(true);
  // The quiet time begins when the events have happened, not when they were asked for.
  layout_.state();
  spares_.used(loan->keycode, std::chrono::steady_clock::now());
}

void X11KeyboardTypist::tap(xcb_keycode_t keycode) {
  device_.key(keycode, true);
  device_.key(keycode, false);
}

}  // namespace tovalin
