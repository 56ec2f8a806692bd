#include "companion/server/net/tls_identity.h"

#include <openssl/ssl.h>

#include <stdexcept>
#include <string>
#include <utility>

namespace tovalin::server {

namespace ssl = boost::asio::ssl;

TlsIdentity::TlsIdentity(std::filesystem::path certificate, std::filesystem::path key)
    : certificate_(std::move(certificate)), key_(std::move(key)) {
  reload();
}

void TlsIdentity::reload() {
  auto fresh = std::make_unique<ssl::context>(ssl::context::tls_server);
  SSL_CTX_set_min_proto_version(fresh->native_handle(), TLS1_2_VERSION);
  // Nobody is there to type a pass phrase.
  fresh->set_password_callback([](std::size_t, ssl::context::password_purpose) { return ""; });
  const auto require = [](const boost::system::error_code& error,
                          const std::filesystem::path& file) {
    if (!error) return;
    throw std::runtime_error("cannot use " + file.string() + " for TLS: " + error.message());
  };
  boost::system::error_code error;
  fresh->use_certificate_chain_file(certificate_.string(), error);
  require(error, certificate_);
  // This also compares the key with the certificate.
  fresh->use_private_key_file(key_.string(), ssl::context::pem, error);
  require(error, key_);
  context_ = std::move(fresh);
}

}  // namespace tovalin::server
