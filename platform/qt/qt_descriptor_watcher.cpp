#include "platform/qt/qt_descriptor_watcher.h"

#include <QSocketNotifier>
#include <utility>

namespace tovalin {
namespace {

class Watch : public Subscription {
 public:
  Watch(int descriptor, std::function<void()> observer)
      : notifier_(descriptor, QSocketNotifier::Read) {
    QObject::connect(&notifier_, &QSocketNotifier::activated,
                     [observer = std::move(observer)] { observer(); });
  }

 private:
  QSocketNotifier notifier_;
};

class QtDescriptorWatcher : public DescriptorWatcher {
 public:
  std::unique_ptr<Subscription> onReadable(int descriptor,
                                           std::function<void()> observer) override {
    return std::make_unique<Watch>(descriptor, std::move(observer));
  }
};

}  // namespace

std::unique_ptr<DescriptorWatcher> makeQtDescriptorWatcher() {
  return std::make_unique<QtDescriptorWatcher>();
}

}  // namespace tovalin
