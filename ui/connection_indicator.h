#pragma once

#include <functional>
#include <memory>

#include "platform/windows.h"

namespace tovalin {

// The panel that tells the person at the computer that a viewer is in control, with a button that
// ends it. Main thread.
class ConnectionIndicator {
 public:
  explicit ConnectionIndicator(Windows& windows);

  // Puts up the panel, whose button runs `disconnect`. With a panel already up it does nothing, and
  // the new action is ignored.
  void show(std::function<void()> disconnect);
  // Takes the panel down; nothing without one.
  void hide();

 private:
  Windows& windows_;
  std::unique_ptr<IndicatorPanel> panel_;
};

}  // namespace tovalin
