#pragma once

#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <cstring>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "tests/integration/dbus/test_loop.h"

namespace tovalin::test {

// A socket that passes for a bus: it takes connections and answers each with the same bytes,
// whatever it is told; with none it stays silent.
class ScriptedSocket {
 public:
  ScriptedSocket(TestLoop& loop, std::string answer) : loop_(loop), answer_(std::move(answer)) {
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    listener_ = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
    // Without a name the system chooses an abstract one that is free.
    bind(listener_, reinterpret_cast<sockaddr*>(&address), sizeof(sa_family_t));
    listen(listener_, 8);
    socklen_t size = sizeof address;
    getsockname(listener_, reinterpret_cast<sockaddr*>(&address), &size);
    name_.assign(address.sun_path + 1, size - offsetof(sockaddr_un, sun_path) - 1);
    incoming_ = loop_.onReadable(listener_, [this] { accept(); });
  }

  ~ScriptedSocket() {
    incoming_.reset();
    for (const int peer : peers_) close(peer);
    close(listener_);
  }

  std::string address() const { return "unix:abstract=" + name_; }
  size_t connections() const { return peers_.size(); }

 private:
  void accept() {
    peers_.push_back(accept4(listener_, nullptr, nullptr, SOCK_CLOEXEC));
    if (answer_.empty()) return;
    EXPECT_EQ(send(peers_.back(), answer_.data(), answer_.size(), MSG_NOSIGNAL),
              static_cast<ssize_t>(answer_.size()));
  }

  TestLoop& loop_;
  const std::string answer_;
  int listener_ = -1;
  std::string name_;
  std::vector<int> peers_;
  std::unique_ptr<Subscription> incoming_;
};

}  // namespace tovalin::test
