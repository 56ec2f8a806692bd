#pragma once

#include <functional>
#include <memory>
#include <optional>
#include <string>

#include "platform/url.h"

namespace tovalin {

// One message received from the peer.
struct WebSocketFrame {
  enum class Kind { text, binary };
  Kind kind = Kind::text;
  std::string payload;
};

// One WebSocket connection, from handshake to close. Completions are called on the adapter's own
// thread, one at a time, and never from inside the call that registered them. Every operation may
// be called from any thread.
class WebSocketTask {
 public:
  // Absent: the socket failed, was closed by the peer or was cancelled.
  using ReceiveCompletion = std::function<void(std::optional<WebSocketFrame>)>;
  using PongCompletion = std::function<void(bool answered)>;

  virtual ~WebSocketTask() = default;

  // Starts connecting. Called once.
  virtual void resume() = 0;

  // Sends one text frame; frames sent before the socket is open are queued in order. Failures are
  // not reported.
  virtual void send(std::string text) = 0;

  // Sends one ping, or fails it when the socket is not open.
  virtual void sendPing(PongCompletion pong) = 0;

  // Asks for one frame; frames that arrive meanwhile wait. Once the socket is dead every request,
  // pending or later, completes with nothing exactly once.
  virtual void receive(ReceiveCompletion completion) = 0;

  // Closes with a WebSocket close code and no reason. A pending receive completes with nothing.
  virtual void cancel(int closeCode) = 0;
};

// Makes WebSocket connections. Lives as long as the process.
class WebSockets {
 public:
  virtual ~WebSockets() = default;

  // A task for `url`, not yet started. Never fails: an address that cannot be used shows as a
  // failed receive. TLS is checked against the system's certificates; no extra header is sent.
  virtual std::shared_ptr<WebSocketTask> makeTask(const Url& url) = 0;
};

}  // namespace tovalin
