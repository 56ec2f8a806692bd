// A cable of the quality one wants between two network namespaces, for machines whose kernel has no
// such queueing discipline:
//   poor_link NAMESPACE_A NAMESPACE_B DEVICE
// joins the tun devices of that name, made before, in both. Takes these lines, and answers each
// with its first word and the nanoseconds of CLOCK_MONOTONIC at which it came to hold:
//   network delay=20 jitter=5 loss=1 rate=2000 queue=200    in each direction; see Conditions
//   cut | mend
//   tell     answers with the counts of each direction, and how late packets left beside their time

#include <poll.h>
#include <sched.h>
#include <sys/prctl.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <deque>
#include <exception>
#include <stdexcept>
#include <string>
#include <system_error>
#include <vector>

#include "bench/poor_link/one_way.h"
#include "bench/poor_link/tunnel.h"

namespace tovalin {
namespace {

using Time = OneWay::Time;
using std::chrono::duration;

constexpr std::size_t kLargestPacket = 65536;
constexpr int kPacketsAtOnce = 64;  // from one side, before the other one's turn
constexpr uint32_t kSeeds[] = {20011, 20021};

Time now() {
  return std::chrono::steady_clock::now();
}

class Direction {
 public:
  Direction(Tunnel& from, Tunnel& to, uint32_t seed) : from_(from), to_(to), network_(seed) {}

  OneWay& network() { return network_; }
  int descriptor() const { return from_.descriptor(); }
  bool isEmpty() const { return onTheirWay_.empty(); }
  Time nextOut() const { return onTheirWay_.front().out; }

  void takeIn() {
    for (int i = 0; i < kPacketsAtOnce; ++i) {
      const auto packet = from_.read(buffer_);
      if (packet.empty()) return;
      const Time in = now();
      const auto out = network_.admit(in, packet.size());
      if (!out) continue;
      if (onTheirWay_.empty() && *out <= in) {
        to_.write(packet);
      } else {
        onTheirWay_.push_back({*out, {packet.begin(), packet.end()}});
      }
    }
  }

  void letOut() {
    while (!onTheirWay_.empty() && onTheirWay_.front().out <= now()) {
      to_.write(onTheirWay_.front().bytes);
      const duration<double, std::milli> late = now() - onTheirWay_.front().out;
      latenessSum_ += late.count();
      worst_ = std::max(worst_, late.count());
      ++waited_;
      onTheirWay_.pop_front();
    }
  }

  std::string tale() const {
    const auto& counts = network_.counts();
    std::array<char, 200> text;
    std::snprintf(text.data(), text.size(),
                  R"({"passed":%llu,"lost":%llu,"overflowed":%llu,"cut":%llu,)"
                  R"("lateMean":%.3f,"lateMost":%.3f})",
                  static_cast<unsigned long long>(counts.passed),
                  static_cast<unsigned long long>(counts.lost),
                  static_cast<unsigned long long>(counts.overflowed),
                  static_cast<unsigned long long>(counts.cut),
                  waited_ > 0 ? latenessSum_ / static_cast<double>(waited_) : 0.0, worst_);
    return text.data();
  }

 private:
  struct Packet {
    Time out;
    std::vector<std::byte> bytes;
  };

  Tunnel& from_;
  Tunnel& to_;
  OneWay network_;
  std::deque<Packet> onTheirWay_;  // in the order of coming out
  std::vector<std::byte> buffer_ = std::vector<std::byte>(kLargestPacket);
  uint64_t waited_ = 0;
  double latenessSum_ = 0;
  double worst_ = 0;
};

class Link {
 public:
  Link(Tunnel& a, Tunnel& b) : ways_{Direction(a, b, kSeeds[0]), Direction(b, a, kSeeds[1])} {}

  // Until its input ends.
  void run() {
    for (;;) {
      std::array<pollfd, 3> sources{{{ways_[0].descriptor(), POLLIN, 0},
                                     {ways_[1].descriptor(), POLLIN, 0},
                                     {STDIN_FILENO, POLLIN, 0}}};
      wait(sources);
      for (std::size_t i = 0; i < ways_.size(); ++i) {
        ways_[i].letOut();
        if (sources[i].revents != 0) ways_[i].takeIn();
      }
      if (sources[2].revents != 0 && !listen()) return;
    }
  }

 private:
  void wait(std::array<pollfd, 3>& sources) {
    Time next = Time::max();
    for (const Direction& way : ways_) {
      if (!way.isEmpty()) next = std::min(next, way.nextOut());
    }
    timespec left{};
    if (next != Time::max()) {
      const auto ns = std::max<int64_t>((next - now()).count(), 0);
      left = {ns / 1'000'000'000, ns % 1'000'000'000};
    }
    const timespec* const bound = next == Time::max() ? nullptr : &left;
    if (ppoll(sources.data(), sources.size(), bound, nullptr) < 0 && errno != EINTR) {
      throw std::system_error(errno, std::generic_category(), "waiting");
    }
  }

  bool listen() {
    std::array<char, 1024> bytes;
    const ssize_t size = read(STDIN_FILENO, bytes.data(), bytes.size());
    if (size <= 0) return false;
    typed_.append(bytes.data(), static_cast<std::size_t>(size));
    for (std::size_t end; (end = typed_.find('\n')) != std::string::npos;) {
      obey(typed_.substr(0, end));
      typed_.erase(0, end + 1);
    }
    return true;
  }

  void obey(const std::string& line) {
    const std::string verb = line.substr(0, line.find(' '));
    if (verb == "tell") {
      std::printf("tell [%s,%s]\n", ways_[0].tale().c_str(), ways_[1].tale().c_str());
    } else if (verb == "cut" || verb == "mend") {
      for (Direction& way : ways_) way.network().cut(verb == "cut");
      answer(verb);
    } else if (const auto conditions =
                   verb == "network" ? Conditions::parse(line.substr(verb.size())) : std::nullopt) {
      for (Direction& way : ways_) way.network().become(*conditions);
      answer(verb);
    } else {
      throw std::runtime_error("not understood: " + line);
    }
    std::fflush(stdout);
  }

  static void answer(const std::string& verb) {
    std::printf("%s %lld\n", verb.c_str(),
                static_cast<long long>(now().time_since_epoch().count()));
  }

  std::array<Direction, 2> ways_;
  std::string typed_;
};

// What keeps the machine busy must not be taken for the network.
void beServedFirst() {
  prctl(PR_SET_TIMERSLACK, 1UL);
  sched_param parameters{};
  parameters.sched_priority = 1;
  if (sched_setscheduler(0, SCHED_FIFO, &parameters) != 0) {
    std::perror("poor_link: without precedence, so it may be late");
  }
}

}  // namespace
}  // namespace tovalin

int main(int count, char** words) {
  if (count != 4) {
    std::fputs("usage: poor_link NAMESPACE_A NAMESPACE_B DEVICE\n", stderr);
    return 2;
  }
  try {
    tovalin::Tunnel a(words[1], words[3]);
    tovalin::Tunnel b(words[2], words[3]);
    tovalin::beServedFirst();
    std::puts("READY");
    std::fflush(stdout);
    tovalin::Link(a, b).run();
  } catch (const std::exception& error) {
    std::fprintf(stderr, "poor_link: %s\n", error.what());
    return 1;
  }
  return 0;
}
