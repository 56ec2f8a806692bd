#include "companion/server/metrics.h"

#include <unistd.h>

#include <fstream>
#include <sstream>
#include <string_view>

namespace tovalin::server {
namespace {

// Close codes of peers are theirs to choose; only these get a line of their own.
std::string closeLabel(uint16_t code) {
  switch (code) {
    case 1000:
    case 1001:
    case 1002:
    case 1003:
    case 1006:
    case 1007:
    case 1008:
    case 1009:
    case 1011:
    case 4001:
      return std::to_string(code);
    default:
      return "other";
  }
}

class Page {
 public:
  Page() { text_.precision(15); }  // seconds of years, and their fractions

  void begin(std::string_view name, std::string_view type, std::string_view help) {
    name_ = name;
    text_ << "# HELP tovalin_" << name << ' ' << help << "\n# TYPE tovalin_" << name << ' ' << type
          << '\n';
  }
  template <typename Number>
  void line(Number value, const std::string& label = {}) {
    text_ << "tovalin_" << name_ << label << ' ' << value << '\n';
  }
  std::string text() const { return text_.str(); }

 private:
  std::string name_;
  std::ostringstream text_;
};

}  // namespace

std::string metricsText(const Counters& counters, const Gauges& gauges,
                        const ProcessFigures& process) {
  Page page;
  page.begin("connections", "gauge", "Open WebSockets.");
  page.line(gauges.hostConnections, R"({kind="host"})");
  page.line(gauges.viewerConnections, R"({kind="viewer"})");
  page.begin("hosts", "gauge", "Hosts on line.");
  page.line(gauges.registeredHosts);
  page.begin("visits", "gauge", "Visits, those that wait for a lost viewer included.");
  page.line(gauges.visits);
  page.begin("joins_total", "counter", "Answers to join.");
  for (const auto& [result, count] : counters.joins)
    page.line(count, "{result=\"" + result + "\"}");
  page.begin("pairings_total", "counter", "Answers to pair.");
  for (const auto& [result, count] : counters.pairings) {
    page.line(count, "{result=\"" + result + "\"}");
  }
  page.begin("relayed_messages_total", "counter", "Messages passed between the sides of visits.");
  page.line(counters.relayed);
  page.begin("received_bytes_total", "counter", "Message bytes from hosts and viewers.");
  page.line(counters.bytesReceived);
  page.begin("sent_bytes_total", "counter", "Message bytes to hosts and viewers.");
  page.line(counters.bytesSent);
  page.begin("closes_total", "counter", "Ended WebSockets; 1006 is one without a close frame.");
  std::map<std::string, uint64_t> closes;
  for (const auto& [code, count] : counters.closes) closes[closeLabel(code)] += count;
  for (const auto& [code, count] : closes) page.line(count, "{code=\"" + code + "\"}");
  page.begin("uptime_seconds", "gauge", "Seconds since the start.");
  page.line(process.uptimeSeconds);
  page.begin("resident_bytes", "gauge", "Memory of the process that is in RAM.");
  page.line(process.residentBytes);
  return page.text();
}

uint64_t residentBytes() {
  uint64_t total = 0;
  uint64_t resident = 0;
  std::ifstream("/proc/self/statm") >> total >> resident;
  return resident * static_cast<uint64_t>(sysconf(_SC_PAGESIZE));
}

}  // namespace tovalin::server
