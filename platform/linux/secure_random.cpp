#include "platform/linux/secure_random.h"

#include <sys/random.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <vector>

namespace tovalin {
namespace {

class KernelRandom : public SecureRandom {
 public:
  explicit KernelRandom(GetRandom getRandom) : getRandom_(getRandom) {}

  int fill(std::span<uint8_t> bytes) override {
    if (bytes.empty()) return 0;
    std::vector<uint8_t> fresh(bytes.size());
    size_t have = 0;
    while (have < fresh.size()) {
      const ssize_t count = getRandom_(fresh.data() + have, fresh.size() - have, 0);
      if (count < 0 && errno == EINTR) continue;
      if (count < 0) return errno;
      have += static_cast<size_t>(count);
    }
    std::copy(fresh.begin(), fresh.end(), bytes.begin());
    explicit_bzero(fresh.data(), fresh.size());
    return 0;
  }

 private:
  const GetRandom getRandom_;
};

}  // namespace

std::unique_ptr<SecureRandom> makeSecureRandom() {
  return makeSecureRandom(&getrandom);
}

std::unique_ptr<SecureRandom> makeSecureRandom(GetRandom getRandom) {
  return std::make_unique<KernelRandom>(getRandom);
}

}  // namespace tovalin
