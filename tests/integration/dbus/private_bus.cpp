#include "tests/integration/dbus/private_bus.h"

#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <stdlib.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <fstream>
#include <stdexcept>

namespace tovalin::test {
namespace {

constexpr int kStartupMs = 30'000;

std::filesystem::path temporaryFolder() {
  std::string name = (std::filesystem::temp_directory_path() / "tovalin-bus-XXXXXX").string();
  if (mkdtemp(name.data()) == nullptr) throw std::runtime_error("mkdtemp failed");
  return name;
}

}  // namespace

PrivateBus::PrivateBus(const CommandLines& startable) : folder_(temporaryFolder()) {
  std::filesystem::create_directory(folder_ / "services");
  for (const auto& [name, command] : startable) writeService(name, command);
  std::ofstream(folder_ / "bus.conf")
      << "<!DOCTYPE busconfig PUBLIC \"-//freedesktop//DTD D-BUS Bus Configuration 1.0//EN\"\n"
         " \"http://www.freedesktop.org/standards/dbus/1.0/busconfig.dtd\">\n"
         "<busconfig>\n"
         "  <listen>"
      << address()
      << "</listen>\n"
         "  <servicedir>"
      << (folder_ / "services").string()
      << "</servicedir>\n"
         "  <auth>EXTERNAL</auth>\n"
         "  <policy context=\"default\">\n"
         "    <allow user=\"*\"/>\n"
         "    <allow send_destination=\"*\" eavesdrop=\"true\"/>\n"
         "    <allow eavesdrop=\"true\"/>\n"
         "    <allow own=\"*\"/>\n"
         "  </policy>\n"
         "</busconfig>\n";
  start();
}

PrivateBus::~PrivateBus() {
  stop();
  std::error_code ignored;
  std::filesystem::remove_all(folder_, ignored);
}

void PrivateBus::writeService(const std::string& name, std::string command) const {
  const std::string placeholder = "ADDRESS";
  if (const auto at = command.find(placeholder); at != std::string::npos) {
    command.replace(at, placeholder.size(), address());
  }
  std::ofstream(folder_ / "services" / (name + ".service"))
      << "[D-BUS Service]\nName=" << name << "\nExec=" << command << "\n";
}

void PrivateBus::stop() {
  if (pid_ <= 0) return;
  kill(pid_, SIGKILL);
  waitpid(pid_, nullptr, 0);
  pid_ = -1;
}

void PrivateBus::start() {
  std::filesystem::remove(folder_ / "bus");
  int channel[2];
  if (pipe2(channel, O_CLOEXEC) != 0) throw std::runtime_error("pipe2 failed");
  const std::string configuration = "--config-file=" + (folder_ / "bus.conf").string();
  const std::string report = "--print-address=" + std::to_string(channel[1]);
  pid_ = fork();
  if (pid_ == 0) {
    prctl(PR_SET_PDEATHSIG, SIGKILL);
    fcntl(channel[1], F_SETFD, 0);
    const int null = open("/dev/null", O_WRONLY);
    dup2(null, STDOUT_FILENO);
    dup2(null, STDERR_FILENO);
    execlp("dbus-daemon", "dbus-daemon", "--nofork", "--nopidfile", "--nosyslog",
           configuration.c_str(), report.c_str(), nullptr);
    _exit(127);
  }
  close(channel[1]);
  pollfd ready{channel[0], POLLIN, 0};
  char first = 0;
  const bool started = poll(&ready, 1, kStartupMs) > 0 && read(channel[0], &first, 1) == 1;
  close(channel[0]);
  if (!started) {
    stop();
    throw std::runtime_error("dbus-daemon did not start; is the package dbus-daemon installed?");
  }
}

}  // namespace tovalin::test
