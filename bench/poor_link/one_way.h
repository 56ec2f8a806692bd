#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <random>
#include <string>

namespace tovalin {

// What a network does to packets on their way in one direction.
struct Conditions {
  using Duration = std::chrono::nanoseconds;

  Duration delay{0};
  Duration jitter{0};        // the delay lies so much below or above, and never below zero
  double loss = 0;           // from 0 to 1, each packet on its own
  double bitsPerSecond = 0;  // 0: as many as come
  Duration queue{0};  // what may wait for the line, as the time that it takes; then packets go

  // Reads `delay=20 jitter=5 loss=1 rate=2000 queue=200`: milliseconds, percent, kbit/s; whatever
  // is missing is none. Nothing if it is not understood.
  static std::optional<Conditions> parse(const std::string& words);
};

// One direction of a poor network: says for each packet whether and when it comes out. The order is
// kept. Has no clock of its own; the same seed and the same packets have the same fate. Not
// thread-safe.
class OneWay {
 public:
  using Time = std::chrono::time_point<std::chrono::steady_clock, std::chrono::nanoseconds>;

  // Packets that come so close together are one burst, which jitter moves as a whole: each for
  // itself would make every burst as late as its unluckiest packet.
  static constexpr Conditions::Duration kBurst = std::chrono::milliseconds(1);

  struct Counts {
    uint64_t passed = 0;
    uint64_t lost = 0;        // by chance
    uint64_t overflowed = 0;  // for want of room in the queue
    uint64_t cut = 0;
  };

  explicit OneWay(uint32_t seed) : chance_(seed) {}

  // Holds for the packets to come.
  void become(const Conditions& conditions) { conditions_ = conditions; }
  // While it is cut nothing goes in; what is on its way arrives.
  void cut(bool isCut) { isCut_ = isCut; }

  // When a packet of that size that goes in now comes out, or nothing if it never does.
  std::optional<Time> admit(Time now, std::size_t bytes);

  const Counts& counts() const { return counts_; }

 private:
  Conditions::Duration jitter(Time now);

  Conditions conditions_;
  bool isCut_ = false;
  Time lineFree_{};
  Time lastIn_{};
  Time lastOut_{};
  Conditions::Duration burstJitter_{0};
  std::mt19937 chance_;
  Counts counts_;
};

}  // namespace tovalin
