// What the controller does on signalling messages, on what a session reports, and at the beginning
// and the end of a visit.

#include <utility>

#include "app/host_controller.h"
#include "platform/weak_task.h"
#include "signalling/messages.h"

namespace tovalin {
namespace {

constexpr const char* kWaiting = "Waiting for a viewer…";
constexpr const char* kUserActivityName = "Tovalin viewer connected";
constexpr double kFirstReconnectDelaySeconds = 1.0;

}  // namespace

void HostController::connectSignal() {
  if (const auto old = signal_.load()) old->close();
  endSession(kWaiting);
  const auto url = platform_.urls.parse(settings_.serverURL());
  if (!url) {
    setStatus("Bad server address");
    return;
  }
  const auto client =
      SignalClient::create(platform_.queue, platform_.sockets, *url,
                           registerMessage(settings_.hostId(), settings_.hostKey(),
                                           platform_.info.localizedName().value_or("Mac")));
  client->setDelegate(weak_from_this());
  signal_.store(client);
  client->setShouldReconnect(true);
  client->open();
  setStatus(kWaiting);
}

void HostController::signalReceived(const SignalMessage& message) {
  const auto type = messageType(message);
  if (!type) return;
  if (*type == "registered") {
    registered(message);
  } else if (*type == "pairing-pin") {
    publish(pairingPIN_, stringField(message, "pin"));
    publish(pairingToken_, stringField(message, "pairToken"));
  } else if (*type == "device-paired") {
    devicePaired(message);
  } else if (*type == "auth-failed") {
    setStatus("Server rejected this Mac — try Reconnect");
  } else if (*type == "peer-joined") {
    startSession();
  } else if (*type == "peer-left") {
    endSession(kWaiting);
  } else if (*type == "evicted") {
    evicted();
  } else if (*type == "answer" || *type == "ice") {
    passToSession(message);
  }
}

void HostController::signalDisconnected() {
  // A client that was closed here still reports the end of its socket. It will not reconnect, and
  // the status already says why.
  const auto client = signal_.load();
  if (client && !client->shouldReconnect()) return;
  setStatus("Reconnecting to server…");
}

void HostController::registered(const SignalMessage& message) {
  const auto client = signal_.load();
  if (client) client->setReconnectDelay(kFirstReconnectDelaySeconds);
  relayIceServers_ = iceServerList(message);
  if (!session_.load()) setStatus(kWaiting);
  if (wantsPairingPIN_ && !pairingPIN_ && client) client->send(pairingStartMessage());
}

void HostController::devicePaired(const SignalMessage& message) {
  publish(lastPairedDevice_,
          std::optional(stringField(message, "deviceName").value_or("Your phone")));
  publish(pairingPIN_, std::optional<std::string>());
  publish(pairingToken_, std::optional<std::string>());
  settings_.setHasPairedOnce();
  changes_.notify();
}

void HostController::evicted() {
  // Closed so that the two do not take the room from each other for ever.
  if (const auto client = signal_.load()) client->close();
  endSession("Another Mac took over this room");
}

void HostController::passToSession(const SignalMessage& message) {
  if (const auto session = session_.load()) session->handleSignal(message);
}

void HostController::startPairing() {
  publish(lastPairedDevice_, std::optional<std::string>());
  wantsPairingPIN_ = true;
  sendSignal(pairingStartMessage());
}

void HostController::endPairing() {
  wantsPairingPIN_ = false;
  publish(pairingPIN_, std::optional<std::string>());
  publish(pairingToken_, std::optional<std::string>());
}

void HostController::startSession() {
  if (const auto old = session_.load()) closeSession(*old);
  reportedFirstFrame_ = false;
  const auto session = WebRTCSession::create(rtcProcess_, relayIceServers_);
  session->setDelegate(weak_from_this());
  session_.store(session);
  platform_.power.declareUserActivity(kUserActivityName);
  streamer_->start();
  session->start();
  screenLocked_ = isScreenLocked();
  sendSignal(lockMessage(screenLocked_));
  setStatus("Viewer connecting…");
}

void HostController::endSession(const std::string& reason) {
  if (const auto session = session_.exchange(nullptr)) closeSession(*session);
  streamer_->stop();
  publish(viewerConnected_, false);
  indicator_.hide();
  power_.release();
  setStatus(reason);
}

void HostController::closeSession(WebRTCSession& session) {
  // Before, because closing waits for the library's thread, which may be in the middle of a long
  // text; after, for what came in between.
  injector_->releaseHeld();
  session.close();
  injector_->releaseHeld();
}

void HostController::webRTCSession(WebRTCSession&, bool connected) {
  publish(viewerConnected_, connected);
  if (connected) {
    setStatus("🟢 Viewer connected");
    indicator_.show(
        weakly(shared_from_this(), [](HostController& alive) { alive.disconnectViewer(); }));
    power_.hold();
    return;
  }
  // The session stays, and capture with it: the connection may come back, and whether the viewer
  // has left is the server's to say.
  setStatus(kWaiting);
  indicator_.hide();
  power_.release();
  injector_->releaseHeld();
}

void HostController::disconnectViewer() {
  sendSignal(byeMessage());
  endSession(kWaiting);
}

void HostController::screenStreamerDidCapture(const PixelBufferRef& pixelBuffer) {
  if (!reportedFirstFrame_.exchange(true)) sendSignal(diagnosticMessage("first-frame-pushed"));
  if (const auto session = session_.load()) session->push(pixelBuffer);
}

void HostController::screenStreamerDiagnostic(const std::string& text) {
  sendSignal(diagnosticMessage(text));
}

void HostController::sendSignal(const SignalMessage& message) {
  if (const auto client = signal_.load()) client->send(message);
}

}  // namespace tovalin
