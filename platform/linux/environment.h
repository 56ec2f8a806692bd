#pragma once

#include <cstdlib>
#include <string>

namespace tovalin {

// A variable of the environment; empty when it is not set. Main thread.
inline std::string environmentValue(const char* variable) {
  const char* value = std::getenv(variable);
  return value == nullptr ? "" : value;
}

}  // namespace tovalin
