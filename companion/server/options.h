#pragma once

#include <cstdint>
#include <filesystem>
#include <span>
#include <string>
#include <variant>

namespace tovalin::server {

// What the command line says.
struct Options {
  std::string address = "127.0.0.1";
  uint16_t port = 8080;          // 0: any free one
  std::filesystem::path state;   // empty: the user's state directory
  std::filesystem::path viewer;  // empty: the page that was installed with the program
  bool printPins = false;
  bool help = false;
};

// The options, or one line that says what is wrong with `arguments` (without the program's name).
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
