#pragma once

#include <QByteArray>
#include <QSslCertificate>
#include <QSslKey>
#include <QTcpSocket>
#include <atomic>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <thread>

#include "platform/url.h"

namespace tovalin::test {

struct Frame {
  int opcode = 0;
  bool final = true;
  bool masked = false;
  std::string payload;
};

inline constexpr int kContinuation = 0;
inline constexpr int kText = 1;
inline constexpr int kBinary = 2;
inline constexpr int kClose = 8;
inline constexpr int kPing = 9;
inline constexpr int kPong = 10;

// A close frame's payload.
std::string closePayload(int code, const std::string& reason = {});

// A frame as a server writes it, right or wrong: `reserved` are the three reserved bits.
std::string frameBytes(int opcode, const std::string& payload, bool final = true, int reserved = 0,
                       bool masked = false);

// The server's end of one connection. Reading waits, within a bound.
class Peer {
 public:
  explicit Peer(std::unique_ptr<QTcpSocket> socket) : socket_(std::move(socket)) {}

  // The client's HTTP request, up to its empty line.
  std::string readRequest();
  // Reads the request and answers it as a WebSocket server must.
  void upgrade();
  void answerUpgrade(const std::string& request);

  void write(const std::string& bytes);
  void sendText(const std::string& payload) { write(frameBytes(kText, payload)); }
  // The client's next frame; absent when the connection has ended.
  std::optional<Frame> readFrame();
  // Sends every text back until the connection ends.
  void echo();
  // Whether the client has ended the connection, whatever it sends before.
  bool seesEnd();
  // Ends the connection by a reset.
  void reset();

  QTcpSocket& socket() { return *socket_; }

 private:
  std::optional<std::string> readBytes(size_t count);
  bool fill();

  std::unique_ptr<QTcpSocket> socket_;
  std::string buffer_;
};

// Who a TLS server says it is.
struct Identity {
  QSslCertificate certificate;
  QSslKey key;
};

// Plays `script` with each client that connects, one after the other, on a thread of its own, on a
// free port of the loopback. A connection ends with its script.
class ScriptedServer {
 public:
  using Script = std::function<void(Peer&)>;

  explicit ScriptedServer(Script script, std::optional<Identity> identity = std::nullopt);
  // Waits for the script that is playing, so clients should be gone by then.
  ~ScriptedServer();
  ScriptedServer(const ScriptedServer&) = delete;
  ScriptedServer& operator=(const ScriptedServer&) = delete;

  uint16_t port() const { return port_; }
  Url url(const std::string& host = "127.0.0.1") const;
  int connections() const { return connections_; }

 private:
  void serve();
  void play(int client);

  const Script script_;
  const std::optional<Identity> identity_;
  int listener_ = -1;
  int stop_ = -1;
  uint16_t port_ = 0;
  std::atomic<int> connections_ = 0;
  std::thread thread_;
};

}  // namespace tovalin::test
