#pragma once

#include <cstdint>

// The XKB protocol header calls a field `explicit`, a word that C++ keeps for itself.
#define explicit isExplicit
#include <xcb/xkb.h>
#undef explicit

namespace tovalin {

// Events of XKB share one number; their kind stands in the second byte.
struct XkbAnyEvent {
  uint8_t response_type;
  uint8_t xkbType;
};

}  // namespace tovalin
