#pragma once

#include <functional>
#include <memory>
#include <optional>
#include <string>

#include "platform/subscription.h"

namespace tovalin {

// The host as the user interface sees it: its published state and what the user may ask of it.
// Main thread; nothing here blocks.
class HostFacade {
 public:
  virtual ~HostFacade() = default;

  virtual const std::string& status() const = 0;
  virtual bool viewerConnected() const = 0;
  virtual bool screenPermission() const = 0;
  virtual bool inputPermission() const = 0;
  virtual bool launchAtLogin() const = 0;
  virtual std::string serverURL() const = 0;
  virtual std::string hostId() const = 0;
  virtual bool hasPairedOnce() const = 0;
  virtual const std::optional<std::string>& pairingPIN() const = 0;
  virtual const std::optional<std::string>& pairingToken() const = 0;
  virtual const std::optional<std::string>& lastPairedDevice() const = 0;
  // The symbol name of the menu-bar icon.
  virtual std::string menuIcon() const = 0;

  // Calls `observer` after each change of any of the above.
  [[nodiscard]] virtual std::unique_ptr<Subscription> onChange(std::function<void()> observer) = 0;

  virtual void connectSignal() = 0;
  virtual void startPairing() = 0;
  // The user has closed the pairing window: no PIN is wanted, and none is shown, any more.
  virtual void endPairing() = 0;
  virtual void disconnectViewer() = 0;
  // Reads both permissions anew, without prompting.
  virtual void refreshPermissions() = 0;
  virtual void requestScreenPermission() = 0;
  virtual void requestInputPermission() = 0;
  virtual void setLaunchAtLogin(bool enabled) = 0;
  virtual void setServerURL(const std::string& address) = 0;
  virtual void quit() = 0;
};

}  // namespace tovalin
