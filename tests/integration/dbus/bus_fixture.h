#pragma once

#include <gmock/gmock.h>

#include <memory>
#include <string>
#include <vector>

#include "platform/dbus/bus.h"
#include "tests/fakes/fake_system.h"
#include "tests/integration/dbus/desktop_services.h"
#include "tests/integration/dbus/private_bus.h"
#include "tests/integration/dbus/scripted_socket.h"
#include "tests/integration/dbus/test_loop.h"

namespace tovalin::test {

// A desktop whose session bus and system bus are one daemon, with the services that a test starts.
class DesktopTest : public testing::Test {
 protected:
  std::unique_ptr<Bus> connectTo(const std::string& label, const std::string& address) {
    return std::make_unique<Bus>(label, address, loop_.queue, loop_, log_);
  }

  void startServices(std::vector<std::string> services) {
    services_ = std::make_unique<DesktopServices>(loop_, daemon_.address(), std::move(services));
  }

  // Until all that the mocks have sent by now has been seen.
  void settle() {
    int answers = 0;
    for (Bus* bus : {sessionBus_.get(), systemBus_.get()}) {
      bus->call(kBusDaemon, "GetId", nullptr, [&](const BusReply&) { ++answers; });
    }
    EXPECT_TRUE(loop_.runUntil([&] { return answers == 2; }));
  }

  // Until a method has been called so often, and its answers have been seen.
  void settleAfterCalls(const BusObject& object, const char* method, size_t count) {
    EXPECT_TRUE(loop_.runUntil([&] { return services_->calls(object, method) == count; }));
    settle();
  }

  TestLoop loop_;
  fake::FakeSystemLog log_;
  PrivateBus daemon_;
  std::unique_ptr<DesktopServices> services_;
  std::unique_ptr<Bus> sessionBus_ = connectTo("session bus", daemon_.address());
  std::unique_ptr<Bus> systemBus_ = connectTo("system bus", daemon_.address());
};

}  // namespace tovalin::test
