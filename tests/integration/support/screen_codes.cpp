#include "tests/integration/support/screen_codes.h"

#include <zbar.h>

namespace tovalin::test {

std::vector<std::string> screenCodes(const std::vector<uint32_t>& pixels, int width, int height) {
  std::vector<uint8_t> grey;
  grey.reserve(pixels.size());
  for (const uint32_t pixel : pixels) {
    const uint32_t sum = ((pixel >> 16) & 0xFF) + ((pixel >> 8) & 0xFF) * 2 + (pixel & 0xFF);
    grey.push_back(static_cast<uint8_t>(sum / 4));
  }
  zbar::ImageScanner scanner;
  zbar::Image image(static_cast<unsigned>(width), static_cast<unsigned>(height), "Y800",
                    grey.data(), grey.size());
  scanner.scan(image);
  std::vector<std::string> codes;
  for (auto symbol = image.symbol_begin(); symbol != image.symbol_end(); ++symbol) {
    codes.push_back(symbol->get_data());
  }
  return codes;
}

}  // namespace tovalin::test
