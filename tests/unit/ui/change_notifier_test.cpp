#include "ui/change_notifier.h"

#include <gtest/gtest.h>

namespace tovalin {
namespace {

TEST(ChangeNotifierTest, TellsEveryObserverOnceEachTime) {
  ChangeNotifier changes;
  int first = 0;
  int second = 0;
  const auto one = changes.subscribe([&] { ++first; });
  const auto two = changes.subscribe([&] { ++second; });
  changes.notify();
  changes.notify();
  EXPECT_EQ(first, 2);
  EXPECT_EQ(second, 2);
}

TEST(ChangeNotifierTest, TellsNobodyWhoseSubscriptionIsGone) {
  ChangeNotifier changes;
  int calls = 0;
  auto subscription = changes.subscribe([&] { ++calls; });
  subscription.reset();
  changes.notify();
  EXPECT_EQ(calls, 0);
}

TEST(ChangeNotifierTest, BearsAnObserverThatEndsAnotherWhileBeingTold) {
  ChangeNotifier changes;
  int calls = 0;
  std::unique_ptr<Subscription> other;
  const auto ending = changes.subscribe([&] { other.reset(); });
  other = changes.subscribe([&] { ++calls; });
  changes.notify();
  EXPECT_EQ(calls, 0);
}

TEST(ChangeNotifierTest, SubscriptionMayOutliveTheNotifier) {
  auto changes = std::make_unique<ChangeNotifier>();
  auto subscription = changes->subscribe([] {});
  changes.reset();
  subscription.reset();
  EXPECT_EQ(subscription, nullptr);
}

}  // namespace
}  // namespace tovalin
