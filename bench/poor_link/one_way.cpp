#include "bench/poor_link/one_way.h"

#include <algorithm>
#include <sstream>

namespace tovalin {
namespace {

using Duration = Conditions::Duration;

Duration milliseconds(double value) {
  return std::chrono::duration_cast<Duration>(std::chrono::duration<double, std::milli>(value));
}

}  // namespace

std::optional<Conditions> Conditions::parse(const std::string& words) {
  Conditions conditions;
  std::istringstream stream(words);
  for (std::string word; stream >> word;) {
    const auto sign = word.find('=');
    if (sign == std::string::npos) return std::nullopt;
    const std::string name = word.substr(0, sign);
    std::istringstream digits(word.substr(sign + 1));
    double value = 0;
    if (!(digits >> value) || !digits.eof() || value < 0) return std::nullopt;
    if (name == "delay") {
      conditions.delay = milliseconds(value);
    } else if (name == "jitter") {
      conditions.jitter = milliseconds(value);
    } else if (name == "loss" && value <= 100) {
      conditions.loss = value / 100;
    } else if (name == "rate") {
      conditions.bitsPerSecond = value * 1000;
    } else if (name == "queue") {
      conditions.queue = milliseconds(value);
    } else {
      return std::nullopt;
    }
  }
  return conditions;
}

std::optional<OneWay::Time> OneWay::admit(Time now, std::size_t bytes) {
  if (isCut_) {
    ++counts_.cut;
    return std::nullopt;
  }
  if (conditions_.loss > 0 &&
      std::uniform_real_distribution(0.0, 1.0)(chance_) < conditions_.loss) {
    ++counts_.lost;
    return std::nullopt;
  }
  Time out = now;
  if (conditions_.bitsPerSecond > 0) {
    const Time begins = std::max(now, lineFree_);
    if (begins - now > conditions_.queue) {
      ++counts_.overflowed;
      return std::nullopt;
    }
    const double bits = 8.0 * static_cast<double>(bytes);
    lineFree_ = begins + milliseconds(1000 * bits / conditions_.bitsPerSecond);
    out = lineFree_;
  }
  out += std::max(Duration::zero(), conditions_.delay + jitter(now));
  lastOut_ = std::max(out, lastOut_);
  ++counts_.passed;
  return lastOut_;
}

Duration OneWay::jitter(Time now) {
  if (conditions_.jitter == Duration::zero()) return Duration::zero();
  if (now - lastIn_ > kBurst) {
    const double share = std::uniform_real_distribution(-1.0, 1.0)(chance_);
    burstJitter_ = std::chrono::duration_cast<Duration>(conditions_.jitter * share);
  }
  lastIn_ = now;
  return burstJitter_;
}

}  // namespace tovalin
