#pragma once

#include <memory>

#include "platform/host_info.h"
#include "platform/text.h"
#include "platform/windows.h"
#include "ui/host_facade.h"
#include "ui/pairing_code.h"

namespace tovalin {

// What the pairing window needs of the system.
struct PairingPorts {
  Windows& windows;
  const UrlParser& urls;
  const QrCodeGenerator& qrCodes;
  const TextSegmenter& text;
  const HostInfo& info;
};

// Owns the one pairing window of the process: made on the first show, hidden and shown again after
// that. Main thread.
class PairingWindowController {
 public:
  explicit PairingWindowController(const PairingPorts& ports);

  // Brings the window up for `host` and asks for a fresh PIN. Later calls reuse the window, bound
  // to the host of the first.
  void show(const std::shared_ptr<HostFacade>& host);
  // Ends the pairing attempt and hides the window.
  void close(HostFacade& host);

 private:
  void makeWindow(const std::shared_ptr<HostFacade>& host);
  void refresh(const HostFacade& host);
  PairingContent content(const HostFacade& host);
  PairingContent connectStep(const HostFacade& host);

  const PairingPorts ports_;
  PairingCode code_;
  std::unique_ptr<PairingWindow> window_;
  std::unique_ptr<Subscription> changes_;
};

}  // namespace tovalin
