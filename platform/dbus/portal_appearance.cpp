#include "platform/dbus/portal_appearance.h"

#include <string>
#include <utility>

#include "platform/dbus/bus_message.h"
#include "platform/dbus/observers.h"
#include "platform/dbus/service_complaint.h"
#include "platform/weak_task.h"

namespace tovalin {
namespace {

constexpr const char* kGroup = "org.freedesktop.appearance";
constexpr const char* kKey = "color-scheme";
constexpr uint32_t kPrefersDark = 1;

class PortalSettings : public std::enable_shared_from_this<PortalSettings> {
 public:
  PortalSettings(Bus& bus, SystemLog& log) : bus_(bus), complaint_(log, kPortalSettings.service) {}

  void observe() {
    settingChanged_ =
        bus_.onSignal(kPortalSettings, "SettingChanged",
                      weakly(shared_from_this(), [](PortalSettings& self, sd_bus_message* signal) {
                        if (self.owner_ == sd_bus_message_get_sender(signal))
                          self.takeChange(signal);
                      }));
    ownerWatch_ = bus_.onOwner(
        kPortalSettings.service,
        weakly(shared_from_this(),
               [](PortalSettings& self, const std::string& owner) { self.changeOwner(owner); }));
  }

  std::optional<ColorScheme> current() const { return scheme_; }
  Observers<std::optional<ColorScheme>>& observers() { return observers_; }

 private:
  void changeOwner(const std::string& owner) {
    owner_ = owner;
    change(std::nullopt);
    if (!owner_.empty()) {
      ask(owner_.c_str(), {.timeoutSeconds = kNoTimeout});
    } else if (!std::exchange(triedToStart_, true)) {
      ask(kPortalSettings.service, {.startService = true});
    }
  }

  void ask(const char* destination, BusCallOptions options) {
    bus_.call(
        {destination, kPortalSettings.path, kPortalSettings.interface}, "Read",
        [](sd_bus_message* call) { sd_bus_message_append(call, "ss", kGroup, kKey); },
        weakly(shared_from_this(),
               [](PortalSettings& self, const BusReply& reply) {
                 // Not the answer of a portal that is gone by now.
                 if (reply.ok() && self.owner_ == sd_bus_message_get_sender(reply.message)) {
                   self.take(reply.message);
                 }
               }),
        options);
  }

  void takeChange(sd_bus_message* signal) {
    const auto group = readString(signal);
    const auto key = readString(signal);
    if (group == kGroup && key == kKey) take(signal);
  }

  void take(sd_bus_message* message) {
    // Read wraps its answer once more than the signal does.
    while (enterVariant(message, "v")) {
    }
    const auto value = enterVariant(message, "u") ? readUint32(message) : std::nullopt;
    if (!value) {
      complaint_.answerOfWrongType();
      return change(std::nullopt);
    }
    change(*value == kPrefersDark ? ColorScheme::dark : ColorScheme::light);
  }

  void change(std::optional<ColorScheme> scheme) {
    if (std::exchange(scheme_, scheme) != scheme) observers_.tell(scheme);
  }

  Bus& bus_;
  ServiceComplaint complaint_;
  std::string owner_;
  bool triedToStart_ = false;
  std::optional<ColorScheme> scheme_;
  Observers<std::optional<ColorScheme>> observers_;
  std::unique_ptr<Subscription> ownerWatch_;
  std::unique_ptr<Subscription> settingChanged_;
};

class PortalAppearance : public Appearance {
 public:
  PortalAppearance(Bus& bus, SystemLog& log)
      : settings_(std::make_shared<PortalSettings>(bus, log)) {
    settings_->observe();
  }

  std::optional<ColorScheme> current() const override { return settings_->current(); }

  std::unique_ptr<Subscription> onChange(Observer observer) override {
    return settings_->observers().add(std::move(observer));
  }

 private:
  const std::shared_ptr<PortalSettings> settings_;
};

}  // namespace

std::unique_ptr<Appearance> makePortalAppearance(Bus& sessionBus, SystemLog& log) {
  return std::make_unique<PortalAppearance>(sessionBus, log);
}

}  // namespace tovalin
