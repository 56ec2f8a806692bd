#include "platform/x11/x11_permissions.h"

#include <xcb/xtest.h>

#include <mutex>
#include <utility>

#include "platform/linux/settings_page.h"
#include "platform/x11/x11_reconnecting.h"

namespace tovalin {
namespace {

class X11Permissions : public Permissions {
 public:
  explicit X11Permissions(std::string displayName) : server_(std::move(displayName)) {}

  bool preflightScreenCapture() const override {
    std::lock_guard lock(mutex_);
    return server_.get() != nullptr;
  }

  void requestScreenCapture() override { preflightScreenCapture(); }

  bool isTrusted() const override {
    std::lock_guard lock(mutex_);
    const auto* connection = server_.get();
    // libxcb keeps the answer about an extension for as long as the connection lives.
    return connection != nullptr && connection->extension(&xcb_test_id) != nullptr;
  }

  void requestTrustedWithPrompt() override { isTrusted(); }

  void openScreenCaptureSettings() override { openPrivacySettings(); }

 private:
  mutable std::mutex mutex_;
  mutable X11Reconnecting server_;
};

}  // namespace

std::unique_ptr<Permissions> makeX11Permissions(std::string displayName) {
  return std::make_unique<X11Permissions>(std::move(displayName));
}

}  // namespace tovalin
