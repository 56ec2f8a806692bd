#include "tests/integration/companion/raw_connection.h"

#include <arpa/inet.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cerrno>
#include <stdexcept>
#include <utility>

namespace tovalin::test {
namespace {

constexpr int kPatienceMs = 60'000;

sockaddr_in endpoint(const std::string& address, uint16_t port) {
  sockaddr_in made{};
  made.sin_family = AF_INET;
  made.sin_port = htons(port);
  if (inet_pton(AF_INET, address.c_str(), &made.sin_addr) != 1)
    throw std::invalid_argument(address);
  return made;
}

}  // namespace

RawConnection::RawConnection(uint16_t port, const std::string& from, int receiveBuffer)
    : socket_(socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0)) {
  if (receiveBuffer > 0) {
    setsockopt(socket_, SOL_SOCKET, SO_RCVBUF, &receiveBuffer, sizeof receiveBuffer);
  }
  const auto mine = endpoint(from, 0);
  const auto server = endpoint("127.0.0.1", port);
  if (bind(socket_, reinterpret_cast<const sockaddr*>(&mine), sizeof mine) != 0 ||
      connect(socket_, reinterpret_cast<const sockaddr*>(&server), sizeof server) != 0) {
    close(socket_);
    throw std::runtime_error("the server cannot be reached");
  }
}

RawConnection::~RawConnection() {
  if (socket_ >= 0) close(socket_);
}

RawConnection::RawConnection(RawConnection&& other) noexcept
    : socket_(std::exchange(other.socket_, -1)), unread_(std::move(other.unread_)) {}

RawConnection& RawConnection::operator=(RawConnection&& other) noexcept {
  std::swap(socket_, other.socket_);
  std::swap(unread_, other.unread_);
  return *this;
}

void RawConnection::write(const std::string& bytes) {
  for (std::size_t sent = 0; sent < bytes.size();) {
    pollfd ready{socket_, POLLOUT, 0};
    if (poll(&ready, 1, kPatienceMs) <= 0) throw std::runtime_error("the server takes nothing");
    const ssize_t count = send(socket_, bytes.data() + sent, bytes.size() - sent, MSG_NOSIGNAL);
    if (count < 0) return;
    sent += static_cast<std::size_t>(count);
  }
}

std::string RawConnection::upgrade(const std::string& path, const std::string& moreHeaders) {
  write("GET " + path +
        " HTTP/1.1\r\nHost: 127.0.0.1\r\nConnection: Upgrade\r\nUpgrade: websocket\r\n"
        "Sec-WebSocket-Version: 13\r\nSec-WebSocket-Key: AAAAAAAAAAAAAAAAAAAAAA==\r\n" +
        moreHeaders + "\r\n");
  return readThrough("\r\n\r\n");
}

std::string RawConnection::readThrough(const std::string& mark) {
  for (;;) {
    if (const auto at = unread_.find(mark); at != std::string::npos) {
      std::string found = unread_.substr(0, at + mark.size());
      unread_.erase(0, found.size());
      return found;
    }
    if (!readSome()) return std::exchange(unread_, {});
  }
}

std::string RawConnection::readToEnd() {
  while (readSome()) continue;
  return std::exchange(unread_, {});
}

bool RawConnection::hasEnded() {
  for (;;) {
    char buffer[4096];
    const ssize_t count = recv(socket_, buffer, sizeof buffer, MSG_DONTWAIT);
    if (count < 0) return errno != EAGAIN;
    if (count == 0) return true;
    unread_.append(buffer, static_cast<std::size_t>(count));
  }
}

bool RawConnection::readSome() {
  pollfd ready{socket_, POLLIN, 0};
  if (poll(&ready, 1, kPatienceMs) <= 0) throw std::runtime_error("the server does not answer");
  char buffer[4096];
  const ssize_t count = recv(socket_, buffer, sizeof buffer, 0);
  if (count > 0) unread_.append(buffer, static_cast<std::size_t>(count));
  return count > 0;
}

std::string clientFrame(uint8_t first, const std::string& payload) {
  constexpr char kMask[] = "mask";
  const std::size_t size = payload.size();
  std::string frame(1, static_cast<char>(first));
  if (size < 126) {
    frame += static_cast<char>(0x80 | size);
  } else if (size < 65536) {
    frame += static_cast<char>(0x80 | 126);
    for (int shift = 8; shift >= 0; shift -= 8) frame += static_cast<char>(size >> shift);
  } else {
    frame += static_cast<char>(0x80 | 127);
    for (int shift = 56; shift >= 0; shift -= 8) frame += static_cast<char>(size >> shift);
  }
  frame += kMask;
  for (std::size_t i = 0; i < size; ++i) frame += static_cast<char>(payload[i] ^ kMask[i % 4]);
  return frame;
}

int closeCodeIn(const std::string& frames) {
  constexpr int kLost = 1006;
  const auto byte = [&frames](std::size_t at) { return static_cast<uint8_t>(frames.at(at)); };
  for (std::size_t at = 0; at + 2 <= frames.size();) {
    std::size_t size = byte(at + 1);
    std::size_t head = 2;
    if (size == 126) {
      size = static_cast<std::size_t>(byte(at + 2) << 8 | byte(at + 3));
      head = 4;
    }
    if ((byte(at) & 15) == 8) return size < 2 ? kLost : byte(at + head) << 8 | byte(at + head + 1);
    at += head + size;
  }
  return kLost;
}

}  // namespace tovalin::test
