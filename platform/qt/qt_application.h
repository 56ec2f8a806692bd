#pragma once

#include <memory>

namespace tovalin {

// The main thread's run loop, the first object made and the last to go: everything else of Qt
// needs it. While it exists SIGTERM, SIGINT and SIGHUP end the loop cleanly instead of the
// process; a second signal of the same kind kills, in case the loop hangs. A SIGHUP that the parent
// had ignored stays ignored, as nohup(1) wants it. SIGPIPE is ignored for good, so that a closed
// pipe or socket is an error of the write that meets it. Main thread, but for quit().
class QtApplication {
 public:
  // Whether the program has windows. With `windows` an X display must be there: Qt ends a process
  // that it cannot connect.
  enum class Face { none, windows };

  // The arguments must outlive the application; options of Qt's own are taken out of them.
  QtApplication(int& argumentCount, char** arguments, Face face = Face::none);
  ~QtApplication();
  QtApplication(const QtApplication&) = delete;
  QtApplication& operator=(const QtApplication&) = delete;

  // Runs the loop until quit() and returns the process's exit status.
  int run();

  // Ends the loop soon and returns at once; asked before run(), the loop ends as soon as it has
  // done what was posted before. Any thread.
  void quit();

 private:
  class Signals;
  struct Loop;
  std::unique_ptr<Loop> loop_;
  std::unique_ptr<Signals> signals_;
};

}  // namespace tovalin
