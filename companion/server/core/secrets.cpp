#include "companion/server/core/secrets.h"

#include <openssl/crypto.h>
#include <openssl/evp.h>

#include <array>
#include <cstdint>
#include <cstring>
#include <vector>

namespace tovalin::server {
namespace {

constexpr std::size_t kSaltBytes = 16;

std::optional<std::string> randomBytes(SecureRandom& random, std::size_t count) {
  std::vector<uint8_t> bytes(count);
  if (random.fill(bytes) != 0) return std::nullopt;
  return std::string(bytes.begin(), bytes.end());
}

}  // namespace

std::string toHex(std::string_view bytes) {
  constexpr std::string_view kDigits = "0123456789abcdef";
  std::string hex;
  hex.reserve(bytes.size() * 2);
  for (const char c : bytes) {
    const auto byte = static_cast<uint8_t>(c);
    hex += kDigits[byte >> 4];
    hex += kDigits[byte & 15];
  }
  return hex;
}

std::optional<std::string> randomHex(SecureRandom& random, std::size_t bytes) {
  const auto raw = randomBytes(random, bytes);
  return raw ? std::optional(toHex(*raw)) : std::nullopt;
}

std::optional<std::string> randomPin(SecureRandom& random) {
  constexpr uint32_t kPins = 1'000'000;
  constexpr uint32_t kEven = UINT32_MAX - UINT32_MAX % kPins;  // beyond it, low PINs would win
  for (;;) {
    std::array<uint8_t, 4> bytes;
    if (random.fill(bytes) != 0) return std::nullopt;
    uint32_t number;
    std::memcpy(&number, bytes.data(), sizeof number);
    if (number >= kEven) continue;
    const std::string digits = std::to_string(number % kPins);
    return std::string(6 - digits.size(), '0') + digits;
  }
}

std::optional<std::string> sha256(std::string_view data) {
  std::array<unsigned char, EVP_MAX_MD_SIZE> digest;
  unsigned int size = 0;
  if (EVP_Digest(data.data(), data.size(), digest.data(), &size, EVP_sha256(), nullptr) != 1) {
    return std::nullopt;
  }
  return std::string(digest.begin(), digest.begin() + size);
}

std::optional<SaltedHash> saltedHash(std::string_view key, SecureRandom& random) {
  auto salt = randomBytes(random, kSaltBytes);
  if (!salt) return std::nullopt;
  auto hash = sha256(*salt + std::string(key));
  if (!hash) return std::nullopt;
  return SaltedHash{*std::move(salt), *std::move(hash)};
}

bool matches(const SaltedHash& stored, std::string_view key) {
  const auto hash = sha256(stored.salt + std::string(key));
  return hash && equalSecrets(*hash, stored.hash);
}

bool equalSecrets(std::string_view a, std::string_view b) {
  return a.size() == b.size() && CRYPTO_memcmp(a.data(), b.data(), a.size()) == 0;
}

}  // namespace tovalin::server
