#include "tests/integration/companion/tls_client.h"

#include <boost/asio/io_context.hpp>
#include <boost/asio/ip/tcp.hpp>
#include <boost/asio/read.hpp>
#include <boost/asio/ssl.hpp>
#include <boost/asio/write.hpp>
#include <boost/beast/core.hpp>
#include <boost/beast/ssl.hpp>
#include <boost/beast/websocket.hpp>
#include <boost/beast/websocket/ssl.hpp>
#include <chrono>
#include <cstdlib>
#include <optional>
#include <stdexcept>

namespace tovalin::test {
namespace {

namespace asio = boost::asio;
namespace beast = boost::beast;
namespace ssl = asio::ssl;
namespace websocket = beast::websocket;
using asio::ip::tcp;
using boost::system::error_code;

constexpr auto kPatience = std::chrono::seconds(30);

}  // namespace

TestCertificate::TestCertificate(const std::filesystem::path& folder, const std::string& name)
    : certificate(folder / (name + ".crt")), key(folder / (name + ".key")) {
  const std::string command =
      "openssl req -x509 -newkey ec -pkeyopt ec_paramgen_curve:prime256v1 -nodes -days 2 "
      "-subj /CN=127.0.0.1 -addext subjectAltName=IP:127.0.0.1 -out '" +
      certificate.string() + "' -keyout '" + key.string() + "' 2>/dev/null";
  if (std::system(command.c_str()) != 0) throw std::runtime_error("openssl makes no certificate");
}

struct TlsClient::Impl {
  template <typename Start>
  error_code run(Start start) {
    std::optional<error_code> result;
    start([&result](error_code error, auto&&...) { result = error; });
    context.restart();
    context.run_for(kPatience);
    if (!result) throw std::runtime_error("the server does not answer");
    return *result;
  }
  template <typename Start>
  void runOrThrow(Start start) {
    if (const auto error = run(start)) throw boost::system::system_error(error);
  }
  auto& tls() { return socket.next_layer(); }

  asio::io_context context;
  ssl::context security{ssl::context::tls_client};
  websocket::stream<ssl::stream<tcp::socket>> socket{context, security};
};

TlsClient::TlsClient(uint16_t port, const std::filesystem::path& trusted)
    : impl_(std::make_unique<Impl>()) {
  impl_->tls().set_verify_mode(ssl::verify_peer);
  X509_STORE* store = SSL_CTX_get_cert_store(impl_->security.native_handle());
  if (X509_STORE_load_locations(store, trusted.c_str(), nullptr) != 1) {
    throw std::runtime_error("no certificate in " + trusted.string());
  }
  impl_->runOrThrow([&](auto done) {
    impl_->tls().next_layer().async_connect({asio::ip::address_v4::loopback(), port}, done);
  });
  impl_->runOrThrow(
      [&](auto done) { impl_->tls().async_handshake(ssl::stream_base::client, done); });
}

TlsClient::~TlsClient() = default;

std::string TlsClient::exchangeHttp(const std::string& request) {
  impl_->runOrThrow(
      [&](auto done) { asio::async_write(impl_->tls(), asio::buffer(request), done); });
  std::string answer;
  const auto end = impl_->run(
      [&](auto done) { asio::async_read(impl_->tls(), asio::dynamic_buffer(answer), done); });
  if (end != asio::error::eof) throw std::runtime_error("cut short: " + answer);
  return answer;
}

void TlsClient::openWebSocket(const std::string& path) {
  impl_->runOrThrow([&](auto done) { impl_->socket.async_handshake("127.0.0.1", path, done); });
}

void TlsClient::send(const nlohmann::json& message) {
  const std::string text = message.dump();
  impl_->runOrThrow([&](auto done) { impl_->socket.async_write(asio::buffer(text), done); });
}

nlohmann::json TlsClient::receive() {
  beast::flat_buffer buffer;
  impl_->runOrThrow([&](auto done) { impl_->socket.async_read(buffer, done); });
  return nlohmann::json::parse(beast::buffers_to_string(buffer.data()));
}

int TlsClient::closeCode() {
  beast::flat_buffer buffer;
  while (!impl_->run([&](auto done) { impl_->socket.async_read(buffer, done); })) buffer.clear();
  return impl_->socket.reason().code;
}

}  // namespace tovalin::test
