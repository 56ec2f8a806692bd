#pragma once

#include <filesystem>
#include <optional>
#include <string_view>

namespace tovalin {

// The file that a name leads to, as a shell would find it: a name with a slash is the file itself,
// any other is looked for in the absolute directories of `searchPath`, which is written like PATH.
// Only files that this user may execute count. Any thread.
std::optional<std::filesystem::path> findProgram(std::string_view name,
                                                 std::string_view searchPath);

}  // namespace tovalin
