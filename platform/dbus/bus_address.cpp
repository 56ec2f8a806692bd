#include "platform/dbus/bus_address.h"

#include <cctype>
#include <cstdlib>
#include <string_view>

namespace tovalin {
namespace {

// The value of `name`, empty when unset.
std::string environment(const char* name) {
  const char* value = std::getenv(name);
  return value == nullptr ? std::string() : std::string(value);
}

// `path` as an address spells it.
std::string escaped(std::string_view path) {
  static constexpr char kHex[] = "0123456789abcdef";
  std::string text;
  for (const unsigned char c : path) {
    if (std::isalnum(c) != 0 ||
        std::string_view("-_/.\\*").find(static_cast<char>(c)) != std::string_view::npos) {
      text += static_cast<char>(c);
    } else {
      text += {'%', kHex[c >> 4], kHex[c & 15]};
    }
  }
  return text;
}

}  // namespace

std::string localPartsOf(const std::string& addresses) {
  std::string local;
  for (size_t begin = 0; begin < addresses.size();) {
    const size_t end = std::min(addresses.find(';', begin), addresses.size());
    const std::string part = addresses.substr(begin, end - begin);
    if (part.starts_with("unix:")) local += (local.empty() ? "" : ";") + part;
    begin = end + 1;
  }
  return local;
}

std::string sessionBusAddress() {
  if (const auto told = environment("DBUS_SESSION_BUS_ADDRESS"); !told.empty()) {
    return localPartsOf(told);
  }
  const auto runtime = environment("XDG_RUNTIME_DIR");
  return runtime.empty() ? std::string() : "unix:path=" + escaped(runtime + "/bus");
}

std::string systemBusAddress() {
  const auto told = environment("DBUS_SYSTEM_BUS_ADDRESS");
  return told.empty() ? "unix:path=/run/dbus/system_bus_socket" : localPartsOf(told);
}

}  // namespace tovalin
