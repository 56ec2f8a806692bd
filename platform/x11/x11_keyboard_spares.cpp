#include "platform/x11/x11_keyboard_spares.h"

#include <algorithm>

namespace tovalin {

void KeyboardSpares::follow(
    const std::vector<uint8_t>& unused,
    const std::function<bool(uint8_t keycode, uint32_t keysym)>& stillCarries) {
  std::erase_if(spares_, [&](const Spare& spare) {
    return spare.keysym == 0 || !stillCarries(spare.keycode, spare.keysym);
  });
  for (const uint8_t keycode : unused) spares_.push_back({keycode});
}

std::optional<KeyboardSpares::Loan> KeyboardSpares::lend(uint32_t keysym, Time now) {
  if (spares_.empty()) return std::nullopt;
  const auto own = std::ranges::find(spares_, keysym, &Spare::keysym);
  if (own != spares_.end()) return Loan{own->keycode};
  // Never lent ones first: their last use is the clock's beginning.
  Spare& oldest = *std::ranges::min_element(spares_, {}, &Spare::lastUse);
  const bool isQuiet = oldest.keysym == 0 || oldest.lastUse + kQuietTime <= now;
  if (!isQuiet) return Loan{oldest.keycode, true, oldest.lastUse + kQuietTime - now};
  oldest.keysym = keysym;
  return Loan{oldest.keycode, true, {}};
}

void KeyboardSpares::used(uint8_t keycode, Time now) {
  const auto spare = std::ranges::find(spares_, keycode, &Spare::keycode);
  if (spare != spares_.end()) spare->lastUse = now;
}

bool KeyboardSpares::hasLoans() const {
  return std::ranges::any_of(spares_, [](const Spare& spare) { return spare.keysym != 0; });
}

bool KeyboardSpares::isLent(uint8_t keycode) const {
  return std::ranges::any_of(spares_, [keycode](const Spare& spare) {
    return spare.keycode == keycode && spare.keysym != 0;
  });
}

std::vector<uint8_t> KeyboardSpares::takeBack() {
  std::vector<uint8_t> keycodes;
  for (auto& spare : spares_) {
    if (spare.keysym == 0) continue;
    keycodes.push_back(spare.keycode);
    spare.keysym = 0;
  }
  return keycodes;
}

}  // namespace tovalin
