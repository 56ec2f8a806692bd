#pragma once

#include <string>
#include <vector>

#include "ui/change_notifier.h"
#include "ui/host_facade.h"

namespace tovalin::fake {

// A host whose state the test sets and whose operations are only recorded.
class FakeHost : public HostFacade {
 public:
  const std::string& status() const override { return statusText; }
  bool viewerConnected() const override { return connected; }
  bool screenPermission() const override { return screenGranted; }
  bool inputPermission() const override { return inputGranted; }
  bool launchAtLogin() const override { return startsAtLogin; }
  std::string serverURL() const override { return "wss://signal.example/signal"; }
  std::string hostId() const override { return "HOST"; }
  bool hasPairedOnce() const override { return false; }
  const std::optional<std::string>& pairingPIN() const override { return pin; }
  const std::optional<std::string>& pairingToken() const override { return token; }
  const std::optional<std::string>& lastPairedDevice() const override { return pairedDevice; }
  std::string menuIcon() const override { return icon; }
  std::unique_ptr<Subscription> onChange(std::function<void()> observer) override {
    return changes.subscribe(std::move(observer));
  }
  void connectSignal() override { calls.emplace_back("connectSignal"); }
  void startPairing() override { calls.emplace_back("startPairing"); }
  void endPairing() override { calls.emplace_back("endPairing"); }
  void disconnectViewer() override { calls.emplace_back("disconnectViewer"); }
  void refreshPermissions() override { calls.emplace_back("refreshPermissions"); }
  void requestScreenPermission() override { calls.emplace_back("requestScreenPermission"); }
  void requestInputPermission() override { calls.emplace_back("requestInputPermission"); }
  void setLaunchAtLogin(bool enabled) override {
    calls.emplace_back(enabled ? "setLaunchAtLogin on" : "setLaunchAtLogin off");
  }
  void setServerURL(const std::string& address) override {
    calls.push_back("setServerURL " + address);
  }
  void quit() override { calls.emplace_back("quit"); }

  std::string statusText = "Waiting for a viewer…";
  bool connected = false;
  bool screenGranted = true;
  bool inputGranted = true;
  bool startsAtLogin = false;
  std::optional<std::string> pin;
  std::optional<std::string> token;
  std::optional<std::string> pairedDevice;
  std::string icon = "rectangle.on.rectangle";
  ChangeNotifier changes;
  std::vector<std::string> calls;
};

}  // namespace tovalin::fake
