#pragma once

#include <memory>
#include <string>

#include "platform/dbus/bus.h"

namespace tovalin {

// Something that is to be so on every connection of a bus: installed on each new one, told when it
// is gone. Its slot ends it. Always held by a shared pointer.
class BusRegistration : public std::enable_shared_from_this<BusRegistration> {
 public:
  virtual ~BusRegistration() = default;
  virtual void install(sd_bus* bus) = 0;
  virtual void lost() { slot_.reset(); }

 protected:
  // Takes what an installing function of the library has put into `slot`.
  void keep(sd_bus_slot* slot) { slot_.reset(slot); }

 private:
  BusSlotHandle slot_;
};

std::shared_ptr<BusRegistration> makeSignalMatch(const BusObject& from, const char* member,
                                                 Bus::SignalHandler handler);
std::shared_ptr<BusRegistration> makeNameWatch(std::string service, Bus::OwnerHandler handler);
std::shared_ptr<BusRegistration> makeExportedObject(std::string path, std::string interface,
                                                    const sd_bus_vtable* vtable, void* context);
std::shared_ptr<BusRegistration> makeOwnedName(std::string name);

}  // namespace tovalin
