#include "platform/dbus/bus_power.h"

#include <map>
#include <string>
#include <utility>
#include <vector>

#include "platform/dbus/inhibition.h"
#include "platform/weak_task.h"

namespace tovalin {
namespace {

constexpr const char* kWho = "Tovalin Host";
constexpr const char* kApplicationId = "com.tovalin.host";

// What the session manager can be kept from, as its flags.
constexpr uint32_t kSuspending = 4;
constexpr uint32_t kGoingIdle = 8;

// `what` is one lock alone: for a combination logind asks the policy of another action, which
// refuses callers outside a local session even the lock that everybody may have.
InhibitionRequest askLogind(const char* what, const std::string& why) {
  return {.service = {kLoginManager},
          .token = InhibitionRequest::Token::descriptor,
          .arguments = [what, why](sd_bus_message* call) {
            sd_bus_message_append(call, "ssss", what, kWho, why.c_str(), "block");
          }};
}

InhibitionRequest askSessionManager(uint32_t flags, const std::string& why) {
  constexpr uint32_t kNoWindow = 0;
  return {.service = {kSessionManager},
          .giveBack = "Uninhibit",
          .arguments = [flags, why](sd_bus_message* call) {
            sd_bus_message_append(call, "susu", kApplicationId, kNoWindow, why.c_str(), flags);
          }};
}

InhibitionRequest askScreenSaver(const BusObjectPlaces& saver, const std::string& why) {
  return {.service = saver, .giveBack = "UnInhibit", .arguments = [why](sd_bus_message* call) {
            sd_bus_message_append(call, "ss", kWho, why.c_str());
          }};
}

// Touches the screen savers. An object of its own, which a task from another thread may outlive.
class ScreenSaverActivity {
 public:
  explicit ScreenSaverActivity(Bus& bus) : bus_(bus) {}

  void simulate() {
    for (const auto& saver : kScreenSavers) {
      bus_.call(saver.object, "SimulateUserActivity", nullptr, nullptr);
    }
  }

 private:
  Bus& bus_;
};

class BusPower : public Power {
 public:
  BusPower(Bus& sessionBus, Bus& systemBus, MainQueue& queue, SystemLog& log)
      : sessionBus_(sessionBus),
        systemBus_(systemBus),
        queue_(queue),
        log_(log),
        activity_(std::make_shared<ScreenSaverActivity>(sessionBus)) {}

  ~BusPower() override {
    while (!held_.empty()) releaseAssertion(held_.begin()->first);
  }

  AssertionId createAssertion(std::string_view type, int /*level*/,
                              std::string_view name) override {
    const std::string why(name);
    std::vector<std::shared_ptr<Inhibition>> inhibitions;
    const auto take = [&](Bus& bus, InhibitionRequest request) {
      inhibitions.push_back(Inhibition::take(bus, log_, std::move(request)));
    };
    if (type == kNoIdleSleep) {
      take(systemBus_, askLogind("sleep", why));
      take(systemBus_, askLogind("idle", why));
      take(sessionBus_, askSessionManager(kSuspending, why));
    } else if (type == kNoDisplaySleep) {
      take(sessionBus_, askScreenSaver(kScreenSaver, why));
      // Does not listen to the shared name.
      take(sessionBus_, askScreenSaver(kXfceScreenSaver, why));
      take(sessionBus_, askSessionManager(kGoingIdle, why));
    } else {
      return 0;
    }
    held_[++lastId_] = std::move(inhibitions);
    return lastId_;
  }

  void releaseAssertion(AssertionId id) override {
    const auto found = held_.extract(id);
    if (found.empty()) return;
    for (const auto& inhibition : found.mapped()) inhibition->release();
  }

  void declareUserActivity(std::string_view /*name*/) override {
    queue_.post(weakly(activity_, [](ScreenSaverActivity& activity) { activity.simulate(); }));
  }

 private:
  Bus& sessionBus_;
  Bus& systemBus_;
  MainQueue& queue_;
  SystemLog& log_;
  const std::shared_ptr<ScreenSaverActivity> activity_;
  std::map<AssertionId, std::vector<std::shared_ptr<Inhibition>>> held_;
  AssertionId lastId_ = 0;
};

}  // namespace

std::unique_ptr<Power> makeBusPower(Bus& sessionBus, Bus& systemBus, MainQueue& queue,
                                    SystemLog& log) {
  return std::make_unique<BusPower>(sessionBus, systemBus, queue, log);
}

}  // namespace tovalin
