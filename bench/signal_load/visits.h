#pragma once

#include <cstddef>
#include <list>
#include <memory>
#include <vector>

#include "bench/signal_load/fleet.h"

namespace tovalin::bench {

// Phones that come, are introduced, and go: so many every second, whether the server keeps up or
// not.
class Visits {
 public:
  Visits(Loop& loop, Fleet& fleet, uint16_t port) : loop_(loop), fleet_(fleet), port_(port) {}

  // Runs to the end of the last visit that was begun.
  void run(double perSecond, std::chrono::seconds time);

  std::size_t begun() const { return begun_; }
  std::size_t failed() const { return begun_ - offers_.size() + refused_; }

  // From `join` sent to `offer` received, and from the start of the connection, in milliseconds.
  std::vector<double> joinToOffer() const { return offers_; }
  std::vector<double> connectToOffer() const { return wholes_; }

 private:
  struct Visit {
    Host* host = nullptr;
    std::unique_ptr<WebSocket> socket;
    Time connecting, joining;
    int candidates = 0;
    bool offered = false, over = false;
  };

  void begin();
  void heard(Visit& visit, std::string_view text);

  Loop& loop_;
  Fleet& fleet_;
  uint16_t port_;
  std::list<Visit> running_;
  std::size_t begun_ = 0;
  std::size_t refused_ = 0;
  std::size_t nextHost_ = 0;
  std::vector<double> offers_, wholes_;
};

}  // namespace tovalin::bench
