#include "input/held_input.h"

#include <algorithm>
#include <utility>

namespace tovalin {
namespace {

template <typename T>
bool contains(const std::vector<T>& held, T one) {
  return std::find(held.begin(), held.end(), one) != held.end();
}

template <typename T>
void set(std::vector<T>& held, T one, bool down) {
  if (!down) {
    std::erase(held, one);
  } else if (!contains(held, one)) {
    held.push_back(one);
  }
}

}  // namespace

void HeldInput::setButton(MouseButton button, bool down) {
  set(held_.buttons, button, down);
}

void HeldInput::setKey(uint16_t keyCode, bool down) {
  set(held_.keys, keyCode, down);
}

bool HeldInput::isDown(MouseButton button) const {
  return contains(held_.buttons, button);
}

HeldInput::Everything HeldInput::takeAll() {
  return std::exchange(held_, {});
}

}  // namespace tovalin
