// tovalin-signal: introduces hosts to the viewers paired with them.

#include <sys/stat.h>

#include <cstdlib>
#include <exception>
#include <filesystem>
#include <iostream>
#include <span>
#include <string>
#include <string_view>
#include <system_error>
#include <variant>

#include "companion/server/core/switchboard.h"
#include "companion/server/net/open_sockets.h"
#include "companion/server/net/signal_server.h"
#include "companion/server/options.h"
#include "companion/server/store/sqlite_store.h"
#include "companion/server/system.h"

namespace tovalin::server {
namespace {

constexpr int kCannotRun = 1;
constexpr int kBadOptions = 2;

void logLine(std::string_view text) {
  std::cerr << "tovalin-signal: " << text << std::endl;
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

void serve(const Options& options) {
  umask(077);  // what is stored is nobody else's to read
  SystemClock clock;
  SystemRandom random;
  SqliteStore store(stateFile(options));
  OpenSockets sockets;
  Switchboard switchboard({.outbox = sockets,
                           .store = store,
                           .random = random,
                           .clock = clock,
                           .log = logLine,
                           .pinIssued = options.printPins ? printPin : nullptr,
                           .iceServers = nullptr});
  SignalServer server(
      {options.address, options.port, viewerFolder(options), raisedDescriptorLimit()}, switchboard,
      sockets, logLine);
  std::cout << "READY " << server.port() << std::endl;
  logLine("listening on " + endpointText(options.address, server.port()));
  if (options.printPins) {
    logLine("PINs are printed (--print-pins): whoever reads this output can pair");
  }
  server.run();
}

int run(std::span<const char* const> arguments) {
  const auto parsed = parseOptions(arguments);
  if (const auto* problem = std::get_if<std::string>(&parsed)) {
    logLine(*problem);
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
    logLine(error.what());
    return kCannotRun;
  }
  return EXIT_SUCCESS;
}

}  // namespace
}  // namespace tovalin::server

int main(int count, char** words) {
  return tovalin::server::run({words + 1, static_cast<std::size_t>(count > 0 ? count - 1 : 0)});
}
