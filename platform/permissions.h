#pragma once

#include <string_view>

namespace tovalin {

// What the system lets this process do. Queries never prompt and never block; requests prompt at
// most and report nothing. Main thread, but for isTrusted(), which any thread may call.
class Permissions {
 public:
  virtual ~Permissions() = default;

  virtual bool preflightScreenCapture() const = 0;
  virtual void requestScreenCapture() = 0;
  virtual bool isTrusted() const = 0;
  virtual void requestTrustedWithPrompt() = 0;
  // Opens the desktop's page for screen capture, where it has one.
  virtual void openScreenCaptureSettings() = 0;
};

}  // namespace tovalin
