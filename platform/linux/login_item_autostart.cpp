#include "platform/linux/login_item_autostart.h"

#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <string_view>
#include <system_error>
#include <utility>

#include "platform/linux/bundle.h"
#include "platform/linux/desktop_entry.h"
#include "platform/linux/environment.h"
#include "platform/linux/exec_line.h"
#include "platform/linux/find_program.h"
#include "platform/linux/lines.h"
#include "platform/linux/small_file.h"
#include "platform/linux/xdg_paths.h"

namespace tovalin {
namespace {

constexpr size_t kEntryLimitBytes = size_t{64} * 1024;
constexpr mode_t kEntryMode = 0644;

constexpr const char* kSwitch = "X-GNOME-Autostart-enabled";
constexpr const char* kSwitches[] = {kSwitch, "X-MATE-Autostart-enabled"};

bool holds(const std::vector<std::string>& names, const std::string& name) {
  return std::find(names.begin(), names.end(), name) != names.end();
}

class AutostartLoginItem : public LoginItem {
 public:
  AutostartLoginItem(AutostartPlaces places, std::filesystem::path program)
      : places_(std::move(places)),
        desktops_(partsOf(places_.currentDesktop, ':')),
        program_(std::move(program)) {}

  std::optional<Error> registerItem() override {
    if (!program_.is_absolute()) return Error{"the path of this program is not known"};
    const FileContent file = readSmallFile(places_.entry, kEntryLimitBytes);
    if (auto error = unfitForChange(file)) return error;
    DesktopEntry entry(file.bytes);
    fillIn(entry);
    switchOn(entry);
    return write(entry);
  }

  std::optional<Error> unregisterItem() override {
    const FileContent file = readSmallFile(places_.entry, kEntryLimitBytes);
    DesktopEntry entry(file.bytes);
    if (auto error = unfitForChange(file)) return error;
    if (isAllOurs(entry) && !systemStarts()) return removeEntry();
    if (file.error != 0) fillIn(entry);
    entry.setRawValue("Hidden", "true");
    return write(entry);
  }

  bool isEnabled() const override {
    const FileContent file = readSmallFile(places_.entry, kEntryLimitBytes);
    if (file.error == 0) return starts(DesktopEntry(file.bytes));
    return file.error == ENOENT && systemStarts();
  }

 private:
  std::optional<Error> unfitForChange(const FileContent& file) const {
    if (file.tooLong) return Error{places_.entry.string() + " is too long for an autostart entry"};
    if (file.error == 0 || file.error == ENOENT || file.error == ENOTDIR) return std::nullopt;
    return fileError("read", places_.entry, file.error);
  }

  std::optional<Error> write(const DesktopEntry& entry) const {
    return writeFileAtomically(places_.entry, entry.text(), kEntryMode);
  }

  std::optional<Error> removeEntry() const {
    if (unlink(places_.entry.c_str()) != 0 && errno != ENOENT) {
      return fileError("remove", places_.entry, errno);
    }
    syncDirectory(places_.entry.parent_path());
    return std::nullopt;
  }

  // Whether the desktop would start what the entry says.
  bool starts(const DesktopEntry& entry) const {
    const auto tryExec = entry.value("TryExec");
    return entry.rawValue("Exec") && entry.boolean("Hidden") != true &&
           std::none_of(std::begin(kSwitches), std::end(kSwitches),
                        [&](const char* key) { return entry.boolean(key) == false; }) &&
           (!tryExec || findProgram(*tryExec, places_.searchPath)) && isForThisDesktop(entry);
  }

  bool systemStarts() const {
    for (const auto& path : places_.systemEntries) {
      const FileContent file = readSmallFile(path, kEntryLimitBytes);
      if (file.error == 0) return starts(DesktopEntry(file.bytes));
    }
    return false;
  }

