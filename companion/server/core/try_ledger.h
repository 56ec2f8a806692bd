#pragma once

#include <chrono>
#include <map>
#include <optional>
#include <string>

#include "companion/server/core/clock.h"
#include "companion/server/core/limits.h"

namespace tovalin::server {

// Who has been guessing. Wrong tries are counted by address and cost that address alone.
// Server thread.
class TryLedger {
 public:
  TryLedger(const Clock& clock, const Limits& limits) : clock_(clock), limits_(limits) {}

  // How long the address must still wait, at least a second; nothing when it may try.
  std::optional<std::chrono::seconds> lockedOutFor(const std::string& address) const;

  // Counts a wrong try; the last one allowed starts the lock-out.
  void wrong(const std::string& address);

  // A right try clears the address.
  void right(const std::string& address) { entries_.erase(address); }

  // Gives back the memory of what no longer counts.
  void forgetOld();

 private:
  struct Entry {
    int wrongTries = 0;
    Time lastTry{};
    std::optional<Time> lockedUntil;
  };

  bool isOver(const Entry& entry) const;

  const Clock& clock_;
  const Limits& limits_;
  std::map<std::string, Entry> entries_;
};

}  // namespace tovalin::server
