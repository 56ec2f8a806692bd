#include "companion/server/options.h"

#include <charconv>
#include <cstdlib>
#include <optional>
#include <string_view>
#include <system_error>

namespace tovalin::server {
namespace {

struct ListenPlace {
  std::string address;
  uint16_t port = 0;
};

// "ADDRESS:PORT" with an IPv6 address in brackets.
std::optional<ListenPlace> parseListen(std::string_view text) {
  const auto colon = text.rfind(':');
  if (colon == std::string_view::npos) return std::nullopt;
  std::string_view address = text.substr(0, colon);
  const std::string_view port = text.substr(colon + 1);
  if (address.starts_with('[') && address.ends_with(']')) {
    address = address.substr(1, address.size() - 2);
  } else if (address.find(':') != std::string_view::npos) {
    return std::nullopt;
  }
  ListenPlace place{std::string(address), 0};
  const char* end = port.data() + port.size();
  const auto [stop, error] = std::from_chars(port.data(), end, place.port);
  if (address.empty() || error != std::errc() || stop != end) return std::nullopt;
  return place;
}

}  // namespace

std::variant<Options, std::string> parseOptions(std::span<const char* const> arguments) {
  Options options;
  for (std::size_t i = 0; i < arguments.size(); ++i) {
    const std::string_view word = arguments[i];
    const bool takesValue = word == "--listen" || word == "--state" || word == "--viewer";
    if (takesValue && i + 1 == arguments.size()) return std::string(word) + " needs a value";
    if (word == "--listen") {
      const std::string_view value = arguments[++i];
      const auto place = parseListen(value);
      if (!place) return "--listen needs ADDRESS:PORT, not \"" + std::string(value) + "\"";
      options.address = place->address;
      options.port = place->port;
    } else if (word == "--state") {
      options.state = arguments[++i];
    } else if (word == "--viewer") {
      options.viewer = arguments[++i];
    } else if (word == "--print-pins") {
      options.printPins = true;
    } else if (word == "--help") {
      options.help = true;
    } else {
      return "unknown option \"" + std::string(word) + "\"; --help lists them";
    }
  }
  return options;
}

std::string helpText() {
  return R"(Usage: tovalin-signal [OPTION]...
Introduces computers that run Tovalin Host to the phones paired with them.

  --listen ADDRESS:PORT  where to listen (127.0.0.1:8080); port 0 takes a free one
  --state DIR            where paired devices are kept
                         ($STATE_DIRECTORY, or tovalin-signal in $XDG_STATE_HOME)
  --viewer DIR           serve the viewer's page from this folder
                         (the page that was installed with this program)
  --print-pins           print every pairing PIN to standard output: whoever reads
                         it can pair with the computer; for trying things out
  --help                 print this

Prints "READY PORT" once it listens, and logs to standard error. It speaks no TLS:
on anything but the local machine put a TLS proxy in front of it.
)";
}

std::filesystem::path defaultStateDirectory() {
  const auto variable = [](const char* name) {
    const char* value = std::getenv(name);
    return std::filesystem::path(value ? value : "");
  };
  if (const auto given = variable("STATE_DIRECTORY"); !given.empty()) return given;
  if (const auto xdg = variable("XDG_STATE_HOME"); xdg.is_absolute()) return xdg / "tovalin-signal";
  const auto home = variable("HOME");
  return home.empty() ? home : home / ".local/state/tovalin-signal";
}

std::filesystem::path installedViewerDirectory(const std::filesystem::path& program) {
  const auto folder = (program.parent_path() / TOVALIN_VIEWER_FROM_PROGRAM).lexically_normal();
  std::error_code error;
  return std::filesystem::is_directory(folder, error) ? folder : std::filesystem::path();
}

std::string endpointText(const std::string& address, uint16_t port) {
  const bool isV6 = address.find(':') != std::string::npos;
  return (isV6 ? "[" + address + "]" : address) + ":" + std::to_string(port);
}

}  // namespace tovalin::server
