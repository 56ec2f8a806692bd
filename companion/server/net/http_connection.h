#pragma once

#include <boost/beast/core/flat_buffer.hpp>
#include <boost/beast/http/empty_body.hpp>
#include <boost/beast/http/parser.hpp>
#include <functional>
#include <memory>
#include <optional>

#include "companion/server/net/client_stream.h"
#include "companion/server/net/viewer_files.h"
#include "companion/server/net/web_socket_connection.h"

namespace tovalin::server {

// What one port serves. Outlives its connections.
struct Site {
  std::function<FileAnswer(const FileRequest&)> answer;  // to what asks for no WebSocket
  const Service* sockets = nullptr;  // whose /signal and /viewer are here; nothing: there are none
};

// One TCP connection while it speaks HTTP: serves the page's files, and turns into a WebSocket
// when asked to. Lives as long as its pending operation.
class HttpConnection : public std::enable_shared_from_this<HttpConnection> {
 public:
  // `slot` is held to the end, for whoever counts connections.
  HttpConnection(ClientStream stream, const Site& site, std::shared_ptr<void> slot);

  // Shakes hands over TLS, where there is TLS, and serves what comes.
  void start();

 private:
  using Request = boost::beast::http::request<boost::beast::http::empty_body>;

  void read();
  void handle(const Request& request);
  FileAnswer answer(const Request& request) const;
  void upgrade(const Request& request, Endpoint endpoint);
  void write(const Request& request, FileAnswer answer, bool keepAlive);
  void drain();
  void readToEnd();

  const Site& site_;
  std::shared_ptr<void> slot_;
  ClientStream stream_;
  boost::beast::flat_buffer buffer_;
  std::optional<boost::beast::http::request_parser<boost::beast::http::empty_body>> parser_;
};

}  // namespace tovalin::server
