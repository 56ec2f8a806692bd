#pragma once

#include <map>
#include <optional>
#include <string>

#include "companion/server/core/clock.h"
#include "companion/server/core/limits.h"
#include "platform/secure_random.h"

namespace tovalin::server {

// What a host shows while it pairs: two ways to say the same thing once.
struct PairingCode {
  std::string pin;    // six digits
  std::string token;  // 32 hexadecimal digits
};

// The live PINs and tokens, at most one pair a host. Kept in memory only. Server thread.
class PinBook {
 public:
  PinBook(SecureRandom& random, const Clock& clock, const Limits& limits)
      : random_(random), clock_(clock), limits_(limits) {}

  // A new code for the host, whose earlier one is void from now on (even when this fails).
  // Nothing when the random generator fails or gives no PIN that is free.
  std::optional<PairingCode> issue(const std::string& hostId);

  // The host a live PIN was issued to.
  std::optional<std::string> hostOf(const std::string& pin) const;

  // Whether `token` is the host's live one.
  bool holds(const std::string& hostId, const std::string& token) const;

  bool hasLiveCode(const std::string& hostId) const;

  // Voids the host's code, if it has one.
  void spend(const std::string& hostId);

  // Gives back the memory of codes whose time is over.
  void forgetExpired();

 private:
  struct Entry {
    PairingCode code;
    Time expires;
  };

  const Entry* live(const std::string& hostId) const;

  SecureRandom& random_;
  const Clock& clock_;
  const Limits& limits_;
  std::map<std::string, Entry> byHost_;
  std::map<std::string, std::string> hostByPin_;  // every PIN in byHost_
};

}  // namespace tovalin::server
