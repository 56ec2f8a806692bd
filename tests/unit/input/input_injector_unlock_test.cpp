// Typing the password at the lock screen.

#include "tests/unit/input/input_injector_fixture.h"

namespace tovalin {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

class InputInjectorUnlockTest : public InputInjectorFixture {};

const std::vector<std::string> kEscape = {"key 53 down flags 0x0", "key 53 up flags 0x0"};
const std::vector<std::string> kReturn = {"key 36 down flags 0x0", "key 36 up flags 0x0"};
const std::vector<std::string> kPasswordA = {"text 0061 down key 0 flags 0x0",
                                             "text 0061 up key 0 flags 0x0"};

TEST_F(InputInjectorUnlockTest, UnlockWakesTypesAndConfirmsInItsOwnTime) {
  EXPECT_EQ(injectedBy(R"({"t":"unlock","pw":"a"})"), kEscape);
  EXPECT_THAT(power.activities, ElementsAre("Tovalin viewer connected"));
  queue.advance(0.79);
  EXPECT_THAT(events.events(), IsEmpty());
  queue.advance(0.01);
  EXPECT_EQ(events.takeLines(), kPasswordA);
  queue.advance(0.39);
  EXPECT_THAT(events.events(), IsEmpty());
  queue.advance(0.01);
  EXPECT_EQ(events.takeLines(), kReturn);
  EXPECT_EQ(queue.pendingTasks(), 0u);
  EXPECT_EQ(power.activities.size(), 1u);
  EXPECT_EQ(events.settles(), 0);
}

TEST_F(InputInjectorUnlockTest, UnlockWithoutAPasswordDoesNothingAtAll) {
  for (const char* message : {R"({"t":"unlock"})", R"({"t":"unlock","pw":""})",
                              R"({"t":"unlock","pw":7})", R"({"t":"unlock","pw":null})"}) {
    EXPECT_THAT(injectedBy(message), IsEmpty()) << message;
  }
  EXPECT_THAT(power.activities, IsEmpty());
  EXPECT_EQ(queue.pendingTasks(), 0u);
}

TEST_F(InputInjectorUnlockTest, TwoUnlocksInterleaveTheirSteps) {
  viewerSends(R"({"t":"unlock","pw":"a"})");
  queue.advance(0.5);
  EXPECT_EQ(injectedBy(R"({"t":"unlock","pw":"b"})"), kEscape);
  queue.advance(0.3);  // at 0.8
  EXPECT_EQ(events.takeLines(), kPasswordA);
  queue.advance(0.4);  // at 1.2
  EXPECT_EQ(events.takeLines(), kReturn);
  queue.advance(0.1);  // at 1.3
  EXPECT_THAT(events.takeLines(),
              ElementsAre("text 0062 down key 0 flags 0x0", "text 0062 up key 0 flags 0x0"));
  queue.advance(0.4);  // at 1.7
  EXPECT_EQ(events.takeLines(), kReturn);
}

TEST_F(InputInjectorUnlockTest, OtherMessagesDoNotStopAnUnlock) {
  viewerSends(R"({"t":"unlock","pw":"a"})");
  queue.advance(0.4);
  viewerSends(R"({"t":"m"})");
  events.takeLines();
  queue.advance(0.4);
  EXPECT_EQ(events.takeLines(), kPasswordA);
}

TEST_F(InputInjectorUnlockTest, UnlockEndsWithTheInjector) {
  viewerSends(R"({"t":"unlock","pw":"a"})");
  events.takeLines();
  std::weak_ptr<InputInjector> weak = injector;
  injector.reset();
  EXPECT_TRUE(weak.expired());
  queue.advance(5);
  EXPECT_THAT(events.events(), IsEmpty());
}

TEST_F(InputInjectorUnlockTest, UnlockDoesNotConfirmAfterTheInjectorsEnd) {
  viewerSends(R"({"t":"unlock","pw":"a"})");
  queue.advance(0.8);
  events.takeLines();
  injector.reset();
  queue.advance(5);
  EXPECT_THAT(events.events(), IsEmpty());
}

}  // namespace
}  // namespace tovalin
