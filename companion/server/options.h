#pragma once

#include <chrono>
#include <cstdint>
#include <filesystem>
#include <optional>
#include <span>
#include <string>
#include <variant>
#include <vector>

#include "companion/server/core/log.h"
#include "companion/server/net/client_address.h"

namespace tovalin::server {

// An address in numbers and a port.
struct ListenPlace {
  std::string address;
  uint16_t port = 0;  // 0: any free one
};

// What the command line and the configuration file say together.
struct Options {
  ListenPlace listen{"127.0.0.1", 8080};
  std::filesystem::path tlsCertificate;  // empty, like the key: no TLS
  std::filesystem::path tlsKey;
  std::filesystem::path state;   // empty: the user's state directory
  std::filesystem::path viewer;  // empty: the page that was installed with the program
  std::vector<std::string> stun;
  std::vector<std::string> turn;
  std::filesystem::path turnSecretFile;
  std::chrono::seconds turnLife = std::chrono::hours(12);
  std::string publicOrigin;  // "https://host" or "https://host:port"; empty: unknown
  std::vector<AddressRange> trustedProxies;
  std::optional<ListenPlace> metrics;  // on a loopback address
  LogLevel logLevel = LogLevel::info;
  bool printPins = false;
  bool help = false;
};

// The options, or one line that says what is wrong with `arguments` (without the program's name) or
// with the configuration file that they name.
std::variant<Options, std::string> parseOptions(std::span<const char* const> arguments);

// What --help prints.
std::string helpText();

// Where state is kept when no option says so: what systemd hands out, else the XDG state folder,
// else its usual place in the home directory. Empty when the environment names none of them.
std::filesystem::path defaultStateDirectory();

// The folder of the viewer's page that was installed together with `program`, its own absolute
// path. Empty when there is none beside it, as in a build tree.
std::filesystem::path installedViewerDirectory(const std::filesystem::path& program);

// "address:port" as it is written in addresses, IPv6 in brackets.
std::string endpointText(const std::string& address, uint16_t port);

}  // namespace tovalin::server
