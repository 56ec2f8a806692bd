#include "platform/dbus/bus_probe.h"

#include <cstdint>

#include "platform/dbus/bus_address.h"
#include "platform/dbus/bus_handles.h"

namespace tovalin {

bool sessionBusAnswers(std::chrono::milliseconds patience) {
  using Clock = std::chrono::steady_clock;
  const auto end = Clock::now() + patience;
  const std::string address = sessionBusAddress();
  sd_bus* made = nullptr;
  if (address.empty() || sd_bus_new(&made) < 0) return false;
  const BusHandle bus(made);
  if (sd_bus_set_address(bus.get(), address.c_str()) < 0 ||
      sd_bus_set_bus_client(bus.get(), 1) < 0 || sd_bus_start(bus.get()) < 0) {
    return false;
  }
  while (sd_bus_is_ready(bus.get()) <= 0) {
    const int progress = sd_bus_process(bus.get(), nullptr);
    if (progress < 0) return false;
    if (progress > 0) continue;
    const auto left = std::chrono::duration_cast<std::chrono::microseconds>(end - Clock::now());
    if (left.count() <= 0) return false;
    if (sd_bus_wait(bus.get(), static_cast<uint64_t>(left.count())) < 0) return false;
  }
  return true;
}

}  // namespace tovalin
