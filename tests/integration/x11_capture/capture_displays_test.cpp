#include <gtest/gtest.h>
#include <unistd.h>

#include "tests/integration/x11_capture/capture_fixture.h"

namespace tovalin::test {
namespace {

using CaptureDisplaysTest = CaptureFixture;

TEST_F(CaptureDisplaysTest, ListsTheDisplayWithItsSizeInPixels) {
  startServer("1366x768x24");
  const auto displays = listDisplays().displays;
  ASSERT_EQ(displays.size(), 1U);
  EXPECT_NE(displays[0].id, 0U);
  EXPECT_EQ(displays[0].width, 1366);
  EXPECT_EQ(displays[0].height, 768);
  EXPECT_EQ(capture_->mainDisplay(), displays[0].id);
}

TEST_F(CaptureDisplaysTest, KnowsNoMainDisplayBeforeTheFirstListing) {
  startServer();
  EXPECT_EQ(capture_->mainDisplay(), 0U);
}

TEST_F(CaptureDisplaysTest, WithoutAServerThereAreNoDisplaysUntilOneAppears) {
  // Far above the numbers that servers choose for themselves, one for each process.
  const std::string display = ":" + std::to_string(10'000 + getpid() % 20'000);
  capture_ = makeX11ScreenCapture(log_, display);
  EXPECT_TRUE(listDisplays().displays.empty());
  EXPECT_EQ(capture_->mainDisplay(), 0U);

  server_ = std::make_unique<Xvfb>("640x480x24", std::vector<std::string>{display});
  EXPECT_EQ(listDisplays().displays.size(), 1U);
  EXPECT_NE(capture_->mainDisplay(), 0U);

  server_->kill();
  EXPECT_TRUE(listDisplays().displays.empty());
  EXPECT_EQ(capture_->mainDisplay(), 0U);
}

TEST_F(CaptureDisplaysTest, WithEveryOutputOffTheRootWindowIsTheDisplay) {
  startServer();
  const DisplayId output = listDisplays().displays.at(0).id;
  desktop_->switchOff();
  const auto displays = listDisplays().displays;
  ASSERT_EQ(displays.size(), 1U);
  EXPECT_NE(displays[0].id, output);
  EXPECT_EQ(displays[0].width, 640);
  EXPECT_EQ(capture_->mainDisplay(), displays[0].id);
}

TEST_F(CaptureDisplaysTest, OnlyThePartThatTheDisplayShowsIsStreamed) {
  startServer();
  desktop_->setCursor(16, 0xff0000);
  desktop_->warpPointer(250, 150);
  desktop_->fill({{0, 0, 640, 480, 0x111111}, {100, 50, 301, 201, 0x222222}});
  desktop_->showPart(100, 50, 301, 201);
  stream();
  ASSERT_TRUE(pixelBecomes(150, 100, 0xff0000)) << "the pointer";
  EXPECT_EQ(output_->picture()->width(), 301);
  EXPECT_EQ(output_->picture()->height(), 201);
  EXPECT_EQ(pixelAt(*output_->picture(), 0, 0), 0x222222U);
  EXPECT_EQ(pixelAt(*output_->picture(), 300, 200), 0x222222U);

  desktop_->fill({{0, 60, 100, 10, 0x333333}, {401, 60, 100, 10, 0x333333}});
  desktop_->fill(90, 70, 20, 10, 0x444444);
  ASSERT_TRUE(pixelBecomes(9, 20, 0x444444));
  EXPECT_EQ(pixelAt(*output_->picture(), 10, 20), 0x222222U);
  EXPECT_EQ(output_->newestDamage(), (std::vector<RowBand>{{20, 30}})) << "what is beside is none";
  EXPECT_EQ(output_->brokenPromises(), 0);

  desktop_->showPart(0, 0, 301, 201);
  ASSERT_TRUE(output_->waitForError());
  EXPECT_EQ(output_->errors()[0].description, "the display was moved");
}

TEST_F(CaptureDisplaysTest, RefusesStreamsThatMakeNoSense) {
  startServer();
  const CaptureConfiguration good = configuration();
  const struct {
    void (*spoil)(CaptureConfiguration&);
    const char* description;
  } cases[] = {
      {[](CaptureConfiguration& bad) { bad.pixelFormat = 0x34323066; },
       "only BGRA pictures are offered"},
      {[](CaptureConfiguration& bad) { bad.display = 4711; }, "display 4711 is unknown"},
      {[](CaptureConfiguration& bad) { bad.queueDepth = 0; },
       "the queue depth or frame interval makes no sense"},
      {[](CaptureConfiguration& bad) { bad.minimumFrameInterval = -1; },
       "the queue depth or frame interval makes no sense"},
      {[](CaptureConfiguration& bad) { bad.minimumFrameInterval = 1e300; },
       "the queue depth or frame interval makes no sense"},
  };
  for (const auto& each : cases) {
    CaptureConfiguration bad = good;
    each.spoil(bad);
    const auto made = capture_->makeStream(bad, {});
    ASSERT_TRUE(std::holds_alternative<Error>(made)) << each.description;
    EXPECT_EQ(std::get<Error>(made).description, each.description);
  }
}

TEST_F(CaptureDisplaysTest, RefusesAStreamOfADisplayBeforeAnyWasListed) {
  startServer();
  CaptureConfiguration wanted = configuration();
  capture_ = makeX11ScreenCapture(log_, server_->display());
  EXPECT_TRUE(std::holds_alternative<Error>(capture_->makeStream(wanted, {})));
}

}  // namespace
}  // namespace tovalin::test
