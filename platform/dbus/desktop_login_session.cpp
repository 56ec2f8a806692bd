#include "platform/dbus/desktop_login_session.h"

#include <cstdlib>
#include <string>
#include <utility>
#include <vector>

#include "platform/dbus/logind_session.h"
#include "platform/dbus/screen_saver_lock.h"

namespace tovalin {
namespace {

std::string ownSessionId() {
  const char* id = std::getenv("XDG_SESSION_ID");
  return id == nullptr ? std::string() : std::string(id);
}

class DesktopLoginSession : public LoginSession {
 public:
  DesktopLoginSession(Bus& sessionBus, Bus& systemBus, SystemLog& log,
                      LoginSession& withoutServices)
      : logind_(LogindSession::make(systemBus, log, ownSessionId())),
        withoutServices_(withoutServices) {
    sources_.push_back(logind_);
    for (const auto& saver : kScreenSavers) {
      sources_.push_back(ScreenSaverLock::make(sessionBus, log, saver));
    }
  }

  std::optional<nlohmann::json> currentDictionary() const override {
    bool anybody = false;
    bool locked = false;
    for (const auto& source : sources_) {
      const auto answer = source->locked();
      anybody = anybody || answer;
      locked = locked || answer.value_or(false);
    }
    if (!anybody) return withoutServices_.currentDictionary();
    return nlohmann::json{{kSessionScreenIsLocked, locked}};
  }

  std::unique_ptr<Subscription> onDidWake(std::function<void()> observer) override {
    return logind_->onDidWake(std::move(observer));
  }

 private:
  const std::shared_ptr<LogindSession> logind_;
  std::vector<std::shared_ptr<LockSource>> sources_;
  LoginSession& withoutServices_;
};

}  // namespace

std::unique_ptr<LoginSession> makeDesktopLoginSession(Bus& sessionBus, Bus& systemBus,
                                                      SystemLog& log,
                                                      LoginSession& withoutServices) {
  return std::make_unique<DesktopLoginSession>(sessionBus, systemBus, log, withoutServices);
}

}  // namespace tovalin
