#include "platform/linux/running_applications.h"

#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <charconv>
#include <list>
#include <optional>
#include <sstream>
#include <string>
#include <system_error>
#include <utility>

#include "platform/linux/activation_socket.h"
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

std::optional<int> processIdFrom(std::string_view name) {
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

// Observers that may come and go while they are being told, and that may outlive the subject.
class Observers {
 public:
  std::unique_ptr<Subscription> add(std::function<void()> observer) {
    auto own = std::make_shared<Observer>(std::move(observer));
    all_.push_back(own);
    return std::make_unique<Observation>(std::move(own));
  }

  void tell() {
    all_.remove_if([](const auto& observer) { return observer.expired(); });
    for (const auto& observer : std::list(all_)) {
      if (const auto alive = observer.lock()) (*alive)();
    }
  }

 private:
  using Observer = std::function<void()>;
  struct Observation : Subscription {
    explicit Observation(std::shared_ptr<Observer> observer) : own(std::move(observer)) {}
    std::shared_ptr<Observer> own;
  };

  std::list<std::weak_ptr<Observer>> all_;
};

class LinuxRunningApplications : public RunningApplications {
 public:
  LinuxRunningApplications(const std::filesystem::path& directory, SystemLog& log,
                           DescriptorWatcher& watcher, std::function<void()> terminate)
      : directory_(directory), terminate_(std::move(terminate)) {
    const auto error = noteThisProcess();
    trusted_ = !error;
    if (error) {
      log.line("[Tovalin] cannot look for other instances: " + error->description);
      return;
    }
    const auto deaf =
        activation_.listen(watcher, ownDirectory(), [this] { activationObservers_.tell(); });
    if (deaf) log.line("[Tovalin] other instances cannot call this one: " + deaf->description);
  }

  ~LinuxRunningApplications() override {
    if (trusted_) unlink(note(getpid()).c_str());
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
      const auto& path = file->path();
      if (path.extension() == ActivationSocket::kExtension) removeIfOrphaned(path);
      const auto pid = processIdFrom(path.filename().native());
      if (!pid || *pid == ownProcessId()) continue;
      if (isLive(*pid, path)) {
        ids.push_back(*pid);
      } else {
        unlink(path.c_str());
        unlink((directory / ActivationSocket::nameFor(*pid)).c_str());
      }
    }
    std::sort(ids.begin(), ids.end());
    return ids;
  }

  void activate(int processId) override {
    if (!trusted_ || checkPrivate(ownDirectory()) || !isLive(processId, note(processId))) return;
    ActivationSocket::ask(ownDirectory(), processId);
  }

  std::unique_ptr<Subscription> onActivate(std::function<void()> observer) override {
    return activationObservers_.add(std::move(observer));
  }

  void terminate() override { terminate_(); }

 private:
  std::filesystem::path ownDirectory() const { return directory_ / kBundleIdentifier; }
  std::filesystem::path note(int pid) const { return ownDirectory() / std::to_string(pid); }

  std::optional<Error> noteThisProcess() const {
    if (auto error = makePrivateDirectories(ownDirectory())) return error;
    if (auto error = checkPrivate(directory_)) return error;
    if (auto error = checkPrivate(ownDirectory())) return error;
    return writeFileAtomically(note(getpid()), startTime(getpid()) + "\n", 0600);
  }

  static bool isLive(int pid, const std::filesystem::path& note) {
    const std::string started = startTime(pid);
    return !started.empty() && isOwnUsers(pid) &&
           readSmallFile(note, kNoteLimitBytes).bytes == started + "\n";
  }

  // A socket without a note belongs to a process that is starting or ending, unless nothing runs
  // under its number.
  static void removeIfOrphaned(const std::filesystem::path& socket) {
    const auto pid = processIdFrom(socket.stem().native());
    if (pid && startTime(*pid).empty()) unlink(socket.c_str());
  }

  const std::filesystem::path directory_;
  const std::function<void()> terminate_;
  bool trusted_ = false;
  Observers activationObservers_;
  ActivationSocket activation_;
};

}  // namespace

std::unique_ptr<RunningApplications> makeRunningApplications(
    const std::filesystem::path& runtimeDirectory, SystemLog& log, DescriptorWatcher& watcher,
    std::function<void()> terminate) {
  return std::make_unique<LinuxRunningApplications>(runtimeDirectory, log, watcher,
                                                    std::move(terminate));
}

}  // namespace tovalin
