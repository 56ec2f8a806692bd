#pragma once

#include <gtest/gtest.h>

#include <memory>
#include <vector>

#include "platform/qt/qt_application.h"
#include "platform/qt/qt_main_queue.h"

namespace tovalin::test {

// An application with its main queue, for as long as a test.
class ApplicationTest : public testing::Test {
 protected:
  // Runs the loop until a task quits it; fails when none does in time.
  void run() {
    bool late = false;
    const auto alarm = queue_->every(20, [&] {
      late = true;
      application_.quit();
    });
    EXPECT_EQ(application_.run(), 0);
    EXPECT_FALSE(late) << "nothing ended the loop";
  }

  // Runs what has been posted so far, and what comes of it without waiting.
  void runPosted() {
    queue_->post([this] { application_.quit(); });
    run();
  }

  int argumentCount_ = 1;
  char name_[5] = "test";
  std::vector<char*> arguments_ = {name_, nullptr};
  QtApplication application_{argumentCount_, arguments_.data()};
  std::unique_ptr<MainQueue> queue_ = makeQtMainQueue();
};

}  // namespace tovalin::test
