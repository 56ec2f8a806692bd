#pragma once

#include <memory>

#include "app/host_controller.h"
#include "ui/host_menu_view.h"
#include "ui/pairing_window_controller.h"

namespace tovalin {

// The application: one controller and one scene, the menu-bar extra. A host that has never been
// paired opens the pairing window by itself shortly after launch; on a desktop without a tray,
// where nobody could reach it otherwise, the menu's panel opens too, and starting the program again
// opens it everywhere. Main thread.
class TovalinHostApp {
 public:
  explicit TovalinHostApp(const HostPlatform& platform);
  ~TovalinHostApp();

 private:
  void showScene();
  void scheduleOnboarding();
  void scheduleTrayCheck();

  HostPlatform platform_;
  std::shared_ptr<HostController> controller_;
  // Shared so that the onboarding check can hold it weakly.
  std::shared_ptr<PairingWindowController> pairing_;
  std::shared_ptr<HostMenuView> menu_;  // shared, so that the check for a tray can hold it weakly
  std::unique_ptr<Subscription> activation_;
};

}  // namespace tovalin
