// The built program with a certificate of its own.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <boost/system/system_error.hpp>
#include <filesystem>

#include "tests/integration/companion/server_process.h"
#include "tests/integration/companion/temporary_folder.h"
#include "tests/integration/companion/test_client.h"
#include "tests/integration/companion/tls_client.h"

namespace tovalin::test {
namespace {

using testing::HasSubstr;
using testing::StartsWith;

class TlsTest : public testing::Test {
 protected:
  std::vector<std::string> arguments() const {
    return {"--listen",   "127.0.0.1:0",
            "--state",    (folder_.path() / "state").string(),
            "--tls-cert", first_.certificate.string(),
            "--tls-key",  first_.key.string()};
  }
  void start() {
    server_.emplace(arguments());
    port_ = server_->waitUntilReady();
  }
  std::string health(const std::filesystem::path& trusted) const {
    return TlsClient(port_, trusted)
        .exchangeHttp("GET /healthz HTTP/1.1\r\nHost: x\r\nConnection: close\r\n\r\n");
  }
  static void overwrite(const std::filesystem::path& file, const std::filesystem::path& with) {
    std::filesystem::copy_file(with, file, std::filesystem::copy_options::overwrite_existing);
  }

  TemporaryFolder folder_;
  const TestCertificate first_{folder_.path(), "first"};
  std::optional<ServerProcess> server_;
  uint16_t port_ = 0;
};

TEST_F(TlsTest, PagesComeOverTls) {
  start();
  EXPECT_THAT(health(first_.certificate), StartsWith("HTTP/1.1 200 OK\r\n"));
}

TEST_F(TlsTest, HostsAndViewersTalkOverTls) {
  start();
  TlsClient host(port_, first_.certificate);
  host.openWebSocket("/signal");
  host.send({{"type", "register"},
             {"role", "host"},
             {"hostId", "HOST-1"},
             {"hostKey", std::string(64, 'a')},
             {"name", "Study"}});
  EXPECT_EQ(host.receive()["type"], "registered");
  host.send({{"type", "pairing-start"}});
  TlsClient phone(port_, first_.certificate);
  phone.openWebSocket("/viewer");
  phone.send({{"type", "pair"}, {"pin", host.receive()["pin"]}});
  const auto paired = phone.receive();
  ASSERT_EQ(paired["type"], "paired");
  EXPECT_EQ(host.receive()["type"], "device-paired");
  phone.send({{"type", "join"},
              {"hostId", "HOST-1"},
              {"deviceId", paired["deviceId"]},
              {"deviceKey", paired["deviceKey"]}});
  EXPECT_EQ(phone.receive()["type"], "joined");
  EXPECT_EQ(host.receive()["type"], "peer-joined");
  const Json offer{{"type", "offer"}, {"sdp", std::string(200'000, 'x')}};
  host.send(offer);
  EXPECT_EQ(phone.receive(), offer);

  server_->terminate();
  EXPECT_EQ(host.closeCode(), 1001);
  EXPECT_EQ(phone.closeCode(), 1001);
  EXPECT_EQ(server_->waitForExit(), 0);
}

TEST_F(TlsTest, PlainHttpIsNotAnswered) {
  start();
  const std::string answer = exchangeHttp(port_, "GET / HTTP/1.1\r\nHost: x\r\n\r\n");
  EXPECT_THAT(answer, testing::Not(HasSubstr("HTTP")));
}

TEST_F(TlsTest, RenewedCertificateIsShownAfterAHangUpSignal) {
  start();
  TlsClient before(port_, first_.certificate);
  const TestCertificate second(folder_.path(), "second");
  std::filesystem::copy_file(first_.certificate, folder_.path() / "old.crt");
  overwrite(first_.certificate, second.certificate);
  overwrite(first_.key, second.key);
  server_->hangUp();
  server_->waitForLog("event=tls-reloaded");
  EXPECT_THAT(health(second.certificate), StartsWith("HTTP/1.1 200 OK\r\n"));
  EXPECT_THROW(health(folder_.path() / "old.crt"), boost::system::system_error);
  EXPECT_THAT(before.exchangeHttp("GET /healthz HTTP/1.1\r\nHost: x\r\nConnection: close\r\n\r\n"),
              StartsWith("HTTP/1.1 200 OK\r\n"))
      << "what is connected stays";
}

TEST_F(TlsTest, PairThatDoesNotFitLeavesTheEarlierOneInUse) {
  start();
  const TestCertificate second(folder_.path(), "second");
  std::filesystem::copy_file(first_.certificate, folder_.path() / "old.crt");
  overwrite(first_.certificate, second.certificate);
  server_->hangUp();
  EXPECT_THAT(server_->waitForLog("event=tls-kept-as-it-was"), HasSubstr(first_.key.string()));
  EXPECT_THAT(health(folder_.path() / "old.crt"), StartsWith("HTTP/1.1 200 OK\r\n"));

  std::filesystem::remove(first_.certificate);
  server_->hangUp();
  EXPECT_THAT(server_->waitForLog("event=tls-kept-as-it-was"),
              HasSubstr(first_.certificate.string()));
  EXPECT_THAT(health(folder_.path() / "old.crt"), StartsWith("HTTP/1.1 200 OK\r\n"));
}

TEST_F(TlsTest, UnusableCertificateIsNamedAtTheStart) {
  folder_.write("first.crt", "no certificate");
  ServerProcess server(arguments());
  EXPECT_THAT(server.waitForLog("for TLS"), HasSubstr(first_.certificate.string()));
  EXPECT_EQ(server.waitForExit(), 1);
}

}  // namespace
}  // namespace tovalin::test
