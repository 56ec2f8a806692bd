#include "ui/host_menu_view.h"

#include <utility>

#include "platform/weak_task.h"
#include "ui/permission_rows.h"

namespace tovalin {
namespace {

// An action with an argument that does nothing once the host is gone.
template <typename Argument, typename Operation>
std::function<void(Argument)> weakAction(const std::shared_ptr<HostFacade>& host,
                                         Operation operation) {
  return [weak = std::weak_ptr(host), operation](Argument argument) {
    if (const auto alive = weak.lock()) operation(*alive, argument);
  };
}

}  // namespace

HostMenuView::HostMenuView(Windows& windows, const std::shared_ptr<HostFacade>& host,
                           std::function<void()> connectPhone) {
  menu_ = windows.makeMenu({
      .opened = weakly(host, [](HostFacade& alive) { alive.refreshPermissions(); }),
      .disconnectViewer = weakly(host, [](HostFacade& alive) { alive.disconnectViewer(); }),
      .allow = weakAction<Permission>(host, requestPermission),
      .connectPhone = std::move(connectPhone),
      .editServerURL = weakAction<const std::string&>(
          host, [](HostFacade& alive, const std::string& url) { alive.setServerURL(url); }),
      .reconnect = weakly(host, [](HostFacade& alive) { alive.connectSignal(); }),
      .setLaunchAtLogin = weakAction<bool>(
          host, [](HostFacade& alive, bool enabled) { alive.setLaunchAtLogin(enabled); }),
      .quit = weakly(host, [](HostFacade& alive) { alive.quit(); }),
  });
  changes_ = host->onChange(weakly(host, [this](HostFacade& alive) { refresh(alive); }));
  refresh(*host);
}

void HostMenuView::openPanel() {
  menu_->openPanel();
}

void HostMenuView::openPanelWithoutTray() {
  if (!menu_->hasTrayIcon()) menu_->openPanel();
}

void HostMenuView::refresh(const HostFacade& host) {
  menu_->update({.icon = host.menuIcon(),
                 .openPanel = "Open Tovalin Host",
                 .status = host.status(),
                 .viewerConnected = host.viewerConnected(),
                 .disconnectViewer = host.viewerConnected() ? "Disconnect this viewer" : "",
                 .permissions = permissionRows(host),
                 .connectPhone = "Connect your phone…",
                 .connectPhoneSymbol = "qrcode",
                 .advanced = "Advanced",
                 .addressPlaceholder = "wss://…",
                 .serverURL = host.serverURL(),
                 .reconnect = "Reconnect",
                 .startAtLogin = "Start at login",
                 .launchAtLogin = host.launchAtLogin(),
                 .quit = "Quit Tovalin Host"});
}

}  // namespace tovalin
