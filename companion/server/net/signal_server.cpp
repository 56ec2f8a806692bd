#include "companion/server/net/signal_server.h"

#include <boost/asio/io_context.hpp>
#include <boost/asio/ip/tcp.hpp>
#include <boost/asio/signal_set.hpp>
#include <boost/asio/steady_timer.hpp>
#include <chrono>
#include <csignal>
#include <stdexcept>
#include <utility>

#include "companion/server/net/client_address.h"
#include "companion/server/net/connection_slots.h"
#include "companion/server/net/http_connection.h"
#include "companion/server/options.h"

namespace tovalin::server {
namespace {

namespace asio = boost::asio;
using asio::ip::tcp;
using boost::system::error_code;
using namespace std::chrono_literals;

constexpr int kSendBuffer = 128 * 1024;
constexpr auto kTick = 1s;
constexpr auto kGoodbyeTime = 2s;
constexpr auto kAcceptPause = 100ms;  // when the process has run out of descriptors

tcp::acceptor listen(asio::io_context& context, const std::string& address, uint16_t port) {
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
                               "choose another port with --listen ADDRESS:PORT");
    }
    throw std::runtime_error("cannot listen on " + place + ": " + failure.code().message());
  }
}

}  // namespace

class SignalServer::Impl {
 public:
  Impl(const Settings& settings, Switchboard& switchboard, OpenSockets& sockets, Log log)
      : log_(std::move(log)),
        service_{switchboard, sockets, log_},
        files_(settings.viewer),
        slots_(boundsFor(settings.descriptors)),
        acceptor_(listen(context_, settings.address, settings.port)),
        signals_(context_, SIGTERM, SIGINT),
        tick_(context_),
        pause_(context_),
        goodbye_(context_) {}

  uint16_t port() const { return acceptor_.local_endpoint().port(); }

  void run() {
    signals_.async_wait([this](error_code error, int) {
      if (!error) stop();
    });
    tick();
    accept();
    context_.run();
  }

 private:
  void tick() {
    tick_.expires_after(kTick);
    tick_.async_wait([this](error_code error) {
      if (error) return;
      service_.switchboard.tick();
      refusing_ = false;
      tick();
    });
  }

  void accept() {
    acceptor_.async_accept([this](error_code error, tcp::socket socket) {
      if (error == asio::error::operation_aborted) return;
      if (error) {
        log_("cannot accept a connection: " + error.message());
        pause_.expires_after(kAcceptPause);
        pause_.async_wait([this](error_code stopped) {
          if (!stopped) accept();
        });
        return;
      }
      if (auto slot = takeSlot(socket)) {
        // Best effort: without them there is more delay, and more memory for slow readers.
        socket.set_option(tcp::no_delay(true), error);
        socket.set_option(asio::socket_base::send_buffer_size(kSendBuffer), error);
        std::make_shared<HttpConnection>(boost::beast::tcp_stream(std::move(socket)), service_,
                                         files_, std::move(slot))
            ->read();
      }
      accept();
    });
  }

  // Empty when there are too many connections; the socket is closed then.
  std::shared_ptr<void> takeSlot(const tcp::socket& socket) {
    error_code error;
    const auto remote = socket.remote_endpoint(error);
    if (error) return nullptr;  // it has gone already
    const std::string group = addressGroup(remote.address().to_string());
    auto slot = slots_.take(group);
    if (!slot && !std::exchange(refusing_, true))
      log_("too many connections, the last from " + group);
    return slot;
  }

  void stop() {
    log_("stopping");
    acceptor_.close();
    pause_.cancel();
    tick_.cancel();
    goodbye_.expires_after(kGoodbyeTime);
    goodbye_.async_wait([this](error_code) { context_.stop(); });
    service_.sockets.closeAll(CloseCode::goingAway, "the server is stopping",
                              [this] { context_.stop(); });
  }

  const Log log_;
  const Service service_;
  const ViewerFiles files_;
  ConnectionSlots slots_;
  asio::io_context context_{1};
  tcp::acceptor acceptor_;
  asio::signal_set signals_;
  asio::steady_timer tick_;
  asio::steady_timer pause_;
  asio::steady_timer goodbye_;
  bool refusing_ = false;  // and has said so since the last tick
};

SignalServer::SignalServer(const Settings& settings, Switchboard& switchboard, OpenSockets& sockets,
                           Log log)
    : impl_(std::make_unique<Impl>(settings, switchboard, sockets, std::move(log))) {}

SignalServer::~SignalServer() = default;

uint16_t SignalServer::port() const {
  return impl_->port();
}

void SignalServer::run() {
  impl_->run();
}

}  // namespace tovalin::server
