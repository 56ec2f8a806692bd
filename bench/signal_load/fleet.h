#pragma once

#include <cstddef>
#include <memory>
#include <string>
#include <vector>

#include "bench/signal_load/loop.h"
#include "bench/signal_load/web_socket.h"

namespace tovalin::bench {

// One computer: on line, paired with one device, and ready to make an offer.
struct Host {
  std::string id;
  std::string deviceId, deviceKey;  // empty until paired
  std::string token;                // of a pairing that is on its way
  std::unique_ptr<WebSocket> socket;
  bool registered = false;
  bool visited = false;
  int answers = 0;     // of the visit that runs
  int candidates = 0;  // of the visit that runs
};

// Many computers, spread over loopback addresses as they would be over the world.
class Fleet {
 public:
  Fleet(Loop& loop, std::size_t size);

  // Brings all of them on line. Throws when they are not after a while.
  void connect(uint16_t port);

  // Pairs each with a device by its token.
  void pair(uint16_t port);

  // Answers pings until then. Throws when a host is lost.
  void idle(std::chrono::seconds time);

  void disconnect();

  std::vector<Host>& hosts() { return hosts_; }
  std::size_t brokenVisits() const { return brokenVisits_; }  // that did not pass everything on
  std::size_t lost() const { return lost_; }

 private:
  void start(Host& host, uint16_t port);
  void heard(Host& host, std::string_view text);
  void turnUntil(const char* what, const std::function<bool()>& done);

  Loop& loop_;
  std::vector<Host> hosts_;
  std::size_t registered_ = 0;
  std::size_t lost_ = 0;
  std::size_t brokenVisits_ = 0;
};

// What is sent in a visit, of the size that browsers make it.
const std::string& offerText();
const std::string& answerText();
const std::string& candidateText();
constexpr int kCandidates = 4;  // from either side

// Whether a message is of this type, without parsing it.
bool isType(std::string_view text, std::string_view type);

}  // namespace tovalin::bench
