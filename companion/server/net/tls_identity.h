#pragma once

#include <boost/asio/ssl/context.hpp>
#include <filesystem>
#include <memory>

namespace tovalin::server {

// The certificate that the server shows, and the key to it. Server thread.
class TlsIdentity {
 public:
  // Reads both from PEM files. Throws std::runtime_error with one line for the user when they
  // cannot be used or do not belong together.
  TlsIdentity(std::filesystem::path certificate, std::filesystem::path key);

  // Reads them again, for connections from now on. Throws as above, and then keeps what it has.
  void reload();

  // For new connections; those that have begun keep theirs by themselves.
  boost::asio::ssl::context& context() { return *context_; }

 private:
  const std::filesystem::path certificate_;
  const std::filesystem::path key_;
  std::unique_ptr<boost::asio::ssl::context> context_;
};

}  // namespace tovalin::server
