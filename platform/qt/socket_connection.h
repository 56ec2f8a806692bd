#pragma once

#include <QObject>
#include <QPointer>
#include <QTimer>
#include <QWebSocket>
#include <cstdint>
#include <deque>
#include <string>
#include <vector>

#include "platform/qt/qt_web_socket.h"
#include "platform/web_socket.h"

namespace tovalin {

// One WebSocket on the sockets' thread, where everything here is called. Completions are called
// straight from within, so what they call must come back through the thread's queue.
class SocketConnection : public QObject {
 public:
  using ReceiveCompletion = WebSocketTask::ReceiveCompletion;
  using PongCompletion = WebSocketTask::PongCompletion;

  SocketConnection(std::string url, WebSocketTimes times, QObject* owner);
  // Completes what is still pending.
  ~SocketConnection() override;

  void resume();
  void send(std::string text);
  void sendPing(PongCompletion pong);
  void receive(ReceiveCompletion completion);
  void cancel(int closeCode);
  // Nobody will ask for anything any more: closes and goes. The socket finishes by itself.
  void abandon();

 private:
  enum class State { fresh, connecting, open, dead };
  struct Ping {
    uint64_t number;
    PongCompletion completion;
  };

  void opened();
  void arrived(WebSocketFrame frame);
  void answered(const QByteArray& payload);
  // Everything that waits for the socket hears that it is gone; frames that have come stay.
  void die();
  // Leaves the socket to itself: to its closing, when there is something to close.
  void retire(bool closesByItself);
  void deliver();

  const std::string url_;
  const WebSocketTimes times_;
  State state_ = State::fresh;
  QPointer<QWebSocket> socket_;
  QTimer handshake_;
  std::vector<std::string> outgoing_;  // until the socket is open
  std::deque<WebSocketFrame> arrivals_;
  size_t arrivalBytes_ = 0;
  std::deque<ReceiveCompletion> receivers_;
  std::deque<Ping> pings_;
  uint64_t lastPing_ = 0;
};

}  // namespace tovalin
