#include <fcntl.h>
#include <gmock/gmock.h>
#include <spawn.h>
#include <stdlib.h>
#include <sys/wait.h>
#include <unistd.h>

#include <QFile>
#include <QSslConfiguration>
#include <filesystem>

#include "tests/integration/qt/web_socket_client.h"

namespace tovalin::test {
namespace {

// Runs a command, silently, and waits for it.
bool succeeds(std::vector<std::string> words) {
  std::vector<char*> arguments;
  for (auto& word : words) arguments.push_back(word.data());
  arguments.push_back(nullptr);
  posix_spawn_file_actions_t files;
  posix_spawn_file_actions_init(&files);
  posix_spawn_file_actions_addopen(&files, STDERR_FILENO, "/dev/null", O_WRONLY, 0);
  pid_t pid = 0;
  const int error = posix_spawnp(&pid, arguments[0], &files, nullptr, arguments.data(), environ);
  posix_spawn_file_actions_destroy(&files);
  int status = 0;
  return error == 0 && waitpid(pid, &status, 0) == pid && WIFEXITED(status) &&
         WEXITSTATUS(status) == 0;
}

// A self-signed certificate for "localhost", made anew for the test.
class WebSocketTlsTest : public WebSocketTest {
 protected:
  WebSocketTlsTest() {
    std::string directory = std::filesystem::temp_directory_path() / "tovalin-tls-XXXXXX";
    if (mkdtemp(directory.data()) == nullptr) return;
    const std::string key = directory + "/key.pem";
    const std::string certificate = directory + "/certificate.pem";
    EXPECT_TRUE(succeeds({"openssl", "req", "-x509", "-newkey", "rsa:2048", "-nodes", "-days", "2",
                          "-subj", "/CN=localhost", "-addext", "subjectAltName=DNS:localhost",
                          "-keyout", key, "-out", certificate}));
    identity_.certificate = QSslCertificate::fromPath(QString::fromStdString(certificate)).value(0);
    QFile keyFile(QString::fromStdString(key));
    if (keyFile.open(QIODevice::ReadOnly)) {
      identity_.key = QSslKey(&keyFile, QSsl::Rsa, QSsl::Pem, QSsl::PrivateKey);
    }
    std::filesystem::remove_all(directory);
  }
  ~WebSocketTlsTest() override { QSslConfiguration::setDefaultConfiguration(systemsTrust_); }

  ScriptedServer& serveTls() {
    return serve(
        [](Peer& peer) {
          peer.upgrade();
          peer.echo();
        },
        identity_);
  }

  // As if the certificate stood among the system's.
  void trustTheServer() {
    auto trust = systemsTrust_;
    trust.addCaCertificate(identity_.certificate);
    QSslConfiguration::setDefaultConfiguration(trust);
  }

  const QSslConfiguration systemsTrust_ = QSslConfiguration::defaultConfiguration();
  Identity identity_;
};

TEST_F(WebSocketTlsTest, AnUntrustedCertificateIsRefused) {
  ASSERT_FALSE(identity_.certificate.isNull());
  ASSERT_FALSE(identity_.key.isNull());
  auto& server = serveTls();
  auto client = connect(server.url("localhost"));
  client.send("must not arrive");
  EXPECT_TRUE(client.isDead());
}

TEST_F(WebSocketTlsTest, ATrustedCertificateCarriesTheConversation) {
  trustTheServer();
  auto& server = serveTls();
  auto client = connect(server.url("localhost"));
  client.send("hello");
  EXPECT_EQ(client.receiveText(), "hello");
  const std::string large(15'000'000, 'x');
  client.send(large);
  EXPECT_TRUE(client.receiveText() == large);
}

TEST_F(WebSocketTlsTest, ACertificateForAnotherNameIsRefused) {
  trustTheServer();
  auto& server = serveTls();
  auto client = connect(server.url("127.0.0.1"));
  EXPECT_TRUE(client.isDead());
}

TEST_F(WebSocketTlsTest, AServerThatAnswersTheTlsHandshakeInPlainWordsIsRefused) {
  auto& server = serve([](Peer& peer) {
    peer.write("HTTP/1.1 400 Bad Request\r\n\r\n");
    peer.seesEnd();
  });
  auto client = connect({"wss://127.0.0.1:" + std::to_string(server.port()) + "/"});
  EXPECT_TRUE(client.isDead());
}

}  // namespace
}  // namespace tovalin::test
