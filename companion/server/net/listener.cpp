#include "companion/server/net/listener.h"

#include <chrono>
#include <stdexcept>
#include <utility>

#include "companion/server/options.h"

namespace tovalin::server {
namespace {

namespace asio = boost::asio;
using asio::ip::tcp;
using boost::system::error_code;
using namespace std::chrono_literals;

constexpr auto kAcceptPause = 100ms;  // when the process has run out of descriptors

tcp::acceptor listen(asio::io_context& context, const std::string& address, uint16_t port,
                     const std::string& option) {
  const std::string place = endpointText(address, port);
  error_code error;
  const auto parsed = asio::ip::make_address(address, error);
  if (error) throw std::runtime_error(place + " is not an address in numbers");
  try {
    return tcp::acceptor(context, tcp::endpoint(parsed, port));
  } catch (const boost::system::system_error& failure) {
    if (failure.code() == asio::error::address_in_use) {
      throw std::runtime_error(place +
                               " is already in use: stop the program that listens there, or "
                               "choose another port with " +
                               option + " ADDRESS:PORT");
    }
    throw std::runtime_error("cannot listen on " + place + ": " + failure.code().message());
  }
}

}  // namespace

Listener::Listener(asio::io_context& context, const std::string& address, uint16_t port,
                   const std::string& option, Log log)
    : log_(std::move(log)), acceptor_(listen(context, address, port, option)), pause_(context) {}

void Listener::start(Take take) {
  take_ = std::move(take);
  accept();
}

void Listener::stop() {
  acceptor_.close();
  pause_.cancel();
}

void Listener::accept() {
  acceptor_.async_accept([this](error_code error, tcp::socket socket) {
    if (error == asio::error::operation_aborted) return;
    if (!error) {
      take_(std::move(socket));
      return accept();
    }
    log_({LogLevel::error, "accept-failed", {{"reason", error.message()}}});
    pause_.expires_after(kAcceptPause);
    pause_.async_wait([this](error_code stopped) {
      if (!stopped) accept();
    });
  });
}

}  // namespace tovalin::server
