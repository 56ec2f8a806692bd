#include "companion/server/net/client_address.h"

#include <arpa/inet.h>

#include <algorithm>
#include <charconv>
#include <cstring>

#include "companion/server/config_file.h"

namespace tovalin::server {
namespace {

constexpr int kMappedBits = 96;  // of ::ffff:0:0, which holds the IPv4 addresses

using Bytes = std::array<uint8_t, 16>;

std::optional<Bytes> addressBytes(const std::string& text) {
  const std::string withoutZone = text.substr(0, text.find('%'));
  Bytes bytes{};
  if (inet_pton(AF_INET6, withoutZone.c_str(), bytes.data()) == 1) return bytes;
  if (inet_pton(AF_INET, text.c_str(), bytes.data() + 12) != 1) return std::nullopt;
  bytes[10] = bytes[11] = 0xff;
  return bytes;
}

bool isIPv4(const std::string& text) {
  in_addr parsed;
  return inet_pton(AF_INET, text.c_str(), &parsed) == 1;
}

}  // namespace

std::optional<AddressRange> AddressRange::parse(std::string_view text) {
  const auto slash = text.find('/');
  const std::string address(text.substr(0, slash));
  const auto bytes = addressBytes(address);
  if (!bytes) return std::nullopt;
  AddressRange range;
  range.bytes_ = *bytes;
  if (slash == std::string_view::npos) return range;
  const std::string_view digits = text.substr(slash + 1);
  const int most = isIPv4(address) ? 32 : 128;
  int bits = 0;
  const char* end = digits.data() + digits.size();
  const auto [stop, error] = std::from_chars(digits.data(), end, bits);
  if (error != std::errc() || stop != end || bits < 0 || bits > most) return std::nullopt;
  range.bits_ = most == 32 ? kMappedBits + bits : bits;
  return range;
}

bool AddressRange::contains(const std::string& address) const {
  const auto bytes = addressBytes(address);
  if (!bytes) return false;
  const auto whole = static_cast<std::size_t>(bits_ / 8);
  if (!std::equal(bytes->begin(), bytes->begin() + whole, bytes_.begin())) return false;
  const int rest = bits_ % 8;
  return rest == 0 || (((*bytes)[whole] ^ bytes_[whole]) >> (8 - rest)) == 0;
}

std::string clientAddress(const std::string& peer, std::string_view forwardedFor,
                          const std::vector<AddressRange>& trustedProxies) {
  std::string client = peer;
  const auto isTrusted = [&](const std::string& address) {
    return std::ranges::any_of(trustedProxies,
                               [&](const auto& range) { return range.contains(address); });
  };
  while (isTrusted(client) && !forwardedFor.empty()) {
    const auto comma = forwardedFor.rfind(',');
    const bool isFirst = comma == std::string_view::npos;
    const std::string hop(trimmed(isFirst ? forwardedFor : forwardedFor.substr(comma + 1)));
    if (!addressBytes(hop)) break;
    client = hop;
    forwardedFor = isFirst ? std::string_view() : forwardedFor.substr(0, comma);
  }
  return client;
}

std::string addressGroup(const std::string& address) {
  auto bytes = addressBytes(address);
  if (!bytes || isIPv4(address)) return address;
  std::array<char, INET6_ADDRSTRLEN> text;
  in6_addr parsed;
  std::memcpy(&parsed, bytes->data(), bytes->size());
  if (IN6_IS_ADDR_V4MAPPED(&parsed)) {
    inet_ntop(AF_INET, parsed.s6_addr + 12, text.data(), text.size());
    return text.data();
  }
  std::memset(parsed.s6_addr + 8, 0, 8);
  inet_ntop(AF_INET6, &parsed, text.data(), text.size());
  return std::string(text.data()) + "/64";
}

}  // namespace tovalin::server
