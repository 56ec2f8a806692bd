#include "app/host_settings.h"

#include <array>
#include <span>
#include <string_view>
#include <utility>

namespace tovalin {
namespace {

constexpr std::string_view kServerUrl = "tovalin.serverURL";
constexpr std::string_view kHostId = "tovalin.hostId";
constexpr std::string_view kHostKey = "tovalin.hostKey";
constexpr std::string_view kHasPairedOnce = "tovalin.hasPairedOnce";
constexpr std::string_view kLoginConfigured = "tovalin.loginConfigured";

constexpr std::string_view kRetiredPort = ":9800";

std::string hexadecimal(std::span<const uint8_t> bytes, std::string_view digits) {
  std::string text;
  text.reserve(bytes.size() * 2);
  for (const uint8_t byte : bytes) {
    text += digits[byte >> 4];
    text += digits[byte & 0x0f];
  }
  return text;
}

}  // namespace

HostSettings::HostSettings(UserDefaults& defaults, SecureRandom& random,
                           std::string defaultServerURL)
    : defaults_(defaults), random_(random), defaultServerURL_(std::move(defaultServerURL)) {}

void HostSettings::migrateServerAddress() {
  if (serverURL().ends_with(kRetiredPort)) setServerURL(defaultServerURL_);
}

void HostSettings::createIdentity() {
  if (hostId().empty()) defaults_.setString(kHostId, makeHostId());
  if (hostKey().empty()) defaults_.setString(kHostKey, makeHostKey());
}

std::string HostSettings::serverURL() const {
  return defaults_.string(kServerUrl).value_or(defaultServerURL_);
}

void HostSettings::setServerURL(const std::string& address) {
  defaults_.setString(kServerUrl, address);
}

std::string HostSettings::hostId() const {
  return defaults_.string(kHostId).value_or("");
}

std::string HostSettings::hostKey() const {
  return defaults_.string(kHostKey).value_or("");
}

bool HostSettings::hasPairedOnce() const {
  return defaults_.boolean(kHasPairedOnce).value_or(false);
}

void HostSettings::setHasPairedOnce() {
  defaults_.setBoolean(kHasPairedOnce, true);
}

bool HostSettings::loginConfigured() const {
  return defaults_.boolean(kLoginConfigured).value_or(false);
}

void HostSettings::setLoginConfigured() {
  defaults_.setBoolean(kLoginConfigured, true);
}

std::string HostSettings::makeHostId() {
  std::array<uint8_t, 16> bytes{};
  random_.fill(bytes);
  bytes[6] = static_cast<uint8_t>((bytes[6] & 0x0f) | 0x40);  // version 4: random
  bytes[8] = static_cast<uint8_t>((bytes[8] & 0x3f) | 0x80);  // the RFC 4122 variant
  std::string text = hexadecimal(bytes, "0123456789ABCDEF");
  for (const size_t hyphen : {8, 13, 18, 23}) text.insert(hyphen, 1, '-');
  return text;
}

std::string HostSettings::makeHostKey() {
  // A generator that fails leaves zeros: the key is then merely worthless, and the server, which
  // knows each host by its first key, still tells hosts apart by their ids.
  std::array<uint8_t, 32> bytes{};
  random_.fill(bytes);
  return hexadecimal(bytes, "0123456789abcdef");
}

}  // namespace tovalin
