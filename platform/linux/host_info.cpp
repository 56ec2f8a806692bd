#include "platform/linux/host_info.h"

#include <limits.h>
#include <unistd.h>

#include <algorithm>
#include <string_view>
#include <utility>

#include "platform/linux/bundle.h"
#include "platform/linux/lines.h"
#include "platform/linux/small_file.h"
#include "platform/linux/utf8.h"

namespace tovalin {
namespace {

constexpr size_t kMachineInfoLimitBytes = size_t{64} * 1024;
constexpr std::string_view kPrettyHostname = "PRETTY_HOSTNAME=";

// A value as a shell assignment writes it: bare, or in either kind of quotes; a backslash takes
// the next character as it is, but not within single quotes.
std::string unquoted(std::string_view value) {
  std::string text;
  char quote = '\0';
  for (size_t i = 0; i < value.size(); ++i) {
    const char c = value[i];
    if (quote == '\0' && (c == '"' || c == '\'')) {
      quote = c;
    } else if (c == quote && quote != '\0') {
      quote = '\0';
    } else if (c == '\\' && quote != '\'' && i + 1 < value.size()) {
      text += value[++i];
    } else {
      text += c;
    }
  }
  return text;
}

std::string prettyHostName(const std::filesystem::path& machineInfo) {
  const std::string content = readSmallFile(machineInfo, kMachineInfoLimitBytes).bytes;
  std::string name;
  for (std::string_view rest = content; !rest.empty();) {
    const std::string_view line = trimmed(takeLine(rest));
    if (line.starts_with(kPrettyHostname)) name = unquoted(line.substr(kPrettyHostname.size()));
  }
  return std::string(trimmed(name));
}

bool isName(std::string_view text) {
  const bool plain =
      std::none_of(text.begin(), text.end(), [](unsigned char c) { return c < ' ' || c == 0x7F; });
  // "(none)" is what the kernel says before anybody has set a name.
  return !text.empty() && plain && isUtf8(text) && text != "localhost" &&
         text != "localhost.localdomain" && text != "(none)";
}

class LinuxHostInfo : public HostInfo {
 public:
  LinuxHostInfo(std::filesystem::path machineInfo, std::string (*hostName)())
      : machineInfo_(std::move(machineInfo)), hostName_(hostName) {}

  std::optional<std::string> localizedName() const override {
    if (auto name = prettyHostName(machineInfo_); isName(name)) return name;
    if (auto name = hostName_(); isName(name)) return name;
    return std::nullopt;
  }

  std::optional<std::string> bundleIdentifier() const override { return kBundleIdentifier; }

 private:
  const std::filesystem::path machineInfo_;
  std::string (*const hostName_)();
};

}  // namespace

std::string kernelHostName() {
  char name[HOST_NAME_MAX + 1] = {};
  return gethostname(name, sizeof name - 1) == 0 ? name : "";
}

std::unique_ptr<HostInfo> makeHostInfo(std::filesystem::path machineInfo,
                                       std::string (*hostName)()) {
  return std::make_unique<LinuxHostInfo>(std::move(machineInfo), hostName);
}

}  // namespace tovalin
