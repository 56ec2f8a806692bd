#include "companion/server/net/signal_server.h"

#include <algorithm>
#include <boost/asio/io_context.hpp>
#include <boost/asio/ip/tcp.hpp>
#include <boost/asio/signal_set.hpp>
#include <boost/asio/steady_timer.hpp>
#include <chrono>
#include <csignal>
#include <optional>
#include <stdexcept>
#include <string_view>
#include <utility>

#include "companion/server/metrics.h"
#include "companion/server/net/client_address.h"
#include "companion/server/net/connection_slots.h"
#include "companion/server/net/http_connection.h"
#include "companion/server/net/listener.h"
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

FileAnswer plainText(std::string body) {
  return {200,
          {{"Content-Type", "text/plain; version=0.0.4"}, {"Cache-Control", "no-store"}},
          std::move(body)};
}

bool asksFor(const FileRequest& request, std::string_view path) {
  return request.method == "GET" && request.target == path;
}

}  // namespace

class SignalServer::Impl {
 public:
  Impl(const Settings& settings, Switchboard& switchboard, OpenSockets& sockets, Counters& counters,
       Log log)
      : log_(std::move(log)),
        service_{
            switchboard, sockets, counters, log_, settings.publicOrigin, settings.trustedProxies},
        tls_(settings.tls),
        files_(settings.viewer),
        slots_(boundsFor(settings.descriptors)),
        public_{[this](const FileRequest& request) { return pageOf(request); }, &service_},
        operators_{[this](const FileRequest& request) { return figuresFor(request); }},
        listener_(context_, settings.listen.address, settings.listen.port, "--listen", log_),
        signals_(context_, SIGTERM, SIGINT),
        reloads_(context_, SIGHUP),
        tick_(context_),
        goodbye_(context_) {
    if (!settings.metrics) return;
    metrics_.emplace(context_, settings.metrics->address, settings.metrics->port, "--metrics",
                     log_);
    log_({LogLevel::info,
          "metrics",
          {{"place", endpointText(settings.metrics->address, metrics_->port())}}});
  }

  uint16_t port() const { return listener_.port(); }

  void run() {
    signals_.async_wait([this](error_code error, int) {
      if (!error) stop();
    });
    awaitReload();
    tick();
    listener_.start([this](tcp::socket socket) { serve(std::move(socket), public_, tls_); });
    if (metrics_) {
      metrics_->start(
          [this](tcp::socket socket) { serve(std::move(socket), operators_, /*tls=*/nullptr); });
    }
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

  void awaitReload() {
    reloads_.async_wait([this](error_code error, int) {
      if (error) return;
      if (tls_) reloadTls();
      awaitReload();
    });
  }

  void reloadTls() {
    try {
      tls_->reload();
      log_({LogLevel::info, "tls-reloaded"});
    } catch (const std::runtime_error& failure) {
      log_({LogLevel::error, "tls-kept-as-it-was", {{"reason", failure.what()}}});
    }
  }

  // Closes the socket when there are too many connections.
  void serve(tcp::socket socket, const Site& site, TlsIdentity* tls) {
    error_code error;
    const auto remote = socket.remote_endpoint(error);
    if (error) return;  // it has gone already
    const std::string address = remote.address().to_string();
    auto slot = isProxy(address) ? slots_.takeForProxy() : slots_.take(addressGroup(address));
    if (!slot) return refuse(addressGroup(address));
    // Best effort: without them there is more delay, and more memory for slow readers.
    socket.set_option(tcp::no_delay(true), error);
    socket.set_option(asio::socket_base::send_buffer_size(kSendBuffer), error);
    boost::beast::tcp_stream plain(std::move(socket));
    std::make_shared<HttpConnection>(
        tls ? ClientStream(std::move(plain), tls->context()) : ClientStream(std::move(plain)), site,
        std::move(slot))
        ->start();
  }

  bool isProxy(const std::string& address) const {
    return std::ranges::any_of(service_.trustedProxies,
                               [&](const auto& range) { return range.contains(address); });
  }

  void refuse(const std::string& group) {
    if (std::exchange(refusing_, true)) return;
    log_({LogLevel::warning, "too-many-connections", {{"address", group}}});
  }

  FileAnswer pageOf(const FileRequest& request) const {
    return asksFor(request, "/healthz") ? plainText("ok\n") : files_.answer(request);
  }

  FileAnswer figuresFor(const FileRequest& request) const {
    if (asksFor(request, "/healthz")) return plainText("ok\n");
    if (!asksFor(request, "/metrics")) return {404, {}, "There is /metrics and /healthz.\n"};
    const std::chrono::duration<double> uptime = std::chrono::steady_clock::now() - started_;
    return plainText(metricsText(service_.counters, service_.switchboard.gauges(),
                                 {uptime.count(), residentBytes()}));
  }

  void stop() {
    log_({LogLevel::info, "stopping"});
    listener_.stop();
    if (metrics_) metrics_->stop();
    reloads_.cancel();
    tick_.cancel();
    goodbye_.expires_after(kGoodbyeTime);
    goodbye_.async_wait([this](error_code) { context_.stop(); });
    service_.sockets.closeAll(CloseCode::goingAway, "the server is stopping",
                              [this] { context_.stop(); });
  }

  const Log log_;
  const Service service_;
  TlsIdentity* const tls_;
  const ViewerFiles files_;
  ConnectionSlots slots_;
  const Site public_;
  const Site operators_;
  const std::chrono::steady_clock::time_point started_ = std::chrono::steady_clock::now();
  asio::io_context context_{1};
  Listener listener_;
  std::optional<Listener> metrics_;
  asio::signal_set signals_;
  asio::signal_set reloads_;
  asio::steady_timer tick_;
  asio::steady_timer goodbye_;
  bool refusing_ = false;  // and has said so since the last tick
};

SignalServer::SignalServer(const Settings& settings, Switchboard& switchboard, OpenSockets& sockets,
                           Counters& counters, Log log)
    : impl_(std::make_unique<Impl>(settings, switchboard, sockets, counters, std::move(log))) {}

SignalServer::~SignalServer() = default;

uint16_t SignalServer::port() const {
  return impl_->port();
}

void SignalServer::run() {
  impl_->run();
}

}  // namespace tovalin::server
