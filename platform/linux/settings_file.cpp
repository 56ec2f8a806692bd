#include "platform/linux/settings_file.h"

#include <cerrno>
#include <cstdio>
#include <set>
#include <string>
#include <utility>
#include <variant>

#include "platform/linux/bundle.h"
#include "platform/linux/settings_text.h"
#include "platform/linux/small_file.h"
#include "platform/linux/xdg_paths.h"

namespace tovalin {
namespace {

// The host key in the file is a secret shared with the signalling server.
constexpr mode_t kFileMode = 0600;

const std::string kKeptInMemory = "[Tovalin] settings are kept in memory only: ";

class SettingsFile : public UserDefaults {
 public:
  SettingsFile(std::filesystem::path file, SystemLog& log) : file_(std::move(file)), log_(log) {
    auto onDisk = read();
    if (auto* settings = std::get_if<SettingsText>(&onDisk)) settings_ = std::move(*settings);
    if (const auto* error = std::get_if<Error>(&onDisk)) {
      log_.line(kKeptInMemory + error->description);
      failing_ = true;
    }
  }

  std::optional<std::string> string(std::string_view key) const override {
    return settings_.string(key);
  }
  std::optional<bool> boolean(std::string_view key) const override {
    return settings_.boolean(key);
  }
  void setString(std::string_view key, std::string_view value) override {
    settings_.setString(key, value);
    save(key);
  }
  void setBoolean(std::string_view key, bool value) override {
    settings_.setBoolean(key, value);
    save(key);
  }

 private:
  // There is no file, or no longer one that can be used.
  struct Nothing {};

  std::variant<SettingsText, Nothing, Error> read() {
    const FileContent content = readSmallFile(file_, kSettingsLimitBytes);
    if (content.error == ENOENT) return Nothing{};
    if (content.error != 0) return fileError("read", file_, content.error);
    auto parsed = SettingsText::parse(content.bytes);
    if (auto* settings = std::get_if<SettingsText>(&parsed)) return std::move(*settings);
    setAside(std::get<Error>(parsed));
    return Nothing{};
  }

  void setAside(const Error& damage) {
    auto aside = file_;
    aside += ".corrupt";
    const bool kept = std::rename(file_.c_str(), aside.c_str()) == 0;
    log_.line("[Tovalin] settings file is damaged (" + damage.description + "), " +
              (kept ? "kept as " + aside.string() : fileError("keep", aside, errno).description));
  }

  void save(std::string_view key) {
    unsaved_.emplace(key);
    const auto error = write();
    if (!error) unsaved_.clear();
    if (error && !failing_) log_.line(kKeptInMemory + error->description);
    failing_ = error.has_value();
  }

  std::optional<Error> write() {
    auto onDisk = read();
    if (const auto* error = std::get_if<Error>(&onDisk)) return *error;
    auto* merged = std::get_if<SettingsText>(&onDisk);
    if (merged == nullptr) return writeFileAtomically(file_, settings_.text(), kFileMode);
    for (const auto& key : unsaved_) merged->adopt(key, settings_);
    return writeFileAtomically(file_, merged->text(), kFileMode);
  }

  const std::filesystem::path file_;
  SystemLog& log_;
  SettingsText settings_;
  std::set<std::string, std::less<>> unsaved_;
  // Said once, not at every key, until the file can be used again.
  bool failing_ = false;
};

}  // namespace

std::filesystem::path settingsFilePath() {
  return configHome() / kBundleIdentifier / "settings.ini";
}

std::unique_ptr<UserDefaults> makeSettingsFile(std::filesystem::path file, SystemLog& log) {
  return std::make_unique<SettingsFile>(std::move(file), log);
}

}  // namespace tovalin
