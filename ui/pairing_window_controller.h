#pragma once

#include <memory>

#include "platform/windows.h"
#include "ui/host_facade.h"

namespace tovalin {

// Owns the one pairing window of the process: made on the first show, hidden and shown again after
// that. Main thread.
class PairingWindowController {
 public:
  explicit PairingWindowController(Windows& windows);

  // Brings the window up for `host` and asks for a fresh PIN. Later calls reuse the window, bound
  // to the host of the first.
  void show(const std::shared_ptr<HostFacade>& host);
  // Ends the pairing attempt and hides the window.
  void close(HostFacade& host);

 private:
  void makeWindow(const std::shared_ptr<HostFacade>& host);
  void refresh(const HostFacade& host);

  Windows& windows_;
  std::unique_ptr<PairingWindow> window_;
  std::unique_ptr<Subscription> changes_;
};

}  // namespace tovalin
