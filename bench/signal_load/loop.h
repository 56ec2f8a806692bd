#pragma once

#include <sys/epoll.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <chrono>
#include <system_error>

namespace tovalin::bench {

using Clock = std::chrono::steady_clock;
using Time = Clock::time_point;

// What a descriptor in the loop belongs to.
class Ready {
 public:
  virtual ~Ready() = default;
  virtual void ready(uint32_t events) = 0;
};

// epoll(7) for one thread.
class Loop {
 public:
  Loop() : epoll_(epoll_create1(EPOLL_CLOEXEC)) {
    if (epoll_ < 0) throw std::system_error(errno, std::generic_category(), "epoll_create1");
  }
  ~Loop() { ::close(epoll_); }
  Loop(const Loop&) = delete;
  Loop& operator=(const Loop&) = delete;

  // Edge-triggered, both directions. Closing `descriptor` takes it out; `owner` must then live to
  // the end of the turn.
  void add(int descriptor, Ready& owner) {
    epoll_event event{};
    event.events = EPOLLIN | EPOLLOUT | EPOLLRDHUP | EPOLLET;
    event.data.ptr = &owner;
    if (epoll_ctl(epoll_, EPOLL_CTL_ADD, descriptor, &event) != 0) {
      throw std::system_error(errno, std::generic_category(), "epoll_ctl");
    }
  }

  // Waits until something is ready or `until`, and lets those who are ready do their work.
  void turn(Time until) {
    const auto wait = std::chrono::ceil<std::chrono::milliseconds>(until - Clock::now());
    const int milliseconds = wait.count() > 0 ? static_cast<int>(wait.count()) : 0;
    const int count = epoll_wait(epoll_, events_.data(), events_.size(), milliseconds);
    for (int i = 0; i < count; ++i) {
      static_cast<Ready*>(events_[i].data.ptr)->ready(events_[i].events);
    }
  }

 private:
  int epoll_;
  std::array<epoll_event, 512> events_;
};

}  // namespace tovalin::bench
