// What a signalling server carries: computers that wait, and phones that come. Prints a table.
// See docs/self-hosting.md.

#include <sys/resource.h>

#include <algorithm>
#include <cstdio>
#include <exception>
#include <filesystem>
#include <string>
#include <vector>

#include "bench/signal_load/fleet.h"
#include "bench/signal_load/server_child.h"
#include "bench/signal_load/visits.h"

namespace tovalin::bench {
namespace {

using std::chrono::seconds;

struct Plan {
  std::string server, echo;
  std::size_t hosts = 10'000;
  seconds idle{60};
  double visitsPerSecond = 500;
  seconds visiting{30};
};

void row(const char* what, double value, int decimals, const char* unit, const char* limit = "") {
  std::printf("| %s | %.*f%s | %s |\n", what, decimals, value, unit, limit);
  std::fflush(stdout);
}

double secondsSince(Time start) {
  return std::chrono::duration<double>(Clock::now() - start).count();
}

double percentile(std::vector<double> values, double part) {
  if (values.empty()) return 0;
  const auto at = static_cast<std::ptrdiff_t>(part * static_cast<double>(values.size() - 1));
  std::nth_element(values.begin(), values.begin() + at, values.end());
  return values[static_cast<std::size_t>(at)];
}

// The least any server of the library needs for as many connections, and the most it can answer.
void measureEcho(Loop& loop, const Plan& plan, const std::string& log) {
  ServerChild echo({plan.echo}, log);
  const double before = echo.residentBytes();
  std::size_t open = 0, echoed = 0;
  std::vector<std::unique_ptr<WebSocket>> sockets;
  sockets.reserve(plan.hosts);  // the handlers hold references
  for (std::size_t i = 0; i < plan.hosts; ++i) {
    const std::string address = "127.0.40." + std::to_string(1 + i % 100);
    auto& socket = sockets.emplace_back();
    socket = std::make_unique<WebSocket>(loop, address, echo.port(), "/",
                                         WebSocket::Events{[&open] { ++open; },
                                                           [&echoed, &socket](std::string_view) {
                                                             ++echoed;
                                                             socket->send(offerText());
                                                           },
                                                           nullptr});
    while (i + 1 - open >= 100) loop.turn(Clock::now() + std::chrono::milliseconds(100));
  }
  while (open < plan.hosts) loop.turn(Clock::now() + std::chrono::milliseconds(100));
  row("resident a connection, bare echo of the library",
      (echo.residentBytes() - before) / 1000 / static_cast<double>(plan.hosts), 1, " kB");

  constexpr std::size_t kBusy = 50;
  for (std::size_t i = 0; i < std::min(kBusy, plan.hosts); ++i) sockets[i]->send(offerText());
  const double cpu = echo.cpuSeconds();
  const Time start = Clock::now();
  while (secondsSince(start) < 5) loop.turn(Clock::now() + std::chrono::milliseconds(100));
  row("offers a second, bare echo, both programs at full speed",
      static_cast<double>(echoed) / secondsSince(start), 0, "");
  row("CPU for one of them", (echo.cpuSeconds() - cpu) / static_cast<double>(echoed) * 1e6, 1,
      " µs");
}

void measure(const Plan& plan) {
  char folder[] = "/tmp/signal-load-XXXXXX";
  if (!mkdtemp(folder)) throw std::runtime_error("no temporary folder");
  const std::string log = std::string(folder) + "/log";
  const std::vector<std::string> command = {plan.server, "--listen", "127.0.0.1:0", "--state",
                                            std::string(folder) + "/state"};
  const auto hosts = static_cast<double>(plan.hosts);
  Loop loop;

  std::printf(
      "%zu computers, %g visits a second for %d s\n\n| What | Measured | Limit |\n|---|---|---|\n",
      plan.hosts, plan.visitsPerSecond, static_cast<int>(plan.visiting.count()));
  measureEcho(loop, plan, log);
  Fleet fleet(loop, plan.hosts);
  {
    ServerChild server(command, log);
    Time start = Clock::now();
    fleet.connect(server.port());
    row("new computers registered a second", hosts / secondsSince(start), 0, "");
    start = Clock::now();
    fleet.pair(server.port());
    row("pairings a second", hosts / secondsSince(start), 0, "");
    fleet.disconnect();
  }
  ServerChild server(command, log);  // a fresh one, which the pairings have left no traces in
  const double before = server.residentBytes();
  const Time start = Clock::now();
  fleet.connect(server.port());
  row("known computers back a second, after a restart", hosts / secondsSince(start), 0, "");
  row("resident, nobody connected", before / 1e6, 1, " MB");
  double cpu = server.cpuSeconds();
  fleet.idle(plan.idle);
  row("CPU, everyone idle",
      (server.cpuSeconds() - cpu) / static_cast<double>(plan.idle.count()) * 100, 2,
      " % of a core");
  row("resident a computer, idle", (server.residentBytes() - before) / 1000 / hosts, 1, " kB",
      "20");

  cpu = server.cpuSeconds();
  const Time visiting = Clock::now();
  Visits visits(loop, fleet, server.port());
  visits.run(plan.visitsPerSecond, plan.visiting);
  const double took = secondsSince(visiting);
  const double used = server.cpuSeconds() - cpu;
  row("visits begun", static_cast<double>(visits.begun()), 0, "");
  row("visits that failed", static_cast<double>(visits.failed() + fleet.brokenVisits()), 0, "",
      "0");
  row("`join` sent to `offer` received, median", percentile(visits.joinToOffer(), 0.5), 2, " ms");
  row("`join` sent to `offer` received, 99 of 100", percentile(visits.joinToOffer(), 0.99), 2,
      " ms", "50");
  row("with the connecting before it, 99 of 100", percentile(visits.connectToOffer(), 0.99), 2,
      " ms");
  row("CPU during the visits", used / took * 100, 1, " % of a core");
  row("CPU for one visit", used / static_cast<double>(visits.begun()) * 1e6, 0, " µs");
  row("resident a computer, after the visits", (server.residentBytes() - before) / 1000 / hosts, 1,
      " kB");
  row("computers lost", static_cast<double>(fleet.lost()), 0, "", "0");
  fleet.disconnect();
  std::filesystem::remove_all(folder);
}

void raiseDescriptorLimit() {
  rlimit limit{};
  getrlimit(RLIMIT_NOFILE, &limit);
  limit.rlim_cur = limit.rlim_max;
  setrlimit(RLIMIT_NOFILE, &limit);
}

}  // namespace
}  // namespace tovalin::bench

int main(int count, char** words) {
  using namespace tovalin::bench;
  if (count != 3 && count != 7) {
    std::fprintf(stderr,
                 "usage: signal_load SERVER ECHO [HOSTS IDLE_SECONDS VISITS_A_SECOND SECONDS]\n");
    return 2;
  }
  try {
    Plan plan{words[1], words[2]};
    if (count == 7) {
      plan.hosts = std::stoul(words[3]);
      plan.idle = seconds(std::stol(words[4]));
      plan.visitsPerSecond = std::stod(words[5]);
      plan.visiting = seconds(std::stol(words[6]));
    }
    raiseDescriptorLimit();
    measure(plan);
  } catch (const std::exception& error) {
    std::fprintf(stderr, "signal_load: %s\n", error.what());
    return 1;
  }
}
