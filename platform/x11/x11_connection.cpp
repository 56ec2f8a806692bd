#include "platform/x11/x11_connection.h"

#include <sys/socket.h>

namespace tovalin {

X11Connection::X11Connection(const std::string& displayName) {
  int screenNumber = 0;
  connection_ = xcb_connect(displayName.empty() ? nullptr : displayName.c_str(), &screenNumber);
  if (!alive()) return;
  for (auto roots = xcb_setup_roots_iterator(xcb_get_setup(connection_)); roots.rem != 0;
       xcb_screen_next(&roots)) {
    if (screenNumber-- == 0) screen_ = roots.data;
  }
}

X11Connection::~X11Connection() {
  xcb_disconnect(connection_);
}

bool X11Connection::alive() const {
  return xcb_connection_has_error(connection_) == 0;
}

const xcb_query_extension_reply_t* X11Connection::extension(xcb_extension_t* id) const {
  const auto* data = xcb_get_extension_data(connection_, id);
  return data != nullptr && data->present != 0 ? data : nullptr;
}

bool X11Connection::isLocal() const {
  sockaddr_storage address{};
  socklen_t length = sizeof address;
  const int fd = xcb_get_file_descriptor(connection_);
  return getsockname(fd, reinterpret_cast<sockaddr*>(&address), &length) == 0 &&
         address.ss_family == AF_UNIX;
}

}  // namespace tovalin
