#include "platform/dbus/logind_session.h"

#include <utility>

#include "platform/dbus/bus_message.h"
#include "platform/weak_task.h"

namespace tovalin {
namespace {

constexpr const char* kLockedHint = "LockedHint";

// The caller's own session; for a caller outside of any, the user's graphical one.
constexpr const char* kAnySession = "auto";

}  // namespace

std::shared_ptr<LogindSession> LogindSession::make(Bus& systemBus, SystemLog& log,
                                                   std::string sessionId) {
  std::shared_ptr<LogindSession> session(new LogindSession(systemBus, log, std::move(sessionId)));
  session->observe();
  return session;
}

LogindSession::LogindSession(Bus& systemBus, SystemLog& log, std::string sessionId)
    : bus_(systemBus),
      complaint_(log, kLoginManager.service),
      sessionId_(sessionId.empty() ? kAnySession : std::move(sessionId)) {}

std::unique_ptr<Subscription> LogindSession::onDidWake(std::function<void()> observer) {
  return wakes_.add(std::move(observer));
}

void LogindSession::observe() {
  prepareForSleep_ =
      bus_.onSignal(kLoginManager, "PrepareForSleep",
                    weakly(shared_from_this(),
                           [](auto& self, sd_bus_message* signal) { self.takeSleep(signal); }));
  ownerWatch_ = bus_.onOwner(kLoginManager.service,
                             weakly(shared_from_this(), [](auto& self, const std::string& owner) {
                               self.changeOwner(owner);
                             }));
}

void LogindSession::changeOwner(const std::string& owner) {
  owner_ = owner;
  path_.clear();
  propertiesChanged_.reset();
  locked_.reset();
  if (!owner_.empty()) findSession(sessionId_);
}

void LogindSession::findSession(const std::string& id) {
  bus_.call({owner_.c_str(), kLoginManager.path, kLoginManager.interface}, "GetSession",
            [&](sd_bus_message* call) { sd_bus_message_append(call, "s", id.c_str()); },
            weakly(shared_from_this(),
                   [owner = owner_, id](auto& self, const BusReply& reply) {
                     if (owner != self.owner_) return;
                     // The environment may name a session that has ended: a terminal multiplexer's.
                     if (!reply.ok()) {
                       if (id != kAnySession) self.findSession(kAnySession);
                       return;
                     }
                     if (const auto path = readObjectPath(reply.message)) {
                       self.observeSession(*path);
                     } else {
                       self.lose();
                     }
                   }),
            {.timeoutSeconds = kNoTimeout});
}

void LogindSession::observeSession(const std::string& path) {
  path_ = path;
  propertiesChanged_ = bus_.onSignal(
      {kLoginManager.service, path_.c_str(), kPropertiesInterface}, "PropertiesChanged",
      weakly(shared_from_this(),
             [](auto& self, sd_bus_message* signal) { self.takeChange(signal); }));
  ask();
}

void LogindSession::ask() {
  bus_.call({owner_.c_str(), path_.c_str(), kPropertiesInterface}, "Get",
            [](sd_bus_message* call) {
              sd_bus_message_append(call, "ss", kLoginSessionInterface, kLockedHint);
            },
            weakly(shared_from_this(),
                   [owner = owner_](auto& self, const BusReply& reply) {
                     if (owner == self.owner_ && reply.ok()) self.takeLockedHint(reply.message);
                   }),
            {.timeoutSeconds = kNoTimeout});
}

void LogindSession::takeSleep(sd_bus_message* signal) {
  if (owner_ != sd_bus_message_get_sender(signal)) return;
  const auto goesToSleep = readBool(signal);
  if (!goesToSleep) complaint_.answerOfWrongType();
  if (goesToSleep == false) wakes_.tell();
}

void LogindSession::takeChange(sd_bus_message* signal) {
  if (owner_ != sd_bus_message_get_sender(signal)) return;
  const auto interface = readString(signal);
  if (interface && *interface != kLoginSessionInterface) return;
  if (!interface || !takeChangedValues(signal)) return lose();
  // Then the names of what has changed but was not sent along.
  if (sd_bus_message_enter_container(signal, SD_BUS_TYPE_ARRAY, "s") <= 0) return;
  while (const auto name = readString(signal)) {
    if (*name == kLockedHint) ask();
  }
}

// False when the message is not of the form that the signal has.
bool LogindSession::takeChangedValues(sd_bus_message* signal) {
  if (sd_bus_message_enter_container(signal, SD_BUS_TYPE_ARRAY, "{sv}") < 0) return false;
  while (sd_bus_message_enter_container(signal, SD_BUS_TYPE_DICT_ENTRY, "sv") > 0) {
    const auto name = readString(signal);
    if (!name) return false;
    if (*name == kLockedHint) {
      takeLockedHint(signal);
      if (!locked_) return true;
    } else if (sd_bus_message_skip(signal, "v") < 0) {
      return false;
    }
    if (sd_bus_message_exit_container(signal) < 0) return false;
  }
  return sd_bus_message_exit_container(signal) >= 0;
}

void LogindSession::takeLockedHint(sd_bus_message* message) {
  locked_ = enterVariant(message, "b") ? readBool(message) : std::nullopt;
  if (!locked_) return complaint_.answerOfWrongType();
  sd_bus_message_exit_container(message);
}

void LogindSession::lose() {
  locked_.reset();
  complaint_.answerOfWrongType();
}

}  // namespace tovalin
