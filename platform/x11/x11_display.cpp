#include "platform/x11/x11_display.h"

#include "platform/x11/x11_connection.h"

namespace tovalin {

bool hasX11Display(const std::string& displayName) {
  return X11Connection(displayName).alive();
}

}  // namespace tovalin
