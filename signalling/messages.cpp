#include "signalling/messages.h"

#include <algorithm>
#include <cmath>

namespace tovalin {
namespace {

using nlohmann::json;

constexpr int kDeepestNesting = 512;

// The field, or nothing when `message` is no object or has no such key.
const json* field(const SignalMessage& message, std::string_view key) {
  const auto found = message.find(key);
  return found == message.end() ? nullptr : &*found;
}

}  // namespace

SignalMessage registerMessage(std::string_view hostId, std::string_view hostKey,
                              std::string_view name) {
  return json::object({{"type", "register"},
                       {"role", "host"},
                       {"hostId", hostId},
                       {"hostKey", hostKey},
                       {"name", name}});
}

SignalMessage pairingStartMessage() {
  return json::object({{"type", "pairing-start"}});
}

SignalMessage offerMessage(std::string_view sdp) {
  return json::object({{"type", "offer"}, {"sdp", sdp}});
}

SignalMessage iceMessage(const IceCandidate& candidate) {
  return json::object({{"type", "ice"},
                       {"candidate", candidate.candidate},
                       {"sdpMLineIndex", candidate.sdpMLineIndex},
                       {"sdpMid", candidate.sdpMid.value_or("")}});
}

SignalMessage lockMessage(bool locked) {
  return json::object({{"type", "lock"}, {"v", locked}});
}

SignalMessage byeMessage() {
  return json::object({{"type", "bye"}});
}

SignalMessage diagnosticMessage(std::string_view text) {
  return json::object({{"type", "dbg"}, {"m", text}});
}

std::optional<SignalMessage> parseMessage(std::string_view bytes) {
  // The parser takes a zero byte for the end of the text and ignores what follows; in JSON it may
  // stand nowhere.
  if (bytes.find('\0') != std::string_view::npos) return std::nullopt;
  bool tooDeep = false;
  const auto keepShallow = [&](int enclosing, json::parse_event_t event, json&) {
    const bool opens =
        event == json::parse_event_t::object_start || event == json::parse_event_t::array_start;
    tooDeep = tooDeep || (opens && enclosing >= kDeepestNesting);
    return !tooDeep;
  };
  auto message = json::parse(bytes, keepShallow, /*allow_exceptions=*/false);
  if (tooDeep || !message.is_object()) return std::nullopt;
  return message;
}

std::optional<std::string> messageType(const SignalMessage& message) {
  return stringField(message, "type");
}

std::optional<std::string> stringField(const SignalMessage& message, std::string_view key) {
  const json* value = field(message, key);
  if (value == nullptr || !value->is_string()) return std::nullopt;
  return value->get<std::string>();
}

std::optional<double> wholeNumberField(const SignalMessage& message, std::string_view key) {
  const json* value = field(message, key);
  if (value == nullptr || !value->is_number()) return std::nullopt;
  const double number = value->get<double>();
  if (!std::isfinite(number) || std::trunc(number) != number) return std::nullopt;
  return number;
}

std::vector<nlohmann::json> iceServerList(const SignalMessage& message) {
  const json* list = field(message, "iceServers");
  const auto isObject = [](const json& element) { return element.is_object(); };
  if (list == nullptr || !list->is_array()) return {};
  if (!std::all_of(list->begin(), list->end(), isObject)) return {};
  return {list->begin(), list->end()};
}

}  // namespace tovalin
