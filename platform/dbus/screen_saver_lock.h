#pragma once

#include <memory>
#include <string>

#include "platform/dbus/bus.h"
#include "platform/dbus/lock_source.h"
#include "platform/dbus/service_complaint.h"

namespace tovalin {

// What a desktop's screen saver service says: locked while it is active. A saver that only blanks
// the screen counts too, as the service does not tell the two apart.
class ScreenSaverLock : public LockSource, public std::enable_shared_from_this<ScreenSaverLock> {
 public:
  static std::shared_ptr<ScreenSaverLock> make(Bus& bus, SystemLog& log,
                                               const BusObjectPlaces& saver);

  std::optional<bool> locked() const override { return locked_; }

 private:
  ScreenSaverLock(Bus& bus, SystemLog& log, const BusObjectPlaces& saver);
  void observe();
  void changeOwner(const std::string& owner);
  void ask(const char* path);
  void take(sd_bus_message* message);

  Bus& bus_;
  ServiceComplaint complaint_;
  const BusObject saver_;
  const char* const otherPath_;
  std::string owner_;
  std::optional<bool> locked_;
  std::unique_ptr<Subscription> ownerWatch_;
  std::unique_ptr<Subscription> activeChanged_;
};

}  // namespace tovalin
