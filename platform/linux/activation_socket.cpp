#include "platform/linux/activation_socket.h"

#include <fcntl.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <string_view>
#include <utility>

#include "platform/linux/small_file.h"

namespace tovalin {
namespace {

constexpr std::string_view kRequest = "show";

// A sender that never stops must not keep the main thread; the rest is read at the loop's next
// turn.
constexpr int kDatagramsATurn = 64;

FileDescriptor openDirectory(const std::filesystem::path& directory) {
  return FileDescriptor(open(directory.c_str(), O_PATH | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC));
}

// The address of a name in an open directory. A socket's address holds about a hundred bytes, which
// the way to a directory may well exceed; the way over the descriptor is always short, and leads to
// the directory that was opened, whatever has become of its name.
std::optional<sockaddr_un> addressIn(const FileDescriptor& directory, const std::string& name) {
  const std::string path = "/proc/self/fd/" + std::to_string(directory.get()) + "/" + name;
  sockaddr_un address{};
  address.sun_family = AF_UNIX;
  if (path.size() >= sizeof address.sun_path) {
    errno = ENAMETOOLONG;
    return std::nullopt;
  }
  std::copy(path.begin(), path.end(), address.sun_path);
  return address;
}

const sockaddr* generic(const sockaddr_un& address) {
  return reinterpret_cast<const sockaddr*>(&address);
}

FileDescriptor makeSocket() {
  return FileDescriptor(socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0));
}

}  // namespace

std::string ActivationSocket::nameFor(int processId) {
  return std::to_string(processId) + kExtension;
}

ActivationSocket::~ActivationSocket() {
  watch_.reset();
  if (socket_) unlink(file_.c_str());
}

std::optional<Error> ActivationSocket::listen(DescriptorWatcher& watcher,
                                              const std::filesystem::path& directory,
                                              std::function<void()> observer) {
  const std::string name = nameFor(getpid());
  file_ = directory / name;
  const auto failed = [this] { return fileError("listen on", file_, errno); };

  const FileDescriptor place = openDirectory(directory);
  if (!place) return failed();
  const auto address = addressIn(place, name);
  FileDescriptor socket = makeSocket();
  if (!address || !socket) return failed();
  if (unlinkat(place.get(), name.c_str(), 0) != 0 && errno != ENOENT) return failed();
  // The socket's own mode is that of the file which bind makes.
  if (fchmod(socket.get(), 0600) != 0) return failed();
  if (bind(socket.get(), generic(*address), sizeof *address) != 0) return failed();

  socket_ = std::move(socket);
  watch_ = watcher.onReadable(socket_.get(), [this, observer = std::move(observer)] {
    if (takeRequests()) observer();
  });
  return std::nullopt;
}

// Reads what is waiting; true when there was a request in it.
bool ActivationSocket::takeRequests() {
  bool asked = false;
  for (int count = 0; count < kDatagramsATurn; ++count) {
    char bytes[kRequest.size()];
    // With MSG_TRUNC the result is the datagram's own length, however much of it fitted.
    const ssize_t length = recv(socket_.get(), bytes, sizeof bytes, MSG_TRUNC);
    if (length < 0) break;
    asked |= static_cast<size_t>(length) == kRequest.size() &&
             std::memcmp(bytes, kRequest.data(), kRequest.size()) == 0;
  }
  return asked;
}

void ActivationSocket::ask(const std::filesystem::path& directory, int processId) {
  const std::string name = nameFor(processId);
  const FileDescriptor place = openDirectory(directory);
  struct stat status;
  if (!place || fstatat(place.get(), name.c_str(), &status, AT_SYMLINK_NOFOLLOW) != 0) return;
  if (!S_ISSOCK(status.st_mode) || status.st_uid != geteuid()) return;
  const auto address = addressIn(place, name);
  const FileDescriptor socket = makeSocket();
  if (!address || !socket) return;
  sendto(socket.get(), kRequest.data(), kRequest.size(), MSG_NOSIGNAL, generic(*address),
         sizeof *address);
}

}  // namespace tovalin
