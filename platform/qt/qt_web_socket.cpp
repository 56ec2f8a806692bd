#include "platform/qt/qt_web_socket.h"

#include <QNetworkProxyFactory>
#include <utility>

#include "platform/qt/socket_connection.h"
#include "platform/qt/socket_thread.h"

namespace tovalin {
namespace {

// Hands every operation to the sockets' thread. The thread keeps them in order, so that a
// connection is there from the first to the last of them, its abandonment.
class QtWebSocketTask : public WebSocketTask {
 public:
  QtWebSocketTask(std::shared_ptr<SocketThread> thread, const Url& url, WebSocketTimes times)
      : thread_(std::move(thread)) {
    thread_->post([cell = connection_, url = url.absoluteString, times](QObject& owner) {
      *cell = new SocketConnection(url, times, &owner);
    });
  }
  ~QtWebSocketTask() override {
    post([](SocketConnection& connection) { connection.abandon(); });
  }

  void resume() override {
    post([](SocketConnection& connection) { connection.resume(); });
  }
  void send(std::string text) override {
    post([text = std::move(text)](SocketConnection& connection) { connection.send(text); });
  }
  void sendPing(PongCompletion pong) override {
    post([pong = std::move(pong)](SocketConnection& connection) { connection.sendPing(pong); });
  }
  void receive(ReceiveCompletion completion) override {
    post([completion = std::move(completion)](SocketConnection& connection) {
      connection.receive(completion);
    });
  }
  void cancel(int closeCode) override {
    post([closeCode](SocketConnection& connection) { connection.cancel(closeCode); });
  }

 private:
  template <typename Operation>
  void post(Operation operation) {
    thread_->post(
        [cell = connection_, operation = std::move(operation)](QObject&) { operation(**cell); });
  }

  const std::shared_ptr<SocketThread> thread_;
  // The pointer in it is the sockets' thread's business alone.
  const std::shared_ptr<SocketConnection*> connection_ =
      std::make_shared<SocketConnection*>(nullptr);
};

class QtWebSockets : public WebSockets {
 public:
  explicit QtWebSockets(WebSocketTimes times) : times_(times) {
    QNetworkProxyFactory::setUseSystemConfiguration(true);
  }
  ~QtWebSockets() override { thread_->stop(); }

  std::shared_ptr<WebSocketTask> makeTask(const Url& url) override {
    return std::make_shared<QtWebSocketTask>(thread_, url, times_);
  }

 private:
  const WebSocketTimes times_;
  const std::shared_ptr<SocketThread> thread_ = std::make_shared<SocketThread>("tovalin-websocket");
};

}  // namespace

std::unique_ptr<WebSockets> makeQtWebSockets(WebSocketTimes times) {
  return std::make_unique<QtWebSockets>(times);
}

}  // namespace tovalin
