#include "platform/linux/system_log.h"

#include <poll.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <syslog.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <utility>

#include "platform/linux/file_descriptor.h"
#include "platform/linux/utf8.h"

namespace tovalin {
namespace {

constexpr const char* kIdentifier = "tovalin-host";

// Leaves a line with its newline within PIPE_BUF, which a pipe takes whole or not at all.
constexpr size_t kLineLimitBytes = 2000;

void writeSyslogLine(const char* text) {
  syslog(LOG_USER | LOG_INFO, "%s", text);
}

bool isControl(std::string_view sequence) {
  const auto first = static_cast<uint8_t>(sequence[0]);
  if (sequence.size() == 1) return first < 0x20 || first == 0x7F;
  return first == 0xC2 && static_cast<uint8_t>(sequence[1]) < 0xA0;  // U+0080 … U+009F
}

std::string harmless(std::string_view text) {
  std::string line;
  while (!text.empty()) {
    const size_t length = utf8SequenceLength(text);
    const auto sequence = text.substr(0, std::max<size_t>(length, 1));
    std::string shown;
    if (length == 0 || isControl(sequence)) {
      for (const char byte : sequence) shown += escapedByte(byte);
    } else {
      shown = sequence;
    }
    if (line.size() + shown.size() > kLineLimitBytes) break;
    line += shown;
    text.remove_prefix(sequence.size());
  }
  return line;
}

bool isStream(int fd, const std::string& deviceAndInode) {
  struct stat status;
  return fstat(fd, &status) == 0 &&
         deviceAndInode == std::to_string(status.st_dev) + ":" + std::to_string(status.st_ino);
}

class LinuxSystemLog : public SystemLog {
 public:
  explicit LinuxSystemLog(SystemLogTargets targets)
      : targets_(std::move(targets)),
        echoes_(!isStream(targets_.standardError, targets_.journalStream)),
        journal_(socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0)) {}

  void line(std::string_view text) override {
    const std::string line = harmless(text);
    if (!writeToJournal(line) && targets_.syslogLine != nullptr) targets_.syslogLine(line.c_str());
    if (echoes_) writeToStandardError(line + "\n");
  }

 private:
  // One datagram of "FIELD=value" lines, the journal's native protocol. Sent by hand because
  // sd_journal_send(3) waits for a journal that is behind. False when there is no journal.
  bool writeToJournal(const std::string& line) {
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    const std::string path = targets_.journalSocket;
    if (path.size() >= sizeof address.sun_path) return false;
    std::memcpy(address.sun_path, path.c_str(), path.size());
    const std::string entry = "MESSAGE=" + line + "\nPRIORITY=" + std::to_string(LOG_INFO) +
                              "\nSYSLOG_IDENTIFIER=" + kIdentifier + "\n";
    return sendto(journal_.get(), entry.data(), entry.size(), MSG_DONTWAIT | MSG_NOSIGNAL,
                  reinterpret_cast<const sockaddr*>(&address), sizeof address) >= 0 ||
           errno == EAGAIN;
  }

  void writeToStandardError(const std::string& line) const {
    pollfd writable{targets_.standardError, POLLOUT, 0};
    if (poll(&writable, 1, 0) != 1 || (writable.revents & POLLOUT) == 0) return;
    // Nobody is left to be told that the last resort failed.
    [[maybe_unused]] const ssize_t count = write(targets_.standardError, line.data(), line.size());
  }

  const SystemLogTargets targets_;
  const bool echoes_;
  const FileDescriptor journal_;
};

}  // namespace

SystemLogTargets systemLogTargets() {
  SystemLogTargets targets;
  const char* stream = std::getenv("JOURNAL_STREAM");
  if (stream != nullptr) targets.journalStream = stream;
  targets.syslogLine = &writeSyslogLine;
  return targets;
}

std::unique_ptr<SystemLog> makeSystemLog(SystemLogTargets targets) {
  return std::make_unique<LinuxSystemLog>(std::move(targets));
}

}  // namespace tovalin
