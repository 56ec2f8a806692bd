#pragma once

#include <poll.h>

#include <chrono>
#include <functional>
#include <map>
#include <memory>
#include <utility>
#include <vector>

#include "platform/descriptor_watcher.h"
#include "tests/fakes/fake_main_queue.h"

namespace tovalin::test {

// A main thread for a test: descriptors are real, time is the test's. Nothing runs outside the
// operations below, so what has not happened after a call returned was not waited for in it.
class TestLoop : public DescriptorWatcher {
 public:
  std::unique_ptr<Subscription> onReadable(int descriptor,
                                           std::function<void()> observer) override {
    observers_[++lastWatch_] = {descriptor, std::move(observer)};
    return std::make_unique<Watch>(*this, lastWatch_);
  }

  // Runs tasks and observers until `condition` holds; false when that takes half a minute.
  bool runUntil(const std::function<bool()>& condition) {
    const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(30);
    for (;;) {
      queue.run();
      if (condition()) return true;
      const auto left = std::chrono::duration_cast<std::chrono::milliseconds>(
          end - std::chrono::steady_clock::now());
      if (left.count() <= 0 || !serve(static_cast<int>(left.count()))) return false;
    }
  }

  // Runs what is due without waiting for anything.
  void runReady() {
    do queue.run();
    while (serve(0));
  }

  fake::FakeMainQueue queue;

 private:
  struct Observer {
    int descriptor;
    std::function<void()> call;
  };

  struct Watch : Subscription {
    Watch(TestLoop& loop, int id) : loop_(loop), id_(id) {}
    ~Watch() override { loop_.observers_.erase(id_); }
    TestLoop& loop_;
    int id_;
  };

  bool serve(int milliseconds) {
    std::vector<pollfd> polled;
    std::vector<int> ids;
    for (const auto& [id, observer] : observers_) {
      polled.push_back({observer.descriptor, POLLIN, 0});
      ids.push_back(id);
    }
    if (poll(polled.data(), polled.size(), milliseconds) <= 0) return false;
    for (size_t i = 0; i < polled.size(); ++i) {
      if (polled[i].revents == 0) continue;
      if (const auto found = observers_.find(ids[i]); found != observers_.end()) {
        const auto call = found->second.call;
        call();
      }
    }
    return true;
  }

  std::map<int, Observer> observers_;
  int lastWatch_ = 0;
};

}  // namespace tovalin::test
