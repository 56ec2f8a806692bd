#include "platform/dbus/screen_saver_lock.h"

#include "platform/dbus/bus_message.h"
#include "platform/weak_task.h"

namespace tovalin {

std::shared_ptr<ScreenSaverLock> ScreenSaverLock::make(Bus& bus, SystemLog& log,
                                                       const BusObjectPlaces& saver) {
  std::shared_ptr<ScreenSaverLock> lock(new ScreenSaverLock(bus, log, saver));
  lock->observe();
  return lock;
}

ScreenSaverLock::ScreenSaverLock(Bus& bus, SystemLog& log, const BusObjectPlaces& saver)
    : bus_(bus),
      complaint_(log, saver.object.service),
      saver_(saver.object),
      otherPath_(saver.otherPath) {}

void ScreenSaverLock::observe() {
  activeChanged_ = bus_.onSignal({saver_.service, nullptr, saver_.interface}, "ActiveChanged",
                                 weakly(shared_from_this(), [](auto& self, sd_bus_message* signal) {
                                   // GNOME has two names for one interface.
                                   if (self.owner_ == sd_bus_message_get_sender(signal)) {
                                     self.take(signal);
                                   }
                                 }));
  ownerWatch_ = bus_.onOwner(saver_.service,
                             weakly(shared_from_this(), [](auto& self, const std::string& owner) {
                               self.changeOwner(owner);
                             }));
}

void ScreenSaverLock::changeOwner(const std::string& owner) {
  owner_ = owner;
  locked_.reset();
  if (!owner_.empty()) ask(saver_.path);
}

void ScreenSaverLock::ask(const char* path) {
  // Of the owner, not of the name: that starts no service, and the answer is this owner's.
  bus_.call({owner_.c_str(), path, saver_.interface}, "GetActive", nullptr,
            weakly(shared_from_this(),
                   [owner = owner_, path](auto& self, const BusReply& reply) {
                     if (owner != self.owner_) return;
                     if (reply.ok()) {
                       self.take(reply.message);
                     } else if (path == self.saver_.path && self.otherPath_ != nullptr) {
                       self.ask(self.otherPath_);
                     }
                   }),
            {.timeoutSeconds = kNoTimeout});
}

void ScreenSaverLock::take(sd_bus_message* message) {
  locked_ = readBool(message);
  if (!locked_) complaint_.answerOfWrongType();
}

}  // namespace tovalin
