#include "ui/host_menu_view.h"

#include <utility>

#include "platform/weak_task.h"

namespace tovalin {

HostMenuView::HostMenuView(Windows& windows, const std::shared_ptr<HostFacade>& host,
                           std::function<void()> connectPhone) {
  menu_ = windows.makeMenu({
      .disconnectViewer = weakly(host, [](HostFacade& alive) { alive.disconnectViewer(); }),
      .connectPhone = std::move(connectPhone),
      .reconnect = weakly(host, [](HostFacade& alive) { alive.connectSignal(); }),
      .quit = weakly(host, [](HostFacade& alive) { alive.quit(); }),
  });
  changes_ = host->onChange(weakly(host, [this](HostFacade& alive) { refresh(alive); }));
  refresh(*host);
}

void HostMenuView::refresh(const HostFacade& host) {
  menu_->update({host.menuIcon(), host.status(), host.viewerConnected()});
}

}  // namespace tovalin
