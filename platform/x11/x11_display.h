#pragma once

#include <string>

namespace tovalin {

// Whether an X server answers. `displayName` as in the DISPLAY variable; empty means that variable.
// Connects once, and blocks for as long as that takes: for the start of the program.
bool hasX11Display(const std::string& displayName = {});

}  // namespace tovalin
