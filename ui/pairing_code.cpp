#include "ui/pairing_code.h"

#include <utility>

namespace tovalin {

PairingCode::PairingCode(const UrlParser& urls, const QrCodeGenerator& generator)
    : urls_(urls), generator_(generator) {}

std::optional<std::string> PairingCode::payload(std::string_view host, std::string_view token,
                                                std::string_view name) const {
  const auto url = urls_.parse("tovalin://pair?host=" + urls_.encodeQueryValue(host) +
                               "&token=" + urls_.encodeQueryValue(token) +
                               "&name=" + urls_.encodeQueryValue(name));
  if (!url) return std::nullopt;
  return url->absoluteString;
}

const std::optional<QrModules>& PairingCode::qrImage(std::string_view host, std::string_view token,
                                                     std::string_view name) {
  auto wanted = payload(host, token, name);
  if (wanted != encoded_) {
    image_ = wanted ? generator_.encode(*wanted) : std::nullopt;
    encoded_ = std::move(wanted);
  }
  return image_;
}

}  // namespace tovalin
