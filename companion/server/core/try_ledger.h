#pragma once

#include <chrono>
#include <map>
#include <optional>
#include <string>

#include "companion/server/core/clock.h"
#include "companion/server/core/limits.h"
#include "companion/server/core/token_bucket.h"

namespace tovalin::server {

// Who has been guessing. Wrong tries are counted by address, which costs that address alone; wrong
// PINs, short enough to be guessed by many addresses together, also over all of them.
// Server thread.
class TryLedger {
 public:
  TryLedger(const Clock& clock, const Limits& limits);

  // How long the address must still wait, at least a second; nothing when it may try.
  std::optional<std::chrono::seconds> lockedOutFor(const std::string& address) const;

  // How long until a PIN may be tried from anywhere, at least a second; nothing when it may be now.
  std::optional<std::chrono::seconds> pinsClosedFor();

  // Counts a wrong try; the last one allowed starts the address's lock-out.
  void wrong(const std::string& address);

  // Counts a wrong PIN against what all addresses together may try.
  void wrongPin() { pins_.take(1, clock_.now()); }

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
  TokenBucket pins_;
  std::map<std::string, Entry> entries_;
};

}  // namespace tovalin::server
