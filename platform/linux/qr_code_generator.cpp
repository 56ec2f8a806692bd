#include "platform/linux/qr_code_generator.h"

#include <cstdint>
#include <qrcodegen/qrcodegen.hpp>
#include <stdexcept>

namespace tovalin {
namespace {

using qrcodegen::QrCode;
using qrcodegen::QrSegment;

constexpr int kLibraryChoosesMask = -1;

class QrCodeGenLibrary : public QrCodeGenerator {
 public:
  std::optional<QrModules> encode(std::string_view text) const override {
    try {
      const std::vector<uint8_t> bytes(text.begin(), text.end());
      // The library raises the level by itself where the version has room, unless told not to.
      const bool raiseLevel = false;
      const QrCode code = QrCode::encodeSegments({QrSegment::makeBytes(bytes)}, QrCode::Ecc::MEDIUM,
                                                 QrCode::MIN_VERSION, QrCode::MAX_VERSION,
                                                 kLibraryChoosesMask, raiseLevel);
      return modulesOf(code);
    } catch (const std::length_error&) {
      return std::nullopt;
    }
  }

 private:
  static QrModules modulesOf(const QrCode& code) {
    QrModules modules{code.getSize(), {}};
    modules.dark.reserve(static_cast<size_t>(modules.size) * static_cast<size_t>(modules.size));
    for (int y = 0; y < modules.size; ++y) {
      for (int x = 0; x < modules.size; ++x) modules.dark.push_back(code.getModule(x, y));
    }
    return modules;
  }
};

}  // namespace

std::unique_ptr<QrCodeGenerator> makeQrCodeGenerator() {
  return std::make_unique<QrCodeGenLibrary>();
}

}  // namespace tovalin
