#pragma once

#include <functional>
#include <memory>
#include <optional>

#include "platform/subscription.h"

namespace tovalin {

enum class ColorScheme { light, dark };

// What the user has chosen for the looks of all programs. Main thread; nothing here blocks.
class Appearance {
 public:
  using Observer = std::function<void(std::optional<ColorScheme>)>;

  virtual ~Appearance() = default;

  // As last known; absent where the desktop does not tell (or has not yet), and the toolkit's own
  // palette has to decide.
  virtual std::optional<ColorScheme> current() const = 0;

  // Calls `observer` with the new answer each time it changes, also when it becomes known.
  [[nodiscard]] virtual std::unique_ptr<Subscription> onChange(Observer observer) = 0;
};

}  // namespace tovalin
