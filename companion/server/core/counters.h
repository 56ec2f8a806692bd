#pragma once

#include <cstdint>
#include <map>
#include <string>

namespace tovalin::server {

// What has happened since the program began, for its operator. Server thread.
struct Counters {
  std::map<std::string, uint64_t> joins;     // by result, "joined" or a reason
  std::map<std::string, uint64_t> pairings;  // by result, "paired" or a reason
  std::map<uint16_t, uint64_t> closes;       // by close code
  uint64_t relayed = 0;                      // messages from one side of a visit to the other
  uint64_t bytesReceived = 0;                // of messages, without what carries them
  uint64_t bytesSent = 0;
};

// How things are this moment.
struct Gauges {
  std::size_t hostConnections = 0;
  std::size_t viewerConnections = 0;
  std::size_t registeredHosts = 0;
  std::size_t visits = 0;
};

}  // namespace tovalin::server
