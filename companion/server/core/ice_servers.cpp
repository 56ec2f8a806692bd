#include "companion/server/core/ice_servers.h"

#include <openssl/evp.h>
#include <openssl/hmac.h>

#include <array>

namespace tovalin::server {
namespace {

const unsigned char* bytesOf(std::string_view text) {
  return reinterpret_cast<const unsigned char*>(text.data());
}

}  // namespace

Json iceServers(const IceSettings& settings, const Clock& clock) {
  Json list = Json::array();
  if (!settings.stun.empty()) list.push_back({{"urls", settings.stun}});
  if (settings.turn.empty()) return list;
  const std::string username = std::to_string(clock.unixTime() + settings.turnLife.count());
  const auto proof = hmacSha1(settings.turnSecret, username);
  if (!proof) return list;
  list.push_back({{"urls", settings.turn}, {"username", username}, {"credential", base64(*proof)}});
  return list;
}

std::optional<std::string> hmacSha1(std::string_view key, std::string_view text) {
  std::array<unsigned char, EVP_MAX_MD_SIZE> digest;
  unsigned int size = 0;
  if (!HMAC(EVP_sha1(), key.data(), static_cast<int>(key.size()), bytesOf(text), text.size(),
            digest.data(), &size)) {
    return std::nullopt;
  }
  return std::string(digest.begin(), digest.begin() + size);
}

std::string base64(std::string_view bytes) {
  std::string text((bytes.size() + 2) / 3 * 4, '\0');  // and a closing zero, which a string has
  EVP_EncodeBlock(reinterpret_cast<unsigned char*>(text.data()), bytesOf(bytes),
                  static_cast<int>(bytes.size()));
  return text;
}

}  // namespace tovalin::server
