#pragma once

#include <cstdint>
#include <map>
#include <memory>
#include <nlohmann/json.hpp>
#include <string>

namespace tovalin::test {

using Json = nlohmann::json;

// A WebSocket client on loopback. Every wait is bounded; what does not come throws.
class TestClient {
 public:
  // What closeCode() returns when the connection ended without a close frame.
  static constexpr int kLost = 1006;

  // How this client presents itself.
  struct From {
    std::string address = "127.0.0.1";  // a loopback address
    // A small one makes it easy for the server to send more than this client takes.
    int receiveBuffer = 0;
    std::map<std::string, std::string> headers{};
  };

  TestClient(uint16_t port, const std::string& path, const From& from);
  TestClient(uint16_t port, const std::string& path) : TestClient(port, path, From()) {}
  ~TestClient();
  TestClient(TestClient&&) noexcept;

  void send(const Json& message);
  void sendText(const std::string& text);  // bytes as they are, in a text frame
  void sendBinary(const std::string& bytes);
  void ping();

  // The next message.
  Json receive();

  // Reads to the end and returns the code of the close frame, or kLost.
  int closeCode();

  // Says goodbye with code 1000 and waits for the answer.
  void close();

  // Vanishes without a word.
  void drop();

 private:
  struct Impl;
  std::unique_ptr<Impl> impl_;
};

// Sends `request` as it stands and returns everything the server answers until it closes.
std::string exchangeHttp(uint16_t port, const std::string& request);

// Occupies a free port without answering on it.
class TakenPort {
 public:
  TakenPort();
  ~TakenPort();
  uint16_t port() const;

 private:
  struct Impl;
  std::unique_ptr<Impl> impl_;
};

}  // namespace tovalin::test
