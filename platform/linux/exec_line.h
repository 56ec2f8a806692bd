#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace tovalin {

// One argument as it stands in a desktop entry's Exec line, escaped for the file.
std::string execArgument(std::string_view argument);

// The arguments of an Exec line's value, whose escapes are resolved already (DesktopEntry::value).
// Field codes stay as they are written.
std::vector<std::string> execArguments(std::string_view value);

}  // namespace tovalin
