#pragma once

#include <functional>
#include <map>
#include <memory>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "companion/server/core/outbox.h"

namespace tovalin::server {

// One open WebSocket, as far as the core's wishes reach. Server thread.
class Socket {
 public:
  virtual ~Socket() = default;
  virtual void send(std::string text) = 0;
  virtual void close(CloseCode code, std::string_view reason) = 0;
};

// Every open WebSocket by its id: the outbox of a real server. Does not own the sockets, which
// live as long as their own pending work. Server thread.
class OpenSockets : public Outbox {
 public:
  ConnectionId add(std::weak_ptr<Socket> socket) {
    sockets_.emplace(++lastId_, std::move(socket));
    return lastId_;
  }

  void remove(ConnectionId id) {
    sockets_.erase(id);
    if (sockets_.empty() && whenEmpty_) whenEmpty_();
  }

  void send(ConnectionId to, std::string text) override {
    if (auto socket = find(to)) socket->send(std::move(text));
  }

  void close(ConnectionId which, CloseCode code, std::string_view reason) override {
    if (auto socket = find(which)) socket->close(code, reason);
  }

  // Says goodbye to everyone, and runs `done` when the last one has gone; at once when there is
  // none.
  void closeAll(CloseCode code, std::string_view reason, std::function<void()> done) {
    std::vector<ConnectionId> all;
    for (const auto& [id, socket] : sockets_) all.push_back(id);
    if (all.empty()) return done();
    whenEmpty_ = std::move(done);
    for (const ConnectionId id : all) close(id, code, reason);
  }

 private:
  std::shared_ptr<Socket> find(ConnectionId id) const {
    const auto found = sockets_.find(id);
    return found == sockets_.end() ? nullptr : found->second.lock();
  }

  std::map<ConnectionId, std::weak_ptr<Socket>> sockets_;
  ConnectionId lastId_ = 0;
  std::function<void()> whenEmpty_;
};

}  // namespace tovalin::server
