#pragma once

#include <gtest/gtest.h>

#include <atomic>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "platform/qt/qt_application.h"
#include "platform/qt/qt_web_socket.h"
#include "tests/integration/qt/inbox.h"
#include "tests/integration/qt/scripted_server.h"

namespace tovalin::test {

// What one receive came to.
struct Receipt {
  std::optional<WebSocketFrame> frame;
};

// A client end that waits for its answers, within the bound.
class Client {
 public:
  explicit Client(std::shared_ptr<WebSocketTask> task) : task_(std::move(task)) {}

  WebSocketTask& task() { return *task_; }
  void resume() { task_->resume(); }
  void send(std::string text) { task_->send(std::move(text)); }
  void cancel(int code = 1000) { task_->cancel(code); }
  void drop() { task_.reset(); }

  // Asks for a frame; what comes of it goes to receipts().
  void ask() {
    task_->receive([receipts = receipts_](std::optional<WebSocketFrame> frame) {
      receipts.put({std::move(frame)});
    });
  }
  const Inbox<Receipt>& receipts() const { return receipts_; }

  // Waits for what comes of one ask().
  std::optional<WebSocketFrame> outcome() {
    auto receipt = receipts_.take();
    if (!receipt) ADD_FAILURE() << "a receive was not completed";
    return receipt ? receipt->frame : std::nullopt;
  }
  std::optional<WebSocketFrame> receive() {
    ask();
    return outcome();
  }
  // The text of the next frame, or what came instead.
  std::string receiveText() {
    const auto frame = receive();
    if (!frame) return "(nothing)";
    return frame->kind == WebSocketFrame::Kind::text ? frame->payload : "(binary)";
  }
  // Whether the socket is dead: this request and the next come back with nothing.
  bool isDead() { return !receive() && !receive() && receipts().size() == 0; }

  // Whether a ping comes back.
  bool ping() {
    const Inbox<bool> answers;
    task_->sendPing([answers](bool answered) { answers.put(answered); });
    const auto answer = answers.take();
    if (!answer) ADD_FAILURE() << "a ping was not completed";
    return answer.value_or(false);
  }

 private:
  std::shared_ptr<WebSocketTask> task_;
  Inbox<Receipt> receipts_;
};

class WebSocketTest : public testing::Test {
 protected:
  // A server for this test, gone after the clients.
  ScriptedServer& serve(ScriptedServer::Script script,
                        std::optional<Identity> identity = std::nullopt) {
    server_ = std::make_unique<ScriptedServer>(std::move(script), std::move(identity));
    return *server_;
  }
  // A server that shakes hands first.
  ScriptedServer& serveOpened(ScriptedServer::Script script) {
    return serve([script = std::move(script)](Peer& peer) {
      peer.upgrade();
      script(peer);
    });
  }

  Client make(const Url& url) { return Client(sockets_->makeTask(url)); }
  Client connect(const Url& url) {
    Client client = make(url);
    client.resume();
    return client;
  }
  Client connect(const ScriptedServer& server) { return connect(server.url()); }

  int argumentCount_ = 1;
  char name_[5] = "test";
  std::vector<char*> arguments_ = {name_, nullptr};
  QtApplication application_{argumentCount_, arguments_.data()};
  std::unique_ptr<ScriptedServer> server_;
  std::unique_ptr<WebSockets> sockets_ = makeQtWebSockets();
};

}  // namespace tovalin::test
