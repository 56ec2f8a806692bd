#pragma once

#include <deque>
#include <mutex>
#include <nlohmann/json.hpp>
#include <string>
#include <utility>
#include <vector>

#include "platform/web_socket.h"

namespace tovalin::fake {

// One connection, with the test as its server. Completions run inline on the thread of whoever
// makes them due (a verb below, or cancel()), one at a time and never from inside receive() or
// sendPing(). Any thread.
class FakeWebSocketTask : public WebSocketTask {
 public:
  explicit FakeWebSocketTask(Url given) : url(std::move(given)) {}

  void resume() override {
    std::lock_guard lock(mutex_);
    resumed_ = true;
  }
  void send(std::string text) override {
    std::lock_guard lock(mutex_);
    if (!dead_) sent_.push_back(std::move(text));
  }
  void sendPing(PongCompletion pong) override {
    std::lock_guard lock(mutex_);
    ++pings_;
    pongs_.push_back(std::move(pong));
  }
  void receive(ReceiveCompletion completion) override {
    std::lock_guard lock(mutex_);
    pending_.push_back(std::move(completion));
  }
  void cancel(int closeCode) override {
    {
      std::lock_guard lock(mutex_);
      cancelCode_ = closeCode;
      dead_ = true;
      frames_.clear();
    }
    deliver();
  }

  // The server sends a text frame; it waits until it is asked for.
  void serverSends(std::string text) { enqueue({WebSocketFrame::Kind::text, std::move(text)}); }
  // The server sends an object as a text frame.
  void serverSendsMessage(const nlohmann::json& message) { serverSends(message.dump()); }
  // The server sends a binary frame.
  void serverSendsBinary(std::string bytes) {
    enqueue({WebSocketFrame::Kind::binary, std::move(bytes)});
  }
  // The connection breaks, or the server closes it; what it sent before still arrives.
  void serverDrops() {
    {
      std::lock_guard lock(mutex_);
      dead_ = true;
    }
    deliver();
  }
  // Completes every ping so far, as answered or as failed.
  void answerPings(bool answered = true) {
    std::vector<PongCompletion> due;
    {
      std::lock_guard lock(mutex_);
      due.swap(pongs_);
    }
    for (auto& pong : due) pong(answered);
  }
  // Hands over what receive() was called for too late to be served by a verb.
  void deliver() {
    std::unique_lock lock(mutex_);
    if (delivering_) return;  // whoever is at it sees this as well
    delivering_ = true;
    while (!pending_.empty() && (!frames_.empty() || dead_)) {
      auto completion = std::move(pending_.front());
      pending_.pop_front();
      std::optional<WebSocketFrame> frame;
      if (!frames_.empty()) {
        frame = std::move(frames_.front());
        frames_.pop_front();
      }
      lock.unlock();
      completion(std::move(frame));
      completion = nullptr;
      lock.lock();
    }
    delivering_ = false;
  }

  bool resumed() const { return locked(resumed_); }
  // Every text frame that went out before the socket died, in order.
  std::vector<std::string> sentTexts() const { return locked(sent_); }
  // The same, parsed.
  std::vector<nlohmann::json> sent() const {
    std::vector<nlohmann::json> messages;
    for (const auto& text : sentTexts()) messages.push_back(nlohmann::json::parse(text));
    return messages;
  }
  // Only those of one "type".
  std::vector<nlohmann::json> sentOfType(const std::string& type) const {
    std::vector<nlohmann::json> messages;
    for (auto& message : sent()) {
      if (message.value("type", "") == type) messages.push_back(std::move(message));
    }
    return messages;
  }
  // The texts of the "dbg" messages.
  std::vector<std::string> diagnostics() const {
    std::vector<std::string> texts;
    for (const auto& message : sentOfType("dbg")) texts.push_back(message.value("m", ""));
    return texts;
  }
  // Pings asked for, those to a dead socket included.
  int pings() const { return locked(pings_); }
  // The close code, once the client has cancelled.
  std::optional<int> cancelCode() const { return locked(cancelCode_); }
  // Whether a frame is being asked for.
  bool isReceiving() const {
    std::lock_guard lock(mutex_);
    return !pending_.empty();
  }

  const Url url;

 private:
  template <typename T>
  T locked(const T& value) const {
    std::lock_guard lock(mutex_);
    return value;
  }

  void enqueue(WebSocketFrame frame) {
    {
      std::lock_guard lock(mutex_);
      if (!dead_) frames_.push_back(std::move(frame));
    }
    deliver();
  }

  mutable std::mutex mutex_;
  bool resumed_ = false;
  bool dead_ = false;
  bool delivering_ = false;
  std::deque<WebSocketFrame> frames_;
  std::deque<ReceiveCompletion> pending_;
  std::vector<std::string> sent_;
  std::vector<PongCompletion> pongs_;
  int pings_ = 0;
  std::optional<int> cancelCode_;
};

// Remembers every connection, oldest first. Any thread.
class FakeWebSockets : public WebSockets {
 public:
  std::shared_ptr<WebSocketTask> makeTask(const Url& url) override {
    std::lock_guard lock(mutex_);
    tasks_.push_back(std::make_shared<FakeWebSocketTask>(url));
    return tasks_.back();
  }

  // How many connections were made so far.
  size_t connections() const {
    std::lock_guard lock(mutex_);
    return tasks_.size();
  }
  // The connection of that number, from 0.
  FakeWebSocketTask& connection(size_t number) const {
    std::lock_guard lock(mutex_);
    return *tasks_.at(number);
  }
  // The newest connection; throws when there is none.
  FakeWebSocketTask& latest() const {
    std::lock_guard lock(mutex_);
    return *tasks_.at(tasks_.size() - 1);
  }

 private:
  mutable std::mutex mutex_;
  std::vector<std::shared_ptr<FakeWebSocketTask>> tasks_;
};

}  // namespace tovalin::fake
