#pragma once

#include <sys/types.h>

#include <cstdint>
#include <filesystem>
#include <string>
#include <vector>

namespace tovalin::test {

// What the program has printed, read from the other end of its pipe line by line.
class OutputPipe {
 public:
  OutputPipe();
  ~OutputPipe();
  OutputPipe(const OutputPipe&) = delete;
  OutputPipe& operator=(const OutputPipe&) = delete;

  // The next whole line. Throws when none comes within the bound or the program has ended.
  std::string readLine();

  // Everything until the program closes its end.
  std::string readAll();

  int writeEnd() const { return writeEnd_; }
  void closeWriteEnd();

 private:
  bool readSome();

  int readEnd_ = -1;
  int writeEnd_ = -1;
  std::string unread_;
};

// The built server as a process of its own, from construction to destruction.
class ServerProcess {
 public:
  // `descriptors` is how many it may have open; 0: as many as this process.
  explicit ServerProcess(const std::vector<std::string>& arguments, unsigned descriptors = 0);
  ~ServerProcess();

  // Waits until it listens.
  uint16_t waitUntilReady();

  // Reads standard error up to a line that contains `text`, and returns that line.
  std::string waitForLog(const std::string& text);

  std::string readOutputLine() { return output_.readLine(); }
  std::string readOutput() { return output_.readAll(); }
  std::string readLog() { return log_.readAll(); }

  // Asks it to end, as a service manager would.
  void terminate();

  // Asks it to read its files anew.
  void hangUp();

  // Waits for its end and returns the exit status, or minus the signal that ended it.
  int waitForExit();

 private:
  OutputPipe output_;
  OutputPipe log_;
  pid_t pid_ = -1;
};

}  // namespace tovalin::test
