#pragma once

#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "platform/dbus/bus.h"
#include "tests/integration/dbus/test_loop.h"

namespace tovalin::test {

// A desktop's tray as programs see it on the bus: the watcher with which icons register, and what
// the tray asks of an icon. Its questions are answered before they return.
class TrayHost {
 public:
  TrayHost(TestLoop& loop, const std::string& busAddress, SystemLog& log);
  ~TrayHost();

  // The watcher comes and goes; the tray behind it does too.
  void startWatcher();
  void stopWatcher();
  void setTrayPresent(bool present);
  // Icons that ask to register are turned away.
  void refuseIcons() { refuses_ = true; }

  // The services that have registered with the watcher, since it came first.
  const std::vector<std::string>& registered() const { return registered_; }

  // Reads a property of the latest icon; null for a failure.
  BusMessageHandle property(const char* interface, const char* path, const char* name);
  // Calls a method of the latest icon; null for a failure.
  BusMessageHandle call(const char* interface, const char* path, const char* member,
                        const Bus::Arguments& arguments = {});
  // Counts a signal of icons, from now on, under its name.
  void countSignal(const char* interface, const char* member);
  int signals(const std::string& member) const;

 private:
  static int registerItem(sd_bus_message* call, void* context, sd_bus_error* error);
  static int isHostRegistered(sd_bus* bus, const char* path, const char* interface,
                              const char* property, sd_bus_message* answer, void* context,
                              sd_bus_error* error);
  static const sd_bus_vtable kTable[];

  TestLoop& loop_;
  Bus bus_;
  bool refuses_ = false;
  int trayPresent_ = 1;
  std::vector<std::string> registered_;
  std::vector<std::string> signals_;
  std::vector<std::unique_ptr<Subscription>> counts_;
  std::unique_ptr<Subscription> object_;
  std::unique_ptr<Subscription> name_;
};

}  // namespace tovalin::test
