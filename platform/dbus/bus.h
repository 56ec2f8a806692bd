#pragma once

#include <functional>
#include <initializer_list>
#include <limits>
#include <memory>
#include <string>

#include "platform/dbus/bus_handles.h"
#include "platform/dbus/bus_names.h"
#include "platform/descriptor_watcher.h"
#include "platform/main_queue.h"
#include "platform/subscription.h"
#include "platform/system_log.h"

namespace tovalin {

// What came of a call. Valid during the handler; keep the message with sd_bus_message_ref.
struct BusReply {
  sd_bus_message* message = nullptr;  // the answer's fields; null when the call failed
  std::string error;                  // then the D-Bus error's name

  bool ok() const { return message != nullptr; }
};

// For a call whose answer counts however late it comes.
inline constexpr double kNoTimeout = std::numeric_limits<double>::infinity();

struct BusCallOptions {
  double timeoutSeconds = 25;
  bool startService = false;  // let the bus start the service when it is not running
};

// A connection to one message bus, opened at the first use. Everything is asynchronous: no
// operation waits for the bus, and no handler runs before the operation that was given it has
// returned. Where the bus is missing or does not speak the protocol, calls fail, every name is
// without an owner, and nothing is tried again. A bus that dies is looked for again in a calm
// interval; then every observation, exported object and owned name is there again. Both are logged
// once.
//
// Main thread. Handlers must not run a loop of their own. What is handed out may outlive the bus.
class Bus {
 public:
  using Arguments = std::function<void(sd_bus_message* call)>;  // appends the fields
  using ReplyHandler = std::function<void(const BusReply& reply)>;
  using SignalHandler = std::function<void(sd_bus_message* signal)>;
  using OwnerHandler = std::function<void(const std::string& owner)>;

  // `label` names the bus in the log; `address` is a D-Bus address list, empty for a missing bus.
  Bus(std::string label, std::string address, MainQueue& queue, DescriptorWatcher& watcher,
      SystemLog& log);
  ~Bus();
  Bus(const Bus&) = delete;
  Bus& operator=(const Bus&) = delete;

  // Calls a method. `reply` gets the answer or the failure exactly once, unless the bus object goes
  // first; without `reply` no answer is asked for.
  void call(const BusObject& object, const char* member, const Arguments& arguments,
            ReplyHandler reply, BusCallOptions options = {});

  // Observes a signal of `from`; a null service, path or interface matches any. The bus lets only
  // the service's owner pass, but a second observation of the same signal from another service may
  // see this one's too: who observes both compares sd_bus_message_get_sender.
  [[nodiscard]] std::unique_ptr<Subscription> onSignal(const BusObject& from, const char* member,
                                                       SignalHandler handler);

  // Tells who owns the name `service`: once as soon as that is known, and at each change. Empty for
  // nobody, the owner's unique name (":1.7") else.
  [[nodiscard]] std::unique_ptr<Subscription> onOwner(std::string service, OwnerHandler handler);

  // Offers an object. `vtable` is as in sd_bus_add_object_vtable, with static lifetime; its
  // functions get `context`, which stays until the subscription goes, and must not throw.
  [[nodiscard]] std::unique_ptr<Subscription> exportObject(std::string path, std::string interface,
                                                           const sd_bus_vtable* vtable,
                                                           void* context);

  // Owns the name as long as the subscription lives, if nobody else does.
  [[nodiscard]] std::unique_ptr<Subscription> ownName(std::string name);

  // For exported objects; lost where there is no connection.
  void emitSignal(const std::string& path, const std::string& interface, const char* member,
                  const Arguments& arguments);
  void emitPropertiesChanged(const std::string& path, const std::string& interface,
                             std::initializer_list<const char*> properties);

 private:
  class Link;
  std::shared_ptr<Link> link_;
};

// The user's session bus, and the machine's system bus.
std::unique_ptr<Bus> makeSessionBus(MainQueue& queue, DescriptorWatcher& watcher, SystemLog& log);
std::unique_ptr<Bus> makeSystemBus(MainQueue& queue, DescriptorWatcher& watcher, SystemLog& log);

}  // namespace tovalin
