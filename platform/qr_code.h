#pragma once

#include <optional>
#include <string_view>
#include <vector>

namespace tovalin {

// A QR code without its quiet zone, row by row.
struct QrModules {
  int size = 0;            // modules a side
  std::vector<bool> dark;  // size * size

  bool at(int x, int y) const { return dark[static_cast<size_t>(y) * size + x]; }
  bool operator==(const QrModules&) const = default;
};

// QR code generation.
class QrCodeGenerator {
 public:
  virtual ~QrCodeGenerator() = default;

  // Encodes the bytes of `text` at error-correction level M exactly; absent when they do not fit.
  virtual std::optional<QrModules> encode(std::string_view text) const = 0;
};

}  // namespace tovalin
