#include "platform/weak_task.h"

#include <gtest/gtest.h>

#include <functional>

#include "platform/shared_slot.h"

namespace tovalin {
namespace {

TEST(WeaklyTest, CallsTheBodyWithTheLivingOwnerAndTheArguments) {
  const auto owner = std::make_shared<int>(40);
  int sum = 0;
  const std::function<void(int)> task =
      weakly(owner, [&](int& own, int more) { sum = own + more; });
  task(2);
  EXPECT_EQ(sum, 42);
}

TEST(WeaklyTest, DoesNothingOnceTheOwnerIsGone) {
  auto owner = std::make_shared<int>(1);
  bool called = false;
  const std::function<void()> task = weakly(owner, [&](int&) { called = true; });
  owner.reset();
  task();
  EXPECT_FALSE(called);
}

TEST(WeaklyTest, KeepsTheOwnerAliveForTheCall) {
  auto owner = std::make_shared<int>(7);
  const std::weak_ptr<int> watch = owner;
  const std::function<void()> task = weakly(owner, [&](int& own) {
    owner.reset();
    EXPECT_FALSE(watch.expired());
    EXPECT_EQ(own, 7);
  });
  task();
  EXPECT_TRUE(watch.expired());
}

TEST(SharedSlotTest, ExchangeHandsBackWhatWasThere) {
  SharedSlot<int> slot;
  EXPECT_EQ(slot.exchange(std::make_shared<int>(1)), nullptr);
  EXPECT_EQ(*slot.exchange(std::make_shared<int>(2)), 1);
  EXPECT_EQ(*slot.load(), 2);
}

}  // namespace
}  // namespace tovalin
