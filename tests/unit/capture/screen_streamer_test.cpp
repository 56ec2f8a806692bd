#include "capture/screen_streamer.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/fakes/fake_main_queue.h"
#include "tests/fakes/fake_screen_capture.h"
#include "tests/fakes/fake_system.h"

namespace tovalin {
namespace {

using testing::Each;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::SizeIs;

constexpr char kWatchdogLine[] = "[Tovalin] watchdog: no frames for 6s — restarting capture";

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

class ScreenStreamerTest : public testing::Test {
 protected:
  ScreenStreamerTest() { streamer->setSink(sink); }

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

TEST_F(ScreenStreamerTest, IsIdleAtFirst) {
  EXPECT_FALSE(streamer->isRunning());
  EXPECT_EQ(streamer->captureSize(), ScreenStreamer::Size());
  EXPECT_EQ(attempts(), 0);
  EXPECT_EQ(queue.liveTimers(), 0);
}

TEST_F(ScreenStreamerTest, CapturesTheMainDisplayAtItsOwnSizeWithThePointer) {
  screen.displays = {{7, 1280, 1024}, {3, 2560, 1440}};
  screen.main = 3;
  streamer->start();
  ASSERT_THAT(screen.streams(), SizeIs(1));
  const auto made = screen.streams()[0].configuration;
  EXPECT_EQ(made.display, 3u);
  EXPECT_EQ(made.width, 2560);
  EXPECT_EQ(made.height, 1440);
  EXPECT_DOUBLE_EQ(made.minimumFrameInterval, 1.0 / 30);
  EXPECT_EQ(made.pixelFormat, kPixelFormatBgra);
  EXPECT_EQ(made.queueDepth, 5);
  EXPECT_TRUE(made.showsCursor);
  EXPECT_EQ(made.queueLabel, "com.tovalin.host.capture");
  EXPECT_EQ(streamer->captureSize(), (ScreenStreamer::Size{2560, 1440}));
}

TEST_F(ScreenStreamerTest, CapturesTheFirstOfTwoDisplaysWithTheMainIdentifier) {
  screen.displays = {{3, 800, 600}, {3, 1024, 768}};
  screen.main = 3;
  streamer->start();
  EXPECT_EQ(streamer->captureSize(), (ScreenStreamer::Size{800, 600}));
}

TEST_F(ScreenStreamerTest, CapturesTheFirstDisplayWhenNoneIsTheMainOne) {
  screen.displays = {{7, 1280, 1024}, {3, 2560, 1440}};
  screen.main = 99;
  streamer->start();
  ASSERT_THAT(screen.streams(), SizeIs(1));
  EXPECT_EQ(screen.streams()[0].configuration.display, 7u);
}

TEST_F(ScreenStreamerTest, ReportsTheSizeOfAStartedCapture) {
  streamer->start();
  EXPECT_TRUE(streamer->isRunning());
  EXPECT_EQ(screen.liveStreams(), 1);
  EXPECT_THAT(log.lines(), ElementsAre("[Tovalin] capture started 1920x1080"));
  EXPECT_THAT(sink->diagnostics, ElementsAre("capture-started 1920x1080"));
}

TEST_F(ScreenStreamerTest, SaysNothingBeforeTheStartHasCompleted) {
  screen.deferred = true;
  streamer->start();
  EXPECT_TRUE(streamer->isRunning());
  EXPECT_EQ(queue.liveTimers(), 2);
  screen.completeNext();
  EXPECT_THAT(screen.streams(), SizeIs(1));
  EXPECT_THAT(log.lines(), IsEmpty());
  screen.completeNext();
  EXPECT_THAT(sink->diagnostics, ElementsAre("capture-started 1920x1080"));
}

TEST_F(ScreenStreamerTest, StartTwiceMakesOneStreamAndOnePairOfTimers) {
  streamer->start();
  streamer->start();
  EXPECT_THAT(screen.streams(), SizeIs(1));
  EXPECT_EQ(queue.liveTimers(), 2);
}

TEST_F(ScreenStreamerTest, StopEndsStreamAndTimers) {
  capture();
  streamer->stop();
  EXPECT_FALSE(streamer->isRunning());
  EXPECT_EQ(queue.liveTimers(), 0);
  EXPECT_EQ(screen.liveStreams(), 0);
  EXPECT_EQ(screen.streams()[0].stops, 1);
  EXPECT_FALSE(screen.streams()[0].exists);
  queue.advance(20);
  EXPECT_EQ(attempts(), 1);
  EXPECT_THAT(sink->pictures, IsEmpty());
  EXPECT_EQ(streamer->captureSize(), (ScreenStreamer::Size{1920, 1080}));
}

TEST_F(ScreenStreamerTest, StopKeepsTheStreamUntilItHasStopped) {
  capture();
  screen.deferred = true;
  streamer->stop();
  EXPECT_TRUE(screen.streams()[0].exists);
  screen.completeAll();
  EXPECT_FALSE(screen.streams()[0].exists);
}

TEST_F(ScreenStreamerTest, StopWithoutStartDoesNothing) {
  streamer->stop();
  EXPECT_THAT(log.lines(), IsEmpty());
  EXPECT_EQ(queue.pendingTasks(), 0u);
}

TEST_F(ScreenStreamerTest, AFailingStopIsSilent) {
  capture();
  screen.failStop = "the display server is gone";
  streamer->stop();
  EXPECT_THAT(log.lines(), ElementsAre("[Tovalin] capture started 1920x1080"));
}

struct StartFailure {
  const char* step;
  std::string fake::FakeScreenCapture::*failure;
};

class ScreenStreamerStartFailureTest : public ScreenStreamerTest,
                                       public testing::WithParamInterface<StartFailure> {};

TEST_P(ScreenStreamerStartFailureTest, IsReportedAndRetriedByTheWatchdog) {
  auto& failure = screen.*GetParam().failure;
  failure = "permission denied";
  streamer->start();
  EXPECT_THAT(log.lines(), ElementsAre("[Tovalin] capture start failed: permission denied"));
  EXPECT_THAT(sink->diagnostics, ElementsAre("capture-FAILED permission denied"));
  EXPECT_TRUE(streamer->isRunning());
  EXPECT_EQ(queue.liveTimers(), 2);
  EXPECT_EQ(screen.liveStreams(), 0);

  failure.clear();
  queue.advance(7.9);
  EXPECT_EQ(attempts(), 1);
  queue.advance(0.1);
  EXPECT_EQ(attempts(), 2);
  EXPECT_EQ(screen.liveStreams(), 1);
  EXPECT_EQ(sink->diagnostics.back(), "capture-started 1920x1080");
}

INSTANTIATE_TEST_SUITE_P(
    EveryStep, ScreenStreamerStartFailureTest,
    testing::Values(StartFailure{"Content", &fake::FakeScreenCapture::failContent},
                    StartFailure{"OutputRegistration", &fake::FakeScreenCapture::failMakeStream},
                    StartFailure{"Start", &fake::FakeScreenCapture::failStart}),
    [](const auto& each) { return each.param.step; });

TEST_F(ScreenStreamerTest, AStreamThatFailedToStartIsNotKept) {
  screen.failStart = "no";
  streamer->start();
  ASSERT_THAT(screen.streams(), SizeIs(1));
  EXPECT_FALSE(screen.streams()[0].exists);
}

TEST_F(ScreenStreamerTest, WithoutDisplaysItLogsOncePerAttemptAndRetriesEveryEightSeconds) {
  screen.displays.clear();
  streamer->start();
  EXPECT_THAT(log.lines(), ElementsAre("[Tovalin] no display found"));
  queue.advance(80);
  EXPECT_EQ(attempts(), 11);
  EXPECT_EQ(log.count("[Tovalin] no display found"), 11);
  EXPECT_EQ(log.count(kWatchdogLine), 10);
  EXPECT_THAT(sink->diagnostics, IsEmpty());
  EXPECT_EQ(streamer->captureSize(), ScreenStreamer::Size());
}

TEST_F(ScreenStreamerTest, ADisplayThatComesLaterIsCaptured) {
  screen.displays.clear();
  streamer->start();
  screen.displays = {{1, 640, 480}};
  queue.advance(8);
  EXPECT_EQ(screen.liveStreams(), 1);
  EXPECT_THAT(sink->diagnostics, ElementsAre("capture-started 640x480"));
}

TEST_F(ScreenStreamerTest, FreshPicturesGoStraightToTheSink) {
  streamer->start();
  picture(1);
  picture(2);
  EXPECT_THAT(sink->pictures, ElementsAre(1, 2));
}

TEST_F(ScreenStreamerTest, OnlyCompleteValidScreenSamplesWithAPictureAreDelivered) {
  streamer->start();
  const auto image = std::make_shared<fake::FakePixelBuffer>();
  const CaptureSample dropped[] = {
      {SampleType::audio, true, 0, image},              //
      {SampleType::screen, false, 0, image},            //
      {SampleType::screen, true, std::nullopt, image},  //
      {SampleType::screen, true, 1, image},             // idle
      {SampleType::screen, true, 2, image},             // blank
      {SampleType::screen, true, 3, image},             // suspended
      {SampleType::screen, true, 4, image},             // started
      {SampleType::screen, true, 5, image},             // stopped
      {SampleType::screen, true, -1, image},            //
      {SampleType::screen, true, 6, image},             //
      {SampleType::screen, true, 0, nullptr},           //
  };
  for (const auto& sample : dropped) ASSERT_TRUE(screen.deliver(sample));
  queue.advance(1.5);
  EXPECT_THAT(sink->pictures, IsEmpty());
  screen.deliver(fake::completeSample(image));
  EXPECT_THAT(sink->pictures, ElementsAre(1));
}

TEST_F(ScreenStreamerTest, AStaticScreenRepeatsThePictureEveryHalfSecond) {
  capture();
  idleFor(5);
  EXPECT_THAT(sink->pictures, SizeIs(9));
  EXPECT_THAT(sink->pictures, Each(1));
}

TEST_F(ScreenStreamerTest, NothingIsRepeatedBeforeTheFirstCompletePicture) {
  streamer->start();
  idleFor(5);
  EXPECT_THAT(sink->pictures, IsEmpty());
}

TEST_F(ScreenStreamerTest, APictureIsRepeatedAtTheFirstTickAfterSixTenthsOfASecond) {
  capture();           // at 0.3
  queue.advance(0.2);  // a tick, 0.2 later
  EXPECT_THAT(sink->pictures, IsEmpty());
  queue.advance(0.49);
  EXPECT_THAT(sink->pictures, IsEmpty());
  queue.advance(0.01);  // a tick, 0.7 later
  EXPECT_THAT(sink->pictures, ElementsAre(1));
  queue.advance(0.5);
  EXPECT_THAT(sink->pictures, ElementsAre(1, 1));
}

TEST_F(ScreenStreamerTest, NothingIsRepeatedWhilePicturesComeFasterThanTheTicks) {
  streamer->start();
  for (uint64_t number = 1; number <= 20; ++number) {
    picture(number);
    queue.advance(0.4);
  }
  EXPECT_THAT(sink->pictures, SizeIs(20));
}

TEST_F(ScreenStreamerTest, AFreshPictureReplacesTheRepeatedOne) {
  capture();
  idleFor(1);
  sink->pictures.clear();
  picture(2);
  queue.advance(1);
  EXPECT_THAT(sink->pictures, ElementsAre(2, 2));
}

TEST_F(ScreenStreamerTest, TheSinkMayStopTheStreamerOutOfARepeat) {
  capture();
  sink->onPicture = [&] { streamer->stop(); };
  queue.advance(5);
  EXPECT_THAT(sink->pictures, ElementsAre(1));
  EXPECT_EQ(queue.liveTimers(), 0);
}

TEST_F(ScreenStreamerTest, WithoutASinkPicturesAndDiagnosticsAreDropped) {
  capture();
  std::weak_ptr<RecordingSink> weak = sink;
  sink.reset();
  EXPECT_TRUE(weak.expired());
  picture(2);
  queue.advance(2);
  ASSERT_TRUE(screen.die("unplugged"));
  EXPECT_EQ(log.count("[Tovalin] capture started 1920x1080"), 2);
}

TEST_F(ScreenStreamerTest, ASinkThatComesLaterGetsTheLastPicture) {
  streamer->setSink({});
  streamer->start();
  picture(4);
  streamer->setSink(sink);
  queue.advance(1);
  EXPECT_THAT(sink->pictures, ElementsAre(4));
}

TEST_F(ScreenStreamerTest, SilenceForMoreThanSixSecondsRestartsTheCapture) {
  streamer->start();
  queue.advance(6);  // a tick at six seconds sharp is not enough
  EXPECT_EQ(attempts(), 1);
  queue.advance(2);
  EXPECT_EQ(attempts(), 2);
  EXPECT_EQ(log.count(kWatchdogLine), 1);
  ASSERT_THAT(screen.streams(), SizeIs(2));
  EXPECT_EQ(screen.streams()[0].stops, 1);
  EXPECT_FALSE(screen.streams()[0].exists);
  EXPECT_EQ(screen.liveStreams(), 1);
}

struct QuietingSample {
  const char* name;
  CaptureSample sample;
};

class ScreenStreamerQuietTest : public ScreenStreamerTest,
                                public testing::WithParamInterface<QuietingSample> {};

TEST_P(ScreenStreamerQuietTest, KeepsTheWatchdogQuiet) {
  streamer->start();
  for (int second = 0; second < 30; ++second) {
    screen.deliver(GetParam().sample);
    queue.advance(1);
  }
  EXPECT_EQ(attempts(), 1);
  EXPECT_THAT(sink->pictures, IsEmpty());
}

INSTANTIATE_TEST_SUITE_P(
    EveryScreenSample, ScreenStreamerQuietTest,
    testing::Values(QuietingSample{"Idle", fake::idleSample()},
                    QuietingSample{"Invalid", {SampleType::screen, false, 0, nullptr}},
                    QuietingSample{"Statusless", {SampleType::screen, true, std::nullopt, nullptr}},
                    QuietingSample{"Pictureless", {SampleType::screen, true, 0, nullptr}}),
    [](const auto& each) { return each.param.name; });

TEST_F(ScreenStreamerTest, AudioSamplesDoNotKeepTheWatchdogQuiet) {
  streamer->start();
  for (int second = 0; second < 8; ++second) {
    screen.deliver(CaptureSample{SampleType::audio, true, 0, nullptr});
    queue.advance(1);
  }
  EXPECT_EQ(attempts(), 2);
}

TEST_F(ScreenStreamerTest, RepeatedPicturesDoNotKeepTheWatchdogQuiet) {
  capture();
  queue.advance(7.7);
  EXPECT_FALSE(sink->pictures.empty());
  EXPECT_EQ(attempts(), 2);
}

TEST_F(ScreenStreamerTest, AWatchdogDuringARestartStartsNothing) {
  streamer->start();
  screen.deferred = true;
  queue.advance(8);
  EXPECT_EQ(screen.pending(), 1u);  // the old stream's stop
  queue.advance(8);
  EXPECT_EQ(screen.pending(), 1u);
  EXPECT_EQ(screen.streams()[0].stops, 1);
  EXPECT_EQ(attempts(), 1);
  screen.completeAll();
  EXPECT_EQ(attempts(), 2);
  EXPECT_EQ(screen.liveStreams(), 1);
}

TEST_F(ScreenStreamerTest, ARestartStopsTheOldStreamBeforeItStartsTheNext) {
  streamer->start();
  screen.deferred = true;
  ASSERT_TRUE(screen.die("display resized"));
  EXPECT_EQ(screen.streams()[0].stops, 1);
  EXPECT_EQ(attempts(), 1);
  screen.completeNext();
  EXPECT_EQ(attempts(), 2);
  EXPECT_THAT(screen.streams(), SizeIs(1));
  screen.completeAll();
  EXPECT_THAT(screen.streams(), SizeIs(2));
}

TEST_F(ScreenStreamerTest, ARestartGoesOnWhenTheOldStreamFailsToStop) {
  streamer->start();
  screen.failStop = "already gone";
  ASSERT_TRUE(screen.die("connection lost"));
  EXPECT_EQ(screen.liveStreams(), 1);
  EXPECT_THAT(log.lines(), ElementsAre("[Tovalin] capture started 1920x1080",
                                       "[Tovalin] stream died: connection lost — restarting",
                                       "[Tovalin] capture started 1920x1080"));
}

TEST_F(ScreenStreamerTest, ADeadStreamIsReplacedAtTheDisplaysNewSize) {
  capture();
  screen.displays = {{1, 1080, 1920}};
  ASSERT_TRUE(screen.die("display rotated"));
  EXPECT_EQ(streamer->captureSize(), (ScreenStreamer::Size{1080, 1920}));
  EXPECT_THAT(sink->diagnostics,
              ElementsAre("capture-started 1920x1080", "capture-started 1080x1920"));
  picture(2);
  EXPECT_THAT(sink->pictures, ElementsAre(2));
}

TEST_F(ScreenStreamerTest, AStaticPictureIsRepeatedWhileTheCaptureRestarts) {
  capture();
  screen.deferred = true;
  ASSERT_TRUE(screen.die("display resized"));
  queue.advance(1.7);
  EXPECT_THAT(sink->pictures, ElementsAre(1, 1, 1));
}

TEST_F(ScreenStreamerTest, ADeathDuringARestartStartsNothingMore) {
  streamer->start();
  screen.deferred = true;
  ASSERT_TRUE(screen.die("first"));
  streamer->didStopWithError({"second"});
  EXPECT_EQ(log.count("[Tovalin] stream died: second — restarting"), 1);
  screen.completeAll();
  EXPECT_EQ(attempts(), 2);
}

TEST_F(ScreenStreamerTest, ADeathAfterStopIsLoggedAndNotFollowedUp) {
  streamer->start();
  screen.deferred = true;
  streamer->stop();
  ASSERT_TRUE(screen.die("unplugged"));
  screen.completeAll();
  EXPECT_EQ(log.lines().back(), "[Tovalin] stream died: unplugged — restarting");
  EXPECT_EQ(attempts(), 1);
}

TEST_F(ScreenStreamerTest, AFailedRestartIsRetriedSixToEightSecondsAfterItsEnd) {
  streamer->start();
  queue.advance(1);
  screen.failStart = "no";
  ASSERT_TRUE(screen.die("unplugged"));  // at 1
  EXPECT_EQ(attempts(), 2);
  queue.advance(6.9);
  EXPECT_EQ(attempts(), 2);
  queue.advance(0.1);  // the tick at 8 is the first more than 6 s on
  EXPECT_EQ(attempts(), 3);
}

TEST_F(ScreenStreamerTest, ARestartsEndCountsAsASample) {
  streamer->start();
  screen.deferred = true;
  queue.advance(8);  // silent: restarts, and hangs
  queue.advance(5);
  screen.completeAll();  // at 13
  queue.advance(5);
  EXPECT_EQ(attempts(), 2);
  EXPECT_EQ(log.count(kWatchdogLine), 3);  // at 8, 10 and 12
  queue.advance(2);
  EXPECT_EQ(log.count(kWatchdogLine), 4);  // at 20
}

TEST_F(ScreenStreamerTest, AStopDuringAStartLetsTheStreamComeUpAndTheNextStopEndsIt) {
  screen.deferred = true;
  streamer->start();
  streamer->stop();
  screen.completeAll();
  EXPECT_FALSE(streamer->isRunning());
  EXPECT_EQ(screen.liveStreams(), 1);
  EXPECT_THAT(sink->diagnostics, ElementsAre("capture-started 1920x1080"));
  picture(1);
  EXPECT_THAT(sink->pictures, ElementsAre(1));
  queue.advance(20);  // neither repeats nor restarts
  EXPECT_THAT(sink->pictures, ElementsAre(1));
  EXPECT_EQ(attempts(), 1);

  streamer->stop();
  screen.completeAll();
  EXPECT_EQ(screen.liveStreams(), 0);
  EXPECT_FALSE(screen.streams()[0].exists);
}

TEST_F(ScreenStreamerTest, AStopDuringARestartLetsItRunToItsEnd) {
  streamer->start();
  screen.deferred = true;
  ASSERT_TRUE(screen.die("display resized"));
  streamer->stop();
  screen.completeAll();
  EXPECT_EQ(screen.liveStreams(), 1);
  streamer->stop();
  screen.completeAll();
  EXPECT_EQ(screen.liveStreams(), 0);
}

TEST_F(ScreenStreamerTest, ARestartWorksAgainAfterOneThatOutlivedItsVisit) {
  streamer->start();
  screen.deferred = true;
  ASSERT_TRUE(screen.die("first"));
  streamer->stop();
  screen.completeAll();
  streamer->stop();
  screen.completeAll();
  screen.deferred = false;
  streamer->start();
  ASSERT_TRUE(screen.die("second"));
  EXPECT_EQ(screen.liveStreams(), 1);
  EXPECT_EQ(log.count("[Tovalin] capture started 1920x1080"), 4);
}

TEST_F(ScreenStreamerTest, OfTwoStartsInFlightTheLastStreamToComeUpStays) {
  screen.deferred = true;
  streamer->start();
  streamer->stop();
  streamer->start();
  screen.completeAll();
  ASSERT_THAT(screen.streams(), SizeIs(2));
  EXPECT_FALSE(screen.streams()[0].exists);
  EXPECT_TRUE(screen.streams()[1].live);
  EXPECT_EQ(queue.liveTimers(), 2);
}

TEST_F(ScreenStreamerTest, ALaterStartDoesNotWakeTheWatchdogAtOnce) {
  capture();
  streamer->stop();
  queue.advance(100);
  streamer->start();
  EXPECT_EQ(attempts(), 2);
  queue.advance(6);
  EXPECT_EQ(attempts(), 2);
  EXPECT_EQ(log.count(kWatchdogLine), 0);
}

TEST_F(ScreenStreamerTest, ALaterStartDoesNotRepeatAPictureOfTheVisitBefore) {
  capture();
  streamer->stop();
  queue.advance(10);
  streamer->start();
  idleFor(3);
  EXPECT_THAT(sink->pictures, IsEmpty());
}

TEST_F(ScreenStreamerTest, TheTimersDoNotKeepTheStreamerAlive) {
  capture();
  std::weak_ptr<ScreenStreamer> weak = streamer;
  streamer.reset();
  EXPECT_TRUE(weak.expired());
  EXPECT_FALSE(screen.streams()[0].exists);
  queue.advance(10);
  EXPECT_EQ(attempts(), 1);
}

TEST_F(ScreenStreamerTest, AChainInFlightKeepsTheStreamerAlive) {
  screen.deferred = true;
  streamer->start();
  std::weak_ptr<ScreenStreamer> weak = streamer;
  streamer.reset();
  EXPECT_FALSE(weak.expired());
  screen.completeAll();
  EXPECT_THAT(sink->diagnostics, ElementsAre("capture-started 1920x1080"));
  EXPECT_TRUE(weak.expired());
}

}  // namespace
}  // namespace tovalin
