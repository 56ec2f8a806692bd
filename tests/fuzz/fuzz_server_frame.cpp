// Frames from hosts and viewers into the signalling server's core. An input is a script of lines:
//
//   H {…}   a frame from the first host       h   that host is gone, and connects anew
//   G {…}   a frame from the second host      g
//   V {…}   a frame from the first viewer     v
//   W {…}   a frame from the second viewer    w
//   t       ten seconds pass
//   b…      a binary frame from that one      p…  a ping from that one (bH, pV)
//
// @PIN@, @TOKEN@, @DEVICE@ and @KEY@ stand for what the server last told anyone, so that scripts
// can get past the secrets.

#include <array>
#include <chrono>
#include <cstdint>
#include <cstdlib>
#include <map>
#include <string>
#include <string_view>

#include "companion/server/core/switchboard.h"
#include "tests/fakes/fake_companion.h"

namespace tovalin::server {
namespace {

constexpr std::size_t kLargestInput = 64 * 1024;
constexpr std::string_view kSpeakers = "HGVW";

void require(bool holds) {
  if (!holds) std::abort();
}

// Checks that whatever was said, the server says only what its catalogue knows.
class CheckedOutbox : public Outbox {
 public:
  void send(ConnectionId, std::string text) override {
    const Json message = Json::parse(text);
    remember(message, "pin", "@PIN@");
    remember(message, "pairToken", "@TOKEN@");
    remember(message, "deviceId", "@DEVICE@");
    remember(message, "deviceKey", "@KEY@");
    const std::string type = message.at("type");
    if (type == "offer" || type == "answer") {
      require(message.size() == 2 && message.at("sdp").is_string());
    } else if (type == "ice") {
      require(!message.at("candidate").get<std::string>().empty());
      require(message.value("sdpMLineIndex", uint64_t{0}) <= 65535);
    } else if (type == "lock") {
      require(message.size() == 2 && message.at("v").is_boolean());
    }
  }
  void close(ConnectionId, CloseCode, std::string_view) override {}

  std::string fillIn(std::string text) const {
    for (const auto& [mark, value] : told_) {
      for (auto at = text.find(mark); at != std::string::npos;
           at = text.find(mark, at + value.size())) {
        text.replace(at, mark.size(), value);
      }
    }
    return text;
  }

 private:
  void remember(const Json& message, const char* field, const char* mark) {
    if (message.contains(field)) told_[mark] = message.at(field).get<std::string>();
  }

  std::map<std::string, std::string> told_;
};

class Script {
 public:
  Script() {
    for (std::size_t who = 0; who < kSpeakers.size(); ++who) connect(who);
  }

  void perform(std::string_view line) {
    if (line.empty()) return;
    if (line[0] == 't') return pass();
    if (line.size() >= 2 && (line[0] == 'b' || line[0] == 'p')) {
      const auto who = kSpeakers.find(line[1]);
      if (who == std::string_view::npos) return;
      return line[0] == 'b' ? board_.receivedBinary(ids_[who]) : board_.receivedControl(ids_[who]);
    }
    if (const auto who = kSpeakers.find(line[0]); who != std::string_view::npos) {
      const auto text = line.substr(std::min<std::size_t>(2, line.size()));
      return board_.received(ids_[who], outbox_.fillIn(std::string(text)));
    }
    if (const auto who = std::string_view("hgvw").find(line[0]); who != std::string_view::npos) {
      board_.closed(ids_[who], /*said=*/line.size() > 1);
      connect(who);
    }
  }

 private:
  void connect(std::size_t who) {
    ids_[who] = ++lastId_;
    board_.opened(lastId_, who < 2 ? Endpoint::host : Endpoint::viewer, "192.0.2.1");
  }
  void pass() {
    clock_.passed += std::chrono::seconds(10);
    board_.tick();
  }

  fake::FakeClock clock_;
  fake::SeededRandom random_;
  fake::FakeDeviceStore store_;
  CheckedOutbox outbox_;
  Counters counters_;
  Switchboard board_{
      {.outbox = outbox_,
       .store = store_,
       .random = random_,
       .clock = clock_,
       .counters = counters_,
       .log =
           [](const LogEvent& event) { require(logText(event).find('\n') == std::string::npos); },
       .pinIssued = nullptr,
       .iceServers = nullptr}};
  std::array<ConnectionId, 4> ids_{};
  ConnectionId lastId_ = 0;
};

}  // namespace
}  // namespace tovalin::server

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, std::size_t size) {
  if (size > tovalin::server::kLargestInput) return 0;
  std::string_view rest(reinterpret_cast<const char*>(data), size);
  tovalin::server::Script script;
  while (!rest.empty()) {
    const auto end = std::min(rest.find('\n'), rest.size());
    script.perform(rest.substr(0, end));
    rest.remove_prefix(std::min(end + 1, rest.size()));
  }
  return 0;
}
