#pragma once

#include <optional>
#include <string>

namespace tovalin {

// What this computer and this program are called.
class HostInfo {
 public:
  virtual ~HostInfo() = default;

  // The computer's name as its owner wrote it; absent when the system gives none. Main thread.
  virtual std::optional<std::string> localizedName() const = 0;

  // The program's reverse-DNS identifier; absent when it was started outside an installed bundle.
  virtual std::optional<std::string> bundleIdentifier() const = 0;
};

}  // namespace tovalin
