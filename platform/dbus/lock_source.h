#pragma once

#include <optional>

namespace tovalin {

// Somebody who may know whether the screen is locked. Main thread.
class LockSource {
 public:
  virtual ~LockSource() = default;

  // As last told; absent while nobody has told, or what was told made no sense.
  virtual std::optional<bool> locked() const = 0;
};

}  // namespace tovalin
