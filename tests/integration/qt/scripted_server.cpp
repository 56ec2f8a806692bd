#include "tests/integration/qt/scripted_server.h"

#include <arpa/inet.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/eventfd.h>
#include <sys/socket.h>
#include <unistd.h>

#include <QCryptographicHash>
#include <QSslSocket>
#include <algorithm>
#include <array>
#include <chrono>
#include <cstring>
#include <stdexcept>

#include "tests/integration/qt/inbox.h"

namespace tovalin::test {
namespace {

constexpr int kBoundMs = static_cast<int>(std::chrono::milliseconds(kBound).count());

std::string headerValue(const std::string& request, const std::string& name) {
  const size_t begin = request.find("\r\n" + name + ": ") + name.size() + 4;
  return request.substr(begin, request.find("\r\n", begin) - begin);
}

}  // namespace

std::string closePayload(int code, const std::string& reason) {
  return std::string{static_cast<char>(code >> 8), static_cast<char>(code)} + reason;
}

std::string frameBytes(int opcode, const std::string& payload, bool final, int reserved,
                       bool masked) {
  std::string bytes{static_cast<char>((final ? 0x80 : 0) | reserved << 4 | opcode)};
  const int maskBit = masked ? 0x80 : 0;
  int lengthBytes = 0;
  if (payload.size() < 126) {
    bytes += static_cast<char>(maskBit | static_cast<int>(payload.size()));
  } else {
    lengthBytes = payload.size() < 65536 ? 2 : 8;
    bytes += static_cast<char>(maskBit | (lengthBytes == 2 ? 126 : 127));
  }
  for (int i = lengthBytes - 1; i >= 0; --i) bytes += static_cast<char>(payload.size() >> (8 * i));
  if (masked) bytes += std::string(4, '\0');
  return bytes + payload;
}

bool Peer::fill() {
  if (socket_->bytesAvailable() == 0 && !socket_->waitForReadyRead(kBoundMs)) return false;
  buffer_ += socket_->readAll().toStdString();
  return true;
}

std::string Peer::readRequest() {
  size_t end = 0;
  while ((end = buffer_.find("\r\n\r\n")) == std::string::npos) {
    if (!fill()) return {};
  }
  const std::string request = buffer_.substr(0, end + 4);
  buffer_.erase(0, end + 4);
  return request;
}

void Peer::upgrade() {
  answerUpgrade(readRequest());
}

void Peer::answerUpgrade(const std::string& request) {
  if (request.empty()) return;
  const std::string key =
      headerValue(request, "Sec-WebSocket-Key") + "258EAFA5-E914-47DA-95CA-C5AB0DC85B11";
  const auto accept =
      QCryptographicHash::hash(QByteArray::fromStdString(key), QCryptographicHash::Sha1).toBase64();
  write(
      "HTTP/1.1 101 Switching Protocols\r\nUpgrade: websocket\r\nConnection: Upgrade\r\n"
      "Sec-WebSocket-Accept: " +
      accept.toStdString() + "\r\n\r\n");
}

void Peer::write(const std::string& bytes) {
  socket_->write(bytes.data(), static_cast<qint64>(bytes.size()));
  while (socket_->bytesToWrite() > 0 && socket_->waitForBytesWritten(kBoundMs)) {
  }
}

std::optional<std::string> Peer::readBytes(size_t count) {
  while (buffer_.size() < count) {
    if (!fill()) return std::nullopt;
  }
  std::string bytes = buffer_.substr(0, count);
  buffer_.erase(0, count);
  return bytes;
}

std::optional<Frame> Peer::readFrame() {
  const auto head = readBytes(2);
  if (!head) return std::nullopt;
  const auto byte = [](char c) { return static_cast<uint8_t>(c); };
  Frame frame{
      byte((*head)[0]) & 0xF, (byte((*head)[0]) & 0x80) != 0, (byte((*head)[1]) & 0x80) != 0, {}};
  size_t length = byte((*head)[1]) & 0x7F;
  if (length >= 126) {
    const auto extended = readBytes(length == 126 ? 2 : 8);
    if (!extended) return std::nullopt;
    length = 0;
    for (const char c : *extended) length = length << 8 | byte(c);
  }
  const auto mask = readBytes(frame.masked ? 4 : 0);
  auto payload = mask ? readBytes(length) : std::nullopt;
  if (!payload) return std::nullopt;
  frame.payload = std::move(*payload);
  for (size_t i = 0; frame.masked && i < length; ++i) frame.payload[i] ^= (*mask)[i % 4];
  return frame;
}

void Peer::echo() {
  std::string text;
  while (const auto frame = readFrame()) {
    if (frame->opcode == kText || frame->opcode == kContinuation) text += frame->payload;
    if (frame->opcode > kBinary || !frame->final) continue;
    sendText(std::exchange(text, {}));
  }
}

bool Peer::seesEnd() {
  while (fill()) buffer_.clear();
  return socket_->state() != QAbstractSocket::ConnectedState;
}

void Peer::reset() {
  const linger now{1, 0};
  setsockopt(static_cast<int>(socket_->socketDescriptor()), SOL_SOCKET, SO_LINGER, &now,
             sizeof now);
  socket_->abort();
}

ScriptedServer::ScriptedServer(Script script, std::optional<Identity> identity)
    : script_(std::move(script)), identity_(std::move(identity)) {
  listener_ = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
  stop_ = eventfd(0, EFD_CLOEXEC);
  sockaddr_in address{};
  address.sin_family = AF_INET;
  address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  socklen_t size = sizeof address;
  auto* generic = reinterpret_cast<sockaddr*>(&address);
  if (bind(listener_, generic, size) != 0 || listen(listener_, 16) != 0 ||
      getsockname(listener_, generic, &size) != 0) {
    throw std::runtime_error("no listening socket");
  }
  port_ = ntohs(address.sin_port);
  thread_ = std::thread([this] { serve(); });
}

ScriptedServer::~ScriptedServer() {
  eventfd_write(stop_, 1);
  thread_.join();
  close(listener_);
  close(stop_);
}

Url ScriptedServer::url(const std::string& host) const {
  return {(identity_ ? "wss://" : "ws://") + host + ":" + std::to_string(port_) + "/signal"};
}

void ScriptedServer::serve() {
  for (;;) {
    std::array<pollfd, 2> events{pollfd{listener_, POLLIN, 0}, pollfd{stop_, POLLIN, 0}};
    poll(events.data(), events.size(), -1);
    if (events[1].revents != 0) return;
    play(accept4(listener_, nullptr, nullptr, SOCK_CLOEXEC));
  }
}

void ScriptedServer::play(int client) {
  auto socket = std::make_unique<QSslSocket>();
  socket->setSocketDescriptor(client);
  ++connections_;
  if (identity_) {
    socket->setLocalCertificate(identity_->certificate);
    socket->setPrivateKey(identity_->key);
    socket->startServerEncryption();
    if (!socket->waitForEncrypted(kBoundMs)) return;
  }
  Peer peer(std::move(socket));
  script_(peer);
  QTcpSocket& left = peer.socket();
  left.disconnectFromHost();
  if (left.state() != QAbstractSocket::UnconnectedState) left.waitForDisconnected(kBoundMs);
}

}  // namespace tovalin::test
