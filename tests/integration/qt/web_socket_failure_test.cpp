#include <gmock/gmock.h>

#include "tests/integration/qt/web_socket_client.h"

namespace tovalin::test {
namespace {

struct Misdeed {
  const char* name;
  ScriptedServer::Script script;
};

std::ostream& operator<<(std::ostream& stream, const Misdeed& misdeed) {
  return stream << misdeed.name;
}

std::string nameOf(const testing::TestParamInfo<Misdeed>& info) {
  return info.param.name;
}

// The server answers the request with `bytes` and leaves the connection open.
ScriptedServer::Script answers(std::string bytes) {
  return [bytes = std::move(bytes)](Peer& peer) {
    peer.readRequest();
    peer.write(bytes);
    peer.seesEnd();
  };
}

class HandshakeMisdeedTest : public WebSocketTest, public testing::WithParamInterface<Misdeed> {};

TEST_P(HandshakeMisdeedTest, FailsTheReceive) {
  auto& server = serve(GetParam().script);
  auto client = connect(server);
  client.send("never arrives");
  EXPECT_TRUE(client.isDead());
  EXPECT_FALSE(client.ping());
}

INSTANTIATE_TEST_SUITE_P(
    WebSocket, HandshakeMisdeedTest,
    testing::Values(
        Misdeed{"ClosesAtOnce", [](Peer&) {}}, Misdeed{"ResetsAtOnce", &Peer::reset},
        Misdeed{"ClosesAfterTheRequest", [](Peer& peer) { peer.readRequest(); }},
        Misdeed{"ClosesWithinTheAnswer",
                [](Peer& peer) {
                  peer.readRequest();
                  peer.write("HTTP/1.1 101 Switching Protocols\r\nUpgra");
                }},
        Misdeed{"SpeaksAnotherProtocol", answers("220 mail.example\r\n250 ok\r\n\r\n")},
        Misdeed{"SendsGarbage", answers(std::string("\0\x01\xff\xfe\r\n\r\n\x80\n", 10))},
        Misdeed{"NotFound", answers("HTTP/1.1 404 Not Found\r\nContent-Length: 0\r\n\r\n")},
        Misdeed{"PlainPage", answers("HTTP/1.1 200 OK\r\nContent-Length: 2\r\n\r\nhi")},
        Misdeed{"BadRequest", answers("HTTP/1.1 400 Bad Request\r\n\r\n")},
        Misdeed{"AsksForAPassword",
                answers("HTTP/1.1 401 Unauthorized\r\nWWW-Authenticate: Basic realm=x\r\n\r\n")},
        Misdeed{"Broken", answers("HTTP/1.1 503 Service Unavailable\r\n\r\n")},
        Misdeed{"WrongAcceptKey",
                answers("HTTP/1.1 101 Switching Protocols\r\nUpgrade: websocket\r\n"
                        "Connection: Upgrade\r\nSec-WebSocket-Accept: AAAA\r\n\r\n")},
        Misdeed{"NoAcceptKey", answers("HTTP/1.1 101 Switching Protocols\r\nUpgrade: websocket\r\n"
                                       "Connection: Upgrade\r\n\r\n")},
        Misdeed{"OldHttp", answers("HTTP/1.0 101 Switching Protocols\r\n\r\n")}),
    nameOf);

TEST_F(WebSocketTest, ARedirectIsNotFollowed) {
  auto& server = serve([this](Peer& peer) {
    peer.readRequest();
    peer.write("HTTP/1.1 302 Found\r\nLocation: " + server_->url().absoluteString +
               "\r\nContent-Length: 0\r\n\r\n");
    peer.seesEnd();
  });
  auto client = connect(server);
  EXPECT_TRUE(client.isDead());
  EXPECT_EQ(server.connections(), 1);
}

TEST_F(WebSocketTest, AServerThatNeverAnswersIsGivenUp) {
  sockets_ = makeQtWebSockets({.handshake = 0.2, .closing = 2});
  Inbox<bool> ended;
  auto& server = serve([ended](Peer& peer) { ended.put(peer.seesEnd()); });
  auto client = connect(server);
  EXPECT_TRUE(client.isDead());
  EXPECT_EQ(ended.take(), true);
}

TEST_F(WebSocketTest, AnAnswerWithoutEndIsGivenUp) {
  sockets_ = makeQtWebSockets({.handshake = 0.5, .closing = 2});
  const std::string parts[] = {"SSH-2.0-server\r\n", std::string(100'000, 'x'),
                               "X-Header: " + std::string(1000, 'x') + "\r\n"};
  for (const auto& part : parts) {
    Inbox<bool> ended;
    auto& server = serve([part, ended](Peer& peer) {
      peer.readRequest();
      peer.write("HTTP/1.1 101 Switching Protocols\r\n");
      for (int i = 0; i < 200; ++i) peer.write(part);
      ended.put(peer.seesEnd());
    });
    auto client = connect(server);
    EXPECT_TRUE(client.isDead());
    EXPECT_EQ(ended.take(), true);
  }
}

TEST_F(WebSocketTest, AnOpenSocketOutlivesTheHandshakesTimeOut) {
  sockets_ = makeQtWebSockets({.handshake = 0.2, .closing = 2});
  auto& server = serveOpened([](Peer& peer) {
    peer.sendText("open");
    peer.readFrame();
    peer.sendText("still open");
    peer.seesEnd();
  });
  auto client = connect(server);
  ASSERT_EQ(client.receiveText(), "open");
  // Another socket's time-out, begun later, shows that this one's has passed.
  auto silent = connect(server);
  EXPECT_TRUE(silent.isDead());
  client.send("go on");
  EXPECT_EQ(client.receiveText(), "still open");
}

class UnusableAddressTest : public WebSocketTest,
                            public testing::WithParamInterface<const char*> {};

TEST_P(UnusableAddressTest, FailsTheReceive) {
  auto client = connect({GetParam()});
  client.send("never arrives");
  EXPECT_TRUE(client.isDead());
}

INSTANTIATE_TEST_SUITE_P(WebSocket, UnusableAddressTest,
                         testing::Values("http://127.0.0.1:1/", "https://127.0.0.1:1/",
                                         "ftp://127.0.0.1/", "signal", "", "ws:", "ws://", "wss://",
                                         "mailto:a@b", "ws://127.0.0.1:0/", "ws://127.0.0.1:1/",
                                         "wss://127.0.0.1:1/", "ws://[::1]:1/", "ws://[bad/",
                                         "ws://a..b:1/", "ws://127.0.0.1:99999/"));

TEST_F(WebSocketTest, ANameThatCannotBeResolvedFailsTheReceive) {
  // Longer than any name that may be asked of a server, so none is.
  std::string name;
  for (int i = 0; i < 40; ++i) name += "longer.";
  auto client = connect({"ws://" + name + "invalid/signal"});
  EXPECT_TRUE(client.isDead());
}

class OpenMisdeedTest : public WebSocketTest, public testing::WithParamInterface<Misdeed> {};

TEST_P(OpenMisdeedTest, FailsTheReceiveAfterWhatCameBefore) {
  auto& server = serveOpened([](Peer& peer) {
    peer.sendText("before");
    GetParam().script(peer);
  });
  auto client = connect(server);
  EXPECT_EQ(client.receiveText(), "before");
  EXPECT_TRUE(client.isDead());
  client.send("never arrives");
  EXPECT_FALSE(client.ping());
}

// The server sends `bytes` and leaves the connection open.
ScriptedServer::Script sends(std::string bytes) {
  return [bytes = std::move(bytes)](Peer& peer) {
    peer.write(bytes);
    peer.seesEnd();
  };
}

INSTANTIATE_TEST_SUITE_P(
    WebSocket, OpenMisdeedTest,
    testing::Values(
        Misdeed{"Closes", [](Peer&) {}}, Misdeed{"Resets", &Peer::reset},
        Misdeed{"ClosesWithinAHeader", [](Peer& peer) { peer.write("\x81"); }},
        Misdeed{"ClosesWithinAFrame", [](Peer& peer) { peer.write("\x81\x7e\x01\x00half"); }},
        Misdeed{"ClosesWithinAMessage",
                [](Peer& peer) { peer.write(frameBytes(kText, "half", false)); }},
        Misdeed{"SaysNormalClosure", sends(frameBytes(kClose, closePayload(1000)))},
        Misdeed{"SaysGoingAway", sends(frameBytes(kClose, closePayload(1001, "bye")))},
        Misdeed{"SaysInternalError", sends(frameBytes(kClose, closePayload(1011)))},
        Misdeed{"SaysACodeOfItsOwn", sends(frameBytes(kClose, closePayload(4001, "evicted")))},
        Misdeed{"SaysNoCode", sends(frameBytes(kClose, ""))},
        Misdeed{"SaysHalfACode", sends(frameBytes(kClose, "\x03"))},
        Misdeed{"SaysAForbiddenCode", sends(frameBytes(kClose, closePayload(1005)))},
        Misdeed{"SaysAnIllFormedReason", sends(frameBytes(kClose, closePayload(1000, "\xff")))},
        Misdeed{"ReservedBit1", sends(frameBytes(kText, "x", true, 4))},
        Misdeed{"ReservedBit2", sends(frameBytes(kText, "x", true, 2))},
        Misdeed{"ReservedBit3", sends(frameBytes(kText, "x", true, 1))},
        Misdeed{"ReservedOpcode3", sends(frameBytes(3, "x"))},
        Misdeed{"ReservedOpcode11", sends(frameBytes(11, "x"))},
        Misdeed{"ReservedOpcode15", sends(frameBytes(15, ""))},
        Misdeed{"IllFormedText", sends(frameBytes(kText, "\xc3\x28"))},
        Misdeed{"TextCutWithinACharacter", sends(frameBytes(kText, "\xe4\xba"))},
        Misdeed{"ContinuesNothing", sends(frameBytes(kContinuation, "x"))},
        Misdeed{"BeginsTwice",
                sends(frameBytes(kText, "x", false) + frameBytes(kText, "y", false))},
        Misdeed{"PingInPieces", sends(frameBytes(kPing, "x", false))},
        Misdeed{"PingTooLong", sends(frameBytes(kPing, std::string(126, 'x')))},
        Misdeed{"LengthNotShortest", sends(std::string("\x81\x7e\x00\x01x", 5))},
        Misdeed{"LengthBeyondAll", sends("\x81\x7f\xff\xff\xff\xff\xff\xff\xff\xff")},
        Misdeed{"LengthOfExabytes", sends("\x81\x7f\x7f\xff\xff\xff\xff\xff\xff\xff")},
        Misdeed{"SpeaksHttpAgain", sends("HTTP/1.1 200 OK\r\n\r\n")}),
    nameOf);

// Both are for the library to take or to refuse: a frame that breaks the rules, and one that keeps
// them but that Qt 6.4 takes for ill-formed text.
TEST_F(WebSocketTest, AFrameIsReceivedWholeOrEndsTheSocket) {
  const std::string frames[] = {
      frameBytes(kText, "Büro", true, 0, true),
      frameBytes(kText, "B\xc3", false) + frameBytes(kContinuation, "\xbcro"),
  };
  for (const auto& frame : frames) {
    auto& server = serveOpened([frame](Peer& peer) {
      peer.write(frame);
      peer.seesEnd();
    });
    auto client = connect(server);
    const std::string text = client.receiveText();
    EXPECT_TRUE(text == "Büro" || (text == "(nothing)" && client.isDead())) << text;
  }
}

TEST_F(WebSocketTest, AFrameThatIsOnlyBegunIsWaitedFor) {
  Inbox<bool> mayGoOn;
  auto& server = serveOpened([mayGoOn](Peer& peer) {
    const std::string bytes = frameBytes(kText, std::string(100'000, 'x'));
    peer.write(bytes.substr(0, 5));
    mayGoOn.take();
    peer.write(bytes.substr(5));
    peer.seesEnd();
  });
  auto client = connect(server);
  client.ask();
  mayGoOn.put(true);
  const auto frame = client.outcome();
  ASSERT_TRUE(frame);
  EXPECT_EQ(frame->payload.size(), 100'000u);
}

TEST_F(WebSocketTest, AFailureCompletesThePendingReceivesOnceEach) {
  Inbox<bool> mayEnd;
  auto& server = serveOpened([mayEnd](Peer&) { mayEnd.take(); });
  auto client = connect(server);
  for (int i = 0; i < 3; ++i) client.ask();
  mayEnd.put(true);
  for (int i = 0; i < 3; ++i) EXPECT_FALSE(client.outcome());
  EXPECT_TRUE(client.isDead());
}

}  // namespace
}  // namespace tovalin::test
