#pragma once

#include <functional>
#include <memory>

#include "platform/windows.h"
#include "ui/host_facade.h"

namespace tovalin {

// The menu-bar panel and its icon: shows what the host publishes, passes on what the user presses.
// Main thread.
class HostMenuView {
 public:
  // `connectPhone` opens the pairing window. The host is held weakly by every action.
  HostMenuView(Windows& windows, const std::shared_ptr<HostFacade>& host,
               std::function<void()> connectPhone);

  // Opens the panel, for somebody who has started the program a second time.
  void openPanel();
  // Opens the panel where no tray shows the icon, so that nobody is locked out.
  void openPanelWithoutTray();

 private:
  void refresh(const HostFacade& host);

  std::unique_ptr<Menu> menu_;
  std::unique_ptr<Subscription> changes_;
};

}  // namespace tovalin
