#include "companion/server/net/web_socket_connection.h"

#include <boost/asio/post.hpp>
#include <boost/beast/websocket.hpp>
#include <chrono>
#include <utility>

#include "companion/server/net/client_address.h"

namespace tovalin::server {
namespace {

namespace asio = boost::asio;
namespace beast = boost::beast;
namespace websocket = beast::websocket;
using namespace std::chrono_literals;

constexpr std::size_t kLargestMessage = 256 * 1024;
constexpr std::size_t kMostWaiting = 1024 * 1024;
constexpr std::size_t kBufferKept = 16 * 1024;
constexpr auto kHandshakeTime = 10s;
constexpr auto kSilence = 40s;  // a ping goes out after half of it
constexpr auto kCloseTime = 5s;

std::string remoteAddress(const beast::tcp_stream& stream) {
  boost::system::error_code error;
  const auto remote = stream.socket().remote_endpoint(error);
  return error ? std::string() : remote.address().to_string();
}

// Errors that the peer's own frames brought about: its close frame, or a breach of the protocol.
bool isPeersDoing(const boost::system::error_code& error) {
  return error.category() == websocket::make_error_code(websocket::error::closed).category();
}

}  // namespace

WebSocketConnection::WebSocketConnection(beast::tcp_stream stream, const Service& service,
                                         Endpoint endpoint, std::shared_ptr<void> slot)
    : service_(service),
      endpoint_(endpoint),
      slot_(std::move(slot)),
      socket_(std::move(stream)),
      closeDeadline_(socket_.get_executor()) {}

void WebSocketConnection::accept(const beast::http::request<beast::http::empty_body>& request) {
  beast::get_lowest_layer(socket_).expires_never();  // the WebSocket has time limits of its own
  socket_.set_option(websocket::stream_base::timeout{kHandshakeTime, kSilence, true});
  socket_.read_message_max(kLargestMessage);
  socket_.text(true);
  socket_.control_callback([this](websocket::frame_type kind, beast::string_view) {
    if (kind == websocket::frame_type::close) return;
    // Posted, for the answer may be to close, which has no place inside a read.
    asio::post(socket_.get_executor(), [self = shared_from_this()] {
      if (!self->closing_) self->service_.switchboard.receivedControl(self->id_);
    });
  });
  socket_.async_accept(request, [self = shared_from_this()](boost::system::error_code error) {
    if (error) return;
    const std::string address = remoteAddress(beast::get_lowest_layer(self->socket_));
    self->id_ = self->service_.sockets.add(self);
    self->service_.switchboard.opened(self->id_, self->endpoint_, addressGroup(address));
    self->read();
  });
}

void WebSocketConnection::send(std::string text) {
  if (closing_ || gone_) return;
  outgoingBytes_ += text.size();
  if (outgoingBytes_ > kMostWaiting) {
    service_.log("connection cut, it reads too slowly");
    closing_ = true;
    beast::get_lowest_layer(socket_).close();  // ends every pending operation, and so finishes
    return;
  }
  outgoing_.push_back(std::move(text));
  if (outgoing_.size() == 1) write();
}

void WebSocketConnection::close(CloseCode code, std::string_view reason) {
  if (closing_ || gone_) return;
  closing_ = true;
  closeReason_.code = static_cast<uint16_t>(code);
  closeReason_.reason.assign(reason.begin(), reason.end());
  closeDeadline_.expires_after(kCloseTime);
  closeDeadline_.async_wait([self = shared_from_this()](boost::system::error_code error) {
    if (!error) beast::get_lowest_layer(self->socket_).close();
  });
  if (outgoing_.empty()) startClose();
}

void WebSocketConnection::read() {
  socket_.async_read(incoming_,
                     [self = shared_from_this()](boost::system::error_code error, std::size_t) {
                       if (error) {
                         // While closing, the close operation is the one that ends the connection:
                         // the socket must stay open until the close frame is out.
                         if (!self->closing_ || error == websocket::error::closed)
                           self->finish(isPeersDoing(error));
                         return;
                       }
                       if (!self->closing_) {
                         if (self->socket_.got_text()) {
                           const auto data = self->incoming_.cdata();
                           self->service_.switchboard.received(
                               self->id_, {static_cast<const char*>(data.data()), data.size()});
                         } else {
                           self->service_.switchboard.receivedBinary(self->id_);
                         }
                       }
                       self->incoming_.consume(self->incoming_.size());
                       if (self->incoming_.capacity() > kBufferKept)
                         self->incoming_.shrink_to_fit();
                       if (!self->closing_) self->read();
                     });
}

void WebSocketConnection::write() {
  socket_.async_write(asio::buffer(outgoing_.front()),
                      [self = shared_from_this()](boost::system::error_code error, std::size_t) {
                        if (error) return self->finish(false);
                        self->outgoingBytes_ -= self->outgoing_.front().size();
                        self->outgoing_.pop_front();
                        if (!self->outgoing_.empty()) {
                          self->write();
                        } else if (self->closing_) {
                          self->startClose();
                        }
                      });
}

void WebSocketConnection::startClose() {
  socket_.async_close(
      closeReason_, [self = shared_from_this()](boost::system::error_code) { self->finish(true); });
}

void WebSocketConnection::finish(bool said) {
  if (std::exchange(gone_, true)) return;
  closeDeadline_.cancel();
  beast::get_lowest_layer(socket_).close();
  service_.sockets.remove(id_);
  service_.switchboard.closed(id_, said);
}

}  // namespace tovalin::server
