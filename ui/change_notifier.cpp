#include "ui/change_notifier.h"

#include <utility>

namespace tovalin {
namespace {

struct Observation : Subscription {
  explicit Observation(std::shared_ptr<std::function<void()>> own) : observer(std::move(own)) {}
  std::shared_ptr<std::function<void()>> observer;
};

}  // namespace

std::unique_ptr<Subscription> ChangeNotifier::subscribe(std::function<void()> observer) {
  auto shared = std::make_shared<Observer>(std::move(observer));
  observers_.push_back(shared);
  return std::make_unique<Observation>(std::move(shared));
}

void ChangeNotifier::notify() {
  std::erase_if(observers_, [](const auto& observer) { return observer.expired(); });
  for (const auto& observer : std::vector(observers_)) {
    if (const auto alive = observer.lock()) (*alive)();
  }
}

}  // namespace tovalin
