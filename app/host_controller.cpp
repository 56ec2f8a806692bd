// The controller's life: start-up, published state, permissions, lock poll and login item. What it
// does during a visit is in host_controller_visits.cpp.

#include "app/host_controller.h"

#include <algorithm>
#include <utility>

#include "platform/weak_task.h"
#include "signalling/messages.h"

namespace tovalin {
namespace {

constexpr double kPollSeconds = 2.0;
constexpr const char* kFallbackBundleIdentifier = "com.tovalin.host";

}  // namespace

std::shared_ptr<HostController> HostController::create(const HostPlatform& platform) {
  std::shared_ptr<HostController> controller(new HostController(platform));
  controller->startUp();
  return controller;
}

HostController::HostController(const HostPlatform& platform)
    : platform_(platform),
      settings_(platform.defaults, platform.random, platform.defaultServerURL),
      rtcProcess_(std::make_shared<WebRTCProcess>(platform.queue, platform.log, platform.rtc,
                                                  platform.stunHost)),
      streamer_(ScreenStreamer::create(platform.queue, platform.capture, platform.log)),
      injector_(InputInjector::create(platform.queue, platform.input, platform.text,
                                      platform.permissions, platform.power)),
      indicator_(platform.windows),
      power_(platform.power) {}

HostController::~HostController() {
  shutDown();
}

void HostController::shutDown() {
  streamer_->setSink({});
  // The system takes back sockets and assertions by itself, but not keys and buttons that the
  // viewer was holding down.
  if (const auto session = session_.exchange(nullptr)) closeSession(*session);
  streamer_->stop();
}

void HostController::startUp() {
  settings_.migrateServerAddress();
  settings_.createIdentity();
  onlyInstance_ = enforceSingleInstance();
  if (!onlyInstance_) return;
  streamer_->setSink(weak_from_this());
  injector_->setOnDiagnostic(
      weakly(shared_from_this(), [](HostController& alive, const std::string& text) {
        alive.sendSignal(diagnosticMessage(text));
      }));
  refreshPermissions();
  publish(launchAtLogin_, platform_.loginItem.isEnabled());
  applyFirstRunLoginRule();
  connectSignal();
  startPolls();
}

bool HostController::enforceSingleInstance() {
  const auto bundle = platform_.info.bundleIdentifier().value_or(kFallbackBundleIdentifier);
  const auto running = platform_.applications.processIds(bundle);
  const int self = platform_.applications.ownProcessId();
  if (std::all_of(running.begin(), running.end(), [self](int pid) { return pid == self; })) {
    return true;
  }
  for (const int pid : running) {
    if (pid != self) platform_.applications.activate(pid);
  }
  platform_.log.line("[Tovalin] another instance is running — quitting this one");
  platform_.applications.terminate();
  return false;
}

void HostController::applyFirstRunLoginRule() {
  if (settings_.loginConfigured()) return;
  // Stored first: a user who turns the item off later, or a registration that fails, is not
  // overridden at the next launch.
  settings_.setLoginConfigured();
  setLaunchAtLogin(true);
}

void HostController::startPolls() {
  const auto self = shared_from_this();
  permissionPoll_ = platform_.queue.every(
      kPollSeconds, weakly(self, [](HostController& alive) { alive.refreshPermissions(); }));
  screenLocked_ = isScreenLocked();
  lockPoll_ = platform_.queue.every(
      kPollSeconds, weakly(self, [](HostController& alive) { alive.pollScreenLock(); }));
  wakeObserver_ = platform_.loginSession.onDidWake(
      weakly(self, [](HostController& alive) { alive.connectSignal(); }));
}

std::string HostController::menuIcon() const {
  if (!screenPermission_ || !inputPermission_) return "exclamationmark.triangle";
  return viewerConnected_ ? "dot.radiowaves.left.and.right" : "rectangle.on.rectangle";
}

std::unique_ptr<Subscription> HostController::onChange(std::function<void()> observer) {
  return changes_.subscribe(std::move(observer));
}

void HostController::requestScreenPermission() {
  platform_.permissions.requestScreenCapture();
  platform_.permissions.openScreenCaptureSettings();
  refreshPermissions();
}

void HostController::requestInputPermission() {
  platform_.permissions.requestTrustedWithPrompt();
  refreshPermissions();
}

void HostController::refreshPermissions() {
  publish(screenPermission_, platform_.permissions.preflightScreenCapture());
  publish(inputPermission_, platform_.permissions.isTrusted());
}

bool HostController::isScreenLocked() const {
  const auto session = platform_.loginSession.currentDictionary();
  if (!session || !session->is_object()) return false;
  const auto locked = session->find(kSessionScreenIsLocked);
  if (locked == session->end()) return false;
  if (locked->is_boolean()) return locked->get<bool>();
  return locked->is_number_integer() && *locked == 1;
}

void HostController::pollScreenLock() {
  const bool locked = isScreenLocked();
  if (locked == screenLocked_) return;
  screenLocked_ = locked;
  sendSignal(lockMessage(locked));
}

void HostController::setLaunchAtLogin(bool enabled) {
  const auto failure =
      enabled ? platform_.loginItem.registerItem() : platform_.loginItem.unregisterItem();
  if (failure) platform_.log.line("[Tovalin] launch-at-login failed: " + failure->description);
  // What the system says, not what was asked for.
  publish(launchAtLogin_, platform_.loginItem.isEnabled());
}

void HostController::setServerURL(const std::string& address) {
  settings_.setServerURL(address);
  changes_.notify();
}

void HostController::quit() {
  platform_.applications.terminate();
}

void HostController::setStatus(const std::string& status) {
  publish(status_, status);
}

template <typename T>
void HostController::publish(T& property, T value) {
  if (property == value) return;
  property = std::move(value);
  changes_.notify();
}

template void HostController::publish(bool&, bool);
template void HostController::publish(std::optional<std::string>&, std::optional<std::string>);

}  // namespace tovalin
