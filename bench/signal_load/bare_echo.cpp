// The least that a WebSocket server of this library can do: it sends back what it gets.

#include <boost/asio/io_context.hpp>
#include <boost/asio/ip/tcp.hpp>
#include <boost/beast/core.hpp>
#include <boost/beast/websocket.hpp>
#include <iostream>
#include <memory>

namespace {

namespace beast = boost::beast;
namespace websocket = beast::websocket;
using boost::asio::ip::tcp;
using boost::system::error_code;

class Echo : public std::enable_shared_from_this<Echo> {
 public:
  explicit Echo(tcp::socket socket) : socket_(std::move(socket)) { socket_.text(true); }

  void accept() {
    socket_.async_accept([self = shared_from_this()](error_code error) {
      if (!error) self->read();
    });
  }

 private:
  void read() {
    socket_.async_read(buffer_, [self = shared_from_this()](error_code error, std::size_t) {
      if (!error) self->write();
    });
  }
  void write() {
    socket_.async_write(buffer_.data(), [self = shared_from_this()](error_code error, std::size_t) {
      self->buffer_.consume(self->buffer_.size());
      if (!error) self->read();
    });
  }

  websocket::stream<beast::tcp_stream> socket_;
  beast::flat_buffer buffer_;
};

void accept(tcp::acceptor& acceptor) {
  acceptor.async_accept([&acceptor](error_code error, tcp::socket socket) {
    if (!error) {
      socket.set_option(tcp::no_delay(true), error);
      std::make_shared<Echo>(std::move(socket))->accept();
    }
    accept(acceptor);
  });
}

}  // namespace

int main() {
  boost::asio::io_context context{1};
  tcp::acceptor acceptor(context, {boost::asio::ip::address_v4::loopback(), 0});
  accept(acceptor);
  std::cout << "READY " << acceptor.local_endpoint().port() << std::endl;
  context.run();
}
