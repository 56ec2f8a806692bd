#pragma once

#include <sys/types.h>

#include <cstddef>
#include <memory>

#include "platform/secure_random.h"

namespace tovalin {

// getrandom(2), or what stands in for it.
using GetRandom = ssize_t (*)(void* buffer, size_t size, unsigned flags);

// The kernel's random generator. Waits only in the first moments after boot, long before a login.
std::unique_ptr<SecureRandom> makeSecureRandom();
std::unique_ptr<SecureRandom> makeSecureRandom(GetRandom getRandom);

}  // namespace tovalin
