#include "companion/server/net/http_connection.h"

#include <boost/beast/http.hpp>
#include <boost/beast/websocket/rfc6455.hpp>
#include <chrono>
#include <string_view>
#include <utility>

namespace tovalin::server {
namespace {

namespace beast = boost::beast;
namespace http = beast::http;
using namespace std::chrono_literals;

constexpr auto kRequestTime = 15s;  // also how long an idle connection is kept
constexpr auto kAnswerTime = 30s;
constexpr auto kDrainTime = 2s;

std::string_view view(beast::string_view text) {
  return {text.data(), text.size()};
}

std::optional<Endpoint> endpointOf(beast::string_view target) {
  const auto path = view(target.substr(0, target.find('?')));
  if (path == "/signal") return Endpoint::host;
  if (path == "/viewer") return Endpoint::viewer;
  return std::nullopt;
}

}  // namespace

HttpConnection::HttpConnection(beast::tcp_stream stream, const Service& service,
                               const ViewerFiles& files, std::shared_ptr<void> slot)
    : service_(service), files_(files), slot_(std::move(slot)), stream_(std::move(stream)) {}

void HttpConnection::read() {
  parser_.emplace();
  stream_.expires_after(kRequestTime);
  http::async_read_header(stream_, buffer_, *parser_,
                          [self = shared_from_this()](beast::error_code error, std::size_t) {
                            if (!error) return self->handle(self->parser_->get());
                            const bool isEnd = error == http::error::end_of_stream ||
                                               error == http::error::partial_message;
                            if (isEnd || error.category() != http::make_error_code({}).category()) {
                              return;
                            }
                            self->write({}, {400, {}, "That is not a request.\n"}, false);
                          });
}

void HttpConnection::handle(const Request& request) {
  const auto endpoint = endpointOf(request.target());
  if (endpoint && beast::websocket::is_upgrade(request)) return upgrade(request, *endpoint);

  // Bodies are never read, so what follows one cannot be either.
  const bool hasBody = parser_->content_length().value_or(0) > 0 || parser_->chunked();
  FileAnswer answer;
  if (endpoint) {
    answer = {426, {{"Upgrade", "websocket"}}, "This address is for WebSockets.\n"};
  } else {
    answer = files_.answer({.method = view(request.method_string()),
                            .target = view(request.target()),
                            .ifNoneMatch = view(request[http::field::if_none_match]),
                            .host = view(request[http::field::host])});
  }
  write(request, std::move(answer), request.keep_alive() && !hasBody);
}

void HttpConnection::upgrade(const Request& request, Endpoint endpoint) {
  std::make_shared<WebSocketConnection>(std::move(stream_), service_, endpoint, slot_)
      ->accept(request);
}

void HttpConnection::write(const Request& request, FileAnswer answer, bool keepAlive) {
  auto response = std::make_shared<http::response<http::string_body>>(
      static_cast<http::status>(answer.status), request.version() == 10 ? 10 : 11);
  for (const auto& [name, value] : answer.headers) response->set(name, value);
  if (answer.status != 304) response->content_length(answer.body.size());
  response->keep_alive(keepAlive);
  if (request.method() != http::verb::head) response->body() = std::move(answer.body);
  stream_.expires_after(kAnswerTime);
  http::async_write(stream_, *response,
                    [self = shared_from_this(), response](beast::error_code error, std::size_t) {
                      if (error) return;
                      if (response->keep_alive()) return self->read();
                      self->drain();
                    });
}

// Closing with unread bytes would reset the connection, and the answer could be lost with it.
void HttpConnection::drain() {
  beast::error_code ignored;  // the peer may have gone first, and the read below ends either way
  stream_.socket().shutdown(boost::asio::ip::tcp::socket::shutdown_send, ignored);
  stream_.expires_after(kDrainTime);
  auto again = [self = shared_from_this()](auto& next) -> void {
    self->buffer_.clear();
    self->stream_.async_read_some(self->buffer_.prepare(4096),
                                  [self, next](beast::error_code error, std::size_t) mutable {
                                    if (!error) next(next);
                                  });
  };
  again(again);
}

}  // namespace tovalin::server
