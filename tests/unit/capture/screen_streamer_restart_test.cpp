// The watchdog, and the capture that comes back after a death.

#include "tests/unit/capture/screen_streamer_fixture.h"

namespace tovalin {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using testing::SizeIs;

class ScreenStreamerRestartTest : public ScreenStreamerFixture {};

TEST_F(ScreenStreamerRestartTest, SilenceForMoreThanSixSecondsRestartsTheCapture) {
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

class ScreenStreamerQuietTest : public ScreenStreamerRestartTest,
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

TEST_F(ScreenStreamerRestartTest, AudioSamplesDoNotKeepTheWatchdogQuiet) {
  streamer->start();
  for (int second = 0; second < 8; ++second) {
    screen.deliver(CaptureSample{SampleType::audio, true, 0, nullptr});
    queue.advance(1);
  }
  EXPECT_EQ(attempts(), 2);
}

TEST_F(ScreenStreamerRestartTest, RepeatedPicturesDoNotKeepTheWatchdogQuiet) {
  capture();
  queue.advance(7.7);
  EXPECT_FALSE(sink->pictures.empty());
  EXPECT_EQ(attempts(), 2);
}

TEST_F(ScreenStreamerRestartTest, AWatchdogDuringARestartStartsNothing) {
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

TEST_F(ScreenStreamerRestartTest, ARestartStopsTheOldStreamBeforeItStartsTheNext) {
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

TEST_F(ScreenStreamerRestartTest, ARestartGoesOnWhenTheOldStreamFailsToStop) {
  streamer->start();
  screen.failStop = "already gone";
  ASSERT_TRUE(screen.die("connection lost"));
  EXPECT_EQ(screen.liveStreams(), 1);
  EXPECT_THAT(log.lines(), ElementsAre("[Tovalin] capture started 1920x1080",
                                       "[Tovalin] stream died: connection lost — restarting",
                                       "[Tovalin] capture started 1920x1080"));
}

TEST_F(ScreenStreamerRestartTest, ADeadStreamIsReplacedAtTheDisplaysNewSize) {
  capture();
  screen.displays = {{1, 1080, 1920}};
  ASSERT_TRUE(screen.die("display rotated"));
  EXPECT_EQ(streamer->captureSize(), (ScreenStreamer::Size{1080, 1920}));
  EXPECT_THAT(sink->diagnostics,
              ElementsAre("capture-started 1920x1080", "capture-started 1080x1920"));
  picture(2);
  EXPECT_THAT(sink->pictures, ElementsAre(2));
}

TEST_F(ScreenStreamerRestartTest, ADeathDuringARestartStartsNothingMore) {
  streamer->start();
  screen.deferred = true;
  ASSERT_TRUE(screen.die("first"));
  streamer->didStopWithError({"second"});
  EXPECT_EQ(log.count("[Tovalin] stream died: second — restarting"), 1);
  screen.completeAll();
  EXPECT_EQ(attempts(), 2);
}

TEST_F(ScreenStreamerRestartTest, ADeathAfterStopIsLoggedAndNotFollowedUp) {
  streamer->start();
  screen.deferred = true;
  streamer->stop();
  ASSERT_TRUE(screen.die("unplugged"));
  screen.completeAll();
  EXPECT_EQ(log.lines().back(), "[Tovalin] stream died: unplugged — restarting");
  EXPECT_EQ(attempts(), 1);
}

TEST_F(ScreenStreamerRestartTest, AFailedRestartIsRetriedSixToEightSecondsAfterItsEnd) {
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

TEST_F(ScreenStreamerRestartTest, ARestartsEndCountsAsASample) {
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

TEST_F(ScreenStreamerRestartTest, AStopDuringARestartLetsItRunToItsEnd) {
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

TEST_F(ScreenStreamerRestartTest, ARestartWorksAgainAfterOneThatOutlivedItsVisit) {
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

TEST_F(ScreenStreamerRestartTest, ALaterStartDoesNotWakeTheWatchdogAtOnce) {
  capture();
  streamer->stop();
  queue.advance(100);
  streamer->start();
  EXPECT_EQ(attempts(), 2);
  queue.advance(6);
  EXPECT_EQ(attempts(), 2);
  EXPECT_EQ(log.count(kWatchdogLine), 0);
}

}  // namespace
}  // namespace tovalin
