#pragma once

#include <systemd/sd-bus.h>
#include <systemd/sd-event.h>

#include <memory>

namespace tovalin {

// Owning handles for the library's reference-counted objects.
template <auto unref>
struct BusUnref {
  template <typename Object>
  void operator()(Object* object) const {
    unref(object);
  }
};

// Closed at once with its owner: what has not been sent by then is dropped.
using BusHandle = std::unique_ptr<sd_bus, BusUnref<sd_bus_close_unref>>;
using BusSlotHandle = std::unique_ptr<sd_bus_slot, BusUnref<sd_bus_slot_unref>>;
// A message owns the file descriptors that came with it.
using BusMessageHandle = std::unique_ptr<sd_bus_message, BusUnref<sd_bus_message_unref>>;
using BusEventHandle = std::unique_ptr<sd_event, BusUnref<sd_event_unref>>;

}  // namespace tovalin
