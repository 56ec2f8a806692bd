#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "platform/qr_code.h"
#include "platform/url.h"

namespace tovalin {

// Makes the QR code that a phone scans to pair: an address that carries the host, the server's
// pairing token and this computer's name. Remembers the last one, as a window asks for it at each
// change.
class PairingCode {
 public:
  PairingCode(const UrlParser& urls, const QrCodeGenerator& generator);

  // tovalin://pair?host=H&token=T&name=N; absent when no URL results.
  std::optional<std::string> payload(std::string_view host, std::string_view token,
                                     std::string_view name) const;

  // Absent when there is no payload or when it is too long for a code.
  const std::optional<QrModules>& qrImage(std::string_view host, std::string_view token,
                                          std::string_view name);

 private:
  const UrlParser& urls_;
  const QrCodeGenerator& generator_;
  std::optional<std::string> encoded_;
  std::optional<QrModules> image_;
};

}  // namespace tovalin
