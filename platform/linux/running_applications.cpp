#include "platform/linux/running_applications.h"

#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <charconv>
#include <optional>
#include <sstream>
#include <string>
#include <system_error>
#include <utility>

#include "platform/linux/bundle.h"
#include "platform/linux/small_file.h"

namespace tovalin {
namespace {

// /proc/<pid>/stat is one line of some fifty numbers.
constexpr size_t kStatLimitBytes = size_t{8} * 1024;
constexpr size_t kNoteLimitBytes = 64;

// The start time in field 22 of /proc/<pid>/stat, in clock ticks since boot; empty when the
// process has ended. The fields are counted from behind the program's name, which may hold blanks
// and parentheses itself.
std::string startTime(int pid) {
  const std::string stat =
      readSmallFile("/proc/" + std::to_string(pid) + "/stat", kStatLimitBytes).bytes;
  const size_t afterName = stat.rfind(')');
  if (afterName == std::string::npos) return {};
  std::istringstream fields(stat.substr(afterName + 1));
  std::string field;
  for (int number = 3; number <= 22 && fields >> field; ++number) {
    const bool ended = number == 3 && (field == "Z" || field == "X");
    if (ended) return {};
  }
  return fields ? field : std::string();
}

// Asked of the status file, because the owner of /proc/<pid> is root for a program that has
// capabilities of its own.
bool isOwnUsers(int pid) {
  const std::string status =
      readSmallFile("/proc/" + std::to_string(pid) + "/status", kStatLimitBytes).bytes;
  return status.find("\nUid:\t" + std::to_string(getuid()) + "\t") != std::string::npos;
}

std::optional<int> processIdFrom(const std::string& name) {
  int pid = 0;
  const auto [end, failure] = std::from_chars(name.data(), name.data() + name.size(), pid);
  if (failure != std::errc() || end != name.data() + name.size() || pid <= 0) return std::nullopt;
  return pid;
}

// In a directory that others may write to, notes could be forged or swapped for links.
std::optional<Error> checkPrivate(const std::filesystem::path& directory) {
  struct stat status;
  if (lstat(directory.c_str(), &status) != 0) return fileError("look at", directory, errno);
  const bool isPrivate = S_ISDIR(status.st_mode) && status.st_uid == geteuid() &&
                         (status.st_mode & (S_IWGRP | S_IWOTH)) == 0;
  if (!isPrivate) return Error{directory.string() + " is not a directory of this user alone"};
  return std::nullopt;
}

class LinuxRunningApplications : public RunningApplications {
 public:
  LinuxRunningApplications(const std::filesystem::path& directory, SystemLog& log,
                           std::function<void()> terminate)
      : directory_(directory), terminate_(std::move(terminate)) {
    const auto error = noteThisProcess();
    trusted_ = !error;
    if (error) {
      log.line("[Tovalin] cannot look for other instances: " + error->description);
    }
  }

  ~LinuxRunningApplications() override {
    if (trusted_) unlink(note(kBundleIdentifier, getpid()).c_str());
  }

  int ownProcessId() const override { return getpid(); }

  std::vector<int> processIds(std::string_view bundleIdentifier) const override {
    std::vector<int> ids;
    if (bundleIdentifier == kBundleIdentifier) ids.push_back(ownProcessId());
    const bool isName = bundleIdentifier.find('/') == std::string_view::npos &&
                        !bundleIdentifier.starts_with('.') && !bundleIdentifier.empty();
    if (!trusted_ || !isName) return ids;

    const auto directory = directory_ / bundleIdentifier;
    if (checkPrivate(directory)) return ids;
    std::error_code failure;
    for (std::filesystem::directory_iterator file(directory, failure), end; !failure && file != end;
         file.increment(failure)) {
      const auto pid = processIdFrom(file->path().filename());
      if (!pid || *pid == ownProcessId()) continue;
      if (isLive(*pid, file->path())) {
        ids.push_back(*pid);
      } else {
        unlink(file->path().c_str());
      }
    }
    std::sort(ids.begin(), ids.end());
    return ids;
  }

  void terminate() override { terminate_(); }

 private:
  std::filesystem::path note(std::string_view bundleIdentifier, int pid) const {
    return directory_ / bundleIdentifier / std::to_string(pid);
  }

  std::optional<Error> noteThisProcess() const {
    const auto file = note(kBundleIdentifier, getpid());
    if (auto error = makePrivateDirectories(file.parent_path())) return error;
    if (auto error = checkPrivate(directory_)) return error;
    if (auto error = checkPrivate(file.parent_path())) return error;
    return writeFileAtomically(file, startTime(getpid()) + "\n", 0600);
  }

  static bool isLive(int pid, const std::filesystem::path& note) {
    const std::string started = startTime(pid);
    return !started.empty() && isOwnUsers(pid) &&
           readSmallFile(note, kNoteLimitBytes).bytes == started + "\n";
  }

  const std::filesystem::path directory_;
  const std::function<void()> terminate_;
  bool trusted_ = false;
};

}  // namespace

std::unique_ptr<RunningApplications> makeRunningApplications(
    const std::filesystem::path& runtimeDirectory, SystemLog& log,
    std::function<void()> terminate) {
  return std::make_unique<LinuxRunningApplications>(runtimeDirectory, log, std::move(terminate));
}

}  // namespace tovalin
