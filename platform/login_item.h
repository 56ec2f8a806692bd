#pragma once

#include <optional>

#include "platform/error.h"

namespace tovalin {

// This program as an item that starts at login. Main thread.
class LoginItem {
 public:
  virtual ~LoginItem() = default;

  // Absent: success.
  virtual std::optional<Error> registerItem() = 0;
  virtual std::optional<Error> unregisterItem() = 0;
  // Whether the desktop will start the program at the next login.
  virtual bool isEnabled() const = 0;
};

}  // namespace tovalin
