#include <gtest/gtest.h>

#include <chrono>
#include <cstdint>
#include <random>

#include "platform/x11/x11_frame_bands.h"
#include "tests/integration/x11_capture/capture_fixture.h"

namespace tovalin::test {
namespace {

// What pictures show, without a pointer in them.
class CapturePicturesTest : public CaptureFixture {
 protected:
  void streamPlain(const std::string& screen = "640x480x24",
                   std::vector<std::string> options = {}) {
    startServer(screen, std::move(options));
    CaptureConfiguration wanted = configuration();
    wanted.showsCursor = false;
    stream(wanted);
  }

  // All rows that pictures after the first have called damaged.
  BandSet damageSinceStart() {
    BandSet rows;
    for (const auto& sample : output_->samples()) {
      if (sample.pictureNumber < 2) continue;
      for (const RowBand band : sample.damage) rows.add(band);
    }
    return rows;
  }
};

TEST_F(CapturePicturesTest, TheFirstPictureShowsTheWholeScreenAfterAStartedSample) {
  startServer();
  desktop_->fill({{0, 0, 640, 480, 0x102030}, {100, 50, 7, 9, 0xfedcba}, {639, 479, 1, 1, 0xff}});
  CaptureConfiguration wanted = configuration();
  wanted.showsCursor = false;
  stream(wanted);
  const auto picture = output_->picture();
  EXPECT_EQ(picture->width(), 640);
  EXPECT_EQ(picture->height(), 480);
  EXPECT_EQ(pixelAt(*picture, 0, 0), 0x102030U);
  EXPECT_EQ(pixelAt(*picture, 100, 50), 0xfedcbaU);
  EXPECT_EQ(pixelAt(*picture, 106, 58), 0xfedcbaU);
  EXPECT_EQ(pixelAt(*picture, 107, 59), 0x102030U);
  EXPECT_EQ(pixelAt(*picture, 639, 479), 0xffU);
  const auto samples = output_->samples();
  EXPECT_EQ(samples[0].status, FrameStatus::started);
  EXPECT_EQ(samples[1].status, FrameStatus::complete);
  EXPECT_EQ(samples[1].damage, (std::vector<RowBand>{{0, 480}}));
}

TEST_F(CapturePicturesTest, PaintedRowsArriveAsABand) {
  streamPlain();
  desktop_->fill(10, 100, 30, 20, 0xff8800);
  ASSERT_TRUE(pixelBecomes(39, 119, 0xff8800));
  EXPECT_EQ(damageSinceStart(), BandSet({100, 120}));
  EXPECT_EQ(pixelAt(*output_->picture(), 40, 119), 0U);
}

TEST_F(CapturePicturesTest, APictureKnowsSinceWhenItsChangeWasDueAndWhenItWasTaken) {
  const auto now = [] {
    return std::chrono::nanoseconds(std::chrono::steady_clock::now().time_since_epoch()).count();
  };
  streamPlain();
  const int64_t before = now();
  desktop_->fill(10, 100, 30, 20, 0xff8800);
  ASSERT_TRUE(pixelBecomes(39, 119, 0xff8800));
  const PictureTimes times = output_->picture()->times();
  EXPECT_LE(before, times.noticed);
  EXPECT_LE(times.noticed, times.taken);
  EXPECT_LE(times.taken, now());
}

TEST_F(CapturePicturesTest, FarApartChangesDamageNothingBetweenThem) {
  streamPlain();
  desktop_->fill({{10, 20, 30, 10, 0xff0000}, {10, 400, 30, 10, 0x00ff00}});
  ASSERT_TRUE(pixelBecomes(10, 20, 0xff0000));
  ASSERT_TRUE(pixelBecomes(10, 400, 0x00ff00));
  BandSet expected({20, 30});
  expected.add({400, 410});
  EXPECT_EQ(damageSinceStart(), expected);
}

TEST_F(CapturePicturesTest, WhatIsPaintedOutsideTheScreenIsNoChange) {
  streamPlain();
  desktop_->fill({{-50, -50, 20, 20, 0xff}, {700, 10, 20, 20, 0xff}, {10, 470, 20, 50, 0xff}});
  ASSERT_TRUE(pixelBecomes(10, 479, 0xff));
  EXPECT_EQ(damageSinceStart(), BandSet({470, 480}));
}

TEST_F(CapturePicturesTest, AStaticScreenGivesOnlyIdleSamples) {
  startServer();
  desktop_->setCursor(16, 0xffffff);
  stream();
  ASSERT_TRUE(output_->waitForSamples(FrameStatus::idle, 5));
  EXPECT_EQ(output_->count(FrameStatus::complete), 1U);
  for (const auto& sample : output_->samples()) {
    if (sample.status == FrameStatus::idle) {
      EXPECT_EQ(sample.streamIdentity, 0U);
    }
  }
}

TEST_F(CapturePicturesTest, TheFirstChangeAfterAPauseArrives) {
  streamPlain();
  for (uint32_t pause = 1; pause <= 3; ++pause) {
    ASSERT_TRUE(output_->waitForSamples(FrameStatus::idle, pause * 2));
    desktop_->fill(5, 5, 10, 10, pause);
    ASSERT_TRUE(pixelBecomes(5, 5, pause));
  }
}

TEST_F(CapturePicturesTest, NeverMorePicturesThanTheIntervalAllows) {
  startServer("320x200x24");
  const CaptureConfiguration wanted = configuration();
  const auto before = std::chrono::steady_clock::now();
  stream(wanted);
  for (uint32_t change = 0; output_->count(FrameStatus::complete) < 25; ++change) {
    desktop_->fill(5, 5, 10, 10, change);
  }
  double pictures = 0;
  for (const auto& sample : output_->samples()) {
    if (sample.status != FrameStatus::complete) continue;
    ++pictures;
    const std::chrono::duration<double> elapsed = sample.when - before;
    EXPECT_LE(pictures, 1 + elapsed.count() / kFrameInterval);
  }
}

TEST_F(CapturePicturesTest, EveryPictureDiffersFromTheOneBeforeInItsDamageAlone) {
  startServer("801x601x24");
  desktop_->setCursor(24, 0xff00ff);
  stream();
  std::mt19937 random(7);
  const auto below = [&random](int limit) { return static_cast<int>(random() % limit); };
  for (int round = 0; output_->count(FrameStatus::complete) < 60; ++round) {
    std::vector<DesktopClient::Fill> fills;
    for (int count = below(20); count >= 0; --count) {
      fills.push_back({below(801), below(601), 1 + below(200), 1 + below(30),
                       static_cast<uint32_t>(random()) & 0xffffff});
    }
    desktop_->fill(fills);
    desktop_->movePointer(below(801), below(601));
    if (round % 16 == 0) desktop_->setCursor(8 + below(40), static_cast<uint32_t>(random()));
    if (round == 20) output_->holdPictures();
    if (round % 7 == 0) output_->releaseOne();
    if (round == 200) output_->releaseAll();
  }
  EXPECT_EQ(output_->brokenPromises(), 0);
}

TEST_F(CapturePicturesTest, AfterAnyBurstOfPaintingThePictureIsTheScreen) {
  streamPlain("801x601x24");
  std::mt19937 random(11);
  const auto below = [&random](int limit) { return static_cast<int>(random() % limit); };
  for (int burst = 0; burst < 5; ++burst) {
    for (int count = 0; count < 400; ++count) {
      desktop_->fill(below(801), below(601), 1 + below(60), 1 + below(20),
                     static_cast<uint32_t>(random()) & 0xffffff);
    }
    ASSERT_TRUE(pictureBecomesTheScreen()) << "burst " << burst;
  }
  EXPECT_EQ(output_->brokenPromises(), 0);
}

}  // namespace
}  // namespace tovalin::test
