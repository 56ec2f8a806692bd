// What the built program makes of the proxies and pages in front of it.

#include "tests/integration/companion/signal_server_fixture.h"

namespace tovalin::test {
namespace {

using testing::StartsWith;

using FrontDoorTest = SignalServerTest;

constexpr const char* kUpgrade =
    " HTTP/1.1\r\nHost: x\r\nConnection: Upgrade, close\r\nUpgrade: websocket\r\n"
    "Sec-WebSocket-Version: 13\r\nSec-WebSocket-Key: AAAAAAAAAAAAAAAAAAAAAA==\r\n";

TEST_F(FrontDoorTest, HealthIsTold) {
  const std::string answer = get("/healthz");
  EXPECT_THAT(answer, StartsWith("HTTP/1.1 200 OK\r\n"));
  EXPECT_THAT(answer, testing::EndsWith("\r\n\r\nok\n"));
}

TEST_F(FrontDoorTest, PagesFromElsewhereMayNotConnect) {
  start("127.0.0.1:0", {"--public-url", "https://Signal.example.org"});
  for (const char* origin : {"https://evil.example.org", "http://signal.example.org",
                             "https://signal.example.org:8443", "null"}) {
    EXPECT_THAT(exchangeHttp(port_, std::string("GET /viewer") + kUpgrade + "Origin: " + origin +
                                        "\r\n\r\n"),
                StartsWith("HTTP/1.1 403 "))
        << origin;
  }
  const Json pair{{"type", "pair"}};
  TestClient page(port_, "/viewer", {.headers = {{"Origin", "https://signal.example.org"}}});
  page.send(pair);
  EXPECT_EQ(page.receive()["reason"], "bad-request");
  TestClient program(port_, "/viewer");
  program.send(pair);
  EXPECT_EQ(program.receive()["reason"], "bad-request") << "programs name no origin";
}

TEST_F(FrontDoorTest, AnyPageMayConnectWhereNoAddressWasGiven) {
  TestClient page(port_, "/viewer", {.headers = {{"Origin", "https://elsewhere.example.org"}}});
  page.send({{"type", "pair"}});
  EXPECT_EQ(page.receive()["reason"], "bad-request");
}

// Guesses until the server has locked the address out that it takes the guesser for.
void guess(uint16_t port, const TestClient::From& from) {
  TestClient guesser(port, "/viewer", from);
  for (int i = 0; i < 5; ++i) {
    guesser.send({{"type", "pair"}, {"host", "HOST-1"}, {"token", "wrong"}});
    EXPECT_EQ(guesser.receive()["reason"], "wrong-pin");
  }
}

std::string answerToAGuess(uint16_t port, const TestClient::From& from) {
  TestClient guesser(port, "/viewer", from);
  guesser.send({{"type", "pair"}, {"host", "HOST-1"}, {"token", "wrong"}});
  return guesser.receive()["reason"];
}

TEST_F(FrontDoorTest, TrustedProxyTellsItsClientsApart) {
  start("127.0.0.1:0", {"--trusted-proxy", "127.0.0.1"});
  guess(port_, {.headers = {{"X-Forwarded-For", "203.0.113.1"}}});
  EXPECT_EQ(answerToAGuess(port_, {.headers = {{"X-Forwarded-For", "203.0.113.1"}}}), "locked-out");
  EXPECT_EQ(answerToAGuess(port_, {.headers = {{"X-Forwarded-For", "203.0.113.2, 203.0.113.1"}}}),
            "locked-out")
      << "what the client itself wrote counts for nothing";
  EXPECT_EQ(answerToAGuess(port_, {.headers = {{"X-Forwarded-For", "203.0.113.2"}}}), "wrong-pin");
}

TEST_F(FrontDoorTest, NobodyElseIsBelievedToBeAProxy) {
  start("127.0.0.1:0", {"--trusted-proxy", "127.0.0.1"});
  guess(port_, {.address = "127.0.0.2", .headers = {{"X-Forwarded-For", "203.0.113.1"}}});
  EXPECT_EQ(answerToAGuess(
                port_, {.address = "127.0.0.2", .headers = {{"X-Forwarded-For", "203.0.113.9"}}}),
            "locked-out");
}

TEST_F(FrontDoorTest, BothSidesAreToldOfTheServersThatHelpThem) {
  page_.write("secret", "north\n");
  start("127.0.0.1:0", {"--stun", "stun:stun.example.org", "--turn", "turn:turn.example.org",
                        "--turn-secret-file", (page_.path() / "secret").string()});
  auto host = connectHost();
  const Json servers = host.receive()["iceServers"];
  ASSERT_EQ(servers.size(), 2u);
  EXPECT_EQ(servers[0], Json({{"urls", {"stun:stun.example.org"}}}));
  EXPECT_EQ(servers[1]["urls"], Json({"turn:turn.example.org"}));
  EXPECT_EQ(servers[1]["credential"].get<std::string>().size(), 28u);
  EXPECT_GT(std::stoll(servers[1]["username"].get<std::string>()), std::time(nullptr));
}

TEST_F(FrontDoorTest, FiguresAreToldOnAPortOfTheirOwn) {
  start("127.0.0.1:0", {"--metrics", "127.0.0.1:0"});
  const std::string line = server_->waitForLog("event=metrics ");
  const auto metricsPort = static_cast<uint16_t>(std::stoi(line.substr(line.rfind(':') + 1)));
  const auto ask = [](uint16_t port, const std::string& path) {
    return exchangeHttp(port, "GET " + path + " HTTP/1.1\r\nHost: x\r\nConnection: close\r\n\r\n");
  };
  const auto host = newHost();
  auto loud = viewer();
  loud.sendText(std::string(256 * 1024 + 1, ' '));
  EXPECT_EQ(loud.closeCode(), 1009);
  auto leaving = viewer();
  leaving.close();
  // The last end is noted a moment after its peer knows.
  std::string page = ask(metricsPort, "/metrics");
  for (int tries = 0; tries < 1000 && page.find("{code=\"1000\"} 1\n") == std::string::npos;
       ++tries) {
    page = ask(metricsPort, "/metrics");
  }
  EXPECT_THAT(page, StartsWith("HTTP/1.1 200 OK\r\n"));
  for (const char* figure :
       {"\ntovalin_connections{kind=\"host\"} 1\n", "\ntovalin_connections{kind=\"viewer\"} 0\n",
        "\ntovalin_hosts 1\n", "\ntovalin_closes_total{code=\"1000\"} 1\n",
        "\ntovalin_closes_total{code=\"1009\"} 1\n", "\ntovalin_resident_bytes "}) {
    EXPECT_THAT(page, testing::HasSubstr(figure));
  }
  EXPECT_THAT(ask(metricsPort, "/healthz"), StartsWith("HTTP/1.1 200 OK\r\n"));
  EXPECT_THAT(ask(metricsPort, "/"), StartsWith("HTTP/1.1 404 "));
  EXPECT_THAT(exchangeHttp(metricsPort, std::string("GET /viewer") + kUpgrade + "\r\n"),
              StartsWith("HTTP/1.1 404 "))
      << "no way in";
  EXPECT_THAT(ask(port_, "/metrics"), StartsWith("HTTP/1.1 404 ")) << "not for everyone";
}

TEST_F(FrontDoorTest, LogLevelKeepsTheRestBack) {
  start("127.0.0.1:0", {"--log-level", "warning"});
  newHost();
  const auto impostor = connectHost(std::string(64, 'b')).receive();
  EXPECT_EQ(impostor["type"], "auth-failed");
  server_->terminate();
  EXPECT_EQ(server_->waitForExit(), 0);
  const std::string log = server_->readLog();
  EXPECT_THAT(log, testing::HasSubstr("level=warning event=host-refused connection="));
  EXPECT_THAT(log, testing::Not(testing::HasSubstr("level=info")));
}

TEST_F(FrontDoorTest, MissingSecretIsNamedAtTheStart) {
  ServerProcess server({"--listen", "127.0.0.1:0", "--turn", "turn:a", "--turn-secret-file",
                        (page_.path() / "nothing").string(), "--state",
                        (folder_.path() / "other").string()});
  EXPECT_THAT(server.waitForLog("secret"), testing::HasSubstr("nothing"));
  EXPECT_EQ(server.waitForExit(), 1);
}

}  // namespace
}  // namespace tovalin::test
