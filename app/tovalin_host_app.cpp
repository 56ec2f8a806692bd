#include "app/tovalin_host_app.h"

#include <chrono>
#include <thread>

#include "platform/weak_task.h"

namespace tovalin {
namespace {

constexpr double kOnboardingDelaySeconds = 1.5;
// At login the desktop's tray comes up beside this program; one that is not there by now is taken
// for none.
constexpr double kTrayPatienceSeconds = 5;

// A hold lasts as long as one picture takes to be handed on; more would be a fault.
constexpr std::chrono::seconds kEndPatience{2};

}  // namespace

TovalinHostApp::TovalinHostApp(const HostPlatform& platform)
    : platform_(platform),
      pairing_(std::make_shared<PairingWindowController>(PairingPorts{
          platform.windows, platform.urls, platform.qrCodes, platform.text, platform.info})) {
  scheduleOnboarding();
  controller_ = HostController::create(platform_);
  // A copy that is about to end shows nothing, not even for a moment.
  if (!controller_->isOnlyInstance()) return;
  showScene();
  scheduleTrayCheck();
}

// A picture that is on its way holds the controller for a moment. Were that hold the last one, the
// controller would end on the capture's thread, beside the end of everything that it uses.
TovalinHostApp::~TovalinHostApp() {
  controller_->shutDown();
  const auto end = std::chrono::steady_clock::now() + kEndPatience;
  while (controller_.use_count() > 1 && std::chrono::steady_clock::now() < end) {
    std::this_thread::yield();
  }
  controller_.reset();
}

void TovalinHostApp::showScene() {
  HostControllerRegistry::shared = controller_;
  menu_ = std::make_shared<HostMenuView>(
      platform_.windows, controller_, weakly(pairing_, [](PairingWindowController& pairing) {
        if (const auto host = HostControllerRegistry::shared.lock()) pairing.show(host);
      }));
  activation_ = platform_.applications.onActivate(
      weakly(menu_, [](HostMenuView& menu) { menu.openPanel(); }));
}

void TovalinHostApp::scheduleOnboarding() {
  platform_.queue.after(kOnboardingDelaySeconds,
                        weakly(pairing_, [](PairingWindowController& pairing) {
                          const auto host = HostControllerRegistry::shared.lock();
                          if (host && !host->hasPairedOnce()) pairing.show(host);
                        }));
}

void TovalinHostApp::scheduleTrayCheck() {
  platform_.queue.after(kTrayPatienceSeconds,
                        weakly(menu_, [](HostMenuView& menu) { menu.openPanelWithoutTray(); }));
}

}  // namespace tovalin
