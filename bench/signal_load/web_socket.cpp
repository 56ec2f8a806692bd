#include "bench/signal_load/web_socket.h"

#include <arpa/inet.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <sys/socket.h>

#include <algorithm>
#include <array>
#include <utility>

namespace tovalin::bench {
namespace {

constexpr uint8_t kText = 1, kClose = 8, kPing = 9, kPong = 10;
constexpr uint8_t kFinal = 0x80, kMasked = 0x80;

sockaddr_in endpoint(const char* address, uint16_t port) {
  sockaddr_in made{};
  made.sin_family = AF_INET;
  made.sin_port = htons(port);
  inet_pton(AF_INET, address, &made.sin_addr);
  return made;
}

}  // namespace

WebSocket::WebSocket(Loop& loop, const std::string& address, uint16_t port, const std::string& path,
                     Events events)
    : events_(std::move(events)),
      outgoing_("GET " + path + " HTTP/1.1\r\nHost: 127.0.0.1:" + std::to_string(port) +
                "\r\nConnection: Upgrade\r\nUpgrade: websocket\r\nSec-WebSocket-Version: 13\r\n"
                "Sec-WebSocket-Key: AAAAAAAAAAAAAAAAAAAAAA==\r\n\r\n"),
      socket_(socket(AF_INET, SOCK_STREAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0)) {
  const int on = 1;
  setsockopt(socket_, IPPROTO_TCP, TCP_NODELAY, &on, sizeof on);
  // The port is chosen when the other end is known, so that every address has all of them.
  setsockopt(socket_, IPPROTO_IP, IP_BIND_ADDRESS_NO_PORT, &on, sizeof on);
  const auto from = endpoint(address.c_str(), 0);
  const auto to = endpoint("127.0.0.1", port);
  if (socket_ < 0 || bind(socket_, reinterpret_cast<const sockaddr*>(&from), sizeof from) != 0 ||
      (connect(socket_, reinterpret_cast<const sockaddr*>(&to), sizeof to) != 0 &&
       errno != EINPROGRESS)) {
    const int error = errno;
    if (socket_ >= 0) ::close(socket_);
    throw std::system_error(error, std::generic_category(), "cannot connect");
  }
  loop.add(socket_, *this);
}

WebSocket::~WebSocket() {
  if (socket_ >= 0) ::close(socket_);
}

void WebSocket::send(std::string_view text) {
  frame(kText, text);
}

void WebSocket::close() {
  frame(kClose, std::string_view("\x03\xe8", 2));
}

// Clients must mask; the key may be any, and with zeros nothing needs to be done.
void WebSocket::frame(uint8_t opcode, std::string_view payload) {
  if (isGone()) return;
  const auto size = payload.size();
  outgoing_ += static_cast<char>(kFinal | opcode);
  if (size < 126) {
    outgoing_ += static_cast<char>(kMasked | size);
  } else {
    outgoing_ += static_cast<char>(kMasked | 126);
    outgoing_ += static_cast<char>(size >> 8);
    outgoing_ += static_cast<char>(size & 255);
  }
  outgoing_.append(4, '\0').append(payload);
  if (open_) flush();
}

void WebSocket::flush() {
  while (!isGone() && !outgoing_.empty()) {
    const ssize_t count = ::send(socket_, outgoing_.data(), outgoing_.size(), MSG_NOSIGNAL);
    if (count < 0) {
      if (errno != EAGAIN && errno != ENOTCONN) end();
      return;
    }
    outgoing_.erase(0, static_cast<std::size_t>(count));
  }
  if (outgoing_.empty()) std::string().swap(outgoing_);
}

void WebSocket::ready(uint32_t events) {
  if (events & EPOLLOUT) flush();
  if (isGone() || !(events & (EPOLLIN | EPOLLRDHUP | EPOLLHUP | EPOLLERR))) return;
  for (;;) {
    std::array<char, 16 * 1024> buffer;
    const ssize_t count = recv(socket_, buffer.data(), buffer.size(), 0);
    if (count > 0) {
      incoming_.append(buffer.data(), static_cast<std::size_t>(count));
      continue;
    }
    const bool isDry = count < 0 && errno == EAGAIN;
    if (open_ || takeHandshake()) takeFrames();
    if (!isDry) end();
    return;
  }
}

bool WebSocket::takeHandshake() {
  const auto head = incoming_.find("\r\n\r\n");
  if (head == std::string::npos) return false;
  if (!incoming_.starts_with("HTTP/1.1 101 ")) {
    end();
    return false;
  }
  incoming_.erase(0, head + 4);
  open_ = true;
  events_.opened();
  return true;
}

void WebSocket::takeFrames() {
  const auto byte = [this](std::size_t at) { return static_cast<uint8_t>(incoming_[at]); };
  std::size_t at = 0;
  while (!isGone() && incoming_.size() >= at + 2) {
    std::size_t size = byte(at + 1);
    std::size_t head = 2;
    if (size == 126) {
      if (incoming_.size() < at + 4) break;
      size = static_cast<std::size_t>(byte(at + 2) << 8 | byte(at + 3));
      head = 4;
    }
    if (incoming_.size() < at + head + size) break;
    const std::string_view payload(incoming_.data() + at + head, size);
    const uint8_t opcode = byte(at) & 15;
    if (opcode == kText) events_.text(payload);
    if (opcode == kPing) frame(kPong, payload);
    if (opcode == kClose) {
      frame(kClose, payload);
      end();
    }
    at += head + size;
  }
  incoming_.erase(0, at);
  if (incoming_.empty()) std::string().swap(incoming_);
}

void WebSocket::end() {
  if (isGone()) return;
  ::close(std::exchange(socket_, -1));
  if (events_.closed) events_.closed();
}

}  // namespace tovalin::bench
