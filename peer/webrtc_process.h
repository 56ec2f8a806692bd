#pragma once

#include <atomic>
#include <memory>
#include <string>

#include "platform/main_queue.h"
#include "platform/rtc.h"
#include "platform/system_log.h"

namespace tovalin {

// What all sessions of the process share. Made once and never released while a session lives; the
// ports outlive it.
class WebRTCProcess {
 public:
  // `stunHost` is a public STUN server's host name or address, asked on port 19302.
  WebRTCProcess(MainQueue& queue, SystemLog& log, RtcLibrary& library, std::string stunHost);

  MainQueue& queue() const { return queue_; }
  SystemLog& log() const { return log_; }

  // The default ICE server's URL.
  std::string stunUrl() const;

  // Made on first use, SSL initialised before: an idle host never loads the media engine. Kept for
  // the life of this object. Main thread.
  std::shared_ptr<RtcPeerConnectionFactory> factory();

  // True for the first caller ever, in whichever session: only the first input after the program
  // started is worth a diagnostic. Any thread.
  bool claimFirstInput();

 private:
  MainQueue& queue_;
  SystemLog& log_;
  RtcLibrary& library_;
  const std::string stunHost_;
  std::shared_ptr<RtcPeerConnectionFactory> factory_;
  std::atomic<bool> reportedFirstInput_ = false;
};

}  // namespace tovalin
