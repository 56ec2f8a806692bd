#pragma once

#include <functional>
#include <memory>
#include <string>

#include "platform/dbus/bus.h"
#include "platform/dbus/lock_source.h"
#include "platform/dbus/observers.h"
#include "platform/dbus/service_complaint.h"

namespace tovalin {

// The login session as logind knows it: its locked hint, which the desktop sets, and the machine's
// sleep.
class LogindSession : public LockSource, public std::enable_shared_from_this<LogindSession> {
 public:
  // `sessionId` as in XDG_SESSION_ID; where it is empty or unknown, the user's graphical session.
  static std::shared_ptr<LogindSession> make(Bus& systemBus, SystemLog& log, std::string sessionId);

  std::optional<bool> locked() const override { return locked_; }
  std::unique_ptr<Subscription> onDidWake(std::function<void()> observer);

 private:
  LogindSession(Bus& systemBus, SystemLog& log, std::string sessionId);
  void observe();
  void changeOwner(const std::string& owner);
  void findSession(const std::string& id);
  void observeSession(const std::string& path);
  void ask();
  void takeSleep(sd_bus_message* signal);
  void takeChange(sd_bus_message* signal);
  bool takeChangedValues(sd_bus_message* signal);
  void takeLockedHint(sd_bus_message* message);
  void lose();

  Bus& bus_;
  ServiceComplaint complaint_;
  const std::string sessionId_;
  std::string owner_;
  std::string path_;
  std::optional<bool> locked_;
  Observers<> wakes_;
  std::unique_ptr<Subscription> ownerWatch_;
  std::unique_ptr<Subscription> prepareForSleep_;
  std::unique_ptr<Subscription> propertiesChanged_;
};

}  // namespace tovalin
