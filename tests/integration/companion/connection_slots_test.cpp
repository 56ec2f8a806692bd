#include "companion/server/net/connection_slots.h"

#include <gtest/gtest.h>

#include <vector>

namespace tovalin::server {
namespace {

TEST(ConnectionSlotsTest, OneAddressGetsItsShareAndNoMore) {
  ConnectionSlots slots({.total = 10, .perAddress = 2});
  const auto first = slots.take("192.0.2.1");
  const auto second = slots.take("192.0.2.1");
  EXPECT_TRUE(first);
  EXPECT_TRUE(second);
  EXPECT_FALSE(slots.take("192.0.2.1"));
  EXPECT_TRUE(slots.take("192.0.2.2"));
}

TEST(ConnectionSlotsTest, ManyAddressesTogetherAreBoundedToo) {
  ConnectionSlots slots({.total = 3, .perAddress = 2});
  std::vector<std::shared_ptr<void>> held;
  for (const char* address : {"a", "b", "c"}) held.push_back(slots.take(address));
  EXPECT_TRUE(held.back());
  EXPECT_FALSE(slots.take("d"));
}

TEST(ConnectionSlotsTest, ProxyIsBoundedByTheTotalAlone) {
  ConnectionSlots slots({.total = 3, .perAddress = 1});
  auto first = slots.takeForProxy();
  const auto second = slots.takeForProxy();
  const auto third = slots.takeForProxy();
  EXPECT_TRUE(third);
  EXPECT_FALSE(slots.takeForProxy());
  EXPECT_FALSE(slots.take("a"));
  first.reset();
  EXPECT_TRUE(slots.take("a"));
}

TEST(ConnectionSlotsTest, PlaceComesBackWithTheLastCopy) {
  ConnectionSlots slots({.total = 1, .perAddress = 1});
  auto slot = slots.take("a");
  auto copy = slot;
  slot.reset();
  EXPECT_FALSE(slots.take("a"));
  copy.reset();
  EXPECT_TRUE(slots.take("b"));
}

TEST(ConnectionSlotsTest, PlaceMayOutliveTheSlots) {
  std::shared_ptr<void> slot;
  {
    ConnectionSlots slots({.total = 1, .perAddress = 1});
    slot = slots.take("a");
  }
  EXPECT_TRUE(slot);
  slot.reset();
}

TEST(ConnectionSlotsTest, BoundsFollowTheDescriptors) {
  EXPECT_EQ(boundsFor(20'000).total, 19'936u);
  EXPECT_EQ(boundsFor(20'000).perAddress, 1000u);
  EXPECT_EQ(boundsFor(128).total, 64u);
  EXPECT_EQ(boundsFor(128).perAddress, 32u) << "never more than half";
  EXPECT_EQ(boundsFor(1'000'000).total, 60'000u);
  EXPECT_GE(boundsFor(10).total, 1u);
}

}  // namespace
}  // namespace tovalin::server
