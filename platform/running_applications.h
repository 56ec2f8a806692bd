#pragma once

#include <string_view>
#include <vector>

namespace tovalin {

// The user's running programs, and this process's own end. Main thread.
class RunningApplications {
 public:
  virtual ~RunningApplications() = default;

  virtual int ownProcessId() const = 0;
  // Every live process of that bundle identifier in this user session, this one included.
  virtual std::vector<int> processIds(std::string_view bundleIdentifier) const = 0;
  // Ends the run loop soon; returns.
  virtual void terminate() = 0;
};

}  // namespace tovalin
