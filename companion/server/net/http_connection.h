#pragma once

#include <boost/beast/core/flat_buffer.hpp>
#include <boost/beast/core/tcp_stream.hpp>
#include <boost/beast/http/empty_body.hpp>
#include <boost/beast/http/parser.hpp>
#include <memory>
#include <optional>

#include "companion/server/net/viewer_files.h"
#include "companion/server/net/web_socket_connection.h"

namespace tovalin::server {

// One TCP connection while it speaks HTTP: serves the page's files, and turns into a WebSocket
// when asked to. Lives as long as its pending operation.
class HttpConnection : public std::enable_shared_from_this<HttpConnection> {
 public:
  // `slot` is held to the end, for whoever counts connections.
  HttpConnection(boost::beast::tcp_stream stream, const Service& service, const ViewerFiles& files,
                 std::shared_ptr<void> slot);

  // Reads the next request.
  void read();

 private:
  using Request = boost::beast::http::request<boost::beast::http::empty_body>;

  void handle(const Request& request);
  void upgrade(const Request& request, Endpoint endpoint);
  void write(const Request& request, FileAnswer answer, bool keepAlive);
  void drain();

  const Service& service_;
  const ViewerFiles& files_;
  std::shared_ptr<void> slot_;
  boost::beast::tcp_stream stream_;
  boost::beast::flat_buffer buffer_;
  std::optional<boost::beast::http::request_parser<boost::beast::http::empty_body>> parser_;
};

}  // namespace tovalin::server
