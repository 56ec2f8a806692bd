#include "tests/integration/companion/test_client.h"

#include <boost/asio/connect.hpp>
#include <boost/asio/io_context.hpp>
#include <boost/asio/ip/tcp.hpp>
#include <boost/asio/read.hpp>
#include <boost/asio/write.hpp>
#include <boost/beast/core.hpp>
#include <boost/beast/websocket.hpp>
#include <chrono>
#include <optional>
#include <stdexcept>

namespace tovalin::test {
namespace {

namespace asio = boost::asio;
namespace beast = boost::beast;
namespace websocket = beast::websocket;
using asio::ip::tcp;
using boost::system::error_code;

constexpr auto kPatience = std::chrono::seconds(30);

tcp::endpoint loopback(uint16_t port) {
  return {asio::ip::address_v4::loopback(), port};
}

// Runs the one pending operation to its end.
error_code await(asio::io_context& context, const std::optional<error_code>& result) {
  context.restart();
  context.run_for(kPatience);
  if (!result) throw std::runtime_error("the server does not answer");
  return *result;
}

}  // namespace

struct TestClient::Impl {
  template <typename Start>
  error_code run(Start start) {
    std::optional<error_code> result;
    start([&result](error_code error, auto&&...) { result = error; });
    return await(context, result);
  }
  template <typename Start>
  void runOrThrow(Start start) {
    if (const auto error = run(start)) throw boost::system::system_error(error);
  }

  asio::io_context context;
  websocket::stream<tcp::socket> socket{context};
};

TestClient::TestClient(uint16_t port, const std::string& path, const From& from)
    : impl_(std::make_unique<Impl>()) {
  auto& socket = impl_->socket;
  socket.next_layer().open(tcp::v4());
  if (from.receiveBuffer > 0) {
    socket.next_layer().set_option(asio::socket_base::receive_buffer_size(from.receiveBuffer));
  }
  socket.next_layer().bind({asio::ip::make_address(from.address), 0});
  socket.set_option(websocket::stream_base::decorator([&](websocket::request_type& request) {
    for (const auto& [name, value] : from.headers) request.set(name, value);
  }));
  impl_->runOrThrow([&](auto done) { socket.next_layer().async_connect(loopback(port), done); });
  impl_->runOrThrow(
      [&](auto done) { socket.async_handshake("127.0.0.1:" + std::to_string(port), path, done); });
}

TestClient::~TestClient() = default;
TestClient::TestClient(TestClient&&) noexcept = default;

void TestClient::send(const Json& message) {
  sendText(message.dump());
}

void TestClient::sendText(const std::string& text) {
  impl_->socket.text(true);
  impl_->runOrThrow([&](auto done) { impl_->socket.async_write(asio::buffer(text), done); });
}

void TestClient::sendBinary(const std::string& bytes) {
  impl_->socket.binary(true);
  impl_->runOrThrow([&](auto done) { impl_->socket.async_write(asio::buffer(bytes), done); });
}

void TestClient::ping() {
  impl_->runOrThrow([&](auto done) { impl_->socket.async_ping({}, done); });
}

Json TestClient::receive() {
  beast::flat_buffer buffer;
  impl_->runOrThrow([&](auto done) { impl_->socket.async_read(buffer, done); });
  return Json::parse(beast::buffers_to_string(buffer.data()));
}

int TestClient::closeCode() {
  beast::flat_buffer buffer;
  for (;;) {
    const auto error = impl_->run([&](auto done) { impl_->socket.async_read(buffer, done); });
    buffer.clear();
    if (!error) continue;
    return error == websocket::error::closed ? impl_->socket.reason().code : kLost;
  }
}

void TestClient::close() {
  impl_->runOrThrow(
      [&](auto done) { impl_->socket.async_close(websocket::close_code::normal, done); });
}

void TestClient::drop() {
  impl_->socket.next_layer().close();
}

std::string exchangeHttp(uint16_t port, const std::string& request) {
  asio::io_context context;
  tcp::socket socket(context);
  socket.connect(loopback(port));
  std::optional<error_code> result;
  const auto done = [&result](error_code error, std::size_t) { result = error; };
  asio::async_write(socket, asio::buffer(request), done);
  if (const auto error = await(context, result)) throw boost::system::system_error(error);
  std::string answer;
  result.reset();
  asio::async_read(socket, asio::dynamic_buffer(answer), done);
  if (await(context, result) != asio::error::eof) throw std::runtime_error("cut short: " + answer);
  return answer;
}

struct TakenPort::Impl {
  asio::io_context context;
  tcp::acceptor acceptor{context, loopback(0)};
};

TakenPort::TakenPort() : impl_(std::make_unique<Impl>()) {}
TakenPort::~TakenPort() = default;

uint16_t TakenPort::port() const {
  return impl_->acceptor.local_endpoint().port();
}

}  // namespace tovalin::test
