#include "platform/qt/socket_connection.h"

#include <QUrl>
#include <chrono>
#include <utility>

namespace tovalin {
namespace {

// Many times what a signalling message may grow to. Qt's own limit is the memory of the machine.
constexpr size_t kMessageLimitBytes = size_t{16} * 1024 * 1024;

// What may wait to be received: two of the longest messages. A client asks again at once, so more
// waits only when the peer floods.
constexpr size_t kArrivalLimitBytes = 2 * kMessageLimitBytes;

// What a server may say before the socket is open; Qt waits for the end of it.
constexpr qint64 kAnswerLimitBytes = qint64{64} * 1024;

// Says that this end goes away without more ado (RFC 6455, 7.4.1).
constexpr int kGoingAway = 1001;

std::chrono::milliseconds inMs(double seconds) {
  return std::chrono::milliseconds(static_cast<int64_t>(seconds * 1000));
}

size_t costOf(const WebSocketFrame& frame) {
  return sizeof frame + frame.payload.size();
}

}  // namespace

SocketConnection::SocketConnection(std::string url, WebSocketTimes times, QObject* owner)
    : QObject(owner), url_(std::move(url)), times_(times) {
  handshake_.setSingleShot(true);
  connect(&handshake_, &QTimer::timeout, this, &SocketConnection::die);
}

SocketConnection::~SocketConnection() {
  arrivals_.clear();
  die();
}

void SocketConnection::resume() {
  if (state_ != State::fresh) return;
  state_ = State::connecting;
  socket_ = new QWebSocket(QString(), QWebSocketProtocol::VersionLatest, this);
  QWebSocket* socket = socket_;
  socket->setMaxAllowedIncomingMessageSize(kMessageLimitBytes);
  socket->setMaxAllowedIncomingFrameSize(kMessageLimitBytes);
  socket->setReadBufferSize(kAnswerLimitBytes);
  connect(socket, &QWebSocket::connected, this, &SocketConnection::opened);
  connect(socket, &QWebSocket::disconnected, this, &SocketConnection::die);
  connect(socket, &QWebSocket::aboutToClose, this, &SocketConnection::die);
  connect(socket, QOverload<QAbstractSocket::SocketError>::of(&QWebSocket::error), this,
          &SocketConnection::die);
  connect(socket, &QWebSocket::textMessageReceived, this, [this](const QString& text) {
    arrived({WebSocketFrame::Kind::text, text.toStdString()});
  });
  connect(socket, &QWebSocket::binaryMessageReceived, this, [this](const QByteArray& bytes) {
    arrived({WebSocketFrame::Kind::binary, bytes.toStdString()});
  });
  connect(socket, &QWebSocket::pong, this,
          [this](quint64, const QByteArray& payload) { answered(payload); });
  handshake_.start(inMs(times_.handshake));
  socket->open(QUrl(QString::fromStdString(url_), QUrl::StrictMode));
}

void SocketConnection::send(std::string text) {
  if (state_ == State::open) {
    socket_->sendTextMessage(QString::fromStdString(text));
  } else if (state_ != State::dead) {
    outgoing_.push_back(std::move(text));
  }
}

void SocketConnection::sendPing(PongCompletion pong) {
  if (state_ != State::open) {
    pong(false);
    return;
  }
  pings_.push_back({++lastPing_, std::move(pong)});
  socket_->ping(QByteArray::number(static_cast<qulonglong>(lastPing_)));
}

void SocketConnection::receive(ReceiveCompletion completion) {
  receivers_.push_back(std::move(completion));
  deliver();
}

void SocketConnection::cancel(int closeCode) {
  const QPointer<QWebSocket> closing = state_ == State::open ? socket_ : nullptr;
  arrivals_.clear();
  arrivalBytes_ = 0;
  die();
  if (closing) closing->close(static_cast<QWebSocketProtocol::CloseCode>(closeCode));
}

void SocketConnection::abandon() {
  cancel(kGoingAway);
  deleteLater();
}

void SocketConnection::opened() {
  state_ = State::open;
  handshake_.stop();
  // Qt collects a frame whole before it looks at it, so the longest must fit, with its header.
  socket_->setReadBufferSize(kArrivalLimitBytes);
  for (auto& text : std::exchange(outgoing_, {})) send(std::move(text));
}

void SocketConnection::arrived(WebSocketFrame frame) {
  arrivalBytes_ += costOf(frame);
  arrivals_.push_back(std::move(frame));
  deliver();
  if (arrivalBytes_ > kArrivalLimitBytes && socket_) {
    socket_->abort();
    die();
  }
}

void SocketConnection::answered(const QByteArray& payload) {
  // A peer may answer only the latest of several pings (RFC 6455, 5.5.3).
  const uint64_t number = payload.toULongLong();
  while (!pings_.empty() && pings_.front().number <= number) {
    auto ping = std::move(pings_.front());
    pings_.pop_front();
    ping.completion(true);
  }
}

void SocketConnection::die() {
  if (state_ == State::dead) return;
  const bool wasOpen = std::exchange(state_, State::dead) == State::open;
  handshake_.stop();
  outgoing_.clear();
  retire(wasOpen);
  for (auto& ping : std::exchange(pings_, {})) ping.completion(false);
  deliver();
}

void SocketConnection::retire(bool closesByItself) {
  QWebSocket* socket = std::exchange(socket_, nullptr);
  if (socket == nullptr) return;
  socket->disconnect(this);
  socket->setParent(parent());
  if (!closesByItself) socket->abort();
  connect(socket, &QWebSocket::disconnected, socket, &QObject::deleteLater);
  const bool isClosed = socket->state() == QAbstractSocket::UnconnectedState;
  QTimer::singleShot(isClosed ? inMs(0) : inMs(times_.closing), socket, [socket] {
    socket->abort();
    socket->deleteLater();
  });
}

void SocketConnection::deliver() {
  while (!receivers_.empty() && (!arrivals_.empty() || state_ == State::dead)) {
    auto completion = std::move(receivers_.front());
    receivers_.pop_front();
    std::optional<WebSocketFrame> frame;
    if (!arrivals_.empty()) {
      frame = std::move(arrivals_.front());
      arrivals_.pop_front();
      arrivalBytes_ -= costOf(*frame);
    }
    completion(std::move(frame));
  }
}

}  // namespace tovalin
