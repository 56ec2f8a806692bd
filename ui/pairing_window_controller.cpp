#include "ui/pairing_window_controller.h"

#include "platform/weak_task.h"

namespace tovalin {

PairingWindowController::PairingWindowController(Windows& windows) : windows_(windows) {}

void PairingWindowController::show(const std::shared_ptr<HostFacade>& host) {
  if (!window_) makeWindow(host);
  window_->orderFront();
  host->startPairing();
}

void PairingWindowController::close(HostFacade& host) {
  host.endPairing();
  if (window_) window_->orderOut();
}

void PairingWindowController::makeWindow(const std::shared_ptr<HostFacade>& host) {
  window_ = windows_.makePairingWindow({
      .newPin = weakly(host, [](HostFacade& alive) { alive.startPairing(); }),
      .close = weakly(host, [this](HostFacade& alive) { close(alive); }),
  });
  changes_ = host->onChange(weakly(host, [this](HostFacade& alive) { refresh(alive); }));
  refresh(*host);
}

void PairingWindowController::refresh(const HostFacade& host) {
  window_->update({host.lastPairedDevice(), host.pairingPIN()});
}

}  // namespace tovalin
