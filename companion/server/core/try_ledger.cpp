#include "companion/server/core/try_ledger.h"

namespace tovalin::server {

TryLedger::TryLedger(const Clock& clock, const Limits& limits)
    : clock_(clock),
      limits_(limits),
      pins_(limits.wrongPinsAtOnce, limits.wrongPinsPerMinute / 60, clock.now()) {}

std::optional<std::chrono::seconds> TryLedger::lockedOutFor(const std::string& address) const {
  const auto found = entries_.find(address);
  if (found == entries_.end() || !found->second.lockedUntil) return std::nullopt;
  const auto left = *found->second.lockedUntil - clock_.now();
  if (left <= left.zero()) return std::nullopt;
  return std::chrono::ceil<std::chrono::seconds>(left);
}

std::optional<std::chrono::seconds> TryLedger::pinsClosedFor() {
  const auto wait = pins_.timeUntil(1, clock_.now());
  if (wait <= wait.zero()) return std::nullopt;
  return std::chrono::ceil<std::chrono::seconds>(wait);
}

void TryLedger::wrong(const std::string& address) {
  Entry& entry = entries_[address];
  if (isOver(entry)) entry = {};
  entry.lastTry = clock_.now();
  if (++entry.wrongTries >= limits_.wrongTries) entry.lockedUntil = clock_.now() + limits_.lockOut;
}

void TryLedger::forgetOld() {
  std::erase_if(entries_, [this](const auto& item) { return isOver(item.second); });
}

// A lock-out starts with the last try and is as long as the memory, so one test serves both.
bool TryLedger::isOver(const Entry& entry) const {
  return clock_.now() >= entry.lastTry + limits_.lockOut;
}

}  // namespace tovalin::server
