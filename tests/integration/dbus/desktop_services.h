#pragma once

#include <sys/types.h>

#include <filesystem>
#include <initializer_list>
#include <memory>
#include <string>
#include <vector>

#include "platform/dbus/bus.h"
#include "tests/fakes/fake_system.h"
#include "tests/integration/dbus/test_loop.h"

namespace tovalin::test {

// Mocked services of a desktop in a process of their own, on the bus at `address`. Everything here
// waits for the mocks; what is tested must not. `loop` is woken when an inhibition changes.
class DesktopServices {
 public:
  // By their well-known names; "name@/path" for a screen saver that is at that path alone.
  DesktopServices(TestLoop& loop, const std::string& address, std::vector<std::string> services);
  ~DesktopServices();
  DesktopServices(const DesktopServices&) = delete;
  DesktopServices& operator=(const DesktopServices&) = delete;

  // Services come with their names owned.
  void own(const std::string& service) { control("Own", service); }
  void release(const std::string& service) { control("Release", service); }

  // Replaces a method by Python code, which sets `ret` or raises.
  void method(const BusObject& object, const char* name, const char* in, const char* out,
              const std::string& code);
  // Code that answers when openGate() is called, once for each call.
  std::string gated(const std::string& code) const;
  // From now on Inhibit answers only when openGate() is called.
  void gateInhibit() { control("SetGate", pipe_.string()); }
  void openGate() const;

  // A signal with one field of the basic type `type`.
  void emit(const BusObject& object, const char* name, const char* type, const std::string& value);
  void emit(const BusObject& object, const char* name, const char* type, int value);
  // A signal with any fields, as sd_bus_message_append takes them after "ssss".
  template <typename... Fields>
  void emitFields(const BusObject& object, const char* name, const char* signature,
                  const char* types, Fields... fields) {
    auto call = mockCall(object, "EmitSignal");
    sd_bus_message_append(call.get(), "sss", object.interface, name, signature);
    sd_bus_message_append(call.get(), types, fields...);
    send(call);
  }
  // Changes a property and says so. `type` and `value` as above.
  void setProperty(const BusObject& object, const char* name, const char* type, int value);
  void setProperty(const BusObject& object, const char* name, const char* type,
                   const std::string& value);

  // What is inhibited right now, one "service: fields" each, in order.
  std::vector<std::string> inhibitions();
  // How many inhibitions have ever been granted.
  uint32_t grants();
  // How often a mocked method has been called.
  size_t calls(const BusObject& object, const char* method);

 private:
  void launch(const std::string& address, std::vector<std::string> services);
  BusMessageHandle control(const char* method);
  void control(const char* method, const std::string& argument);
  BusMessageHandle mockCall(const BusObject& object, const char* method);
  BusMessageHandle send(const BusMessageHandle& call);

  std::filesystem::path pipe_;
  int gate_ = -1;
  pid_t pid_ = -1;
  fake::FakeSystemLog log_;
  BusHandle connection_;
  std::unique_ptr<Bus> watch_;
  std::unique_ptr<Subscription> changed_;
};

}  // namespace tovalin::test
