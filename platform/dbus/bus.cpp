#include "platform/dbus/bus.h"

#include <cstring>
#include <utility>
#include <vector>

#include "platform/dbus/bus_address.h"
#include "platform/dbus/bus_registration.h"
#include "platform/dbus/event_pump.h"
#include "platform/weak_task.h"

namespace tovalin {
namespace {

constexpr double kSecondsBetweenReopenings = 30;

uint64_t toMicroseconds(double seconds) {
  return seconds == kNoTimeout ? UINT64_MAX : static_cast<uint64_t>(seconds * 1e6);
}

struct PendingCall {
  Bus::ReplyHandler handler;
};

int replied(sd_bus_message* message, void* context, sd_bus_error* /*error*/) {
  // Moved out: the handler may bring the connection, and with it the call, to its end.
  const auto handler = std::move(static_cast<PendingCall*>(context)->handler);
  BusReply reply;
  if (sd_bus_message_is_method_error(message, nullptr) > 0) {
    reply.error = sd_bus_message_get_error(message)->name;
  } else {
    reply.message = message;
  }
  handler(reply);
  return 1;
}

void forgetCall(void* context) {
  delete static_cast<PendingCall*>(context);
}

}  // namespace

// The connection behind the handle: opened, lost, opened again.
class Bus::Link : public std::enable_shared_from_this<Bus::Link> {
 public:
  Link(std::string label, std::string address, MainQueue& queue, DescriptorWatcher& watcher,
       SystemLog& log)
      : label_(std::move(label)),
        address_(std::move(address)),
        queue_(queue),
        watcher_(watcher),
        log_(log) {}

  void call(const BusObject& object, const char* member, const Arguments& arguments,
            ReplyHandler reply, BusCallOptions options) {
    open();
    if (send(object, member, arguments, reply, options) < 0 && reply) {
      queue_.post(weakly(shared_from_this(), [reply = std::move(reply)](Link&) {
        reply({.error = SD_BUS_ERROR_DISCONNECTED});
      }));
    }
    kick();
  }

  std::unique_ptr<Subscription> add(std::shared_ptr<BusRegistration> registration);

  void emitSignal(const std::string& path, const std::string& interface, const char* member,
                  const Arguments& arguments) {
    sd_bus_message* created = nullptr;
    if (bus_ == nullptr || sd_bus_message_new_signal(bus_.get(), &created, path.c_str(),
                                                     interface.c_str(), member) < 0) {
      return;
    }
    const BusMessageHandle signal(created);
    if (arguments) arguments(signal.get());
    sd_bus_send(bus_.get(), signal.get(), nullptr);
    kick();
  }

  void emitPropertiesChanged(const std::string& path, const std::string& interface,
                             std::initializer_list<const char*> properties) {
    if (bus_ == nullptr) return;
    std::vector<char*> names;
    for (const char* name : properties) names.push_back(const_cast<char*>(name));
    names.push_back(nullptr);
    sd_bus_emit_properties_changed_strv(bus_.get(), path.c_str(), interface.c_str(), names.data());
    kick();
  }

  void kick() {
    if (bus_ != nullptr) pump_->kick();
  }

 private:
  enum class State { unused, open, closed };

  class Registered;

  void open() {
    if (state_ != State::unused) return;
    state_ = State::open;
    if (const int error = start(); error < 0) {
      complain("not available: " + std::string(std::strerror(-error)));
      close();
    }
  }

  int start() {
    if (address_.empty()) return -ENOENT;
    if (pump_ == nullptr) pump_ = EventPump::make(queue_, watcher_);
    if (pump_ == nullptr) return -EMFILE;
    sd_bus* created = nullptr;
    int outcome = sd_bus_new(&created);
    if (outcome < 0) return outcome;
    bus_.reset(created);
    listen("Connected", [](sd_bus_message*, void* context, sd_bus_error*) {
      static_cast<Link*>(context)->everConnected_ = true;
      return 0;
    });
    // The library is still at work on the connection when it says so.
    listen("Disconnected", [](sd_bus_message*, void* context, sd_bus_error*) {
      auto* self = static_cast<Link*>(context);
      self->queue_.post(weakly(self->shared_from_this(), [](Link& link) { link.lose(); }));
      return 0;
    });
    sd_bus_set_connected_signal(bus_.get(), 1);
    sd_bus_set_bus_client(bus_.get(), 1);
    if ((outcome = sd_bus_set_address(bus_.get(), address_.c_str())) < 0) return outcome;
    if ((outcome = sd_bus_start(bus_.get())) < 0) return outcome;
    outcome = sd_bus_attach_event(bus_.get(), pump_->event(), SD_EVENT_PRIORITY_NORMAL);
    if (outcome < 0) return outcome;
    for (const auto& registration : alive()) registration->install(bus_.get());
    kick();
    return 0;
  }

  void listen(const char* member, sd_bus_message_handler_t handler) {
    const std::string match = std::string("type='signal',sender='") + kBusLocal.service +
                              "',path='" + kBusLocal.path + "',interface='" + kBusLocal.interface +
                              "',member='" + member + "'";
    sd_bus_add_match(bus_.get(), nullptr, match.c_str(), handler, this);
  }

  void lose() {
    complain(everConnected_ ? "lost" : "not available: it refuses or does not speak the protocol");
    close();
  }

  void close() {
    state_ = State::closed;
    bus_.reset();
    for (const auto& registration : alive()) loseLater(registration);
    if (!everConnected_) return;
    queue_.after(kSecondsBetweenReopenings, weakly(shared_from_this(), [](Link& self) {
                   self.state_ = State::unused;
                   self.open();
                 }));
  }

