// Connections that are too many, too slow, or half gone.

#include <poll.h>

#include <chrono>
#include <iterator>
#include <map>
#include <vector>

#include "tests/integration/companion/running_server.h"

namespace tovalin::test {
namespace {

using testing::HasSubstr;
using testing::StartsWith;

class ConnectionAbuseTest : public RunningServer {
 protected:
  // As many connections as the server lets this address have, once it has turned one away.
  std::vector<RawConnection> takeAll(const std::string& from, int tries) {
    std::vector<RawConnection> held;
    for (int i = 0; i < tries; ++i) {
      RawConnection connection(port_, from);
      connection.write("GET /nothing HTTP/1.1\r\nHost: x\r\n\r\n");
      if (connection.readThrough("\r\n\r\n").empty()) continue;
      held.push_back(std::move(connection));
    }
    return held;
  }
};

TEST_F(ConnectionAbuseTest, OneAddressCannotTakeEveryPlace) {
  start(/*descriptors=*/128);
  const auto held = takeAll("127.0.0.2", 60);
  EXPECT_EQ(held.size(), 32u);
  EXPECT_THAT(server_->waitForLog("event=too-many-connections"), HasSubstr("127.0.0.2"));
  expectServing();
}

TEST_F(ConnectionAbuseTest, ServerWithoutPlacesServesAgainWhenSomeAreGivenBack) {
  start(/*descriptors=*/128);
  auto held = takeAll("127.0.0.2", 40);
  for (auto& connection : takeAll("127.0.0.3", 40)) held.push_back(std::move(connection));
  EXPECT_EQ(held.size(), 64u);
  RawConnection refused(port_, "127.0.0.4");
  EXPECT_EQ(refused.readToEnd(), "");

  held.clear();
  RawConnection honest(port_, "127.0.0.4");
  std::string answer;
  // The server learns of the closed connections one by one, perhaps after this one.
  for (int i = 0; i < 100 && answer.empty(); ++i) {
    honest = RawConnection(port_, "127.0.0.4");
    honest.write("GET /nothing HTTP/1.1\r\nHost: x\r\n\r\n");
    answer = honest.readThrough("\r\n\r\n");
  }
  EXPECT_THAT(answer, StartsWith("HTTP/1.1 404 "));
}

TEST_F(ConnectionAbuseTest, ManyThatComeAndGoLeaveNothingBehind) {
  start(/*descriptors=*/128);
  for (int i = 0; i < 1000; ++i) {
    RawConnection connection(port_, "127.0.0.2");
    if (i % 3 == 0) connection.write("GET /viewer HTTP/1.1\r\nHo");
    if (i % 3 == 1) connection.write("nonsense\r\n\r\n");
  }
  // Until the last of them is seen off there may be no place for a moment.
  std::string answer;
  for (int i = 0; i < 100 && answer.empty(); ++i) {
    RawConnection honest(port_, "127.0.0.2");
    honest.write("GET /nothing HTTP/1.1\r\nHost: x\r\n\r\n");
    answer = honest.readThrough("\r\n\r\n");
  }
  EXPECT_THAT(answer, StartsWith("HTTP/1.1 404 "));
}

// All at the same time, for each of them takes as long as the server is patient.
TEST_F(ConnectionAbuseTest, WhoeverDawdlesIsClosedInTheEnd) {
  constexpr std::size_t kLarge = 8 * 1024 * 1024;
  start();
  page_.write("large.bin", std::string(kLarge, 'x'));
  const std::string key(64, 'a');
  std::map<std::string, RawConnection> peers;
  const auto add = [&](const char* what) -> RawConnection& {
    return peers.emplace(what, RawConnection(port_, "127.0.0.2")).first->second;
  };
  add("says nothing");
  add("half a header").write("GET / HTTP/1.1\r\nHost: x\r\nX-");
  auto& drip = add("a header byte by byte");
  drip.write("GET / HTTP/1.1\r\n");
  add("keeps a used connection").write("GET /nothing HTTP/1.1\r\nHost: x\r\n\r\n");
  add("WebSocket without a word").upgrade("/viewer");
  add("WebSocket with half a frame").upgrade("/viewer");
  peers.at("WebSocket with half a frame").write("\x81\xff");
  auto& host = add("host that answers no ping");
  host.upgrade("/signal");
  host.write(clientFrame(0x81, R"({"type":"register","role":"host","hostId":"H","hostKey":")" +
                                   key + R"(","name":"Study"})"));
  RawConnection unread(port_, "127.0.0.2", /*receiveBuffer=*/4096);
  unread.write("GET /large.bin HTTP/1.1\r\nHost: x\r\n\r\n");
  auto& unclosed = add("WebSocket that does not close its half");
  unclosed.upgrade("/viewer");
  unclosed.write(clientFrame(0x82, "binary"));

  const auto end = std::chrono::steady_clock::now() + std::chrono::minutes(2);
  while (!peers.empty() && std::chrono::steady_clock::now() < end) {
    if (const auto found = peers.find("a header byte by byte"); found != peers.end()) {
      found->second.write("x");
    }
    std::vector<pollfd> watched;
    for (const auto& [what, peer] : peers) watched.push_back({peer.descriptor(), POLLIN, 0});
    poll(watched.data(), watched.size(), 500);
    for (auto peer = peers.begin(); peer != peers.end();) {
      peer = peer->second.hasEnded() ? peers.erase(peer) : std::next(peer);
    }
  }
  for (const auto& [what, peer] : peers) ADD_FAILURE() << what << " is still connected";
  // Of all of these, it is the host whose silence is borne longest.
  EXPECT_LT(unread.readToEnd().size(), kLarge) << "nobody waits for ever to be read";
  expectServing();
}

}  // namespace
}  // namespace tovalin::test
