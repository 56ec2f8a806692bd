#pragma once

#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "companion/server/core/log.h"
#include "companion/server/core/switchboard.h"
#include "companion/server/net/client_address.h"
#include "companion/server/net/open_sockets.h"
#include "companion/server/net/tls_identity.h"
#include "companion/server/options.h"

namespace tovalin::server {

// The listening port: pages over HTTP, hosts and viewers over WebSocket. Everything runs on the
// thread that calls run().
class SignalServer {
 public:
  struct Settings {
    ListenPlace listen;
    std::optional<ListenPlace> metrics{};  // plain HTTP with the figures; nothing: none
    TlsIdentity* tls = nullptr;            // nothing: plain HTTP; outlives the server
    std::filesystem::path viewer{};        // empty: no page is served
    std::string publicOrigin{};            // of the pages that may connect; empty: any
    std::vector<AddressRange> trustedProxies{};
    std::size_t descriptors = 0;  // that the process may have open; bounds the connections
  };

  // Listens from now on; connections are served by run(). The references outlive the server.
  // Throws std::runtime_error with one line for the user when it cannot.
  SignalServer(const Settings& settings, Switchboard& switchboard, OpenSockets& sockets,
               Counters& counters, Log log);
  ~SignalServer();

  // The port that is listened on.
  uint16_t port() const;

  // Serves until SIGTERM or SIGINT, then tells everyone that it goes and returns. SIGHUP reads the
  // certificate anew.
  void run();

 private:
  class Impl;
  std::unique_ptr<Impl> impl_;
};

}  // namespace tovalin::server
