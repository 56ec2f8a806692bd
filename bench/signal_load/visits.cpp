#include "bench/signal_load/visits.h"

namespace tovalin::bench {
namespace {

constexpr auto kPatience = std::chrono::seconds(10);  // for what has not ended at the end

double millisecondsSince(Time start) {
  return std::chrono::duration<double, std::milli>(Clock::now() - start).count();
}

}  // namespace

void Visits::run(double perSecond, std::chrono::seconds time) {
  const Time start = Clock::now();
  const auto due = [&](std::size_t n) {
    return start + std::chrono::duration_cast<Clock::duration>(
                       std::chrono::duration<double>(static_cast<double>(n) / perSecond));
  };
  const Time end = start + time;
  while (Clock::now() < end) {
    while (due(begun_) <= Clock::now() && due(begun_) < end) begin();
    loop_.turn(due(begun_));
    std::erase_if(running_, [](const Visit& visit) { return visit.over; });
  }
  const Time patience = Clock::now() + kPatience;
  while (!running_.empty() && Clock::now() < patience) {
    loop_.turn(patience);
    std::erase_if(running_, [](const Visit& visit) { return visit.over; });
  }
}

// The next host that nobody visits; with more hosts than visits at a time there is one.
void Visits::begin() {
  auto& hosts = fleet_.hosts();
  while (hosts[nextHost_].visited) nextHost_ = (nextHost_ + 1) % hosts.size();
  Visit& visit = running_.emplace_back();
  visit.host = &hosts[nextHost_];
  visit.host->visited = true;
  nextHost_ = (nextHost_ + 1) % hosts.size();
  visit.connecting = Clock::now();
  const std::string address = "127.0.30." + std::to_string(1 + begun_ % 100);
  ++begun_;
  visit.socket = std::make_unique<WebSocket>(
      loop_, address, port_, "/viewer",
      WebSocket::Events{
          [&visit] {
            visit.socket->send(R"({"type":"join","hostId":")" + visit.host->id +
                               R"(","deviceId":")" + visit.host->deviceId + R"(","deviceKey":")" +
                               visit.host->deviceKey + R"("})");
            visit.joining = Clock::now();
          },
          [this, &visit](std::string_view text) { heard(visit, text); },
          [&visit] { visit.over = true; },
      });
}

void Visits::heard(Visit& visit, std::string_view text) {
  if (isType(text, "offer")) {
    offers_.push_back(millisecondsSince(visit.joining));
    wholes_.push_back(millisecondsSince(visit.connecting));
    visit.offered = true;
    visit.socket->send(answerText());
    for (int i = 0; i < kCandidates; ++i) visit.socket->send(candidateText());
  } else if (isType(text, "ice")) {
    ++visit.candidates;
  } else if (isType(text, "join-failed")) {
    ++refused_;
    visit.socket->close();
  }
  if (visit.offered && visit.candidates == kCandidates) {
    visit.candidates = 0;
    visit.socket->send(R"({"type":"leave"})");
    visit.socket->close();
  }
}

}  // namespace tovalin::bench
