// The end of a visit: what the viewer held is lifted, what was under way is cut short.

#include <future>
#include <thread>

#include "tests/unit/input/input_injector_fixture.h"

namespace tovalin {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using testing::SizeIs;

class InputInjectorReleaseTest : public InputInjectorFixture {
 protected:
  std::vector<std::string> injectedByTheVisitsEnd() {
    events.takeLines();
    injector->releaseHeld();
    return events.takeLines();
  }
};

TEST_F(InputInjectorReleaseTest, LiftsKeysAndThenButtonsWhereThePointerIs) {
  viewerSends(R"({"t":"p","b":0})");
  viewerSends(R"({"t":"p","b":2})");
  viewerSends(R"({"t":"key","c":56,"f":131072})");
  viewerSends(R"({"t":"key","c":0,"f":131072})");
  viewerSends(R"({"t":"m","x":0.5,"y":0.5})");
  EXPECT_THAT(injectedByTheVisitsEnd(), ElementsAre("key 56 up flags 0x0", "key 0 up flags 0x0",
                                                    "leftUp button 0 at 500,350 click 1",
                                                    "otherUp button 2 at 500,350 click 1"));
}

TEST_F(InputInjectorReleaseTest, SettlesAfterTheLastEvent) {
  viewerSends(R"({"t":"key","c":0})");
  injector->releaseHeld();
  EXPECT_EQ(events.settles(), 1);
  EXPECT_EQ(events.eventsBeforeSettle(), 2u);
}

TEST_F(InputInjectorReleaseTest, SettlesWhenNothingIsHeld) {
  EXPECT_THAT(injectedByTheVisitsEnd(), IsEmpty());
  EXPECT_EQ(events.settles(), 1);
}

TEST_F(InputInjectorReleaseTest, LiftsEverythingOnce) {
  viewerSends(R"({"t":"p","b":1})");
  viewerSends(R"({"t":"p","b":1})");
  viewerSends(R"({"t":"key","c":12})");
  viewerSends(R"({"t":"key","c":12})");
  EXPECT_THAT(injectedByTheVisitsEnd(), SizeIs(2));
  EXPECT_THAT(injectedByTheVisitsEnd(), IsEmpty());
}

TEST_F(InputInjectorReleaseTest, LeavesAloneWhatTheViewerHasReleased) {
  viewerSends(R"({"t":"p","b":0})");
  viewerSends(R"({"t":"r","b":0})");
  viewerSends(R"({"t":"key","c":12})");
  viewerSends(R"({"t":"key","c":12,"d":false})");
  EXPECT_THAT(injectedByTheVisitsEnd(), IsEmpty());
}

TEST_F(InputInjectorReleaseTest, ClicksTextAndUnlockingHoldNothing) {
  viewerSends(R"({"t":"c","b":1,"n":2})");
  viewerSends(R"({"t":"k","s":"ab"})");
  viewerSends(R"({"t":"unlock","pw":"a"})");
  queue.advance(2);
  EXPECT_THAT(injectedByTheVisitsEnd(), IsEmpty());
}

TEST_F(InputInjectorReleaseTest, MovesOfTheNextVisitArePlain) {
  viewerSends(R"({"t":"p","b":0})");
  injector->releaseHeld();
  EXPECT_THAT(injectedBy(R"({"t":"m"})"), ElementsAre("moved button 0 at 100,50 click 1"));
}

TEST_F(InputInjectorReleaseTest, TheNextVisitsPressesAreHeldAgain) {
  injector->releaseHeld();
  viewerSends(R"({"t":"key","c":12})");
  EXPECT_THAT(injectedByTheVisitsEnd(), ElementsAre("key 12 up flags 0x0"));
}

TEST_F(InputInjectorReleaseTest, AnUnlockGoesOnAfterTheVisitAndSettlesForItself) {
  viewerSends(R"({"t":"unlock","pw":"a"})");
  injector->releaseHeld();
  events.takeLines();
  queue.advance(1.2);
  EXPECT_THAT(events.takeLines(),
              ElementsAre("text 0061 down key 0 flags 0x0", "text 0061 up key 0 flags 0x0",
                          "key 36 down flags 0x0", "key 36 up flags 0x0"));
  EXPECT_EQ(events.settles(), 2);
}

// A visit whose messages come on a thread of their own, as the media library's do.
class InputInjectorThreadsTest : public InputInjectorReleaseTest {
 protected:
  std::future<void> onLibraryThread(nlohmann::json message) {
    return std::async(std::launch::async, [this, message] { injector->handle(message); });
  }

