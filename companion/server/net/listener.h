#pragma once

#include <boost/asio/io_context.hpp>
#include <boost/asio/ip/tcp.hpp>
#include <boost/asio/steady_timer.hpp>
#include <cstdint>
#include <functional>
#include <string>

#include "companion/server/core/log.h"

namespace tovalin::server {

// A port that is listened on. Server thread.
class Listener {
 public:
  using Take = std::function<void(boost::asio::ip::tcp::socket)>;

  // Listens from now on. `address` in numbers; port 0 takes a free one. Throws std::runtime_error
  // with one line for the user, which names `option`, when it cannot.
  Listener(boost::asio::io_context& context, const std::string& address, uint16_t port,
           const std::string& option, Log log);

  uint16_t port() const { return acceptor_.local_endpoint().port(); }

  // Hands over every connection that is made, until stop().
  void start(Take take);
  void stop();

 private:
  void accept();

  const Log log_;
  Take take_;
  boost::asio::ip::tcp::acceptor acceptor_;
  boost::asio::steady_timer pause_;
};

}  // namespace tovalin::server
