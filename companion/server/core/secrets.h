#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>

#include "platform/secure_random.h"

namespace tovalin::server {

// `bytes` random bytes as lower-case hexadecimal digits; nothing when the generator fails.
std::optional<std::string> randomHex(SecureRandom& random, std::size_t bytes);

// Six random decimal digits, each text equally likely; nothing when the generator fails.
std::optional<std::string> randomPin(SecureRandom& random);

// How keys are stored. They are 256-bit random values, which no dictionary holds, so one round of
// SHA-256 is enough; the salt keeps equal keys from looking equal.
struct SaltedHash {
  std::string salt;  // raw bytes
  std::string hash;  // raw bytes
};

// Nothing when the random generator or the hash function fails.
std::optional<SaltedHash> saltedHash(std::string_view key, SecureRandom& random);

// Whether `key` is the one `stored` was made from, compared in constant time.
bool matches(const SaltedHash& stored, std::string_view key);

// Whether two secrets are equal, in a time that depends on their lengths alone.
bool equalSecrets(std::string_view a, std::string_view b);

// Raw SHA-256 of `data`; nothing when the library fails.
std::optional<std::string> sha256(std::string_view data);

// Lower-case hexadecimal digits of raw bytes.
std::string toHex(std::string_view bytes);

}  // namespace tovalin::server
