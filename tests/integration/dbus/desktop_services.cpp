#include "tests/integration/dbus/desktop_services.h"

#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <stdlib.h>
#include <sys/prctl.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstring>
#include <stdexcept>
#include <utility>

namespace tovalin::test {
namespace {

constexpr int kStartupMs = 30'000;
constexpr BusObject kControl{"org.example.DesktopServices", "/control",
                             "org.example.DesktopServices"};
constexpr const char* kMockInterface = "org.freedesktop.DBus.Mock";

void require(int outcome, const std::string& what) {
  if (outcome < 0) throw std::runtime_error(what + ": " + std::strerror(-outcome));
}

std::filesystem::path temporaryPipe() {
  std::string folder =
      (std::filesystem::temp_directory_path() / "tovalin-services-XXXXXX").string();
  if (mkdtemp(folder.data()) == nullptr) throw std::runtime_error("mkdtemp failed");
  return std::filesystem::path(folder) / "gate";
}

}  // namespace

DesktopServices::DesktopServices(TestLoop& loop, const std::string& address,
                                 std::vector<std::string> services)
    : pipe_(temporaryPipe()) {
  // Open at both ends, so that nobody waits for the other to open it.
  if (mkfifo(pipe_.c_str(), 0600) != 0 || (gate_ = open(pipe_.c_str(), O_RDWR | O_CLOEXEC)) < 0) {
    throw std::runtime_error("no named pipe");
  }
  launch(address, std::move(services));
  sd_bus* created = nullptr;
  require(sd_bus_new(&created), "sd_bus_new");
  connection_.reset(created);
  require(sd_bus_set_address(created, address.c_str()), "the bus's address");
  sd_bus_set_bus_client(created, 1);
  require(sd_bus_start(created), "the bus");
  watch_ = std::make_unique<Bus>("control", address, loop.queue, loop, log_);
  changed_ = watch_->onSignal(kControl, "Changed", [](sd_bus_message*) {});
}

DesktopServices::~DesktopServices() {
  if (pid_ > 0) {
    kill(pid_, SIGKILL);
    waitpid(pid_, nullptr, 0);
  }
  close(gate_);
  std::error_code ignored;
  std::filesystem::remove_all(pipe_.parent_path(), ignored);
}

void DesktopServices::launch(const std::string& address, std::vector<std::string> services) {
  int channel[2];
  if (pipe2(channel, O_CLOEXEC) != 0) throw std::runtime_error("pipe2 failed");
  std::vector<std::string> words = {"/usr/bin/python3", TOVALIN_DESKTOP_SERVICES, address};
  words.insert(words.end(), services.begin(), services.end());
  std::vector<char*> arguments;
  for (auto& word : words) arguments.push_back(word.data());
  arguments.push_back(nullptr);
  pid_ = fork();
  if (pid_ == 0) {
    prctl(PR_SET_PDEATHSIG, SIGKILL);
    dup2(channel[1], STDOUT_FILENO);
    execv(arguments[0], arguments.data());
    _exit(127);
  }
  close(channel[1]);
  std::string said;
  pollfd ready{channel[0], POLLIN, 0};
  while (said.find("READY\n") == std::string::npos) {
    char buffer[512];
    const ssize_t count =
        poll(&ready, 1, kStartupMs) > 0 ? read(channel[0], buffer, sizeof buffer) : 0;
    if (count <= 0) break;
    said.append(buffer, static_cast<size_t>(count));
  }
  close(channel[0]);
  if (said.find("READY\n") == std::string::npos) {
    throw std::runtime_error("no services; is the package python3-dbusmock installed?");
  }
}

void DesktopServices::method(const BusObject& object, const char* name, const char* in,
                             const char* out, const std::string& code) {
  const auto call = mockCall(object, "AddMethod");
  sd_bus_message_append(call.get(), "sssss", object.interface, name, in, out, code.c_str());
  send(call);
}

std::string DesktopServices::gated(const std::string& code) const {
  return "os.read(os.open('" + pipe_.string() + "', os.O_RDONLY), 1)\n" + code;
}

void DesktopServices::openGate() const {
  if (write(gate_, "x", 1) != 1) throw std::runtime_error("the gate is stuck");
}

void DesktopServices::emit(const BusObject& object, const char* name, const char* type,
                           const std::string& value) {
  emitFields(object, name, type, "av", 1, type, value.c_str());
}

void DesktopServices::emit(const BusObject& object, const char* name, const char* type, int value) {
  emitFields(object, name, type, "av", 1, type, value);
}

void DesktopServices::setProperty(const BusObject& object, const char* name, const char* type,
                                  int value) {
  const auto call = mockCall(object, "UpdateProperties");
  sd_bus_message_append(call.get(), "sa{sv}", object.interface, 1, name, type, value);
  send(call);
}

void DesktopServices::setProperty(const BusObject& object, const char* name, const char* type,
                                  const std::string& value) {
  const auto call = mockCall(object, "UpdateProperties");
  sd_bus_message_append(call.get(), "sa{sv}", object.interface, 1, name, type, value.c_str());
  send(call);
}

std::vector<std::string> DesktopServices::inhibitions() {
  const auto reply = send(control("Inhibitions"));
  std::vector<std::string> found;
  require(sd_bus_message_enter_container(reply.get(), SD_BUS_TYPE_ARRAY, "s"), "Inhibitions");
  const char* entry = nullptr;
  while (sd_bus_message_read(reply.get(), "s", &entry) > 0) found.emplace_back(entry);
  return found;
}

uint32_t DesktopServices::grants() {
  const auto reply = send(control("Grants"));
  uint32_t count = 0;
  require(sd_bus_message_read(reply.get(), "u", &count), "Grants");
  return count;
}

size_t DesktopServices::calls(const BusObject& object, const char* method) {
  const auto call = mockCall(object, "GetMethodCalls");
  sd_bus_message_append(call.get(), "s", method);
  const auto reply = send(call);
  size_t count = 0;
  require(sd_bus_message_enter_container(reply.get(), SD_BUS_TYPE_ARRAY, "(tav)"), method);
  while (sd_bus_message_skip(reply.get(), "(tav)") > 0) ++count;
  return count;
}

BusMessageHandle DesktopServices::control(const char* method) {
  sd_bus_message* created = nullptr;
  require(sd_bus_message_new_method_call(connection_.get(), &created, kControl.service,
                                         kControl.path, kControl.interface, method),
          method);
  return BusMessageHandle(created);
}

void DesktopServices::control(const char* method, const std::string& argument) {
  const auto call = control(method);
  sd_bus_message_append(call.get(), "s", argument.c_str());
  send(call);
}

BusMessageHandle DesktopServices::mockCall(const BusObject& object, const char* method) {
  sd_bus_message* created = nullptr;
  require(sd_bus_message_new_method_call(connection_.get(), &created, object.service, object.path,
                                         kMockInterface, method),
          method);
  return BusMessageHandle(created);
}

BusMessageHandle DesktopServices::send(const BusMessageHandle& call) {
  sd_bus_error error = SD_BUS_ERROR_NULL;
  sd_bus_message* reply = nullptr;
  const int outcome = sd_bus_call(connection_.get(), call.get(), 0, &error, &reply);
  const std::string words = error.message == nullptr ? "" : error.message;
  sd_bus_error_free(&error);
  require(outcome, std::string(sd_bus_message_get_member(call.get())) + " " + words);
  return BusMessageHandle(reply);
}

}  // namespace tovalin::test
