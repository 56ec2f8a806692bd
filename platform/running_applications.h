#pragma once

#include <functional>
#include <memory>
#include <string_view>
#include <vector>

#include "platform/subscription.h"

namespace tovalin {

// The user's running programs, and this process's own end. Main thread.
class RunningApplications {
 public:
  virtual ~RunningApplications() = default;

  virtual int ownProcessId() const = 0;
  // Every live process of that bundle identifier in this user session, this one included.
  virtual std::vector<int> processIds(std::string_view bundleIdentifier) const = 0;
  // Asks that process of this program to show itself to the user. Returns at once and reports
  // nothing: the process may be gone, busy or unwilling.
  virtual void activate(int processId) = 0;
  // Calls `observer` when another process of this program has asked this one to show itself;
  // several requests at once may come as one. Requests made before anybody observes wait for the
  // run loop like any other event.
  [[nodiscard]] virtual std::unique_ptr<Subscription> onActivate(
      std::function<void()> observer) = 0;
  // Ends the run loop soon; returns.
  virtual void terminate() = 0;
};

}  // namespace tovalin
