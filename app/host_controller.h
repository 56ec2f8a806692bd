#pragma once

#include <atomic>
#include <functional>
#include <memory>
#include <nlohmann/json.hpp>
#include <optional>
#include <string>
#include <vector>

#include "app/host_platform.h"
#include "app/host_settings.h"
#include "capture/power_assertion.h"
#include "capture/screen_streamer.h"
#include "input/input_injector.h"
#include "peer/webrtc_process.h"
#include "peer/webrtc_session.h"
#include "platform/shared_slot.h"
#include "signalling/signal_client.h"
#include "ui/change_notifier.h"
#include "ui/connection_indicator.h"
#include "ui/host_facade.h"

namespace tovalin {

// The one object that holds the host's state and owns its collaborators; the only place where
// signalling, the peer session, capture, power and the indicator meet. There is one a process.
//
// Everything runs on the main thread but for screenStreamerDidCapture (capture thread and main
// thread), signal() and injector() (the media library's threads): these read only what SharedSlot
// or an atomic guards.
class HostController : public HostFacade,
                       public SignalClientDelegate,
                       public WebRTCSessionDelegate,
                       public ScreenStreamerSink,
                       public std::enable_shared_from_this<HostController> {
 public:
  // Constructs the controller and starts the host: identity, single instance, permissions, login
  // item, signalling, polls. When another instance runs, the application has been told to
  // terminate and nothing has been started.
  static std::shared_ptr<HostController> create(const HostPlatform& platform);
  ~HostController() override;

  // Ends the visit and lets no picture in any more, before the end of the controller. From then on
  // no other thread takes hold of it anew.
  void shutDown();

  // False when another instance runs: this one is about to end.
  bool isOnlyInstance() const { return onlyInstance_; }

  // HostFacade
  const std::string& status() const override { return status_; }
  bool viewerConnected() const override { return viewerConnected_; }
  bool screenPermission() const override { return screenPermission_; }
  bool inputPermission() const override { return inputPermission_; }
  bool launchAtLogin() const override { return launchAtLogin_; }
  std::string serverURL() const override { return settings_.serverURL(); }
  std::string hostId() const override { return settings_.hostId(); }
  bool hasPairedOnce() const override { return settings_.hasPairedOnce(); }
  const std::optional<std::string>& pairingPIN() const override { return pairingPIN_; }
  const std::optional<std::string>& pairingToken() const override { return pairingToken_; }
  const std::optional<std::string>& lastPairedDevice() const override { return lastPairedDevice_; }
  std::string menuIcon() const override;
  std::unique_ptr<Subscription> onChange(std::function<void()> observer) override;
  void connectSignal() override;
  void startPairing() override;
  void endPairing() override;
  void disconnectViewer() override;
  void refreshPermissions() override;
  void requestScreenPermission() override;
  void requestInputPermission() override;
  void setLaunchAtLogin(bool enabled) override;
  void setServerURL(const std::string& address) override;
  void quit() override;

  // SignalClientDelegate
  void signalReceived(const SignalMessage& message) override;
  void signalDisconnected() override;

  // WebRTCSessionDelegate
  void webRTCSession(WebRTCSession& session, bool connected) override;
  std::shared_ptr<SignalClient> signal() override { return signal_.load(); }
  std::shared_ptr<ControlMessageHandler> injector() override { return injector_; }

  // ScreenStreamerSink
  void screenStreamerDidCapture(const PixelBufferRef& pixelBuffer) override;
  void screenStreamerDiagnostic(const std::string& text) override;

 private:
  explicit HostController(const HostPlatform& platform);

  // Start-up
  void startUp();
  bool enforceSingleInstance();
  void applyFirstRunLoginRule();
  void startPolls();

  // Lock
  bool isScreenLocked() const;
  void pollScreenLock();

  // Visits
  void startSession();
  void endSession(const std::string& reason);
  void closeSession(WebRTCSession& session);
  void registered(const SignalMessage& message);
  void devicePaired(const SignalMessage& message);
  void evicted();
  void passToSession(const SignalMessage& message);
  void sendSignal(const SignalMessage& message);

  void setStatus(const std::string& status);
  template <typename T>
  void publish(T& property, T value);

  HostPlatform platform_;
  HostSettings settings_;
  ChangeNotifier changes_;

  bool onlyInstance_ = true;
  std::string status_ = "Starting…";
  bool viewerConnected_ = false;
  bool screenPermission_ = false;
  bool inputPermission_ = false;
  bool launchAtLogin_ = false;
  std::optional<std::string> pairingPIN_;
  std::optional<std::string> pairingToken_;
  std::optional<std::string> lastPairedDevice_;

  std::vector<nlohmann::json> relayIceServers_;
  SharedSlot<SignalClient> signal_;
  SharedSlot<WebRTCSession> session_;
  const std::shared_ptr<WebRTCProcess> rtcProcess_;
  const std::shared_ptr<ScreenStreamer> streamer_;
  const std::shared_ptr<InputInjector> injector_;
  ConnectionIndicator indicator_;
  PowerAssertion power_;
  std::unique_ptr<Timer> permissionPoll_;
  std::unique_ptr<Timer> lockPoll_;
  std::unique_ptr<Subscription> wakeObserver_;
  bool screenLocked_ = false;
  bool wantsPairingPIN_ = false;
  std::atomic<bool> reportedFirstFrame_ = false;
};

// The process-wide way to the controller for code outside the menu-bar scene.
struct HostControllerRegistry {
  static inline std::weak_ptr<HostController> shared;
};

}  // namespace tovalin
