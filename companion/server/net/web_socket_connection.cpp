#include "companion/server/net/web_socket_connection.h"

#include <boost/asio/post.hpp>
#include <boost/beast/websocket.hpp>
#include <chrono>
#include <utility>

namespace tovalin::server {
namespace {

namespace asio = boost::asio;
namespace beast = boost::beast;
namespace websocket = beast::websocket;
using namespace std::chrono_literals;

constexpr std::size_t kLargestMessage = 256 * 1024;
constexpr std::size_t kMostWaiting = 1024 * 1024;
constexpr std::size_t kBufferKept = 16 * 1024;
constexpr uint16_t kLost = 1006;  // what is said of a connection that ended without a close frame
constexpr auto kHandshakeTime = 10s;
constexpr auto kSilence = 40s;  // a ping goes out after half of it
constexpr auto kCloseTime = 5s;

// Errors that the peer's own frames brought about: its close frame, or a breach of the protocol.
bool isPeersDoing(const boost::system::error_code& error) {
  return error.category() == websocket::make_error_code(websocket::error::closed).category();
}

}  // namespace

WebSocketConnection::WebSocketConnection(ClientStream stream, const Service& service,
                                         Endpoint endpoint, std::string addressGroup,
                                         std::shared_ptr<void> slot)
    : service_(service),
      endpoint_(endpoint),
      addressGroup_(std::move(addressGroup)),
      slot_(std::move(slot)),
      socket_(std::move(stream)),
      closeDeadline_(socket_.get_executor()) {}

void WebSocketConnection::accept(const beast::http::request<beast::http::empty_body>& request) {
  socket_.next_layer().tcp().expires_never();  // the WebSocket has time limits of its own
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
    self->id_ = self->service_.sockets.add(self);
    self->service_.switchboard.opened(self->id_, self->endpoint_, self->addressGroup_);
    self->read();
  });
}

void WebSocketConnection::send(std::string text) {
  if (closing_ || gone_) return;
  outgoingBytes_ += text.size();
  service_.counters.bytesSent += text.size();
  if (outgoingBytes_ > kMostWaiting) {
    service_.log(
        {LogLevel::warning, "cut-off", {connectionField(id_), {"reason", "it reads too slowly"}}});
    closing_ = true;
    socket_.next_layer().close();  // ends every pending operation, and so finishes
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
    if (!error) self->socket_.next_layer().close();
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
                           self->finish(isPeersDoing(error), self->codeOf(error));
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
                        if (error) return self->finish(false, kLost);
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
  socket_.async_close(closeReason_, [self = shared_from_this()](boost::system::error_code) {
    self->finish(true, self->closeReason_.code);
  });
}

uint16_t WebSocketConnection::codeOf(const boost::system::error_code& error) const {
  if (error == websocket::error::closed)
    return closing_ ? closeReason_.code : socket_.reason().code;
  // For these Beast has sent a close frame of its own.
  if (error == websocket::error::message_too_big) return websocket::close_code::too_big;
  if (error == websocket::error::bad_frame_payload) return websocket::close_code::bad_payload;
  return isPeersDoing(error) ? uint16_t{websocket::close_code::protocol_error} : kLost;
}

void WebSocketConnection::finish(bool said, uint16_t code) {
  if (std::exchange(gone_, true)) return;
  ++service_.counters.closes[code];
  service_.log({LogLevel::debug, "closed", {connectionField(id_), {"code", std::to_string(code)}}});
  closeDeadline_.cancel();
  socket_.next_layer().close();
  service_.sockets.remove(id_);
  service_.switchboard.closed(id_, said);
}

}  // namespace tovalin::server
