#pragma once

#include <memory>
#include <string>

#include "platform/permissions.h"

namespace tovalin {

// What X11 lets a program do: everything, once it has reached the server. So the screen may be
// captured when there is a server, and events may be posted when it has the XTEST extension.
// Answers come from a connection that is kept, and cost next to nothing; without a server one is
// looked for at most once a second. Requests only look again: X11 has nobody to ask. The
// settings page is the desktop's own on privacy, where it has one. `displayName` as in the DISPLAY
// variable; empty means that variable.
std::unique_ptr<Permissions> makeX11Permissions(std::string displayName = {});

}  // namespace tovalin