  void expectEnded(std::future<void>& message) {
    ASSERT_EQ(message.wait_for(std::chrono::seconds(10)), std::future_status::ready);
    const auto before = events.eventsBeforeSettle();
    EXPECT_EQ(events.events().size(), before);
  }
};

TEST_F(InputInjectorThreadsTest, ARowOfClicksWithoutEndEndsWithTheVisit) {
  auto clicks = onLibraryThread({{"t", "c"}, {"n", 1e15}});
  ASSERT_TRUE(events.waitForEvents(20));
  injector->releaseHeld();
  expectEnded(clicks);
  const auto all = events.takeLines();
  EXPECT_EQ(all.size() % 2, 0u);
  EXPECT_EQ(all[18], "leftDown button 0 at 0,0 click 10");
  EXPECT_EQ(all[19], "leftUp button 0 at 0,0 click 10");
}

TEST_F(InputInjectorThreadsTest, ATextWithoutEndEndsWithTheVisit) {
  struct EndlessText : TextSegmenter {
    std::vector<std::u16string> graphemeClusters(std::string_view) const override {
      return std::vector<std::u16string>(2'000'000, u"a");
    }
  };
  EndlessText endless;
  injector = InputInjector::create(queue, events, endless, permissions, power);
  auto text = onLibraryThread({{"t", "k"}, {"s", "a"}});
  ASSERT_TRUE(events.waitForEvents(20));
  injector->releaseHeld();
  expectEnded(text);
  EXPECT_LT(events.events().size(), 4'000'000u);
}

TEST_F(InputInjectorThreadsTest, UnlockingIsNotHeldUpByARowOfClicks) {
  viewerSends(R"({"t":"unlock","pw":"a"})");
  auto clicks = onLibraryThread({{"t", "c"}, {"n", 1e15}});
  ASSERT_TRUE(events.waitForEvents(20));
  queue.advance(1.2);
  injector->releaseHeld();
  expectEnded(clicks);
  EXPECT_THAT(events.takeLines(),
              testing::IsSupersetOf({"text 0061 down key 0 flags 0x0", "key 36 down flags 0x0"}));
}

TEST_F(InputInjectorThreadsTest, NothingStaysDownHoweverVisitsEndAmongMessages) {
  std::atomic<bool> done = false;
  std::thread viewer([&] {
    while (!done) {
      injector->handle({{"t", "p"}, {"b", 0}});
      injector->handle({{"t", "m"}, {"x", 0.5}});
      injector->handle({{"t", "key"}, {"c", 12}});
      injector->handle({{"t", "c"}, {"n", 3}});
      injector->handle({{"t", "r"}, {"b", 0}});
    }
  });
  for (int visit = 1; visit <= 100; ++visit) {
    ASSERT_TRUE(events.waitForEvents(static_cast<size_t>(visit) * 4));
    injector->releaseHeld();
  }
  done = true;
  viewer.join();
  injector->releaseHeld();

  bool leftIsDown = false;
  bool keyIsDown = false;
  for (const auto& event : events.events()) {
    if (const auto* mouse = std::get_if<MouseEvent>(&event)) {
      if (mouse->type == MouseEventType::leftDown) leftIsDown = true;
      if (mouse->type == MouseEventType::leftUp) leftIsDown = false;
    } else if (const auto* key = std::get_if<KeyboardEvent>(&event)) {
      keyIsDown = key->down;
    }
  }
  EXPECT_FALSE(leftIsDown);
  EXPECT_FALSE(keyIsDown);
  EXPECT_EQ(events.settles(), 101);
}

}  // namespace
}  // namespace tovalin
