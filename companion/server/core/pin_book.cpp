#include "companion/server/core/pin_book.h"

#include <utility>

#include "companion/server/core/secrets.h"

namespace tovalin::server {

std::optional<PairingCode> PinBook::issue(const std::string& hostId) {
  constexpr int kDraws = 64;  // with every host of a full server pairing, 64 misses never happen
  constexpr std::size_t kTokenBytes = 16;
  spend(hostId);
  auto token = randomHex(random_, kTokenBytes);
  if (!token) return std::nullopt;
  for (int draw = 0; draw < kDraws; ++draw) {
    auto pin = randomPin(random_);
    if (!pin) return std::nullopt;
    if (hostOf(*pin)) continue;
    // An expired code that nobody has swept yet may still hold the same PIN.
    if (const auto stale = hostByPin_.find(*pin); stale != hostByPin_.end()) {
      spend(std::string(stale->second));
    }
    PairingCode code{*std::move(pin), *std::move(token)};
    hostByPin_[code.pin] = hostId;
    byHost_[hostId] = {code, clock_.now() + limits_.pinLife};
    return code;
  }
  return std::nullopt;
}

std::optional<std::string> PinBook::hostOf(const std::string& pin) const {
  const auto found = hostByPin_.find(pin);
  if (found == hostByPin_.end() || !live(found->second)) return std::nullopt;
  return found->second;
}

bool PinBook::holds(const std::string& hostId, const std::string& token) const {
  const Entry* entry = live(hostId);
  return entry && equalSecrets(entry->code.token, token);
}

bool PinBook::hasLiveCode(const std::string& hostId) const {
  return live(hostId) != nullptr;
}

void PinBook::spend(const std::string& hostId) {
  const auto found = byHost_.find(hostId);
  if (found == byHost_.end()) return;
  hostByPin_.erase(found->second.code.pin);
  byHost_.erase(found);
}

void PinBook::forgetExpired() {
  const Time now = clock_.now();
  std::erase_if(byHost_, [&](const auto& item) {
    const bool over = now >= item.second.expires;
    if (over) hostByPin_.erase(item.second.code.pin);
    return over;
  });
}

const PinBook::Entry* PinBook::live(const std::string& hostId) const {
  const auto found = byHost_.find(hostId);
  if (found == byHost_.end() || clock_.now() >= found->second.expires) return nullptr;
  return &found->second;
}

}  // namespace tovalin::server
