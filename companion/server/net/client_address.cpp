#include "companion/server/net/client_address.h"

#include <arpa/inet.h>

#include <array>
#include <cstring>

namespace tovalin::server {

std::string addressGroup(const std::string& address) {
  const std::string withoutZone = address.substr(0, address.find('%'));
  in6_addr parsed;
  if (inet_pton(AF_INET6, withoutZone.c_str(), &parsed) != 1) return address;
  std::array<char, INET6_ADDRSTRLEN> text;
  if (IN6_IS_ADDR_V4MAPPED(&parsed)) {
    inet_ntop(AF_INET, parsed.s6_addr + 12, text.data(), text.size());
    return text.data();
  }
  std::memset(parsed.s6_addr + 8, 0, 8);
  inet_ntop(AF_INET6, &parsed, text.data(), text.size());
  return std::string(text.data()) + "/64";
}

}  // namespace tovalin::server
