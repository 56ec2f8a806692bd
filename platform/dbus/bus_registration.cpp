#include "platform/dbus/bus_registration.h"

#include <optional>
#include <utility>

#include "platform/dbus/bus_message.h"

namespace tovalin {
namespace {

// Without a handler of its own for a refused match, the library would close the connection.
int ignoreInstallation(sd_bus_message* /*message*/, void* /*context*/, sd_bus_error* /*error*/) {
  return 1;
}

const char* orNull(const std::optional<std::string>& text) {
  return text ? text->c_str() : nullptr;
}

std::optional<std::string> orAbsent(const char* text) {
  return text == nullptr ? std::nullopt : std::optional<std::string>(text);
}

class SignalMatch : public BusRegistration {
 public:
  SignalMatch(const BusObject& from, const char* member, Bus::SignalHandler handler)
      : service_(orAbsent(from.service)),
        path_(orAbsent(from.path)),
        interface_(orAbsent(from.interface)),
        member_(member),
        handler_(std::move(handler)) {}

  void install(sd_bus* bus) override {
    sd_bus_slot* slot = nullptr;
    sd_bus_match_signal_async(bus, &slot, orNull(service_), orNull(path_), orNull(interface_),
                              member_.c_str(), received, ignoreInstallation, this);
    keep(slot);
  }

 private:
  static int received(sd_bus_message* signal, void* context, sd_bus_error* /*error*/) {
    auto* self = static_cast<SignalMatch*>(context);
    const auto alive = self->shared_from_this();
    self->handler_(signal);
    return 0;
  }

  const std::optional<std::string> service_;
  const std::optional<std::string> path_;
  const std::optional<std::string> interface_;
  const std::string member_;
  const Bus::SignalHandler handler_;
};

class NameWatch : public BusRegistration {
 public:
  NameWatch(std::string service, Bus::OwnerHandler handler)
      : service_(std::move(service)), handler_(std::move(handler)) {}

  void install(sd_bus* bus) override {
    // The match first: a change after the answer was made cannot be missed.
    const std::string match = std::string("type='signal',sender='") + kBusDaemon.service +
                              "',path='" + kBusDaemon.path + "',interface='" +
                              kBusDaemon.interface + "',member='NameOwnerChanged',arg0='" +
                              service_ + "'";
    sd_bus_slot* slot = nullptr;
    sd_bus_add_match_async(bus, &slot, match.c_str(), changed, ignoreInstallation, this);
    keep(slot);
    slot = nullptr;
    sd_bus_call_method_async(bus, &slot, kBusDaemon.service, kBusDaemon.path, kBusDaemon.interface,
                             "GetNameOwner", answered, this, "s", service_.c_str());
    question_.reset(slot);
  }

  void lost() override {
    BusRegistration::lost();
    question_.reset();
    report({});
  }

 private:
  static int changed(sd_bus_message* signal, void* context, sd_bus_error* /*error*/) {
    auto* self = static_cast<NameWatch*>(context);
    const auto name = readString(signal);
    readString(signal);
    const auto owner = readString(signal);
    if (name == self->service_ && owner) self->report(*owner);
    return 0;
  }

  static int answered(sd_bus_message* reply, void* context, sd_bus_error* /*error*/) {
    const bool failed = sd_bus_message_is_method_error(reply, nullptr) > 0;
    const auto owner = failed ? std::nullopt : readString(reply);
    static_cast<NameWatch*>(context)->report(owner.value_or(""));
    return 1;
  }

  void report(std::string owner) {
    if (owner_ == owner) return;
    const auto alive = shared_from_this();
    owner_ = std::move(owner);
    handler_(std::string(*owner_));
  }

  const std::string service_;
  const Bus::OwnerHandler handler_;
  std::optional<std::string> owner_;
  BusSlotHandle question_;
};

class ExportedObject : public BusRegistration {
 public:
  ExportedObject(std::string path, std::string interface, const sd_bus_vtable* vtable,
                 void* context)
      : path_(std::move(path)),
        interface_(std::move(interface)),
        vtable_(vtable),
        context_(context) {}

  void install(sd_bus* bus) override {
    sd_bus_slot* slot = nullptr;
    sd_bus_add_object_vtable(bus, &slot, path_.c_str(), interface_.c_str(), vtable_, context_);
    keep(slot);
  }

 private:
  const std::string path_;
  const std::string interface_;
  const sd_bus_vtable* const vtable_;
  void* const context_;
};

class OwnedName : public BusRegistration {
 public:
  explicit OwnedName(std::string name) : name_(std::move(name)) {}

  ~OwnedName() override {
    if (bus_ != nullptr) {
      sd_bus_release_name_async(bus_.get(), nullptr, name_.c_str(), ignoreInstallation, nullptr);
    }
  }

  void install(sd_bus* bus) override {
    bus_.reset(sd_bus_ref(bus));
    sd_bus_slot* slot = nullptr;
    sd_bus_request_name_async(bus, &slot, name_.c_str(), 0, ignoreInstallation, nullptr);
    keep(slot);
  }

  void lost() override {
    BusRegistration::lost();
    bus_.reset();
  }

 private:
  const std::string name_;
  std::unique_ptr<sd_bus, BusUnref<sd_bus_unref>> bus_;
};

}  // namespace

std::shared_ptr<BusRegistration> makeSignalMatch(const BusObject& from, const char* member,
                                                 Bus::SignalHandler handler) {
  return std::make_shared<SignalMatch>(from, member, std::move(handler));
}

std::shared_ptr<BusRegistration> makeNameWatch(std::string service, Bus::OwnerHandler handler) {
  return std::make_shared<NameWatch>(std::move(service), std::move(handler));
}

std::shared_ptr<BusRegistration> makeExportedObject(std::string path, std::string interface,
                                                    const sd_bus_vtable* vtable, void* context) {
  return std::make_shared<ExportedObject>(std::move(path), std::move(interface), vtable, context);
}

std::shared_ptr<BusRegistration> makeOwnedName(std::string name) {
  return std::make_shared<OwnedName>(std::move(name));
}

}  // namespace tovalin
