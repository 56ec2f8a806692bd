#pragma once

#include <filesystem>

namespace tovalin {

// Where this user's configuration lives: $XDG_CONFIG_HOME, else ~/.config. A relative value of the
// variable is ignored, as the XDG base directory rules demand. Main thread.
std::filesystem::path configHome();

// Where this user's session keeps what need not outlive it: $XDG_RUNTIME_DIR, else a directory of
// our own under /tmp. It is not created here, nor is its owner checked. Main thread.
std::filesystem::path runtimeHome();

// The absolute path of the program that runs; empty when /proc does not tell. To be asked at the
// start: after an upgrade the kernel appends " (deleted)". Main thread.
std::filesystem::path ownExecutable();

}  // namespace tovalin
