// Requests that no browser sends.

#include "tests/integration/companion/running_server.h"

namespace tovalin::test {
namespace {

using testing::AnyOf;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;
using testing::StartsWith;

class HttpAbuseTest : public RunningServer {
 protected:
  HttpAbuseTest() {
    page_.write("index.html", "the page");
    start();
  }

  std::string answerTo(const std::string& bytes) {
    RawConnection connection(port_);
    connection.write(bytes);
    return connection.readToEnd();
  }
  static int answersIn(const std::string& bytes) {
    int count = 0;
    for (std::size_t at = bytes.find("HTTP/1."); at != std::string::npos;
         at = bytes.find("HTTP/1.", at + 1)) {
      ++count;
    }
    return count;
  }
};

TEST_F(HttpAbuseTest, WhatIsNoRequestIsRefusedAndTheConnectionClosed) {
  using namespace std::string_literals;
  for (const std::string& bytes : {
           "\r\n\r\n\r\n"s + std::string(100, '\0') + "\r\n\r\n",
           "\x16\x03\x01\x02\x00\x01\x00\x01\xfc\x03\x03 a TLS greeting\r\n\r\n"s,
           "PRI * HTTP/2.0\r\n\r\nSM\r\n\r\n"s,
           "GET / HTTP/1.1\r\nHost : x\r\n\r\n"s,
           "GET / HTTP/1.1\r\nHo\0st: x\r\n\r\n"s,
           "GET  / HTTP/1.1\r\nHost: x\r\n\r\n"s,
           "GET / HTTP/9.9\r\nHost: x\r\n\r\n"s,
           "GET /\x01 HTTP/1.1\r\nHost: x\r\n\r\n"s,
           "GET / HTTP/1.1\nHost: x\n\n\r\n\r\n"s,
           "GET / HTTP/1.1\r\nContent-Length: 1\r\nContent-Length: 2\r\n\r\n"s,
           "GET / HTTP/1.1\r\nContent-Length: -1\r\n\r\n"s,
           "GET / HTTP/1.1\r\nContent-Length: 99999999999999999999\r\n\r\n"s,
           "GET / HTTP/1.1\r\nTransfer-Encoding: chunked\r\nContent-Length: 5\r\n\r\n"s,
       }) {
    EXPECT_THAT(answerTo(bytes), AnyOf(IsEmpty(), StartsWith("HTTP/1.1 400 "))) << bytes;
  }
  expectServing();
}

TEST_F(HttpAbuseTest, HugeHeadersAreRefused) {
  EXPECT_THAT(answerTo("GET / HTTP/1.1\r\nX: " + std::string(20'000, 'x') + "\r\n\r\n"),
              StartsWith("HTTP/1.1 400 "));
  std::string many = "GET / HTTP/1.1\r\n";
  for (int i = 0; i < 2000; ++i) many += "X-" + std::to_string(i) + ": x\r\n";
  EXPECT_THAT(answerTo(many + "\r\n"), StartsWith("HTTP/1.1 400 "));
  EXPECT_THAT(answerTo("GET /" + std::string(20'000, 'x') + " HTTP/1.1\r\n\r\n"),
              StartsWith("HTTP/1.1 400 "));
}

TEST_F(HttpAbuseTest, NothingIsReadOutOfABody) {
  const std::string hidden = "GET /hidden HTTP/1.1\r\nHost: x\r\n\r\n";
  const std::string length = std::to_string(hidden.size());
  for (const std::string& head : {
           "GET / HTTP/1.1\r\nHost: x\r\nContent-Length: " + length + "\r\n\r\n",
           "POST / HTTP/1.1\r\nHost: x\r\nContent-Length: " + length + "\r\n\r\n",
           std::string("POST / HTTP/1.1\r\nHost: x\r\nTransfer-Encoding: chunked\r\n\r\n0\r\n\r\n"),
           std::string("POST / HTTP/1.1\r\nHost: x\r\nTransfer-Encoding: gzip, chunked\r\n\r\n"),
           "GET /viewer HTTP/1.1\r\nHost: x\r\nContent-Length: " + length + "\r\n\r\n",
       }) {
    const std::string answers = answerTo(head + hidden);
    EXPECT_LE(answersIn(answers), 1) << head;
    EXPECT_THAT(answers, Not(HasSubstr(" 404 "))) << head;
  }
}

TEST_F(HttpAbuseTest, OtherMethodsAndTargetsAreRefused) {
  for (const char* method : {"POST", "PUT", "DELETE", "OPTIONS", "TRACE", "PATCH", "PROPFIND"}) {
    EXPECT_THAT(answerTo(std::string(method) + " / HTTP/1.1\r\nConnection: close\r\n\r\n"),
                StartsWith("HTTP/1.1 405 "))
        << method;
  }
  for (const char* target :
       {"http://example.org/", "*", "example.org:443", "//index.html", "/../index.html",
        "/%2e%2e/index.html", "/..%2findex.html", "/index.html%00", "/.git/config", "/\\..\\x"}) {
    EXPECT_THAT(answerTo("GET " + std::string(target) + " HTTP/1.1\r\nConnection: close\r\n\r\n"),
                AnyOf(StartsWith("HTTP/1.1 404 "), StartsWith("HTTP/1.1 400 ")))
        << target;
  }
}

TEST_F(HttpAbuseTest, UpgradesThatAreNoneAreRefused) {
  const std::string good = "Connection: Upgrade\r\nUpgrade: websocket\r\n";
  for (const std::string& request : {
           "GET /viewer HTTP/1.1\r\nHost: x\r\n" + good + "Sec-WebSocket-Version: 12\r\n\r\n",
           "GET /viewer HTTP/1.1\r\nHost: x\r\n" + good + "Sec-WebSocket-Version: 13\r\n\r\n",
           std::string("POST /viewer HTTP/1.1\r\nHost: x\r\nConnection: Upgrade, close\r\n"
                       "Upgrade: websocket\r\nSec-WebSocket-Version: 13\r\n"
                       "Sec-WebSocket-Key: AAAAAAAAAAAAAAAAAAAAAA==\r\n\r\n"),
           std::string("GET /viewer HTTP/1.0\r\nHost: x\r\nConnection: Upgrade\r\n"
                       "Upgrade: websocket\r\nSec-WebSocket-Version: 13\r\n"
                       "Sec-WebSocket-Key: AAAAAAAAAAAAAAAAAAAAAA==\r\n\r\n"),
       }) {
    EXPECT_THAT(answerTo(request), testing::MatchesRegex("HTTP/1\\.[01] 4(.|\r|\n)*")) << request;
  }
  expectServing();
}

}  // namespace
}  // namespace tovalin::test
