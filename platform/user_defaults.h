#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace tovalin {

// The application's persisted settings. Reads never fail: what is missing, or of another type,
// is absent. A write is on disk when the call returns, or has been logged as failed and is kept in
// memory for the life of the process. Main thread only.
class UserDefaults {
 public:
  virtual ~UserDefaults() = default;

  virtual std::optional<std::string> string(std::string_view key) const = 0;
  virtual std::optional<bool> boolean(std::string_view key) const = 0;
  virtual void setString(std::string_view key, std::string_view value) = 0;
  virtual void setBoolean(std::string_view key, bool value) = 0;
};

}  // namespace tovalin
