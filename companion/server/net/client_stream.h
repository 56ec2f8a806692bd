#pragma once

#include <boost/asio/post.hpp>
#include <boost/beast/core/tcp_stream.hpp>
#include <boost/beast/ssl/ssl_stream.hpp>
#include <boost/beast/websocket/ssl.hpp>
#include <boost/beast/websocket/teardown.hpp>
#include <utility>
#include <variant>

namespace tovalin::server {

// The bytes of one connection, with TLS around them or without, for Beast to read and write.
class ClientStream {
 public:
  using Plain = boost::beast::tcp_stream;
  using Tls = boost::beast::ssl_stream<Plain>;
  using executor_type = Plain::executor_type;

  explicit ClientStream(Plain socket) : stream_(std::move(socket)) {}
  ClientStream(Plain socket, boost::asio::ssl::context& context)
      : stream_(std::in_place_type<Tls>, std::move(socket), context) {}

  executor_type get_executor() { return tcp().get_executor(); }
  Plain& tcp() {
    if (auto* tls = std::get_if<Tls>(&stream_)) return tls->next_layer();
    return std::get<Plain>(stream_);
  }
  Tls* tls() { return std::get_if<Tls>(&stream_); }

  // Ends every pending operation.
  void close() { tcp().close(); }

  template <typename Buffers, typename Handler>
  void async_read_some(const Buffers& buffers, Handler&& handler) {
    std::visit([&](auto& s) { s.async_read_some(buffers, std::forward<Handler>(handler)); },
               stream_);
  }
  template <typename Buffers, typename Handler>
  void async_write_some(const Buffers& buffers, Handler&& handler) {
    std::visit([&](auto& s) { s.async_write_some(buffers, std::forward<Handler>(handler)); },
               stream_);
  }

  // Says that nothing more will be written; `handler` takes the error code.
  template <typename Handler>
  void async_end_writing(Handler&& handler) {
    if (tls()) return tls()->async_shutdown(std::forward<Handler>(handler));
    boost::system::error_code error;
    tcp().socket().shutdown(boost::asio::socket_base::shutdown_send, error);
    boost::asio::post(get_executor(), [handler = std::forward<Handler>(handler), error]() mutable {
      handler(error);
    });
  }

  // How Beast ends a WebSocket's connection; found by their names.
  template <typename Handler>
  friend void async_teardown(boost::beast::role_type role, ClientStream& stream,
                             Handler&& handler) {
    using boost::beast::async_teardown;
    std::visit([&](auto& s) { async_teardown(role, s, std::forward<Handler>(handler)); },
               stream.stream_);
  }
  friend void beast_close_socket(ClientStream& stream) { stream.close(); }

 private:
  std::variant<Plain, Tls> stream_;
};

}  // namespace tovalin::server
