// The built program, over real sockets on loopback.

#include <string>

#include "tests/integration/companion/signal_server_fixture.h"

namespace tovalin::test {
namespace {

using testing::HasSubstr;
using testing::IsEmpty;
using testing::MatchesRegex;
using testing::Not;
using testing::StartsWith;

TEST_F(SignalServerTest, HostRegistersAndAWrongKeyIsRefused) {
  auto host = newHost();
  auto impostor = connectHost(std::string(64, 'b'));
  EXPECT_EQ(impostor.receive(), Json({{"type", "auth-failed"}}));
  host.send({{"type", "pairing-start"}});
  EXPECT_EQ(host.receive()["type"], "pairing-pin") << "the real one is untouched";
}

TEST_F(SignalServerTest, SecondConnectionEvictsTheFirst) {
  auto first = newHost();
  auto second = knownHost();
  EXPECT_EQ(first.receive(), Json({{"type", "evicted"}}));
  EXPECT_EQ(first.closeCode(), 4001);
}

TEST_F(SignalServerTest, PrintedPinPairs) {
  auto host = newHost();
  host.send({{"type", "pairing-start"}});
  const Json code = host.receive();
  const std::string line = server_->readOutputLine();
  EXPECT_EQ(line, "PIN: " + code["pin"].get<std::string>());
  EXPECT_THAT(line, MatchesRegex("PIN: [0-9]{6}"));
  auto phone = viewer();
  phone.send({{"type", "pair"}, {"pin", line.substr(5)}});
  EXPECT_EQ(phone.receive()["type"], "paired");
}

TEST_F(SignalServerTest, TokenPairsOnce) {
  auto host = newHost();
  host.send({{"type", "pairing-start"}});
  const Json request{{"type", "pair"}, {"host", "HOST-1"}, {"token", host.receive()["pairToken"]}};
  auto phone = viewer();
  phone.send(request);
  EXPECT_EQ(phone.receive()["hostName"], "Study");
  phone.send(request);
  EXPECT_EQ(phone.receive(), Json({{"type", "pair-failed"}, {"reason", "wrong-pin"}}));
}

TEST_F(SignalServerTest, WrongPinsLockOneAddressOut) {
  auto host = newHost();
  host.send({{"type", "pairing-start"}});
  const Json right{{"type", "pair"}, {"pin", host.receive()["pin"]}};
  auto guesser = viewer("127.0.0.2");
  for (int i = 0; i < 5; ++i) {
    guesser.send({{"type", "pair"}, {"host", "HOST-1"}, {"token", "wrong"}});
    EXPECT_EQ(guesser.receive()["reason"], "wrong-pin");
  }
  guesser.send(right);
  EXPECT_EQ(guesser.receive()["reason"], "locked-out");
  auto again = viewer("127.0.0.2");
  again.send(right);
  EXPECT_EQ(again.receive()["reason"], "locked-out");
  auto phone = viewer("127.0.0.1");
  phone.send(right);
  EXPECT_EQ(phone.receive()["type"], "paired");
}

TEST_F(SignalServerTest, VisitRunsFromJoinToBye) {
  auto pairing = pairDevice();
  auto phone = join(pairing);
  const Json offer{{"type", "offer"}, {"sdp", "v=0\r\n" + std::string(100'000, 'x')}};
  const Json answer{{"type", "answer"}, {"sdp", "v=0\r\n"}};
  const Json candidate{
      {"type", "ice"}, {"candidate", "candidate:1"}, {"sdpMLineIndex", 0}, {"sdpMid", "0"}};
  const Json lock{{"type", "lock"}, {"v", true}};
  for (const auto& message : {offer, candidate, lock}) {
    pairing.host.send(message);
    EXPECT_EQ(phone.receive(), message);
  }
  for (const auto& message : {answer, candidate}) {
    phone.send(message);
    EXPECT_EQ(pairing.host.receive(), message);
  }
  pairing.host.send({{"type", "bye"}});
  EXPECT_EQ(phone.receive(), Json({{"type", "bye"}}));
}

TEST_F(SignalServerTest, SecondDeviceIsBusyAndTheSameOneTakesOver) {
  auto pairing = pairDevice();
  pairing.host.send({{"type", "pairing-start"}});
  auto other = viewer();
  other.send({{"type", "pair"}, {"pin", pairing.host.receive()["pin"]}});
  const Json otherDevice = other.receive();
  EXPECT_EQ(pairing.host.receive()["type"], "device-paired");

  auto phone = join(pairing);
  other.send(joining(otherDevice));
  EXPECT_EQ(other.receive(), Json({{"type", "join-failed"}, {"reason", "busy"}}));
  auto samePhone = join(pairing);
  EXPECT_EQ(phone.closeCode(), 4001);
  samePhone.close();
  EXPECT_EQ(pairing.host.receive(), Json({{"type", "peer-left"}}));
}

TEST_F(SignalServerTest, ViewerLearnsThatItsHostGoesAndComesBack) {
  auto pairing = pairDevice();
  auto phone = join(pairing);
  pairing.host.drop();
  EXPECT_EQ(phone.receive(), Json({{"type", "host-gone"}}));
  auto host = knownHost();
  EXPECT_EQ(phone.receive(), Json({{"type", "host-back"}}));
  host.send({{"type", "lock"}, {"v", false}});
  EXPECT_EQ(phone.receive()["type"], "lock");
}

TEST_F(SignalServerTest, ViewerThatVanishesHasLeftAfterItsGrace) {
  auto pairing = pairDevice();
  auto phone = join(pairing);
  phone.drop();
  EXPECT_EQ(pairing.host.receive(), Json({{"type", "peer-left"}}));
  EXPECT_THAT(server_->waitForLog("event=viewer-lost"), HasSubstr("HOST-1"));
}

TEST_F(SignalServerTest, WatchingViewerLearnsHowItsHostIsUntilItForgetsIt) {
  auto pairing = pairDevice();
  Json entry = joining(pairing.device);
  entry.erase("type");
  const auto presence = [](const char* state) {
    return Json{{"type", "presence"}, {"hosts", {{{"hostId", "HOST-1"}, {"state", state}}}}};
  };
  auto phone = viewer();
  phone.send({{"type", "watch"}, {"devices", {entry}}});
  EXPECT_EQ(phone.receive(), presence("online"));
  pairing.host.drop();
  EXPECT_EQ(phone.receive(), presence("offline"));
  auto host = knownHost();
  EXPECT_EQ(phone.receive(), presence("online"));
  entry["type"] = "forget";
  phone.send(entry);
  EXPECT_EQ(phone.receive(), Json({{"type", "forgotten"}, {"hostId", "HOST-1"}}));
  EXPECT_EQ(phone.receive(), presence("unknown-device"));
  phone.send(joining(pairing.device));
  EXPECT_EQ(phone.receive()["reason"], "unknown-device");
}

TEST_F(SignalServerTest, FramesOutOfBoundsEndTheConnectionWithFittingCodes) {
  EXPECT_EQ(closeCodeAfter("no JSON"), 1007);
  EXPECT_EQ(closeCodeAfter("[1,2]"), 1007);
  EXPECT_EQ(closeCodeAfter("{\"type\":\"\xc3\x28\"}"), 1007);
  EXPECT_EQ(closeCodeAfter("{\"a\":" + std::string(20, '[') + std::string(20, ']') + "}"), 1007);
  EXPECT_EQ(closeCodeAfter(std::string(256 * 1024 + 1, ' ')), 1009);
  auto phone = viewer();
  phone.sendBinary(R"({"type":"leave"})");
  EXPECT_EQ(phone.closeCode(), 1003);
}

TEST_F(SignalServerTest, LargestFrameIsTaken) {
  auto phone = viewer();
  phone.sendText("{}" + std::string(256 * 1024 - 2, ' '));
  phone.send({{"type", "pair"}});
  EXPECT_EQ(phone.receive()["reason"], "bad-request");
}

TEST_F(SignalServerTest, FloodsEndTheConnection) {
  auto frames = viewer();
  for (int i = 0; i < 300; ++i) frames.sendText("{}");
  EXPECT_EQ(frames.closeCode(), 1008);
  auto pings = viewer();
  for (int i = 0; i < 300; ++i) pings.ping();
  EXPECT_EQ(pings.closeCode(), 1008);
}

TEST_F(SignalServerTest, ReaderThatDoesNotReadIsCutOff) {
  auto pairing = pairDevice();
  TestClient phone(port_, "/viewer", {.receiveBuffer = 4096});
  phone.send(joining(pairing.device));
  for (int i = 0; i < 7; ++i) {
    pairing.host.send({{"type", "offer"}, {"sdp", std::string(250'000, 'x')}});
  }
  server_->waitForLog("reads too slowly");
  EXPECT_EQ(phone.closeCode(), TestClient::kLost);
}

TEST_F(SignalServerTest, StoppingTellsEveryoneAndIsClean) {
  auto pairing = pairDevice();
  auto phone = join(pairing);
  server_->terminate();
  EXPECT_EQ(pairing.host.closeCode(), 1001);
  EXPECT_EQ(phone.closeCode(), 1001);
  EXPECT_EQ(server_->waitForExit(), 0);
}

TEST_F(SignalServerTest, StoppedServersPortCanBeListenedOnAtOnce) {
  auto host = newHost();
  server_->terminate();
  EXPECT_EQ(host.closeCode(), 1001);
  EXPECT_EQ(server_->waitForExit(), 0);
  start("127.0.0.1:" + std::to_string(port_));
  knownHost();
}

TEST_F(SignalServerTest, NothingSecretReachesTheLog) {
  auto pairing = pairDevice();
  auto phone = join(pairing);
  const std::string pin = server_->readOutputLine().substr(5);
  server_->terminate();
  EXPECT_EQ(server_->waitForExit(), 0);
  const std::string log = server_->readLog();
  EXPECT_THAT(log, HasSubstr("event=host-online host=HOST-1"));
  EXPECT_THAT(log, HasSubstr("event=visit-begun"));
  EXPECT_THAT(log, HasSubstr("whoever reads this output can pair"));
  for (const std::string& secret : {kKey, pairing.device["deviceKey"].get<std::string>(), pin}) {
    EXPECT_THAT(log, Not(HasSubstr(secret)));
  }
  EXPECT_THAT(server_->readOutput(), IsEmpty());
}

TEST_F(SignalServerTest, StateIsNobodyElsesToRead) {
  namespace fs = std::filesystem;
  auto pairing = pairDevice();
  for (const auto& entry : fs::directory_iterator(folder_.path() / "state")) {
    EXPECT_EQ(entry.status().permissions() & (fs::perms::group_all | fs::perms::others_all),
              fs::perms::none)
        << entry.path();
  }
}

TEST_F(SignalServerTest, PageIsServedWithItsPolicy) {
  page_.write("index.html", "<!doctype html>\n");
  const std::string answer = get("/");
  EXPECT_THAT(answer, StartsWith("HTTP/1.1 200 OK\r\n"));
  EXPECT_THAT(answer, HasSubstr("Content-Type: text/html; charset=utf-8\r\n"));
  EXPECT_THAT(answer, HasSubstr("Content-Security-Policy: default-src 'none'; script-src 'self';"));
  EXPECT_THAT(answer, HasSubstr("Content-Length: 16\r\n"));
  EXPECT_THAT(answer, testing::EndsWith("\r\n\r\n<!doctype html>\n"));

  const std::string head = get("/", "HEAD");
  EXPECT_THAT(head, HasSubstr("Content-Length: 16\r\n"));
  EXPECT_THAT(head, testing::EndsWith("\r\n\r\n"));
}

TEST_F(SignalServerTest, KnownPageIsNotSentAgain) {
  page_.write("index.html", "<!doctype html>\n");
  const std::string answer = get("/");
  const auto tag = answer.find("ETag: ");
  ASSERT_NE(tag, std::string::npos);
  const std::string known = answer.substr(tag + 6, answer.find("\r\n", tag) - tag - 6);
  EXPECT_THAT(
      exchangeHttp(port_,
                   "GET / HTTP/1.1\r\nHost: x\r\nConnection: close\r\n"
                   "If-None-Match: " +
                       known + "\r\n\r\n"),
      testing::AllOf(StartsWith("HTTP/1.1 304 Not Modified\r\n"), testing::EndsWith("\r\n\r\n")));
}

TEST_F(SignalServerTest, OneConnectionServesSeveralRequests) {
  page_.write("index.html", "first");
  page_.write("main.mjs", "second");
  const std::string answers =
      exchangeHttp(port_,
                   "GET / HTTP/1.1\r\nHost: x\r\n\r\n"
                   "GET /main.mjs HTTP/1.1\r\nHost: x\r\nConnection: close\r\n\r\n");
  EXPECT_THAT(answers, HasSubstr("first"));
  EXPECT_THAT(answers, testing::EndsWith("second"));
}

TEST_F(SignalServerTest, RequestsOutOfLineGetPlainAnswers) {
  folder_.write("secret.txt", "secret");
  EXPECT_THAT(get("/../secret.txt"), StartsWith("HTTP/1.1 404 "));
  EXPECT_THAT(get("/%2e%2e/secret.txt"), StartsWith("HTTP/1.1 404 "));
  EXPECT_THAT(get("/", "DELETE"), StartsWith("HTTP/1.1 405 "));
  EXPECT_THAT(get("/signal"), StartsWith("HTTP/1.1 426 "));
  EXPECT_THAT(exchangeHttp(port_, "POST / HTTP/1.1\r\nHost: x\r\nContent-Length: 5\r\n\r\nhello"),
              StartsWith("HTTP/1.1 405 "));
  EXPECT_THAT(exchangeHttp(port_, "nonsense\r\n\r\n"), StartsWith("HTTP/1.1 400 "));
  EXPECT_THAT(exchangeHttp(port_,
                           "GET /other HTTP/1.1\r\nHost: x\r\nConnection: Upgrade, close\r\n"
                           "Upgrade: websocket\r\nSec-WebSocket-Version: 13\r\n"
                           "Sec-WebSocket-Key: AAAAAAAAAAAAAAAAAAAAAA==\r\n\r\n"),
              StartsWith("HTTP/1.1 404 "));
}

}  // namespace
}  // namespace tovalin::test
