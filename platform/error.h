#pragma once

#include <string>

namespace tovalin {

// Why an operation of an adapter failed, in words fit for the log line that it ends up in.
struct Error {
  std::string description;
};

}  // namespace tovalin
