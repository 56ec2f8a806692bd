#pragma once

#include <chrono>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "companion/server/core/clock.h"
#include "companion/server/core/message_frame.h"

namespace tovalin::server {

// The servers that help two peers to reach each other.
struct IceSettings {
  std::vector<std::string> stun;  // URLs, like those below
  std::vector<std::string> turn;
  std::string turnSecret;  // shared with the TURN servers
  std::chrono::seconds turnLife{};
};

// The list for RTCPeerConnection, with TURN credentials that work for `turnLife` from now: the
// username is the second they end at, the credential its HMAC-SHA1 under the shared secret, which
// TURN servers check by themselves. Without TURN when no credential can be computed.
Json iceServers(const IceSettings& settings, const Clock& clock);

// Raw HMAC-SHA1 of `text`; nothing when the library fails.
std::optional<std::string> hmacSha1(std::string_view key, std::string_view text);

// `bytes` in the alphabet with "+" and "/", padded.
std::string base64(std::string_view bytes);

}  // namespace tovalin::server
