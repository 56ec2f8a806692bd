#include "platform/x11/x11_reconnecting.h"

#include <utility>

namespace tovalin {
namespace {

constexpr std::chrono::seconds kRetryInterval{1};

}  // namespace

bool RetryPacing::isDue() {
  const auto now = std::chrono::steady_clock::now();
  if (now < next_) return false;
  next_ = now + kRetryInterval;
  return true;
}

X11Reconnecting::X11Reconnecting(std::string displayName) : displayName_(std::move(displayName)) {}

X11Connection* X11Reconnecting::get() {
  if (connection_ != nullptr) {
    // Errors of requests whose outcome nobody waits for end here; so does the news of a lost
    // server.
    while (XcbOwned<xcb_generic_event_t>(xcb_poll_for_event(connection_->get())) != nullptr) {
    }
    if (!connection_->alive()) connection_.reset();
  }
  if (connection_ == nullptr && retry_.isDue()) {
    connection_ = std::make_unique<X11Connection>(displayName_);
    if (connection_->alive()) {
      ++openings_;
    } else {
      connection_.reset();
    }
  }
  return connection_.get();
}

}  // namespace tovalin
