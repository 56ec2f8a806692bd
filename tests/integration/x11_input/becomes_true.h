#pragma once

#include <chrono>
#include <thread>

namespace tovalin::test {

// Asks again and again, for what a server can be asked about but does not tell by itself. False
// when it has not come true within half a minute.
template <typename Condition>
bool becomesTrue(Condition condition) {
  const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(30);
  while (!condition()) {
    if (std::chrono::steady_clock::now() > end) return false;
    std::this_thread::sleep_for(std::chrono::milliseconds(5));
  }
  return true;
}

}  // namespace tovalin::test
