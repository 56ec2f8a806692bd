#pragma once

#include <atomic>
#include <memory>
#include <optional>

#include "platform/main_queue.h"
#include "platform/shared_slot.h"
#include "platform/url.h"
#include "platform/web_socket.h"
#include "signalling/message.h"

namespace tovalin {

// Told what the signalling connection brings. Main thread.
class SignalClientDelegate {
 public:
  virtual ~SignalClientDelegate() = default;

  // Always a JSON object; nothing else about it has been checked.
  virtual void signalReceived(const SignalMessage& message) = 0;
  // The socket has failed and a reconnect is scheduled if allowed. Comes once more after close(),
  // as long as the client is still referenced by then.
  virtual void signalDisconnected() = 0;
};

// The one connection to the signalling server: a WebSocket that begins with an opening message,
// is kept alive by pings and comes back by itself, with a growing wait, until it is closed.
//
// Main thread, but for send(), which is safe from any. Whoever drops the last reference has called
// close() before, because the keep-alive timer may end only on the main thread.
class SignalClient : public std::enable_shared_from_this<SignalClient> {
  struct Passkey {};

 public:
  // Connects nothing yet. `url` is used unchanged for every connection.
  static std::shared_ptr<SignalClient> create(MainQueue& queue, WebSockets& sockets, Url url,
                                              SignalMessage openingMessage);
  SignalClient(Passkey, MainQueue& queue, WebSockets& sockets, Url url,
               SignalMessage openingMessage);

  void setDelegate(std::weak_ptr<SignalClientDelegate> delegate);

  // Connects, sending the opening message before anything else. Called once from outside.
  void open();

  // Stops for good: no reconnect, no pings, the socket closed as finished. Can be repeated.
  void close();

  // Sends one object as one text frame. Dropped silently without an open() before or after a
  // close(), and when a text in it is not UTF-8. Any thread.
  void send(const SignalMessage& message);

  // Gates every reconnect; true until close().
  bool shouldReconnect() const;
  void setShouldReconnect(bool reconnect);

  // Seconds before the next reconnect. Doubles with every failure up to 15; a socket that opens
  // does not reset it, so that a server which accepts but never registers is not hammered. The
  // owner sets it back to 1 once registered.
  double reconnectDelay() const;
  void setReconnectDelay(double seconds);

 private:
  void receiveLoop();
  void received(std::optional<WebSocketFrame> frame);
  void scheduleReconnect();
  void startPing();
  void ping();

  MainQueue& queue_;
  WebSockets& sockets_;
  const Url url_;
  const SignalMessage openingMessage_;
  std::weak_ptr<SignalClientDelegate> delegate_;
  SharedSlot<WebSocketTask> task_;  // also read by senders and by the socket's own thread
  std::atomic<bool> shouldReconnect_ = true;
  std::atomic<double> reconnectDelay_ = 1.0;
  std::unique_ptr<Timer> pingTimer_;
};

}  // namespace tovalin
