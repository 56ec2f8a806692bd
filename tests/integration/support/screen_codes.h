#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace tovalin::test {

// The QR codes in a picture of `width` times `height` pixels, each 0xRRGGBB, as a phone's camera
// would read them.
std::vector<std::string> screenCodes(const std::vector<uint32_t>& pixels, int width, int height);

}  // namespace tovalin::test
