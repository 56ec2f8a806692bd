#include "platform/linux/small_file.h"

#include <fcntl.h>
#include <sys/stat.h>

#include <cerrno>
#include <cstdlib>
#include <system_error>

#include "platform/linux/file_descriptor.h"

namespace tovalin {
namespace {

// 0, or the error number.
int writeAll(int fd, std::string_view bytes) {
  while (!bytes.empty()) {
    const ssize_t count = write(fd, bytes.data(), bytes.size());
    if (count < 0 && errno == EINTR) continue;
    if (count < 0) return errno;
    bytes.remove_prefix(static_cast<size_t>(count));
  }
  return 0;
}

int writeAndSync(int fd, std::string_view bytes, mode_t mode) {
  if (const int error = writeAll(fd, bytes); error != 0) return error;
  if (fchmod(fd, mode) != 0) return errno;
  return fsync(fd) != 0 ? errno : 0;
}

}  // namespace

Error fileError(std::string_view what, const std::filesystem::path& path, int number) {
  return {"cannot " + std::string(what) + " " + path.string() + ": " +
          std::generic_category().message(number)};
}

FileContent readSmallFile(const std::filesystem::path& file, size_t limit) {
  FileContent content;
  const FileDescriptor fd(open(file.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK));
  if (!fd) {
    content.error = errno;
    return content;
  }
  char buffer[4096];
  while (content.bytes.size() <= limit) {
    const ssize_t count = read(fd.get(), buffer, sizeof buffer);
    if (count < 0 && errno == EINTR) continue;
    if (count < 0) content.error = errno;
    if (count <= 0) return content;
    content.bytes.append(buffer, static_cast<size_t>(count));
  }
  content.tooLong = true;
  return content;
}

std::optional<Error> makePrivateDirectories(const std::filesystem::path& directory) {
  std::filesystem::path soFar;
  for (const auto& part : directory) {
    soFar /= part;
    if (mkdir(soFar.c_str(), 0700) == 0 || errno == EEXIST || errno == EISDIR) continue;
    const int error = errno;
    struct stat status;
    if (stat(soFar.c_str(), &status) == 0 && S_ISDIR(status.st_mode)) continue;
    return fileError("make directory", soFar, error);
  }
  return std::nullopt;
}

void syncDirectory(const std::filesystem::path& directory) {
  const FileDescriptor fd(open(directory.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
  if (fd) fsync(fd.get());
}

std::optional<Error> writeFileAtomically(const std::filesystem::path& file, std::string_view bytes,
                                         mode_t mode) {
  const auto directory = file.parent_path();
  if (auto error = makePrivateDirectories(directory)) return error;
  std::string temporary = directory / ("." + file.filename().string() + ".XXXXXX");
  const FileDescriptor fd(mkostemp(temporary.data(), O_CLOEXEC));
  if (!fd) return fileError("write", file, errno);
  int error = writeAndSync(fd.get(), bytes, mode);
  if (error == 0 && rename(temporary.c_str(), file.c_str()) != 0) error = errno;
  if (error != 0) {
    unlink(temporary.c_str());
    return fileError("write", file, error);
  }
  syncDirectory(directory);
  return std::nullopt;
}

}  // namespace tovalin
