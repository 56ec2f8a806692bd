#pragma once

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "capture/screen_streamer.h"
#include "tests/fakes/fake_main_queue.h"
#include "tests/fakes/fake_screen_capture.h"
#include "tests/fakes/fake_system.h"

namespace tovalin {

inline constexpr char kWatchdogLine[] = "[Tovalin] watchdog: no frames for 6s — restarting capture";

struct RecordingSink : ScreenStreamerSink {
  void screenStreamerDidCapture(const PixelBufferRef& picture) override {
    pictures.push_back(picture->pictureNumber());
    if (onPicture) onPicture();
  }
  void screenStreamerDiagnostic(const std::string& text) override { diagnostics.push_back(text); }

  std::vector<uint64_t> pictures;
  std::vector<std::string> diagnostics;
  std::function<void()> onPicture;
};

class ScreenStreamerFixture : public testing::Test {
 protected:
  ScreenStreamerFixture() { streamer->setSink(sink); }

  // Goes on until a picture has been captured, at a time between two ticks of both timers.
  void capture() {
    streamer->start();
    queue.advance(0.3);
    picture(1);
    sink->pictures.clear();
  }

  void picture(uint64_t number) {
    ASSERT_TRUE(screen.deliver(std::make_shared<fake::FakePixelBuffer>(number)));
  }

  void idleFor(double seconds) {
    for (double passed = 0; passed < seconds; passed += 0.5) {
      screen.deliver(fake::idleSample());
      queue.advance(0.5);
    }
  }

  // Attempts to start a capture so far.
  int attempts() const { return screen.contentQueries(); }

  fake::FakeMainQueue queue;
  fake::FakeScreenCapture screen;
  fake::FakeSystemLog log;
  std::shared_ptr<RecordingSink> sink = std::make_shared<RecordingSink>();
  std::shared_ptr<ScreenStreamer> streamer = ScreenStreamer::create(queue, screen, log);
};

}  // namespace tovalin
