// tovalin-signal: introduces hosts to the viewers paired with them.

#include <sys/stat.h>

#include <cstdlib>
#include <exception>
#include <filesystem>
#include <iostream>
#include <memory>
#include <span>
#include <stdexcept>
#include <string>
#include <string_view>
#include <system_error>
#include <variant>

#include "companion/server/config_file.h"
#include "companion/server/core/ice_servers.h"
#include "companion/server/core/switchboard.h"
#include "companion/server/net/open_sockets.h"
#include "companion/server/net/signal_server.h"
#include "companion/server/net/tls_identity.h"
#include "companion/server/options.h"
#include "companion/server/store/sqlite_store.h"
#include "companion/server/system.h"

namespace tovalin::server {
namespace {

constexpr int kCannotRun = 1;
constexpr int kBadOptions = 2;

void complain(std::string_view text) {
  std::cerr << "tovalin-signal: " << text << std::endl;
}

Log logFrom(LogLevel least) {
  return [least](const LogEvent& event) {
    if (event.level >= least) std::cerr << logText(event) + "\n" << std::flush;
  };
}

void printPin(const std::string& pin) {
  std::cout << "PIN: " << pin << std::endl;
}

std::filesystem::path viewerFolder(const Options& options) {
  if (!options.viewer.empty()) return options.viewer;
  std::error_code error;
  const auto program = std::filesystem::read_symlink("/proc/self/exe", error);
  return error ? std::filesystem::path() : installedViewerDirectory(program);
}

std::filesystem::path stateFile(const Options& options) {
  const auto folder = options.state.empty() ? defaultStateDirectory() : options.state;
  if (folder.empty()) throw StoreError("there is no place for state; choose one with --state DIR");
  std::filesystem::create_directories(folder);
  return folder / "tovalin-signal.sqlite";
}

// Throws std::runtime_error when the secret cannot be read.
IceSettings iceSettings(const Options& options) {
  IceSettings settings{
      .stun = options.stun, .turn = options.turn, .turnSecret = {}, .turnLife = options.turnLife};
  if (options.turn.empty()) return settings;
  const auto text = readTextFile(options.turnSecretFile);
  settings.turnSecret = text ? trimmed(*text) : std::string_view();
  if (settings.turnSecret.empty()) {
    throw std::runtime_error("there is no secret in " + options.turnSecretFile.string());
  }
  return settings;
}

std::unique_ptr<TlsIdentity> tlsIdentity(const Options& options) {
  if (options.tlsCertificate.empty()) return nullptr;
  return std::make_unique<TlsIdentity>(options.tlsCertificate, options.tlsKey);
}

void serve(const Options& options) {
  const Log log = logFrom(options.logLevel);
  umask(077);  // what is stored is nobody else's to read
  SystemClock clock;
  SystemRandom random;
  const IceSettings ice = iceSettings(options);
  const auto tls = tlsIdentity(options);
  SqliteStore store(stateFile(options));
  OpenSockets sockets;
  Counters counters;
  Switchboard switchboard({.outbox = sockets,
                           .store = store,
                           .random = random,
                           .clock = clock,
                           .counters = counters,
                           .log = log,
                           .pinIssued = options.printPins ? printPin : nullptr,
                           .iceServers = [&] { return iceServers(ice, clock); }});
  SignalServer server({.listen = options.listen,
                       .metrics = options.metrics,
                       .tls = tls.get(),
                       .viewer = viewerFolder(options),
                       .publicOrigin = options.publicOrigin,
                       .trustedProxies = options.trustedProxies,
                       .descriptors = raisedDescriptorLimit()},
                      switchboard, sockets, counters, log);
  std::cout << "READY " << server.port() << std::endl;
  log({LogLevel::info,
       "listening",
       {{"place", endpointText(options.listen.address, server.port())},
        {"tls", tls ? "yes" : "no"}}});
  if (options.printPins) {
    log({LogLevel::warning, "pins-printed", {{"meaning", "whoever reads this output can pair"}}});
  }
  server.run();
}

int run(std::span<const char* const> arguments) {
  const auto parsed = parseOptions(arguments);
  if (const auto* problem = std::get_if<std::string>(&parsed)) {
    complain(*problem);
    return kBadOptions;
  }
  const auto& options = std::get<Options>(parsed);
  if (options.help) {
    std::cout << helpText();
    return EXIT_SUCCESS;
  }
  try {
    serve(options);
  } catch (const std::exception& error) {
    complain(error.what());
    return kCannotRun;
  }
  return EXIT_SUCCESS;
}

}  // namespace
}  // namespace tovalin::server

int main(int count, char** words) {
  return tovalin::server::run({words + 1, static_cast<std::size_t>(count > 0 ? count - 1 : 0)});
}
