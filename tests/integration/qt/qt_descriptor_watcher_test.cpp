#include "platform/qt/qt_descriptor_watcher.h"

#include <gmock/gmock.h>
#include <unistd.h>

#include <array>

#include "tests/integration/qt/application_test.h"

namespace tovalin::test {
namespace {

class QtDescriptorWatcherTest : public ApplicationTest {
 protected:
  QtDescriptorWatcherTest() { EXPECT_EQ(pipe(ends_.data()), 0); }
  ~QtDescriptorWatcherTest() override {
    watch_.reset();
    for (const int end : ends_) close(end);
  }

  void writeByte() const { ASSERT_EQ(write(ends_[1], "x", 1), 1); }
  void readByte() const {
    char byte = 0;
    ASSERT_EQ(read(ends_[0], &byte, 1), 1);
  }

  std::array<int, 2> ends_{};
  const std::unique_ptr<DescriptorWatcher> watcher_ = makeQtDescriptorWatcher();
  std::unique_ptr<Subscription> watch_;
};

TEST_F(QtDescriptorWatcherTest, TheObserverRunsOnceForEachThingToRead) {
  int calls = 0;
  watch_ = watcher_->onReadable(ends_[0], [&] {
    readByte();
    if (++calls == 2) application_.quit();
    if (calls == 1) writeByte();
  });
  writeByte();
  run();
  EXPECT_EQ(calls, 2);
}

TEST_F(QtDescriptorWatcherTest, AnObserverMayEndItsOwnWatch) {
  int calls = 0;
  watch_ = watcher_->onReadable(ends_[0], [&] {
    ++calls;
    watch_.reset();
    queue_->after(0.05, [this] { application_.quit(); });
  });
  writeByte();
  run();
  EXPECT_EQ(calls, 1);
}

}  // namespace
}  // namespace tovalin::test
