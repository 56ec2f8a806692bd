#include "ui/connection_indicator.h"

#include <utility>

namespace tovalin {

ConnectionIndicator::ConnectionIndicator(Windows& windows) : windows_(windows) {}

void ConnectionIndicator::show(std::function<void()> disconnect) {
  if (panel_) return;
  panel_ = windows_.makeIndicator({"Someone is controlling this Mac", "Disconnect"},
                                  std::move(disconnect));
}

void ConnectionIndicator::hide() {
  panel_.reset();
}

}  // namespace tovalin
