#pragma once

#include <array>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace tovalin::server {

// A network of addresses, IPv4 ones as they are mapped into IPv6.
class AddressRange {
 public:
  // From "ADDRESS" or "ADDRESS/BITS"; nothing when the text is anything else.
  static std::optional<AddressRange> parse(std::string_view text);

  // Whether `address`, in numbers, lies in it; false for any other text.
  bool contains(const std::string& address) const;

 private:
  std::array<uint8_t, 16> bytes_{};
  int bits_ = 128;
};

// Who is at the far end of a connection from `peer`. A trusted proxy is believed what it adds to
// X-Forwarded-For, so that is the last entry of `forwardedFor` that no trusted proxy made up; what
// an untrusted client wrote before it counts for nothing. Addresses in numbers.
std::string clientAddress(const std::string& peer, std::string_view forwardedFor,
                          const std::vector<AddressRange>& trustedProxies);

// What tries are counted by: an IPv4 address as it is (also when it is mapped into IPv6), an IPv6
// address as its /64 network, for a household has 2^64 of them. `address` in numbers.
std::string addressGroup(const std::string& address);

}  // namespace tovalin::server
