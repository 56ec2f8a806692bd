#include "platform/webrtc/network_interfaces.h"

#include <arpa/inet.h>
#include <gtest/gtest.h>
#include <net/if.h>
#include <netinet/in.h>

#include <deque>
#include <string>

namespace tovalin {
namespace {

constexpr unsigned kRunning = IFF_UP | IFF_RUNNING;

class NetworkInterfacesTest : public testing::Test {
 protected:
  void machineHas(unsigned flags, const char* address) {
    ifaddrs& entry = entries_.emplace_back();
    entry.ifa_flags = flags;
    entry.ifa_addr = address == nullptr ? nullptr : parsed(address);
    if (entries_.size() > 1) entries_[entries_.size() - 2].ifa_next = &entry;
  }

  bool reachesOut() const {
    return reachesBeyondThisMachine(entries_.empty() ? nullptr : &entries_.front());
  }

 private:
  sockaddr* parsed(const char* text) {
    sockaddr_in6& address = addresses_.emplace_back();
    if (inet_pton(AF_INET6, text, &address.sin6_addr) == 1) {
      address.sin6_family = AF_INET6;
    } else {
      address.sin6_family = AF_INET;  // nothing but the family of an IPv4 address is looked at
    }
    return reinterpret_cast<sockaddr*>(&address);
  }

  std::deque<ifaddrs> entries_;
  std::deque<sockaddr_in6> addresses_;
};

TEST_F(NetworkInterfacesTest, NoInterfaceReachesNothing) {
  EXPECT_FALSE(reachesOut());
}

TEST_F(NetworkInterfacesTest, TheLoopbackAloneReachesNothing) {
  machineHas(kRunning | IFF_LOOPBACK, "127.0.0.1");
  machineHas(kRunning | IFF_LOOPBACK, "::1");
  EXPECT_FALSE(reachesOut());
}

TEST_F(NetworkInterfacesTest, AnInterfaceBesideTheLoopbackReachesOut) {
  machineHas(kRunning | IFF_LOOPBACK, "127.0.0.1");
  machineHas(kRunning, "192.0.2.7");
  EXPECT_TRUE(reachesOut());
}

TEST_F(NetworkInterfacesTest, AGlobalIpv6AddressReachesOut) {
  machineHas(kRunning, "2001:db8::7");
  EXPECT_TRUE(reachesOut());
}

TEST_F(NetworkInterfacesTest, LinkLocalAddressesDoNotCount) {
  machineHas(kRunning, "fe80::7");
  EXPECT_FALSE(reachesOut());
}

TEST_F(NetworkInterfacesTest, InterfacesThatAreDownOrUnpluggedDoNotCount) {
  machineHas(0, "192.0.2.7");
  machineHas(IFF_UP, "192.0.2.8");
  EXPECT_FALSE(reachesOut());
}

TEST_F(NetworkInterfacesTest, AnInterfaceWithoutAddressDoesNotCount) {
  machineHas(kRunning, nullptr);
  EXPECT_FALSE(reachesOut());
}

}  // namespace
}  // namespace tovalin
