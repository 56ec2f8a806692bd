#pragma once

#include <poll.h>

#include <algorithm>
#include <chrono>
#include <functional>
#include <list>
#include <memory>
#include <vector>

#include "platform/descriptor_watcher.h"

namespace tovalin::fake {

// A run loop of descriptors alone, which turns only while the test says so.
class FakeDescriptorWatcher : public DescriptorWatcher {
 public:
  std::unique_ptr<Subscription> onReadable(int descriptor,
                                           std::function<void()> observer) override {
    auto own = std::make_shared<Watched>(Watched{descriptor, std::move(observer)});
    watched_.push_back(own);
    return std::make_unique<Watch>(std::move(own));
  }

  // Calls observers of whatever can be read, until `done` or until nothing came for so long;
  // returns what `done` says at the end.
  bool runUntil(const std::function<bool()>& done,
                std::chrono::milliseconds patience = std::chrono::seconds(20)) {
    while (!done()) {
      if (!turn(patience)) return done();
    }
    return true;
  }

  // Calls observers until there is nothing to read.
  void runReady() {
    while (turn(std::chrono::milliseconds(0))) {
    }
  }

  size_t watches() const {
    return static_cast<size_t>(std::count_if(watched_.begin(), watched_.end(),
                                             [](const auto& one) { return !one.expired(); }));
  }

 private:
  struct Watched {
    int descriptor;
    std::function<void()> observer;
  };
  struct Watch : Subscription {
    explicit Watch(std::shared_ptr<Watched> watched) : own(std::move(watched)) {}
    std::shared_ptr<Watched> own;
  };

  // False when nothing could be read in time.
  bool turn(std::chrono::milliseconds patience) {
    std::vector<pollfd> descriptors;
    std::vector<std::weak_ptr<Watched>> owners;
    watched_.remove_if([](const auto& one) { return one.expired(); });
    for (const auto& one : watched_) {
      if (const auto alive = one.lock()) {
        descriptors.push_back({alive->descriptor, POLLIN, 0});
        owners.push_back(one);
      }
    }
    if (poll(descriptors.data(), descriptors.size(), static_cast<int>(patience.count())) <= 0) {
      return false;
    }
    for (size_t index = 0; index < owners.size(); ++index) {
      if (descriptors[index].revents == 0) continue;
      // Kept while it runs: an observer may end its own watch.
      if (const auto alive = owners[index].lock()) alive->observer();
    }
    return true;
  }

  std::list<std::weak_ptr<Watched>> watched_;
};

}  // namespace tovalin::fake
