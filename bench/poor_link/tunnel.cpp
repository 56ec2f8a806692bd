#include "bench/poor_link/tunnel.h"

#include <fcntl.h>
#include <linux/if_tun.h>
#include <net/if.h>
#include <sched.h>
#include <sys/ioctl.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <system_error>

namespace tovalin {
namespace {

[[noreturn]] void fail(const std::string& what) {
  throw std::system_error(errno, std::generic_category(), what);
}

int opened(const std::string& path, int flags) {
  const int descriptor = open(path.c_str(), flags | O_CLOEXEC);
  if (descriptor < 0) fail(path);
  return descriptor;
}

}  // namespace

Tunnel::Tunnel(const std::string& networkNamespace, const std::string& device) {
  const int place = opened("/run/netns/" + networkNamespace, O_RDONLY);
  const int entered = setns(place, CLONE_NEWNET);
  close(place);
  if (entered != 0) fail("cannot enter " + networkNamespace);

  descriptor_ = opened("/dev/net/tun", O_RDWR | O_NONBLOCK);
  ifreq request{};
  request.ifr_flags = IFF_TUN | IFF_NO_PI;
  std::strncpy(request.ifr_name, device.c_str(), IFNAMSIZ - 1);
  if (ioctl(descriptor_, TUNSETIFF, &request) != 0) {
    const int reason = errno;
    close(descriptor_);
    errno = reason;
    fail("no device " + device + " in " + networkNamespace);
  }
}

Tunnel::~Tunnel() {
  close(descriptor_);
}

std::span<const std::byte> Tunnel::read(std::span<std::byte> buffer) {
  const ssize_t size = ::read(descriptor_, buffer.data(), buffer.size());
  if (size >= 0) return buffer.first(static_cast<std::size_t>(size));
  if (errno != EAGAIN && errno != EINTR) fail("reading packets");
  return {};
}

void Tunnel::write(std::span<const std::byte> packet) {
  if (::write(descriptor_, packet.data(), packet.size()) < 0) fail("writing a packet");
}

}  // namespace tovalin
