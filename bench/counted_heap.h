#pragma once

#include <cstdint>

namespace tovalin {

// How often `new` has been called in a program that is linked with this. One thread.
int64_t allocationsSoFar();

}  // namespace tovalin
