// Which samples reach the sink, and what it gets while the screen is static.

#include "tests/unit/capture/screen_streamer_fixture.h"

namespace tovalin {
namespace {

using testing::Each;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::SizeIs;

class ScreenStreamerPicturesTest : public ScreenStreamerFixture {};

TEST_F(ScreenStreamerPicturesTest, FreshPicturesGoStraightToTheSink) {
  streamer->start();
  picture(1);
  picture(2);
  EXPECT_THAT(sink->pictures, ElementsAre(1, 2));
}

TEST_F(ScreenStreamerPicturesTest, OnlyCompleteValidScreenSamplesWithAPictureAreDelivered) {
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

TEST_F(ScreenStreamerPicturesTest, AStaticScreenRepeatsThePictureEveryHalfSecond) {
  capture();
  idleFor(5);
  EXPECT_THAT(sink->pictures, SizeIs(9));
  EXPECT_THAT(sink->pictures, Each(1));
}

TEST_F(ScreenStreamerPicturesTest, NothingIsRepeatedBeforeTheFirstCompletePicture) {
  streamer->start();
  idleFor(5);
  EXPECT_THAT(sink->pictures, IsEmpty());
}

TEST_F(ScreenStreamerPicturesTest, APictureIsRepeatedAtTheFirstTickAfterSixTenthsOfASecond) {
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

TEST_F(ScreenStreamerPicturesTest, APictureMoreThanSixTenthsBeforeATickIsRepeatedByIt) {
  streamer->start();
  queue.advance(0.39);
  picture(1);
  queue.advance(0.61);  // the tick at 1
  EXPECT_THAT(sink->pictures, ElementsAre(1, 1));
}

TEST_F(ScreenStreamerPicturesTest, APictureLessThanSixTenthsBeforeATickIsNotRepeatedByIt) {
  streamer->start();
  queue.advance(0.41);
  picture(1);
  queue.advance(0.59);  // the tick at 1
  EXPECT_THAT(sink->pictures, ElementsAre(1));
}

TEST_F(ScreenStreamerPicturesTest, NothingIsRepeatedWhilePicturesComeFasterThanTheTicks) {
  streamer->start();
  for (uint64_t number = 1; number <= 20; ++number) {
    picture(number);
    queue.advance(0.4);
  }
  EXPECT_THAT(sink->pictures, SizeIs(20));
}

TEST_F(ScreenStreamerPicturesTest, AFreshPictureReplacesTheRepeatedOne) {
  capture();
  idleFor(1);
  sink->pictures.clear();
  picture(2);
  queue.advance(1);
  EXPECT_THAT(sink->pictures, ElementsAre(2, 2));
}

TEST_F(ScreenStreamerPicturesTest, TheSinkMayStopTheStreamerOutOfARepeat) {
  capture();
  sink->onPicture = [&] { streamer->stop(); };
  queue.advance(5);
  EXPECT_THAT(sink->pictures, ElementsAre(1));
  EXPECT_EQ(queue.liveTimers(), 0);
}

TEST_F(ScreenStreamerPicturesTest, WithoutASinkPicturesAndDiagnosticsAreDropped) {
  capture();
  std::weak_ptr<RecordingSink> weak = sink;
  sink.reset();
  EXPECT_TRUE(weak.expired());
  picture(2);
  queue.advance(2);
  ASSERT_TRUE(screen.die("unplugged"));
  EXPECT_EQ(log.count("[Tovalin] capture started 1920x1080"), 2);
}

TEST_F(ScreenStreamerPicturesTest, ASinkThatComesLaterGetsTheLastPicture) {
  streamer->setSink({});
  streamer->start();
  picture(4);
  streamer->setSink(sink);
  queue.advance(1);
  EXPECT_THAT(sink->pictures, ElementsAre(4));
}

TEST_F(ScreenStreamerPicturesTest, AStaticPictureIsRepeatedWhileTheCaptureRestarts) {
  capture();
  screen.deferred = true;
  ASSERT_TRUE(screen.die("display resized"));
  queue.advance(1.7);
  EXPECT_THAT(sink->pictures, ElementsAre(1, 1, 1));
}

TEST_F(ScreenStreamerPicturesTest, ALaterStartDoesNotRepeatAPictureOfTheVisitBefore) {
  capture();
  streamer->stop();
  queue.advance(10);
  streamer->start();
  idleFor(3);
  EXPECT_THAT(sink->pictures, IsEmpty());
}

}  // namespace
}  // namespace tovalin
