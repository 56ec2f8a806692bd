#include "bench/signal_load/fleet.h"

#include <nlohmann/json.hpp>
#include <stdexcept>

namespace tovalin::bench {
namespace {

using Json = nlohmann::json;

constexpr std::size_t kAtOnce = 100;    // hosts that are connecting
constexpr int kPairingConnections = 8;  // and one pairing on each
constexpr int kPairingsEach = 150;      // then a new connection, or it would be a flood
constexpr auto kPatience = std::chrono::minutes(10);
const std::string kKey(64, 'a');

std::string addressOf(std::size_t index) {
  return "127.0." + std::to_string(1 + index / 100 % 10) + "." + std::to_string(1 + index % 100);
}

}  // namespace

const std::string& offerText() {
  static const std::string text =
      Json{{"type", "offer"}, {"sdp", "v=0\r\n" + std::string(3000, 'o')}}.dump();
  return text;
}

const std::string& answerText() {
  static const std::string text =
      Json{{"type", "answer"}, {"sdp", "v=0\r\n" + std::string(1500, 'a')}}.dump();
  return text;
}

const std::string& candidateText() {
  static const std::string text = Json{
      {"type", "ice"},
      {"candidate", "candidate:1 1 udp 2122260223 192.0.2.7 51000 typ host generation 0"},
      {"sdpMLineIndex", 0},
      {"sdpMid", "0"}}.dump();
  return text;
}

bool isType(std::string_view text, std::string_view type) {
  const std::string field = "\"type\":\"" + std::string(type) + '"';
  return text.find(field) != std::string_view::npos;
}

Fleet::Fleet(Loop& loop, std::size_t size) : loop_(loop), hosts_(size) {
  for (std::size_t i = 0; i < size; ++i) hosts_[i].id = "LOAD-" + std::to_string(i);
}

void Fleet::connect(uint16_t port) {
  registered_ = 0;
  for (std::size_t started = 0; started < hosts_.size(); ++started) {
    start(hosts_[started], port);
    turnUntil("register", [&] { return started + 1 - registered_ < kAtOnce; });
  }
  turnUntil("register", [&] { return registered_ == hosts_.size(); });
}

void Fleet::start(Host& host, uint16_t port) {
  const auto index = static_cast<std::size_t>(&host - hosts_.data());
  host.registered = false;
  host.socket = std::make_unique<WebSocket>(
      loop_, addressOf(index), port, "/signal",
      WebSocket::Events{
          [&host] {
            host.socket->send(R"({"type":"register","role":"host","hostId":")" + host.id +
                              R"(","hostKey":")" + kKey + R"(","name":"Study"})");
          },
          [this, &host](std::string_view text) { heard(host, text); },
          [this] { ++lost_; },
      });
}

void Fleet::heard(Host& host, std::string_view text) {
  if (isType(text, "registered")) {
    host.registered = true;
    ++registered_;
  } else if (isType(text, "pairing-pin")) {
    host.token = Json::parse(text).value("pairToken", "");
  } else if (isType(text, "peer-joined")) {
    host.answers = host.candidates = 0;
    host.socket->send(offerText());
    for (int i = 0; i < kCandidates; ++i) host.socket->send(candidateText());
  } else if (isType(text, "answer")) {
    ++host.answers;
  } else if (isType(text, "ice")) {
    ++host.candidates;
  } else if (isType(text, "peer-left")) {
    if (host.answers != 1 || host.candidates != kCandidates) ++brokenVisits_;
    host.visited = false;
  }
}

void Fleet::pair(uint16_t port) {
  std::size_t next = 0, paired = 0;
  struct Phone {
    std::unique_ptr<WebSocket> socket;
    Host* host = nullptr;  // that it is pairing with
    int made = 0;
    bool open = false, asked = false;
  };
  std::vector<Phone> phones(kPairingConnections);
  const auto reconnect = [&](Phone& phone) {
    phone = {};
    phone.socket = std::make_unique<WebSocket>(
        loop_, "127.0.20.1", port, "/viewer",
        WebSocket::Events{[&phone] { phone.open = true; },
                          [&phone, &paired](std::string_view text) {
                            const Json message = Json::parse(text);
                            if (message["type"] != "paired")
                              throw std::runtime_error(std::string(text));
                            phone.host->deviceId = message["deviceId"];
                            phone.host->deviceKey = message["deviceKey"];
                            phone.host = nullptr;
                            ++paired;
                          },
                          [] { throw std::runtime_error("a pairing connection was lost"); }});
  };
  for (Phone& phone : phones) reconnect(phone);
  turnUntil("pair", [&] {
    for (Phone& phone : phones) {
      if (!phone.open) continue;
      if (!phone.host && next < hosts_.size()) {
        if (phone.made == kPairingsEach) {
          reconnect(phone);
          continue;
        }
        phone.host = &hosts_[next++];
        phone.asked = false;
        ++phone.made;
        phone.host->socket->send(R"({"type":"pairing-start"})");
      } else if (phone.host && !phone.asked && !phone.host->token.empty()) {
        phone.asked = true;
        phone.socket->send(
            Json{{"type", "pair"}, {"host", phone.host->id}, {"token", phone.host->token}}.dump());
      }
    }
    return paired == hosts_.size();
  });
}

void Fleet::idle(std::chrono::seconds time) {
  const Time end = Clock::now() + time;
  while (Clock::now() < end) loop_.turn(end);
  if (lost_ > 0) throw std::runtime_error(std::to_string(lost_) + " hosts were lost");
}

void Fleet::disconnect() {
  for (Host& host : hosts_) host.socket.reset();
}

void Fleet::turnUntil(const char* what, const std::function<bool()>& done) {
  const Time end = Clock::now() + kPatience;
  while (!done()) {
    if (lost_ > 0 || Clock::now() > end) {
      throw std::runtime_error(std::string("not every host could ") + what);
    }
    loop_.turn(Clock::now() + std::chrono::milliseconds(100));
  }
}

}  // namespace tovalin::bench
