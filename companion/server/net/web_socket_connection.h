#pragma once

#include <boost/asio/steady_timer.hpp>
#include <boost/beast/core/flat_buffer.hpp>
#include <boost/beast/http/empty_body.hpp>
#include <boost/beast/http/message.hpp>
#include <boost/beast/websocket/stream.hpp>
#include <deque>
#include <memory>
#include <string>
#include <vector>

#include "companion/server/core/switchboard.h"
#include "companion/server/net/client_address.h"
#include "companion/server/net/client_stream.h"
#include "companion/server/net/open_sockets.h"

namespace tovalin::server {

// What all connections share. Outlives them.
struct Service {
  Switchboard& switchboard;
  OpenSockets& sockets;
  Counters& counters;
  const Log& log;
  const std::string publicOrigin;  // of the pages that may open a WebSocket; empty: any
  const std::vector<AddressRange> trustedProxies;
};

// One WebSocket between its handshake and its end. Lives as long as its pending operations.
class WebSocketConnection : public Socket,
                            public std::enable_shared_from_this<WebSocketConnection> {
 public:
  // `addressGroup` is what its wrong tries are counted by. `slot` is held to the end, for whoever
  // counts connections.
  WebSocketConnection(ClientStream stream, const Service& service, Endpoint endpoint,
                      std::string addressGroup, std::shared_ptr<void> slot);

  // Answers the request that asked for the WebSocket.
  void accept(const boost::beast::http::request<boost::beast::http::empty_body>& request);

  void send(std::string text) override;
  void close(CloseCode code, std::string_view reason) override;

 private:
  void read();
  void write();
  void startClose();
  void finish(bool said, uint16_t code);
  // The code with which a read that failed so ended the connection.
  uint16_t codeOf(const boost::system::error_code& error) const;

  const Service& service_;
  const Endpoint endpoint_;
  const std::string addressGroup_;
  const std::shared_ptr<void> slot_;
  boost::beast::websocket::stream<ClientStream> socket_;
  boost::asio::steady_timer closeDeadline_;
  boost::beast::flat_buffer incoming_;
  std::deque<std::string> outgoing_;  // the first one is being written
  std::size_t outgoingBytes_ = 0;
  boost::beast::websocket::close_reason closeReason_;
  ConnectionId id_ = 0;
  bool closing_ = false;  // nothing more is taken in or put out
  bool gone_ = false;
};

}  // namespace tovalin::server
