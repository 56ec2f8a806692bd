#include "platform/x11/x11_capture_wake.h"

#include <poll.h>
#include <sys/eventfd.h>
#include <unistd.h>

#include <algorithm>

namespace tovalin {

CaptureWake::CaptureWake() : fd_(eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK)) {}

CaptureWake::~CaptureWake() {
  if (valid()) close(fd_);
}

void CaptureWake::signal() {
  eventfd_write(fd_, 1);
}

bool CaptureWake::wait(std::chrono::steady_clock::time_point until, xcb_connection_t* connection) {
  using namespace std::chrono;
  pollfd watched[2] = {{fd_, POLLIN, 0}, {-1, POLLIN, 0}};
  if (connection != nullptr) watched[1].fd = xcb_get_file_descriptor(connection);
  const auto left = std::max(nanoseconds(until - steady_clock::now()), nanoseconds::zero());
  const auto whole = duration_cast<seconds>(left);
  const timespec timeout{whole.count(), static_cast<long>((left - whole).count())};
  ppoll(watched, 2, &timeout, nullptr);
  eventfd_t count;
  return (watched[0].revents & POLLIN) != 0 && eventfd_read(fd_, &count) == 0;
}

}  // namespace tovalin
