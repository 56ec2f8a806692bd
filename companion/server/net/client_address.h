#pragma once

#include <string>

namespace tovalin::server {

// What tries are counted by: an IPv4 address as it is (also when it is mapped into IPv6), an IPv6
// address as its /64 network, for a household has 2^64 of them. `address` in numbers.
std::string addressGroup(const std::string& address);

}  // namespace tovalin::server
