#pragma once

#include <chrono>
#include <memory>
#include <string>

#include "platform/x11/x11_connection.h"

namespace tovalin {

// When to try again what failed: at once, and from then on at most once a second.
class RetryPacing {
 public:
  // True when it is time for an attempt, which then counts as made.
  bool isDue();

 private:
  std::chrono::steady_clock::time_point next_{};
};

// A connection for rare requests that want no events. It is opened when first needed, and opened
// again when it was lost. Its owner decides on the thread.
class X11Reconnecting {
 public:
  explicit X11Reconnecting(std::string displayName);

  // The connection, or null while there is no server. Notices a lost server without asking it;
  // blocks only for connecting, at most once a second.
  X11Connection* get();

  // How often a connection was opened: tells a new one from the last.
  unsigned openings() const { return openings_; }

 private:
  std::string displayName_;
  std::unique_ptr<X11Connection> connection_;
  RetryPacing retry_;
  unsigned openings_ = 0;
};

}  // namespace tovalin
