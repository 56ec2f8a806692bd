#include "platform/x11/x11_login_session.h"

#include <poll.h>
#include <xcb/screensaver.h>
#include <xcb/xcbext.h>

#include <chrono>
#include <cstdlib>
#include <utility>

#include "platform/x11/x11_reconnecting.h"

namespace tovalin {
namespace {

using Clock = std::chrono::steady_clock;

constexpr std::chrono::milliseconds kPatience{20};

class NoSubscription : public Subscription {};

class X11LoginSession : public LoginSession {
 public:
  explicit X11LoginSession(std::string displayName) : server_(std::move(displayName)) {}

  std::optional<nlohmann::json> currentDictionary() const override {
    auto* connection = server_.get();
    if (connection == nullptr || server_.openings() != openings_) {
      openings_ = server_.openings();
      asked_.reset();
      locked_.reset();
    }
    if (connection == nullptr || connection->extension(&xcb_screensaver_id) == nullptr) {
      return std::nullopt;
    }
    ask(*connection);
    if (!locked_) return std::nullopt;
    return nlohmann::json{{kSessionScreenIsLocked, *locked_}};
  }

  std::unique_ptr<Subscription> onDidWake(std::function<void()> /*observer*/) override {
    return std::make_unique<NoSubscription>();
  }

 private:
  void ask(X11Connection& connection) const {
    const auto end = Clock::now() + kPatience;
    // An answer that was waited for in vain may be there by now, and be old.
    if (asked_ && !takeAnswer(connection, Clock::now())) return;
    asked_ = xcb_screensaver_query_info(connection.get(), connection.root());
    xcb_flush(connection.get());
    takeAnswer(connection, end);
  }

  // Waits for the answer until `end`; false while it is still due.
  bool takeAnswer(X11Connection& connection, Clock::time_point end) const {
    for (;;) {
      void* reply = nullptr;
      xcb_generic_error_t* error = nullptr;
      if (xcb_poll_for_reply(connection.get(), asked_->sequence, &reply, &error) != 0) {
        const XcbOwned<xcb_generic_error_t> refused(error);
        const XcbOwned<xcb_screensaver_query_info_reply_t> answer(
            static_cast<xcb_screensaver_query_info_reply_t*>(reply));
        if (answer != nullptr) locked_ = answer->state == XCB_SCREENSAVER_STATE_ON;
        asked_.reset();
        return true;
      }
      const auto left =
          std::chrono::duration_cast<std::chrono::milliseconds>(end - Clock::now()).count();
      pollfd readable{xcb_get_file_descriptor(connection.get()), POLLIN, 0};
      if (left <= 0 || poll(&readable, 1, static_cast<int>(left)) <= 0) return false;
    }
  }

  mutable X11Reconnecting server_;
  mutable unsigned openings_ = 0;
  mutable std::optional<xcb_screensaver_query_info_cookie_t> asked_;
  mutable std::optional<bool> locked_;
};

}  // namespace

std::unique_ptr<LoginSession> makeX11LoginSession(std::string displayName) {
  return std::make_unique<X11LoginSession>(std::move(displayName));
}

}  // namespace tovalin
