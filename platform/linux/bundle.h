#pragma once

namespace tovalin {

// The one reverse-DNS name under which the program's files, desktop entry and icon are known.
inline constexpr const char* kBundleIdentifier = "com.tovalin.host";

}  // namespace tovalin
