#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <thread>

#include "tests/integration/x11_capture/capture_fixture.h"

namespace tovalin::test {
namespace {

// How streams begin and end.
class CaptureLifetimeTest : public CaptureFixture {
 protected:
  // Whether a thread of this process has the name; they vanish some time after their last word.
  static bool threadExists(const std::string& name) {
    for (const auto& task : std::filesystem::directory_iterator("/proc/self/task")) {
      std::string found;
      std::getline(std::ifstream(task.path() / "comm"), found);
      if (found == name) return true;
    }
    return false;
  }

  static bool threadVanishes(const std::string& name) {
    const auto bound = std::chrono::steady_clock::now() + std::chrono::seconds(60);
    while (threadExists(name)) {
      if (std::chrono::steady_clock::now() > bound) return false;
      std::this_thread::yield();
    }
    return true;
  }
};

TEST_F(CaptureLifetimeTest, SamplesComeOnAThreadNamedAfterTheQueue) {
  startServer();
  stream();
  ASSERT_TRUE(output_->waitForSamples(FrameStatus::idle, 1));
  for (const auto& sample : output_->samples()) EXPECT_EQ(sample.thread, "tovalin-capture");
}

TEST_F(CaptureLifetimeTest, NothingComesAfterACompletedStop) {
  startServer();
  stream();
  EXPECT_FALSE(stop());
  const size_t samples = output_->samples().size();
  desktop_->fill(0, 0, 10, 10, 0xff);
  EXPECT_TRUE(threadVanishes("tovalin-capture"));
  EXPECT_EQ(output_->samples().size(), samples);
  EXPECT_TRUE(output_->errors().empty());
}

TEST_F(CaptureLifetimeTest, EveryStopIsCompleted) {
  startServer();
  makeStream(configuration());
  EXPECT_FALSE(stop()) << "before the start";
  EXPECT_TRUE(start()) << "what was stopped cannot be started";
  EXPECT_FALSE(stop());

  stream();
  std::promise<void> both;
  std::atomic<int> left{2};
  for (int count = 0; count < 2; ++count) {
    stream_->stopCapture([&](std::optional<Error>) {
      if (--left == 0) both.set_value();
    });
  }
  both.get_future().get();
  EXPECT_FALSE(stop()) << "after the end";
}

TEST_F(CaptureLifetimeTest, CannotBeStartedTwice) {
  startServer();
  stream();
  ASSERT_TRUE(start());
  desktop_->fill(0, 0, 10, 10, 0xff);
  EXPECT_TRUE(pixelBecomes(0, 0, 0xff));
}

TEST_F(CaptureLifetimeTest, DestroyingTheStreamStopsIt) {
  startServer();
  stream();
  stream_ = nullptr;
  EXPECT_TRUE(threadVanishes("tovalin-capture"));
  EXPECT_TRUE(output_->errors().empty());
}

TEST_F(CaptureLifetimeTest, AnOutputThatIsGoneEndsTheStream) {
  startServer();
  stream();
  output_ = nullptr;
  EXPECT_TRUE(threadVanishes("tovalin-capture"));
}

TEST_F(CaptureLifetimeTest, DestroyingTheCaptureEndsItsStreams) {
  startServer();
  stream();
  capture_ = nullptr;
  EXPECT_FALSE(threadExists("tovalin-capture"));
  EXPECT_FALSE(stop());
}

TEST_F(CaptureLifetimeTest, ALostServerEndsTheStreamWithAnErrorOnce) {
  startServer();
  stream();
  server_->kill();
  ASSERT_TRUE(output_->waitForError());
  EXPECT_FALSE(stop());
  ASSERT_EQ(output_->errors().size(), 1U);
  EXPECT_EQ(output_->errors()[0].description, "the connection to the X server was lost");
}

TEST_F(CaptureLifetimeTest, AServerLostBeforeTheStartFailsTheStart) {
  startServer();
  makeStream(configuration());
  server_->kill();
  const auto failed = start();
  ASSERT_TRUE(failed);
  EXPECT_EQ(failed->description, "the X server cannot be reached");
  EXPECT_TRUE(output_->samples().empty());
  EXPECT_TRUE(output_->errors().empty());
}

TEST_F(CaptureLifetimeTest, AResizedDisplayEndsTheStreamAndANewOneHasItsSize) {
  startServer("1280x720x24");
  stream();
  desktop_->resize(801, 601);
  ASSERT_TRUE(output_->waitForError());
  EXPECT_FALSE(stop());
  ASSERT_EQ(output_->errors().size(), 1U);
  // Whether the size or the moment without any was seen first is up to chance.
  EXPECT_TRUE(output_->errors()[0].description == "the display changed from 1280x720 to 801x601" ||
              output_->errors()[0].description == "the display is gone")
      << output_->errors()[0].description;

  desktop_->fill(800, 600, 1, 1, 0xabcdef);
  stream();
  EXPECT_EQ(output_->picture()->width(), 801);
  EXPECT_EQ(output_->picture()->height(), 601);
  EXPECT_EQ(pixelAt(*output_->picture(), 800, 600), 0xabcdefU);
}

TEST_F(CaptureLifetimeTest, ADisplayResizedBeforeTheStartFailsTheStart) {
  startServer("1280x720x24");
  makeStream(configuration());
  desktop_->resize(800, 600);
  const auto failed = start();
  ASSERT_TRUE(failed);
  EXPECT_EQ(failed->description, "the display is 800x600 now, not 1280x720");
}

TEST_F(CaptureLifetimeTest, ADisplaySwitchedOffEndsTheStream) {
  startServer();
  stream();
  desktop_->switchOff();
  ASSERT_TRUE(output_->waitForError());
  EXPECT_EQ(output_->errors()[0].description, "the display is gone");
  stream();
  desktop_->fill(0, 0, 10, 10, 0xff);
  EXPECT_TRUE(pixelBecomes(0, 0, 0xff)) << "the root window is streamed instead";
}

TEST_F(CaptureLifetimeTest, ACompletionMayDestroyTheStreamAndItsOutput) {
  startServer();
  makeStream(configuration());
  std::promise<void> destroyed;
  stream_->startCapture([&](std::optional<Error>) {
    stream_ = nullptr;
    output_ = nullptr;
    destroyed.set_value();
  });
  destroyed.get_future().get();
  EXPECT_TRUE(threadVanishes("tovalin-capture"));
}

}  // namespace
}  // namespace tovalin::test
