#include "companion/server/system.h"

#include <sys/random.h>
#include <sys/resource.h>

#include <algorithm>
#include <cerrno>
#include <vector>

namespace tovalin::server {

int SystemRandom::fill(std::span<uint8_t> bytes) {
  std::vector<uint8_t> drawn(bytes.size());
  for (std::size_t done = 0; done < drawn.size();) {
    const ssize_t count = getrandom(drawn.data() + done, drawn.size() - done, 0);
    if (count < 0 && errno == EINTR) continue;
    if (count < 0) return errno;
    done += static_cast<std::size_t>(count);
  }
  std::ranges::copy(drawn, bytes.begin());
  return 0;
}

std::size_t raisedDescriptorLimit() {
  constexpr rlim_t kUsual = 1024;
  rlimit limit{};
  if (getrlimit(RLIMIT_NOFILE, &limit) != 0) return kUsual;
  const rlim_t before = limit.rlim_cur;
  limit.rlim_cur = limit.rlim_max;
  return setrlimit(RLIMIT_NOFILE, &limit) == 0 ? limit.rlim_max : before;
}

}  // namespace tovalin::server
