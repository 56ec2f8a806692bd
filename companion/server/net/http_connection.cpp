#include "companion/server/net/http_connection.h"

#include <boost/beast/http.hpp>
#include <boost/beast/websocket/rfc6455.hpp>
#include <chrono>
#include <string_view>
#include <utility>

#include "companion/server/net/client_address.h"

namespace tovalin::server {
namespace {

namespace beast = boost::beast;
namespace http = beast::http;
using namespace std::chrono_literals;

constexpr auto kHandshakeTime = 10s;
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

// All its mentions as one list, for each proxy may have added a line of its own.
std::string forwardedFor(const http::fields& fields) {
  std::string list;
  const auto [first, last] = fields.equal_range("X-Forwarded-For");
  for (auto field = first; field != last; ++field) {
    list += (list.empty() ? "" : ",") + std::string(field->value());
  }
  return list;
}

}  // namespace

HttpConnection::HttpConnection(ClientStream stream, const Site& site, std::shared_ptr<void> slot)
    : site_(site), slot_(std::move(slot)), stream_(std::move(stream)) {}

void HttpConnection::start() {
  if (!stream_.tls()) return read();
  stream_.tcp().expires_after(kHandshakeTime);
  stream_.tls()->async_handshake(boost::asio::ssl::stream_base::server,
                                 [self = shared_from_this()](beast::error_code error) {
                                   if (!error) self->read();
                                 });
}

void HttpConnection::read() {
  parser_.emplace();
  stream_.tcp().expires_after(kRequestTime);
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
  // Bodies are never read, so what follows one cannot be either.
  const bool hasBody = parser_->content_length().value_or(0) > 0 || parser_->chunked();
  const auto endpoint = site_.sockets ? endpointOf(request.target()) : std::nullopt;
  if (!endpoint || !beast::websocket::is_upgrade(request)) {
    return write(request, answer(request), request.keep_alive() && !hasBody);
  }
  // Browsers say which page opens a WebSocket; one from elsewhere has no business here.
  const auto origin = request[http::field::origin];
  if (endpoint == Endpoint::viewer && !site_.sockets->publicOrigin.empty() && !origin.empty() &&
      view(origin) != site_.sockets->publicOrigin) {
    return write(request, {403, {}, "This address is for its own page.\n"}, false);
  }
  upgrade(request, *endpoint);
}

FileAnswer HttpConnection::answer(const Request& request) const {
  if (site_.sockets && endpointOf(request.target())) {
    return {426, {{"Upgrade", "websocket"}}, "This address is for WebSockets.\n"};
  }
  return site_.answer({.method = view(request.method_string()),
                       .target = view(request.target()),
                       .ifNoneMatch = view(request[http::field::if_none_match]),
                       .host = view(request[http::field::host])});
}

void HttpConnection::upgrade(const Request& request, Endpoint endpoint) {
  beast::error_code error;
  const auto remote = stream_.tcp().socket().remote_endpoint(error);
  const std::string address = clientAddress(error ? std::string() : remote.address().to_string(),
                                            forwardedFor(request), site_.sockets->trustedProxies);
  std::make_shared<WebSocketConnection>(std::move(stream_), *site_.sockets, endpoint,
                                        addressGroup(address), slot_)
      ->accept(request);
}

void HttpConnection::write(const Request& request, FileAnswer answer, bool keepAlive) {
  auto response = std::make_shared<http::response<http::string_body>>(
      static_cast<http::status>(answer.status), request.version() == 10 ? 10 : 11);
  for (const auto& [name, value] : answer.headers) response->set(name, value);
  if (answer.status != 304) response->content_length(answer.body.size());
  response->keep_alive(keepAlive);
  if (request.method() != http::verb::head) response->body() = std::move(answer.body);
  stream_.tcp().expires_after(kAnswerTime);
  http::async_write(stream_, *response,
                    [self = shared_from_this(), response](beast::error_code error, std::size_t) {
                      if (error) return;
                      if (response->keep_alive()) return self->read();
                      self->drain();
                    });
}

// Closing with unread bytes would reset the connection, and the answer could be lost with it.
void HttpConnection::drain() {
  stream_.tcp().expires_after(kDrainTime);
  // The peer may have gone first; the read ends either way.
  stream_.async_end_writing([self = shared_from_this()](beast::error_code) { self->readToEnd(); });
}

void HttpConnection::readToEnd() {
  buffer_.clear();
  stream_.tcp().async_read_some(buffer_.prepare(4096),
                                [self = shared_from_this()](beast::error_code error, std::size_t) {
                                  if (!error) self->readToEnd();
                                });
}

}  // namespace tovalin::server
