#include "platform/linux/login_item_autostart.h"

#include <unistd.h>

#include <cerrno>
#include <map>
#include <string>
#include <string_view>
#include <utility>

#include "platform/linux/bundle.h"
#include "platform/linux/lines.h"
#include "platform/linux/small_file.h"
#include "platform/linux/xdg_paths.h"

namespace tovalin {
namespace {

constexpr size_t kEntryLimitBytes = size_t{64} * 1024;
constexpr mode_t kEntryMode = 0644;

// One argument of an Exec line. Two rules of the desktop entry format apply one after the other:
// quoting for the command line, then the escapes of any string value, so that a backslash in a
// path stands as four.
std::string execArgument(std::string_view argument) {
  std::string quoted = "\"";
  for (const char c : argument) {
    if (c == '"' || c == '`' || c == '$' || c == '\\') quoted += '\\';
    if (c == '%') quoted += '%';
    quoted += c;
  }
  quoted += '"';

  std::string escaped;
  for (const char c : quoted) {
    if (c == '\\') {
      escaped += "\\\\";
    } else if (c == '\n') {
      escaped += "\\n";
    } else if (c == '\t') {
      escaped += "\\t";
    } else if (c == '\r') {
      escaped += "\\r";
    } else {
      escaped += c;
    }
  }
  return escaped;
}

// The keys of the group [Desktop Entry].
std::map<std::string, std::string, std::less<>> desktopEntry(std::string_view file) {
  std::map<std::string, std::string, std::less<>> entry;
  bool inGroup = false;
  while (!file.empty()) {
    const std::string_view line = trimmed(takeLine(file));
    if (line.starts_with('[')) inGroup = line == "[Desktop Entry]";
    const size_t equals = line.find('=');
    if (!inGroup || line.starts_with('#') || equals == std::string_view::npos) continue;
    entry.emplace(trimmed(line.substr(0, equals)), trimmed(line.substr(equals + 1)));
  }
  return entry;
}

class AutostartLoginItem : public LoginItem {
 public:
  AutostartLoginItem(std::filesystem::path entry, std::filesystem::path program)
      : entry_(std::move(entry)), program_(std::move(program)) {}

  std::optional<Error> registerItem() override {
    if (!program_.is_absolute()) return Error{"the path of this program is not known"};
    const std::string text =
        "[Desktop Entry]\n"
        "Type=Application\n"
        "Name=Tovalin Host\n"
        "Exec=" +
        execArgument(program_.string()) +
        "\n"
        "Icon=" +
        kBundleIdentifier +
        "\n"
        "Terminal=false\n"
        "X-GNOME-Autostart-enabled=true\n";
    return writeFileAtomically(entry_, text, kEntryMode);
  }

  std::optional<Error> unregisterItem() override {
    if (unlink(entry_.c_str()) != 0 && errno != ENOENT) return fileError("remove", entry_, errno);
    syncDirectory(entry_.parent_path());
    return std::nullopt;
  }

  bool isEnabled() const override {
    const FileContent file = readSmallFile(entry_, kEntryLimitBytes);
    if (file.error != 0) return false;
    const auto entry = desktopEntry(file.bytes);
    const auto says = [&entry](std::string_view key, std::string_view value) {
      const auto found = entry.find(key);
      return found != entry.end() && found->second == value;
    };
    return entry.contains("Exec") && !says("Hidden", "true") &&
           !says("X-GNOME-Autostart-enabled", "false");
  }

 private:
  const std::filesystem::path entry_;
  const std::filesystem::path program_;
};

}  // namespace

std::filesystem::path autostartEntryPath() {
  return configHome() / "autostart" / (std::string(kBundleIdentifier) + ".desktop");
}

std::unique_ptr<LoginItem> makeAutostartLoginItem(std::filesystem::path entry,
                                                  std::filesystem::path program) {
  return std::make_unique<AutostartLoginItem>(std::move(entry), std::move(program));
}

}  // namespace tovalin
