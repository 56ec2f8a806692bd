#pragma once

#include <memory>

#include "platform/qr_code.h"

namespace tovalin {

// QR codes in byte mode, in the smallest version that holds the text. Any thread.
std::unique_ptr<QrCodeGenerator> makeQrCodeGenerator();

}  // namespace tovalin
