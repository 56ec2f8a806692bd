#pragma once

#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace tovalin::server {

enum class LogLevel { debug, info, warning, error };

struct LogField {
  std::string_view key;
  std::string value;
};

// Something that happened, for the operator. Nothing secret is ever put into one.
struct LogEvent {
  LogLevel level;
  std::string_view name;
  std::vector<LogField> fields{};
};

// Takes every event of the server.
using Log = std::function<void(const LogEvent&)>;

// "level=… event=…" and the fields as key=value, on one line without its end. Values that are not
// plain words are quoted.
std::string logText(const LogEvent& event);

// The level that --log-level names so.
std::optional<LogLevel> logLevelOf(std::string_view name);

// As much of an id as tells two apart in a log.
inline std::string shortId(std::string_view id) {
  return std::string(id.substr(0, 8));
}

inline LogField hostField(std::string_view hostId) {
  return {"host", shortId(hostId)};
}
inline LogField deviceField(std::string_view deviceId) {
  return {"device", shortId(deviceId)};
}
inline LogField connectionField(uint64_t id) {
  return {"connection", std::to_string(id)};
}

// A failure of the store, told by `reason`.
inline LogEvent storeFailed(std::string_view reason) {
  return {LogLevel::error, "store-failed", {{"reason", std::string(reason)}}};
}

}  // namespace tovalin::server
