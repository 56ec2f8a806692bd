#pragma once

#include <cstdint>
#include <filesystem>
#include <memory>
#include <nlohmann/json.hpp>
#include <string>

namespace tovalin::test {

// A certificate for 127.0.0.1 that signs itself, and its key, made anew.
struct TestCertificate {
  // Writes `name`.crt and `name`.key into the folder.
  TestCertificate(const std::filesystem::path& folder, const std::string& name);

  std::filesystem::path certificate, key;
};

// A connection over TLS to loopback that trusts one certificate alone. Every wait is bounded; what
// fails or does not come throws.
class TlsClient {
 public:
  TlsClient(uint16_t port, const std::filesystem::path& trusted);
  ~TlsClient();

  // Sends `request` as it stands and returns everything the server answers until it ends TLS in
  // good order.
  std::string exchangeHttp(const std::string& request);

  // Turns the connection into a WebSocket.
  void openWebSocket(const std::string& path);
  void send(const nlohmann::json& message);
  nlohmann::json receive();

  // Reads to the end and returns the code of the close frame.
  int closeCode();

 private:
  struct Impl;
  std::unique_ptr<Impl> impl_;
};

}  // namespace tovalin::test
