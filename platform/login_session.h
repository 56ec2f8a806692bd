#pragma once

#include <functional>
#include <memory>
#include <nlohmann/json.hpp>
#include <optional>

#include "platform/subscription.h"

namespace tovalin {

// The key of a session dictionary under which the lock state stands.
inline constexpr const char* kSessionScreenIsLocked = "CGSSessionScreenIsLocked";

// The user's login session. Main thread; nothing here blocks.
class LoginSession {
 public:
  virtual ~LoginSession() = default;

  // The session's properties as a JSON object, as last known; absent when there is no session.
  virtual std::optional<nlohmann::json> currentDictionary() const = 0;

  // Calls `observer` on the main thread each time the machine has woken from sleep.
  [[nodiscard]] virtual std::unique_ptr<Subscription> onDidWake(std::function<void()> observer) = 0;
};

}  // namespace tovalin
