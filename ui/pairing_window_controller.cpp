#include "ui/pairing_window_controller.h"

#include "platform/weak_task.h"
#include "ui/permission_rows.h"
#include "ui/pin_text.h"

namespace tovalin {
namespace {

constexpr const char* kHeaderSymbol = "laptopcomputer.and.iphone";
constexpr const char* kFallbackName = "Mac";

PairingContent permissionsStep(const HostFacade& host) {
  return {.step = PairingStep::permissions,
          .symbol = kHeaderSymbol,
          .title = "Let's connect this Mac",
          .subtitle = "Tovalin needs two permissions — macOS will ask just once.",
          .permissions = permissionRows(host),
          .footnote = "Tovalin notices the moment you allow each one.",
          .close = "Close"};
}

PairingContent doneStep(const std::string& device) {
  return {.step = PairingStep::done,
          .symbol = "checkmark.circle.fill",
          .title = device + " is connected",
          .subtitle = "This Mac is ready. You can now see and control it from your phone.",
          .close = "Done",
          .closeIsDefault = true};
}

}  // namespace

PairingWindowController::PairingWindowController(const PairingPorts& ports)
    : ports_(ports), code_(ports.urls, ports.qrCodes) {}

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
  const std::weak_ptr<HostFacade> weakHost = host;
  window_ = ports_.windows.makePairingWindow({
      .allow =
          [weakHost](Permission permission) {
            if (const auto alive = weakHost.lock()) requestPermission(*alive, permission);
          },
      .newPin = weakly(host, [](HostFacade& alive) { alive.startPairing(); }),
      .close = weakly(host, [this](HostFacade& alive) { close(alive); }),
  });
  changes_ = host->onChange(weakly(host, [this](HostFacade& alive) { refresh(alive); }));
  refresh(*host);
}

void PairingWindowController::refresh(const HostFacade& host) {
  window_->update(content(host));
}

PairingContent PairingWindowController::content(const HostFacade& host) {
  if (const auto& device = host.lastPairedDevice()) return doneStep(*device);
  if (host.screenPermission() && host.inputPermission()) return connectStep(host);
  return permissionsStep(host);
}

PairingContent PairingWindowController::connectStep(const HostFacade& host) {
  PairingContent content{
      .step = PairingStep::connect,
      .symbol = kHeaderSymbol,
      .title = "Connect your phone",
      .subtitle = "Open Tovalin on your iPhone and scan this code — or type the PIN.",
      .newPin = "New PIN",
      .close = "Close"};
  const auto& pin = host.pairingPIN();
  if (!pin) {
    content.waiting = "Getting your PIN…";
    return content;
  }
  content.pin = *pin;
  content.pinText = pinText(ports_.text, *pin);
  content.qrCode = code_.qrImage(host.hostId(), host.pairingToken().value_or(""),
                                 ports_.info.localizedName().value_or(kFallbackName));
  content.footnote = "This PIN works once and expires in 10 minutes.";
  return content;
}

}  // namespace tovalin
