#include "platform/dbus/bus_address.h"

#include <gmock/gmock.h>
#include <stdlib.h>

namespace tovalin::test {
namespace {

TEST(BusAddressTest, OnlySocketsOfThisMachineAreKept) {
  EXPECT_EQ(localPartsOf("tcp:host=desk.invalid,port=1;unix:path=/a;unixexec:path=/b;unix:path=/c"),
            "unix:path=/a;unix:path=/c");
  EXPECT_EQ(localPartsOf("autolaunch:"), "");
  EXPECT_EQ(localPartsOf(""), "");
}

TEST(BusAddressTest, TheEnvironmentNamesTheSessionBus) {
  setenv("DBUS_SESSION_BUS_ADDRESS", "unix:abstract=/tmp/x,guid=1", 1);
  EXPECT_EQ(sessionBusAddress(), "unix:abstract=/tmp/x,guid=1");
}

TEST(BusAddressTest, WithoutAnAddressTheSessionBusIsInTheRuntimeFolder) {
  unsetenv("DBUS_SESSION_BUS_ADDRESS");
  setenv("XDG_RUNTIME_DIR", "/run/user/1 0", 1);
  EXPECT_EQ(sessionBusAddress(), "unix:path=/run/user/1%200/bus");
  unsetenv("XDG_RUNTIME_DIR");
  EXPECT_EQ(sessionBusAddress(), "");
}

TEST(BusAddressTest, TheSystemBusIsWhereEveryMachineHasItUnlessTold) {
  unsetenv("DBUS_SYSTEM_BUS_ADDRESS");
  EXPECT_EQ(systemBusAddress(), "unix:path=/run/dbus/system_bus_socket");
  setenv("DBUS_SYSTEM_BUS_ADDRESS", "unix:path=/tmp/y", 1);
  EXPECT_EQ(systemBusAddress(), "unix:path=/tmp/y");
  unsetenv("DBUS_SYSTEM_BUS_ADDRESS");
}

}  // namespace
}  // namespace tovalin::test
