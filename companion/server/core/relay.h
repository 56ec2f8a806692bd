#pragma once

#include <optional>

#include "companion/server/core/message_frame.h"

namespace tovalin::server {

// Each side is untrusted input to the other, so what is passed on is built anew from the fields of
// the catalogue. Nothing is returned for a message that must be dropped.

// For "offer" and "answer", named by `type`.
std::optional<Json> relayedDescription(const char* type, const Json& message);

// For "ice". The media line index is bounded because hosts end themselves on one beyond 32 bits.
std::optional<Json> relayedCandidate(const Json& message);

// For "lock".
std::optional<Json> relayedLock(const Json& message);

}  // namespace tovalin::server
