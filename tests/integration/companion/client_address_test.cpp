#include "companion/server/net/client_address.h"

#include <gtest/gtest.h>

namespace tovalin::server {
namespace {

AddressRange range(std::string_view text) {
  const auto parsed = AddressRange::parse(text);
  EXPECT_TRUE(parsed) << text;
  return parsed.value_or(AddressRange());
}

TEST(AddressRangeTest, ContainsWhatSharesItsBits) {
  struct Case {
    const char* range;
    const char* address;
    bool contained;
  };
  for (const auto& [text, address, contained] : {
           Case{"10.0.0.1", "10.0.0.1", true},
           Case{"10.0.0.1", "10.0.0.2", false},
           Case{"10.0.0.0/8", "10.255.0.1", true},
           Case{"10.0.0.0/8", "11.0.0.1", false},
           Case{"192.0.2.128/25", "192.0.2.129", true},
           Case{"192.0.2.128/25", "192.0.2.1", false},
           Case{"0.0.0.0/0", "203.0.113.9", true},
           Case{"0.0.0.0/0", "2001:db8::1", false},
           Case{"10.0.0.1", "::ffff:10.0.0.1", true},
           Case{"::1", "::1", true},
           Case{"2001:db8::/33", "2001:db8:7fff::1", true},
           Case{"2001:db8::/33", "2001:db8:8000::1", false},
           Case{"fe80::/10", "fe80::1%eth0", true},
           Case{"::/0", "2001:db8::1", true},
           Case{"::/0", "", false},
           Case{"::/0", "localhost", false},
       }) {
    EXPECT_EQ(range(text).contains(address), contained) << text << " " << address;
  }
}

TEST(ClientAddressTest, IsTheRightMostHopThatNoTrustedProxyMadeUp) {
  const std::vector<AddressRange> trusted = {range("127.0.0.1"), range("10.0.0.0/8")};
  struct Case {
    const char* peer;
    const char* forwardedFor;
    const char* client;
  };
  for (const auto& [peer, forwardedFor, client] : {
           Case{"192.0.2.1", "", "192.0.2.1"},
           Case{"192.0.2.1", "203.0.113.9", "192.0.2.1"},  // no proxy of ours: not believed
           Case{"127.0.0.1", "", "127.0.0.1"},
           Case{"127.0.0.1", "203.0.113.9", "203.0.113.9"},
           Case{"127.0.0.1", "198.51.100.7, 203.0.113.9", "203.0.113.9"},
           Case{"127.0.0.1", "198.51.100.7 ,\t203.0.113.9 , 10.1.1.1", "203.0.113.9"},
           Case{"127.0.0.1", "10.2.2.2,10.1.1.1", "10.2.2.2"},  // proxies all the way
           Case{"127.0.0.1", "2001:db8::1", "2001:db8::1"},
           Case{"::ffff:127.0.0.1", "203.0.113.9", "203.0.113.9"},
           Case{"127.0.0.1", "203.0.113.9, nonsense", "127.0.0.1"},
           Case{"127.0.0.1", "203.0.113.9, ,10.1.1.1", "10.1.1.1"},
           Case{"127.0.0.1", ",,,", "127.0.0.1"},
           Case{"", "203.0.113.9", ""},
       }) {
    EXPECT_EQ(clientAddress(peer, forwardedFor, trusted), client) << peer << " " << forwardedFor;
  }
  EXPECT_EQ(clientAddress("127.0.0.1", "203.0.113.9", {}), "127.0.0.1");
}

TEST(AddressGroupTest, CountsHouseholdsNotAddresses) {
  EXPECT_EQ(addressGroup("192.0.2.1"), "192.0.2.1");
  EXPECT_EQ(addressGroup("::ffff:192.0.2.1"), "192.0.2.1");
  EXPECT_EQ(addressGroup("2001:db8:1:2:3:4:5:6"), "2001:db8:1:2::/64");
  EXPECT_EQ(addressGroup("fe80::1%eth0"), "fe80::/64");
  EXPECT_EQ(addressGroup(""), "");
}

}  // namespace
}  // namespace tovalin::server
