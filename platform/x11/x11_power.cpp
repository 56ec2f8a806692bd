#include "platform/x11/x11_power.h"

#include <xcb/dpms.h>
#include <xcb/screensaver.h>

#include <mutex>
#include <set>
#include <utility>

#include "platform/x11/x11_reconnecting.h"

namespace tovalin {
namespace {

class X11Power : public Power {
 public:
  explicit X11Power(std::string displayName) : server_(std::move(displayName)) {}

  AssertionId createAssertion(std::string_view type, int /*level*/,
                              std::string_view /*name*/) override {
    std::lock_guard lock(mutex_);
    if (type != kNoDisplaySleep) return 0;
    auto* connection = server();
    if (connection == nullptr || connection->extension(&xcb_screensaver_id) == nullptr) return 0;
    held_.insert(++lastId_);
    suspend(*connection, true);
    return lastId_;
  }

  void releaseAssertion(AssertionId id) override {
    std::lock_guard lock(mutex_);
    if (held_.erase(id) == 0 || !held_.empty()) return;
    if (auto* connection = server()) suspend(*connection, false);
  }

  void declareUserActivity(std::string_view /*name*/) override {
    std::lock_guard lock(mutex_);
    auto* connection = server();
    if (connection == nullptr) return;
    xcb_force_screen_saver(connection->get(), XCB_SCREEN_SAVER_RESET);
    // Refused where DPMS is switched off; the monitors are on then.
    if (connection->extension(&xcb_dpms_id) != nullptr) {
      xcb_dpms_force_level(connection->get(), XCB_DPMS_DPMS_MODE_ON);
    }
    xcb_flush(connection->get());
  }

 private:
  X11Connection* server() {
    auto* connection = server_.get();
    // A new server knows nothing of what the last one was told.
    if (server_.openings() != openings_ && connection != nullptr) {
      openings_ = server_.openings();
      suspended_ = false;
      if (!held_.empty()) suspend(*connection, true);
    }
    return connection;
  }

  // The server counts suspensions; one is enough for any number of assertions.
  void suspend(X11Connection& connection, bool on) {
    if (suspended_ == on || connection.extension(&xcb_screensaver_id) == nullptr) return;
    suspended_ = on;
    xcb_screensaver_suspend(connection.get(), on ? 1 : 0);
    xcb_flush(connection.get());
  }

  std::mutex mutex_;
  X11Reconnecting server_;
  unsigned openings_ = 0;
  std::set<AssertionId> held_;
  AssertionId lastId_ = 0;
  bool suspended_ = false;
};

}  // namespace

std::unique_ptr<Power> makeX11Power(std::string displayName) {
  return std::make_unique<X11Power>(std::move(displayName));
}

}  // namespace tovalin
