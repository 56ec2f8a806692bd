#include "platform/dbus/bus_probe.h"

#include <gtest/gtest.h>
#include <stdlib.h>

#include "tests/integration/dbus/private_bus.h"
#include "tests/integration/dbus/scripted_socket.h"

namespace tovalin::test {
namespace {

constexpr std::chrono::milliseconds kLong{30'000};
constexpr std::chrono::milliseconds kShort{50};

bool answersAt(const std::string& address, std::chrono::milliseconds patience) {
  setenv("DBUS_SESSION_BUS_ADDRESS", address.c_str(), 1);
  return sessionBusAnswers(patience);
}

TEST(BusProbeTest, ABusThatWorksAnswers) {
  const PrivateBus bus;
  EXPECT_TRUE(answersAt(bus.address(), kLong));
}

TEST(BusProbeTest, AMissingBusDoesNotAnswerAndIsNotWaitedFor) {
  EXPECT_FALSE(answersAt("unix:path=/nonexistent/bus", kLong));
  EXPECT_FALSE(answersAt("disabled:", kLong));
}

TEST(BusProbeTest, ADeafBusIsGivenUp) {
  TestLoop loop;
  const ScriptedSocket deaf(loop, "");
  EXPECT_FALSE(answersAt(deaf.address(), kShort));
}

}  // namespace
}  // namespace tovalin::test
