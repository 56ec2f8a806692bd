#pragma once

#include <filesystem>
#include <memory>
#include <string>

#include "platform/system_log.h"

namespace tovalin {

// Where lines go; other than the defaults only in tests.
struct SystemLogTargets {
  std::filesystem::path journalSocket = "/run/systemd/journal/socket";
  int standardError = 2;
  // What systemd sets when standard error is the journal already: "device:inode" of the stream.
  std::string journalStream;
  // Takes a line when there is no journal.
  void (*syslogLine)(const char* text) = nullptr;
};

// The targets of this process.
SystemLogTargets systemLogTargets();

// Writes each line to the journal, or to syslog(3) where there is none, and to standard error
// unless that is the journal itself. A line never waits for its reader: it is lost to one that is
// behind. Bytes that could forge a line or drive a terminal are shown as \xNN; lines are cut at
// 2000 bytes.
std::unique_ptr<SystemLog> makeSystemLog(SystemLogTargets targets = systemLogTargets());

}  // namespace tovalin
