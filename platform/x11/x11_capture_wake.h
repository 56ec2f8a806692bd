#pragma once

#include <xcb/xcb.h>

#include <chrono>

namespace tovalin {

// Wakes a capture thread from its wait for the server. Any thread may signal.
class CaptureWake {
 public:
  CaptureWake();
  ~CaptureWake();
  CaptureWake(const CaptureWake&) = delete;
  CaptureWake& operator=(const CaptureWake&) = delete;

  // False when the process has no descriptor left for it; it then never wakes anybody.
  bool valid() const { return fd_ >= 0; }

  void signal();

  // Returns when signalled (the signal is then used up), when `until` has come, or, given a
  // connection, when the server has sent something. Events that libxcb has read already do not
  // count: take them before waiting. True when it was the signal.
  bool wait(std::chrono::steady_clock::time_point until, xcb_connection_t* connection);

 private:
  int fd_;
};

}  // namespace tovalin
