#pragma once

#include <string_view>

namespace tovalin::server {

// How a host is, seen by one device.
enum class Presence {
  online,
  offline,
  busy,           // another device is visiting
  unknownDevice,  // this device is not paired with it
};

// The word for it in messages.
constexpr std::string_view presenceText(Presence presence) {
  switch (presence) {
    case Presence::online:
      return "online";
    case Presence::offline:
      return "offline";
    case Presence::busy:
      return "busy";
    case Presence::unknownDevice:
      break;
  }
  return "unknown-device";
}

}  // namespace tovalin::server