  bool isForThisDesktop(const DesktopEntry& entry) const {
    const auto only = entry.list("OnlyShowIn");
    const auto never = entry.list("NotShowIn");
    for (const auto& desktop : desktops_) {
      if (holds(only, desktop)) return true;
      if (holds(never, desktop)) return false;
    }
    return !entry.rawValue("OnlyShowIn");
  }

  // Makes it an entry of this program, as far as it is not one already.
  void fillIn(DesktopEntry& entry) const {
    if (entry.rawValue("Type") != "Application") entry.setRawValue("Type", "Application");
    setMissing(entry, "Name", "Tovalin Host");
    if (!isProgramAmong(execArguments(entry.value("Exec").value_or("")))) {
      entry.setRawValue("Exec", execArgument(program_.string()));
    }
    setMissing(entry, "Icon", kBundleIdentifier);
    setMissing(entry, "Terminal", "false");
    setMissing(entry, kSwitch, "true");
  }

  static void setMissing(DesktopEntry& entry, std::string_view key, std::string_view value) {
    if (!entry.rawValue(key)) entry.setRawValue(key, value);
  }

  // Whether a command line starts this program, be it with options or through another program.
  bool isProgramAmong(const std::vector<std::string>& arguments) const {
    return std::any_of(arguments.begin(), arguments.end(), [this](const std::string& argument) {
      if (argument == program_) return true;
      const auto file = findProgram(argument, places_.searchPath);
      std::error_code failure;
      return file && std::filesystem::equivalent(*file, program_, failure);
    });
  }

  void switchOn(DesktopEntry& entry) const {
    entry.remove("Hidden");
    for (const auto* key : kSwitches) {
      if (entry.boolean(key) == false) entry.setRawValue(key, "true");
    }
    const auto tryExec = entry.value("TryExec");
    if (tryExec && !findProgram(*tryExec, places_.searchPath)) entry.remove("TryExec");
    if (!isForThisDesktop(entry)) allowThisDesktop(entry);
  }

  void allowThisDesktop(DesktopEntry& entry) const {
    auto never = entry.list("NotShowIn");
    std::erase_if(never, [this](const auto& name) { return holds(desktops_, name); });
    if (never.empty()) {
      entry.remove("NotShowIn");
    } else {
      entry.setList("NotShowIn", never);
    }
    if (isForThisDesktop(entry)) return;
    // The last name is the most general one: "GNOME" in "ubuntu:GNOME".
    auto only = entry.list("OnlyShowIn");
    if (desktops_.empty()) {
      entry.remove("OnlyShowIn");
    } else {
      only.push_back(desktops_.back());
      entry.setList("OnlyShowIn", only);
    }
  }

  // Whether there is nothing in it that registering would not bring back.
  bool isAllOurs(const DesktopEntry& entry) const {
    DesktopEntry fresh;
    fillIn(fresh);
    const auto keys = entry.keys();
    return !entry.hasMoreThanKeys() &&
           execArguments(entry.value("Exec").value_or("")).size() <= 1 &&
           std::all_of(keys.begin(), keys.end(), [&](const std::string& key) {
             return key == "Hidden" || key == "Exec" || key == kSwitch ||
                    fresh.rawValue(key) == entry.rawValue(key);
           });
  }

  const AutostartPlaces places_;
  const std::vector<std::string> desktops_;
  const std::filesystem::path program_;
};

}  // namespace

AutostartPlaces autostartPlaces() {
  const auto name = std::string(kBundleIdentifier) + ".desktop";
  AutostartPlaces places{.entry = configHome() / "autostart" / name,
                         .currentDesktop = environmentValue("XDG_CURRENT_DESKTOP"),
                         .searchPath = environmentValue("PATH")};
  for (const auto& directory : configDirectories()) {
    places.systemEntries.push_back(directory / "autostart" / name);
  }
  return places;
}

std::unique_ptr<LoginItem> makeAutostartLoginItem(AutostartPlaces places,
                                                  std::filesystem::path program) {
  return std::make_unique<AutostartLoginItem>(std::move(places), std::move(program));
}

}  // namespace tovalin
