// Bringing a capture up and ending it.

#include "tests/unit/capture/screen_streamer_fixture.h"

namespace tovalin {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using testing::SizeIs;

class ScreenStreamerStartTest : public ScreenStreamerFixture {};

TEST_F(ScreenStreamerStartTest, IsIdleAtFirst) {
  EXPECT_FALSE(streamer->isRunning());
  EXPECT_EQ(streamer->captureSize(), ScreenStreamer::Size());
  EXPECT_EQ(attempts(), 0);
  EXPECT_EQ(queue.liveTimers(), 0);
}

TEST_F(ScreenStreamerStartTest, CapturesTheMainDisplayAtItsOwnSizeWithThePointer) {
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

TEST_F(ScreenStreamerStartTest, CapturesTheFirstOfTwoDisplaysWithTheMainIdentifier) {
  screen.displays = {{3, 800, 600}, {3, 1024, 768}};
  screen.main = 3;
  streamer->start();
  EXPECT_EQ(streamer->captureSize(), (ScreenStreamer::Size{800, 600}));
}

TEST_F(ScreenStreamerStartTest, CapturesTheFirstDisplayWhenNoneIsTheMainOne) {
  screen.displays = {{7, 1280, 1024}, {3, 2560, 1440}};
  screen.main = 99;
  streamer->start();
  ASSERT_THAT(screen.streams(), SizeIs(1));
  EXPECT_EQ(screen.streams()[0].configuration.display, 7u);
}

TEST_F(ScreenStreamerStartTest, ReportsTheSizeOfAStartedCapture) {
  streamer->start();
  EXPECT_TRUE(streamer->isRunning());
  EXPECT_EQ(screen.liveStreams(), 1);
  EXPECT_THAT(log.lines(), ElementsAre("[Tovalin] capture started 1920x1080"));
  EXPECT_THAT(sink->diagnostics, ElementsAre("capture-started 1920x1080"));
}

TEST_F(ScreenStreamerStartTest, SaysNothingBeforeTheStartHasCompleted) {
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

TEST_F(ScreenStreamerStartTest, StartTwiceMakesOneStreamAndOnePairOfTimers) {
  streamer->start();
  streamer->start();
  EXPECT_THAT(screen.streams(), SizeIs(1));
  EXPECT_EQ(queue.liveTimers(), 2);
}

TEST_F(ScreenStreamerStartTest, StopEndsStreamAndTimers) {
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

TEST_F(ScreenStreamerStartTest, StopKeepsTheStreamUntilItHasStopped) {
  capture();
  screen.deferred = true;
  streamer->stop();
  EXPECT_TRUE(screen.streams()[0].exists);
  screen.completeAll();
  EXPECT_FALSE(screen.streams()[0].exists);
}

TEST_F(ScreenStreamerStartTest, StopWithoutStartDoesNothing) {
  streamer->stop();
  EXPECT_THAT(log.lines(), IsEmpty());
  EXPECT_EQ(queue.pendingTasks(), 0u);
}

TEST_F(ScreenStreamerStartTest, AFailingStopIsSilent) {
  capture();
  screen.failStop = "the display server is gone";
  streamer->stop();
  EXPECT_THAT(log.lines(), ElementsAre("[Tovalin] capture started 1920x1080"));
}

struct StartFailure {
  const char* step;
  std::string fake::FakeScreenCapture::*failure;
};

class ScreenStreamerStartFailureTest : public ScreenStreamerStartTest,
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

TEST_F(ScreenStreamerStartTest, AStreamThatFailedToStartIsNotKept) {
  screen.failStart = "no";
  streamer->start();
  ASSERT_THAT(screen.streams(), SizeIs(1));
  EXPECT_FALSE(screen.streams()[0].exists);
}

TEST_F(ScreenStreamerStartTest, WithoutDisplaysItLogsOncePerAttemptAndRetriesEveryEightSeconds) {
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

TEST_F(ScreenStreamerStartTest, ADisplayThatComesLaterIsCaptured) {
  screen.displays.clear();
  streamer->start();
  screen.displays = {{1, 640, 480}};
  queue.advance(8);
  EXPECT_EQ(screen.liveStreams(), 1);
  EXPECT_THAT(sink->diagnostics, ElementsAre("capture-started 640x480"));
}

TEST_F(ScreenStreamerStartTest, AStopDuringAStartLetsTheStreamComeUpAndTheNextStopEndsIt) {
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

TEST_F(ScreenStreamerStartTest, OfTwoStartsInFlightTheLastStreamToComeUpStays) {
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

TEST_F(ScreenStreamerStartTest, TheTimersDoNotKeepTheStreamerAlive) {
  capture();
  std::weak_ptr<ScreenStreamer> weak = streamer;
  streamer.reset();
  EXPECT_TRUE(weak.expired());
  EXPECT_FALSE(screen.streams()[0].exists);
  queue.advance(10);
  EXPECT_EQ(attempts(), 1);
}

TEST_F(ScreenStreamerStartTest, AChainInFlightKeepsTheStreamerAlive) {
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
