#pragma once

#include <filesystem>
#include <vector>

namespace tovalin {

// Where this user's configuration lives: $XDG_CONFIG_HOME, else ~/.config. A relative value of the
// variable is ignored, as the XDG base directory rules demand. Main thread.
std::filesystem::path configHome();

// Where the system's configuration lives, the most important first: $XDG_CONFIG_DIRS, else
// /etc/xdg. Main thread.
std::vector<std::filesystem::path> configDirectories();

// Where programs keep their data, the user's own first: $XDG_DATA_HOME, else ~/.local/share, then
// $XDG_DATA_DIRS, else /usr/local/share and /usr/share. Main thread.
std::vector<std::filesystem::path> dataDirectories();

// Where this user's session keeps what need not outlive it: $XDG_RUNTIME_DIR, else a directory of
// our own under /tmp. It is not created here, nor is its owner checked. Main thread.
std::filesystem::path runtimeHome();

// The absolute path of the program that runs; empty when /proc does not tell. To be asked at the
// start: after an upgrade the kernel appends " (deleted)". Main thread.
std::filesystem::path ownExecutable();

}  // namespace tovalin
