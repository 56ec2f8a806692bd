#include "tests/integration/dbus/tray_host.h"

#include <algorithm>

#include "platform/dbus/bus_message.h"

namespace tovalin::test {

const sd_bus_vtable TrayHost::kTable[] = {
    SD_BUS_VTABLE_START(0),
    SD_BUS_METHOD("RegisterStatusNotifierItem", "s", "", registerItem, SD_BUS_VTABLE_UNPRIVILEGED),
    SD_BUS_PROPERTY("IsStatusNotifierHostRegistered", "b", isHostRegistered, 0, 0),
    SD_BUS_SIGNAL("StatusNotifierHostRegistered", "", 0),
    SD_BUS_SIGNAL("StatusNotifierHostUnregistered", "", 0),
    SD_BUS_VTABLE_END,
};

TrayHost::TrayHost(TestLoop& loop, const std::string& busAddress, SystemLog& log)
    : loop_(loop), bus_("tray", busAddress, loop.queue, loop, log) {}

TrayHost::~TrayHost() = default;

int TrayHost::registerItem(sd_bus_message* call, void* context, sd_bus_error* error) {
  auto* self = static_cast<TrayHost*>(context);
  self->registered_.push_back(readString(call).value_or("?"));
  if (self->refuses_) return sd_bus_error_set(error, SD_BUS_ERROR_ACCESS_DENIED, "no");
  return sd_bus_reply_method_return(call, "");
}

int TrayHost::isHostRegistered(sd_bus* /*bus*/, const char* /*path*/, const char* /*interface*/,
                               const char* /*property*/, sd_bus_message* answer, void* context,
                               sd_bus_error* /*error*/) {
  return sd_bus_message_append(answer, "b", static_cast<TrayHost*>(context)->trayPresent_);
}

void TrayHost::startWatcher() {
  object_ = bus_.exportObject(kStatusNotifierWatcher.path, kStatusNotifierWatcher.interface, kTable,
                              this);
  name_ = bus_.ownName(kStatusNotifierWatcher.service);
}

void TrayHost::stopWatcher() {
  name_.reset();
  object_.reset();
}

void TrayHost::setTrayPresent(bool present) {
  trayPresent_ = present ? 1 : 0;
  bus_.emitSignal(kStatusNotifierWatcher.path, kStatusNotifierWatcher.interface,
                  present ? "StatusNotifierHostRegistered" : "StatusNotifierHostUnregistered", {});
}

BusMessageHandle TrayHost::property(const char* interface, const char* path, const char* name) {
  return call("org.freedesktop.DBus.Properties", path, "Get", [&](sd_bus_message* message) {
    sd_bus_message_append(message, "ss", interface, name);
  });
}

BusMessageHandle TrayHost::call(const char* interface, const char* path, const char* member,
                                const Bus::Arguments& arguments) {
  bool answered = false;
  BusMessageHandle answer;
  bus_.call({registered_.back().c_str(), path, interface}, member, arguments,
            [&](const BusReply& reply) {
              answered = true;
              answer.reset(sd_bus_message_ref(reply.message));
            });
  loop_.runUntil([&] { return answered; });
  return answer;
}

void TrayHost::countSignal(const char* interface, const char* member) {
  counts_.push_back(bus_.onSignal(
      {nullptr, nullptr, interface}, member,
      [this, name = std::string(member)](sd_bus_message*) { signals_.push_back(name); }));
}

int TrayHost::signals(const std::string& member) const {
  return static_cast<int>(std::count(signals_.begin(), signals_.end(), member));
}

}  // namespace tovalin::test
