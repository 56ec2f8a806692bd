// The streamer between its threads: the main thread, the sample thread and the one on which
// completions come. What is at stake shows under ThreadSanitizer; the counts hold without it.

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <thread>

#include "capture/screen_streamer.h"
#include "tests/fakes/fake_main_queue.h"
#include "tests/fakes/fake_screen_capture.h"
#include "tests/fakes/fake_system.h"

namespace tovalin {
namespace {

struct CountingSink : ScreenStreamerSink {
  void screenStreamerDidCapture(const PixelBufferRef& picture) override {
    bytes += picture->data()[0];
    ++pictures;
  }
  void screenStreamerDiagnostic(const std::string&) override { ++diagnostics; }

  std::atomic<long> bytes = 0;
  std::atomic<int> pictures = 0;
  std::atomic<int> diagnostics = 0;
};

TEST(ScreenStreamerThreadsTest, SamplesAndCompletionsComeWhileVisitsStartAndStop) {
  fake::FakeMainQueue queue;
  fake::FakeScreenCapture screen;
  fake::FakeSystemLog log;
  screen.deferred = true;
  const auto sink = std::make_shared<CountingSink>();
  const auto streamer = ScreenStreamer::create(queue, screen, log);
  streamer->setSink(sink);

  std::atomic<bool> done = false;
  std::thread completions([&] {
    while (!done) {
      if (!screen.completeNext()) std::this_thread::yield();
    }
  });
  std::atomic<int> delivered = 0;
  std::thread samples([&] {
    for (uint64_t number = 1; !done; ++number) {
      if (number % 50 == 0) {
        screen.die("resized");
      } else if (screen.deliver(std::make_shared<fake::FakePixelBuffer>(number % 200 + 1))) {
        ++delivered;
      } else {
        std::this_thread::yield();
      }
    }
  });

  const auto pictureComes = [&](int after) {
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(30);
    while (delivered == after && std::chrono::steady_clock::now() < deadline) queue.advance(0.5);
    return delivered != after;
  };
  for (int visit = 0; visit < 200 && !HasFailure(); ++visit) {
    streamer->start();
    EXPECT_TRUE(pictureComes(delivered));
    EXPECT_EQ(streamer->captureSize(), (ScreenStreamer::Size{1920, 1080}));
    EXPECT_TRUE(streamer->isRunning());
    queue.advance(2);
    streamer->stop();
  }
  done = true;
  completions.join();
  samples.join();

  screen.completeAll();
  streamer->stop();
  screen.completeAll();
  EXPECT_EQ(screen.liveStreams(), 0);
  EXPECT_GE(sink->pictures, delivered);
  EXPECT_GE(sink->diagnostics, 200);
  for (const auto& stream : screen.streams()) EXPECT_FALSE(stream.exists);
}

}  // namespace
}  // namespace tovalin
