#pragma once

#include <cstdint>
#include <vector>

#include "platform/input_events.h"

namespace tovalin {

// What the viewer holds down right now: mouse buttons and raw keys, each once however often its
// press is repeated. Pure bookkeeping; its owner sees to the threads.
class HeldInput {
 public:
  // In the order of pressing.
  struct Everything {
    std::vector<uint16_t> keys;
    std::vector<MouseButton> buttons;
  };

  void setButton(MouseButton button, bool down);
  void setKey(uint16_t keyCode, bool down);

  bool isDown(MouseButton button) const;

  // Hands over what is held; afterwards nothing is.
  Everything takeAll();

 private:
  Everything held_;
};

}  // namespace tovalin
