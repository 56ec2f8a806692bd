#pragma once

#include <cstdio>
#include <cstdlib>

namespace tovalin {

// A deliberate hard stop: says why on standard error and ends the process by abort(3). Reserved
// for input that no correct peer can produce and that must not be acted on in part. Any thread.
[[noreturn]] inline void fatal(const char* why) {
  static_cast<void>(std::fprintf(stderr, "[Tovalin] fatal: %s\n", why));
  std::abort();
}

}  // namespace tovalin
