#pragma once

#include <sys/types.h>

#include <filesystem>
#include <optional>
#include <string>
#include <string_view>

#include "platform/error.h"

namespace tovalin {

// What reading a small file gave.
struct FileContent {
  std::string bytes;
  int error = 0;         // the system's error number; ENOENT when there is no such file
  bool tooLong = false;  // the file holds more than was asked for; `bytes` is its beginning
};

// Reads a file of at most `limit` bytes. Never waits for a writer on a pipe. Any thread.
FileContent readSmallFile(const std::filesystem::path& file, size_t limit);

// Puts `bytes` in place of what `file` holds: readers see the old content or the new, never a part,
// and the new content is on disk when the call returns. Missing directories are made, private to
// the user. Absent: success; else nothing has changed. Any thread.
std::optional<Error> writeFileAtomically(const std::filesystem::path& file, std::string_view bytes,
                                         mode_t mode);

// Makes `directory` and its missing parents with mode 0700. Absent: success. Any thread.
std::optional<Error> makePrivateDirectories(const std::filesystem::path& directory);

// Writes a directory's own entries to disk, after a name in it was made or removed; failures count
// for nothing, since some file systems offer no such thing. Any thread.
void syncDirectory(const std::filesystem::path& directory);

// "cannot <what> <path>: <the system's words for `number`>".
Error fileError(std::string_view what, const std::filesystem::path& path, int number);

}  // namespace tovalin
