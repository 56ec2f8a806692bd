#include "companion/server/core/relay.h"

#include <cstdint>
#include <utility>

namespace tovalin::server {

std::optional<Json> relayedDescription(const char* type, const Json& message) {
  auto sdp = stringField(message, "sdp");
  if (!sdp) return std::nullopt;
  return Json{{"type", type}, {"sdp", *std::move(sdp)}};
}

std::optional<Json> relayedCandidate(const Json& message) {
  constexpr uint64_t kHighestLine = 65535;
  auto candidate = stringField(message, "candidate");
  if (!candidate || candidate->empty()) return std::nullopt;
  Json relayed{{"type", "ice"}, {"candidate", *std::move(candidate)}};

  const auto line = message.find("sdpMLineIndex");
  if (line != message.end() && line->is_number()) {
    // A whole number that is not negative is unsigned to the parser, whatever its size.
    if (!line->is_number_unsigned() || line->get<uint64_t>() > kHighestLine) return std::nullopt;
    relayed["sdpMLineIndex"] = *line;
  }
  if (auto mid = stringField(message, "sdpMid")) relayed["sdpMid"] = *std::move(mid);
  return relayed;
}

std::optional<Json> relayedLock(const Json& message) {
  const auto locked = message.find("v");
  if (locked == message.end() || !locked->is_boolean()) return std::nullopt;
  return Json{{"type", "lock"}, {"v", *locked}};
}

}  // namespace tovalin::server
