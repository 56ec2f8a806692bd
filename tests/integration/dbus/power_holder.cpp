// Takes both power assertions at the services of one bus and keeps them.
//
// usage: power_holder ADDRESS NAME

#include "platform/dbus/bus_power.h"
#include "platform/qt/qt_application.h"
#include "platform/qt/qt_descriptor_watcher.h"
#include "platform/qt/qt_main_queue.h"
#include "tests/fakes/fake_system.h"

using namespace tovalin;

int main(int argumentCount, char** arguments) {
  if (argumentCount != 3) return 2;
  QtApplication application(argumentCount, arguments, QtApplication::Face::none);
  const auto queue = makeQtMainQueue();
  const auto descriptors = makeQtDescriptorWatcher();
  fake::FakeSystemLog log;
  Bus session("session bus", arguments[1], *queue, *descriptors, log);
  Bus system("system bus", arguments[1], *queue, *descriptors, log);
  const auto power = makeBusPower(session, system, *queue, log);
  power->createAssertion(kNoIdleSleep, kAssertionLevelOn, arguments[2]);
  power->createAssertion(kNoDisplaySleep, kAssertionLevelOn, arguments[2]);
  return application.run();
}
