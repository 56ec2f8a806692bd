#include "signalling/signal_client.h"

#include <algorithm>
#include <string>
#include <utility>

#include "platform/weak_task.h"
#include "signalling/messages.h"

namespace tovalin {
namespace {

constexpr double kPingIntervalSeconds = 8.0;
constexpr double kLongestReconnectDelaySeconds = 15.0;
constexpr int kNormalClosure = 1000;  // RFC 6455, section 7.4.1

// Compact JSON, or nothing when a text in the message is not UTF-8.
std::optional<std::string> serialised(const SignalMessage& message) {
  try {
    return message.dump();
  } catch (const nlohmann::json::type_error&) {
    return std::nullopt;
  }
}

}  // namespace

std::shared_ptr<SignalClient> SignalClient::create(MainQueue& queue, WebSockets& sockets, Url url,
                                                   SignalMessage openingMessage) {
  return std::make_shared<SignalClient>(Passkey{}, queue, sockets, std::move(url),
                                        std::move(openingMessage));
}

SignalClient::SignalClient(Passkey, MainQueue& queue, WebSockets& sockets, Url url,
                           SignalMessage openingMessage)
    : queue_(queue),
      sockets_(sockets),
      url_(std::move(url)),
      openingMessage_(std::move(openingMessage)) {}

void SignalClient::setDelegate(std::weak_ptr<SignalClientDelegate> delegate) {
  delegate_ = std::move(delegate);
}

void SignalClient::open() {
  const auto task = sockets_.makeTask(url_);
  task->resume();
  // The socket queues the opening message until it is open. Other threads find the task only
  // afterwards, so that nothing of theirs can come before it.
  if (auto text = serialised(openingMessage_)) task->send(std::move(*text));
  task_.store(task);
  receiveLoop();
  startPing();
}

void SignalClient::close() {
  shouldReconnect_ = false;
  pingTimer_.reset();
  if (auto task = task_.exchange(nullptr)) task->cancel(kNormalClosure);
}

void SignalClient::send(const SignalMessage& message) {
  const auto task = task_.load();
  if (!task) return;
  if (auto text = serialised(message)) task->send(std::move(*text));
}

bool SignalClient::shouldReconnect() const {
  return shouldReconnect_;
}

void SignalClient::setShouldReconnect(bool reconnect) {
  shouldReconnect_ = reconnect;
}

double SignalClient::reconnectDelay() const {
  return reconnectDelay_;
}

void SignalClient::setReconnectDelay(double seconds) {
  reconnectDelay_ = seconds;
}

void SignalClient::receiveLoop() {
  const auto task = task_.load();
  if (!task) return;
  task->receive(weakly(shared_from_this(),
                       [](SignalClient& self, auto frame) { self.received(std::move(frame)); }));
}

// On the socket's own thread: what it hands to the delegate goes through the main queue.
void SignalClient::received(std::optional<WebSocketFrame> frame) {
  if (!frame) {
    queue_.post(weakly(shared_from_this(), [](SignalClient& self) {
      if (auto delegate = self.delegate_.lock()) delegate->signalDisconnected();
    }));
    scheduleReconnect();
    return;
  }
  if (frame->kind == WebSocketFrame::Kind::text) {
    if (auto message = parseMessage(frame->payload)) {
      queue_.post(weakly(shared_from_this(), [message = std::move(*message)](SignalClient& self) {
        if (auto delegate = self.delegate_.lock()) delegate->signalReceived(message);
      }));
    }
  }
  receiveLoop();
}

void SignalClient::scheduleReconnect() {
  if (!shouldReconnect_) return;
  double delay = reconnectDelay_;
  while (!reconnectDelay_.compare_exchange_weak(
      delay, std::min(2 * delay, kLongestReconnectDelaySeconds))) {
  }
  queue_.after(delay, weakly(shared_from_this(), [](SignalClient& self) {
                 if (self.shouldReconnect_) self.open();
               }));
}

void SignalClient::startPing() {
  pingTimer_.reset();
  queue_.post(weakly(shared_from_this(), [](SignalClient& self) {
    if (!self.task_.load()) return;  // closed meanwhile: a timer made now would never be stopped
    self.ping();
    self.pingTimer_ = self.queue_.every(
        kPingIntervalSeconds,
        weakly(self.shared_from_this(), [](SignalClient& client) { client.ping(); }));
  }));
}

// A missing pong says nothing: a dead connection shows as a failed receive.
void SignalClient::ping() {
  if (auto task = task_.load()) task->sendPing([](bool) {});
}

}  // namespace tovalin
