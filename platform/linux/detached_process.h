#pragma once

#include <string>
#include <vector>

namespace tovalin {

// Starts a program that lives on its own: in a session of its own, without this process's open
// files, terminal or ignored signals, and not as a child that would have to be buried. `command` is
// the program's path and its arguments; an empty one starts nothing. Whether the program comes up
// is not waited for. False when no process could be made. Main thread.
bool launchDetached(const std::vector<std::string>& command);

}  // namespace tovalin