  // Not at once: a handler must not run before the operation that was given it has returned.
  void loseLater(const std::shared_ptr<BusRegistration>& registration) {
    queue_.post(weakly(registration, [](BusRegistration& self) { self.lost(); }));
  }

  int send(const BusObject& object, const char* member, const Arguments& arguments,
           ReplyHandler& reply, BusCallOptions options);

  void complain(const std::string& what) {
    if (std::exchange(complained_, true)) return;
    log_.line("[Tovalin] " + label_ + " " + what);
  }

  std::vector<std::shared_ptr<BusRegistration>> alive() {
    std::vector<std::shared_ptr<BusRegistration>> found;
    std::erase_if(registrations_, [&](const auto& weak) {
      auto registration = weak.lock();
      if (registration) found.push_back(std::move(registration));
      return weak.expired();
    });
    return found;
  }

  const std::string label_;
  const std::string address_;
  MainQueue& queue_;
  DescriptorWatcher& watcher_;
  SystemLog& log_;
  State state_ = State::unused;
  bool everConnected_ = false;
  bool complained_ = false;
  std::shared_ptr<EventPump> pump_;
  BusHandle bus_;
  std::vector<std::weak_ptr<BusRegistration>> registrations_;
};

class Bus::Link::Registered : public Subscription {
 public:
  Registered(std::shared_ptr<BusRegistration> registration, const std::shared_ptr<Link>& link)
      : registration_(std::move(registration)), link_(link) {}

  ~Registered() override {
    registration_.reset();
    if (const auto link = link_.lock()) link->kick();
  }

 private:
  std::shared_ptr<BusRegistration> registration_;
  const std::weak_ptr<Link> link_;
};

std::unique_ptr<Subscription> Bus::Link::add(std::shared_ptr<BusRegistration> registration) {
  open();
  std::erase_if(registrations_, [](const auto& weak) { return weak.expired(); });
  registrations_.push_back(registration);
  if (bus_ != nullptr) {
    registration->install(bus_.get());
    kick();
  } else {
    loseLater(registration);
  }
  return std::make_unique<Registered>(std::move(registration), shared_from_this());
}

int Bus::Link::send(const BusObject& object, const char* member, const Arguments& arguments,
                    ReplyHandler& reply, BusCallOptions options) {
  if (bus_ == nullptr) return -ENOTCONN;
  sd_bus_message* created = nullptr;
  const int outcome = sd_bus_message_new_method_call(bus_.get(), &created, object.service,
                                                     object.path, object.interface, member);
  if (outcome < 0) return outcome;
  const BusMessageHandle message(created);
  if (arguments) arguments(message.get());
  sd_bus_message_set_auto_start(message.get(), options.startService ? 1 : 0);
  if (!reply) {
    sd_bus_message_set_expect_reply(message.get(), 0);
    return sd_bus_send(bus_.get(), message.get(), nullptr);
  }
  auto pending = std::make_unique<PendingCall>();
  sd_bus_slot* slot = nullptr;
  const int sent = sd_bus_call_async(bus_.get(), &slot, message.get(), replied, pending.get(),
                                     toMicroseconds(options.timeoutSeconds));
  if (sent < 0) return sent;
  pending->handler = std::move(reply);
  // From here on the connection owns the call.
  const BusSlotHandle handle(slot);
  sd_bus_slot_set_destroy_callback(slot, forgetCall);
  sd_bus_slot_set_floating(slot, 1);
  pending.release();
  return sent;
}

Bus::Bus(std::string label, std::string address, MainQueue& queue, DescriptorWatcher& watcher,
         SystemLog& log)
    : link_(std::make_shared<Link>(std::move(label), std::move(address), queue, watcher, log)) {}

Bus::~Bus() = default;

void Bus::call(const BusObject& object, const char* member, const Arguments& arguments,
               ReplyHandler reply, BusCallOptions options) {
  link_->call(object, member, arguments, std::move(reply), options);
}

std::unique_ptr<Subscription> Bus::onSignal(const BusObject& from, const char* member,
                                            SignalHandler handler) {
  return link_->add(makeSignalMatch(from, member, std::move(handler)));
}

std::unique_ptr<Subscription> Bus::onOwner(std::string service, OwnerHandler handler) {
  return link_->add(makeNameWatch(std::move(service), std::move(handler)));
}

std::unique_ptr<Subscription> Bus::exportObject(std::string path, std::string interface,
                                                const sd_bus_vtable* vtable, void* context) {
  return link_->add(makeExportedObject(std::move(path), std::move(interface), vtable, context));
}

std::unique_ptr<Subscription> Bus::ownName(std::string name) {
  return link_->add(makeOwnedName(std::move(name)));
}

void Bus::emitSignal(const std::string& path, const std::string& interface, const char* member,
                     const Arguments& arguments) {
  link_->emitSignal(path, interface, member, arguments);
}

void Bus::emitPropertiesChanged(const std::string& path, const std::string& interface,
                                std::initializer_list<const char*> properties) {
  link_->emitPropertiesChanged(path, interface, properties);
}

std::unique_ptr<Bus> makeSessionBus(MainQueue& queue, DescriptorWatcher& watcher, SystemLog& log) {
  return std::make_unique<Bus>("session bus", sessionBusAddress(), queue, watcher, log);
}

std::unique_ptr<Bus> makeSystemBus(MainQueue& queue, DescriptorWatcher& watcher, SystemLog& log) {
  return std::make_unique<Bus>("system bus", systemBusAddress(), queue, watcher, log);
}

}  // namespace tovalin
