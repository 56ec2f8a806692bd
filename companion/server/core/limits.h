#pragma once

#include <chrono>
#include <cstddef>

namespace tovalin::server {

// Every bound the server sets on what others may ask of it, told to users in docs/protocol.md.
struct Limits {
  std::chrono::seconds pinLife{600};

  int wrongTries = 5;                // from one address, until it is locked out
  std::chrono::seconds lockOut{60};  // also how long wrong tries are remembered
  // From all addresses together. Whoever owns as many addresses as they like still has one chance
  // in five thousand to hit a given PIN while it lives.
  double wrongPinsAtOnce = 100;
  double wrongPinsPerMinute = 10;

  std::chrono::seconds firstUseful{10};     // from connecting to a message that has a purpose
  std::chrono::seconds lostViewerGrace{5};  // a lost viewer's visit waits this long

  std::size_t nestingDepth = 8;
  std::size_t nameLength = 64;  // code points
  std::size_t dbgLength = 200;  // code points of a host's diagnostic text that reach the log
  std::size_t devicesPerHost = 32;
  std::size_t watchedHosts = 32;  // by one viewer
  std::size_t hosts = 100'000;    // trust on first use must not fill the disk

  // A session's start is a burst of some thirty messages; the frames of a minute fit twice.
  double framesAtOnce = 200;
  double framesPerSecond = 20;
  double bytesAtOnce = 2.0 * 1024 * 1024;
  double bytesPerSecond = 256.0 * 1024;
};

}  // namespace tovalin::server
