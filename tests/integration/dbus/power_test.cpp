#include <gmock/gmock.h>

#include <thread>

#include "platform/dbus/bus_message.h"
#include "platform/dbus/bus_power.h"
#include "tests/integration/dbus/bus_fixture.h"
#include "tests/integration/dbus/power_holder.h"

namespace tovalin::test {
namespace {

using testing::ElementsAre;
using testing::ElementsAreArray;
using testing::IsEmpty;

constexpr const char* kName = "A viewer";
constexpr const char* kLogind = kLoginManager.service;
constexpr BusObject kSaver = kScreenSaver.object;
constexpr const char* kRefusal =
    "raise dbus.exceptions.DBusException('no', name='org.freedesktop.DBus.Error.AccessDenied')";

// What the services know of an assertion, one line each.
const std::string kLogindIdle = "org.freedesktop.login1: idle Tovalin Host A viewer block";
const std::string kLogindSleep = "org.freedesktop.login1: sleep Tovalin Host A viewer block";
const std::string kManagerSuspend = "org.gnome.SessionManager: com.tovalin.host 0 A viewer 4";
const std::string kManagerIdle = "org.gnome.SessionManager: com.tovalin.host 0 A viewer 8";
const std::string kSaverIdle = "org.freedesktop.ScreenSaver: Tovalin Host A viewer";
const std::string kXfceIdle = "org.xfce.ScreenSaver: Tovalin Host A viewer";

class BusPowerTest : public DesktopTest {
 protected:
  void start() { power_ = makeBusPower(*sessionBus_, *systemBus_, loop_.queue, log_); }

  AssertionId create(std::string_view type) {
    return power_->createAssertion(type, kAssertionLevelOn, kName);
  }

  void expectInhibitions(const std::vector<std::string>& expected) {
    loop_.runUntil([&] { return services_->inhibitions() == expected; });
    EXPECT_THAT(services_->inhibitions(), ElementsAreArray(expected));
  }

  std::unique_ptr<Power> power_;
};

TEST_F(BusPowerTest, IdleSleepIsPreventedByLogindAndTheSessionManager) {
  startServices({kLogind, kSessionManager.service, kSaver.service});
  start();
  const auto id = create(kNoIdleSleep);
  EXPECT_NE(id, 0u);
  // Nothing has been waited for.
  EXPECT_THAT(services_->inhibitions(), IsEmpty());
  expectInhibitions({kLogindIdle, kLogindSleep, kManagerSuspend});
  power_->releaseAssertion(id);
  expectInhibitions({});
}

TEST_F(BusPowerTest, TheDisplayIsKeptOnByTheScreenSaversAndTheSessionManager) {
  startServices({kLogind, kSessionManager.service, kSaver.service, "org.xfce.ScreenSaver"});
  start();
  const auto id = create(kNoDisplaySleep);
  expectInhibitions({kSaverIdle, kManagerIdle, kXfceIdle});
  power_->releaseAssertion(id);
  expectInhibitions({});
}

TEST_F(BusPowerTest, AnUnknownTypeIsNotOffered) {
  start();
  EXPECT_EQ(create("NoSuchAssertion"), 0u);
  power_->releaseAssertion(0);
}

TEST_F(BusPowerTest, AssertionsAreReleasedOneByOneAndOnce) {
  startServices({kSessionManager.service});
  start();
  const auto first = create(kNoDisplaySleep);
  const auto second = create(kNoDisplaySleep);
  const auto third = create(kNoIdleSleep);
  expectInhibitions({kManagerSuspend, kManagerIdle, kManagerIdle});
  power_->releaseAssertion(first);
  power_->releaseAssertion(first);
  expectInhibitions({kManagerSuspend, kManagerIdle});
  power_->releaseAssertion(third);
  expectInhibitions({kManagerIdle});
  power_->releaseAssertion(second);
  expectInhibitions({});
}

TEST_F(BusPowerTest, AServiceThatRefusesDoesNotLoseTheOthers) {
  startServices({kLogind, kSessionManager.service, kSaver.service});
  services_->method(kLoginManager, "Inhibit", "ssss", "h", kRefusal);
  services_->method(kSaver, "Inhibit", "ss", "u", kRefusal);
  start();
  const auto sleep = create(kNoIdleSleep);
  const auto display = create(kNoDisplaySleep);
  expectInhibitions({kManagerSuspend, kManagerIdle});
  power_->releaseAssertion(sleep);
  power_->releaseAssertion(display);
  expectInhibitions({});
  EXPECT_THAT(log_.lines(), IsEmpty());
}

TEST_F(BusPowerTest, LogindMayRefuseOneLockAndGrantTheOther) {
  startServices({kLogind});
  services_->method(kLoginManager, "Inhibit", "ssss", "h",
                    "if args[0] == 'sleep':\n    " + std::string(kRefusal) +
                        "\nret = self.grant_descriptor(*args)");
  start();
  create(kNoIdleSleep);
  expectInhibitions({kLogindIdle});
}

TEST_F(BusPowerTest, AServiceThatLiesHoldsNothingAndIsLogged) {
  startServices({kLogind, kSaver.service, kSessionManager.service});
  services_->method(kLoginManager, "Inhibit", "ssss", "s", "ret = 'granted'");
  services_->method(kSaver, "Inhibit", "ss", "s", "ret = 'granted'");
  start();
  const auto sleep = create(kNoIdleSleep);
  const auto display = create(kNoDisplaySleep);
  expectInhibitions({kManagerSuspend, kManagerIdle});
  ASSERT_TRUE(loop_.runUntil([this] { return log_.lines().size() == 3; }));
  EXPECT_EQ(log_.count("[Tovalin] org.freedesktop.login1 answers with the wrong type"), 2);
  EXPECT_EQ(log_.count("[Tovalin] org.freedesktop.ScreenSaver answers with the wrong type"), 1);
  power_->releaseAssertion(sleep);
  power_->releaseAssertion(display);
  expectInhibitions({});
}

TEST_F(BusPowerTest, AScreenSaverAtTheShortPathAloneIsFoundThere) {
  startServices({std::string(kSaver.service) + "@" + kScreenSaver.otherPath});
  start();
  const auto id = create(kNoDisplaySleep);
  expectInhibitions({kSaverIdle});
  power_->releaseAssertion(id);
  expectInhibitions({});
}

class ReleaseBeforeTheAnswerTest : public BusPowerTest,
                                   public testing::WithParamInterface<std::string> {};

TEST_P(ReleaseBeforeTheAnswerTest, GivesBackAsSoonAsItIsGranted) {
  startServices({GetParam()});
  services_->gateInhibit();
  start();
  const auto first = create(kNoIdleSleep);
  const auto second = create(kNoDisplaySleep);
  bool ran = false;
  loop_.queue.post([&] { ran = true; });
  settle();
  settle();
  EXPECT_TRUE(ran);
  power_->releaseAssertion(first);
  power_->releaseAssertion(second);
  settle();
  // Whatever has been asked for is granted now, and must not stay.
  for (int asked = 0; asked < 2; ++asked) services_->openGate();
  ASSERT_TRUE(loop_.runUntil([this] { return services_->grants() == 2; }));
  expectInhibitions({});
  EXPECT_THAT(log_.lines(), IsEmpty());
}

INSTANTIATE_TEST_SUITE_P(Services, ReleaseBeforeTheAnswerTest,
                         testing::Values("org.freedesktop.login1", "org.gnome.SessionManager"),
                         [](const auto& tested) {
                           std::string name = tested.param;
                           std::erase(name, '.');
                           return name;
                         });

TEST_F(BusPowerTest, AServiceThatAppearsLaterGetsWhatIsHeld) {
  startServices({kLogind, kSaver.service});
  services_->release(kLogind);
  services_->release(kSaver.service);
  start();
  const auto sleep = create(kNoIdleSleep);
  create(kNoDisplaySleep);
  settle();
  EXPECT_THAT(services_->inhibitions(), IsEmpty());
  services_->own(kSaver.service);
  expectInhibitions({kSaverIdle});
  power_->releaseAssertion(sleep);
  services_->own(kLogind);
  settle();
  expectInhibitions({kSaverIdle});
}

TEST_F(BusPowerTest, AServiceThatComesBackIsAskedOnceMoreAndHoldsOnce) {
  startServices({kSaver.service, kLogind});
  start();
  create(kNoDisplaySleep);
  const auto sleep = create(kNoIdleSleep);
  expectInhibitions({kSaverIdle, kLogindIdle, kLogindSleep});
  services_->release(kSaver.service);
  services_->release(kLogind);
  expectInhibitions({});
  services_->own(kSaver.service);
  services_->own(kLogind);
  expectInhibitions({kSaverIdle, kLogindIdle, kLogindSleep});
  power_->releaseAssertion(sleep);
  expectInhibitions({kSaverIdle});
}

// A session manager that answers when the test wants it to.
class HesitantManager {
 public:
  explicit HesitantManager(Bus& bus) : bus_(bus) { own(); }

  void own() { name_ = bus_.ownName(kSessionManager.service); }
  void leave() { name_.reset(); }
  void grant(size_t request, uint32_t cookie) const {
    sd_bus_reply_method_return(requests.at(request).get(), "u", cookie);
  }

  std::vector<BusMessageHandle> requests;
  std::vector<uint32_t> givenBack;

 private:
  static int inhibit(sd_bus_message* call, void* context, sd_bus_error* /*error*/) {
    static_cast<HesitantManager*>(context)->requests.emplace_back(sd_bus_message_ref(call));
    return 1;
  }
  static int uninhibit(sd_bus_message* call, void* context, sd_bus_error* /*error*/) {
    static_cast<HesitantManager*>(context)->givenBack.push_back(readUint32(call).value_or(0));
    return sd_bus_reply_method_return(call, "");
  }
  static constexpr int kUnprivileged = SD_BUS_VTABLE_UNPRIVILEGED;
  static inline const sd_bus_vtable kTable[] = {
      SD_BUS_VTABLE_START(0),
      SD_BUS_METHOD("Inhibit", "susu", "u", inhibit, kUnprivileged),
      SD_BUS_METHOD("Uninhibit", "u", "", uninhibit, kUnprivileged),
      SD_BUS_VTABLE_END,
  };

  Bus& bus_;
  std::unique_ptr<Subscription> object_ =
      bus_.exportObject(kSessionManager.path, kSessionManager.interface, kTable, this);
  std::unique_ptr<Subscription> name_;
};

TEST_F(BusPowerTest, WhatIsGrantedToAnEarlierRequestIsGivenBack) {
  const auto serviceBus = connectTo("service", daemon_.address());
  HesitantManager manager(*serviceBus);
  start();
  const auto id = create(kNoDisplaySleep);
  ASSERT_TRUE(loop_.runUntil([&] { return manager.requests.size() == 1; }));
  manager.leave();
  settle();
  manager.own();
  ASSERT_TRUE(loop_.runUntil([&] { return manager.requests.size() == 2; }));
  manager.grant(0, 11);
  manager.grant(1, 12);
  ASSERT_TRUE(loop_.runUntil([&] { return !manager.givenBack.empty(); }));
  EXPECT_THAT(manager.givenBack, ElementsAre(11u));
  settle();
  power_->releaseAssertion(id);
  ASSERT_TRUE(loop_.runUntil([&] { return manager.givenBack.size() == 2; }));
  EXPECT_THAT(manager.givenBack, ElementsAre(11u, 12u));
}

TEST_F(BusPowerTest, AReleaseBeforeTheAnswerWaitsForTheAnswer) {
  const auto serviceBus = connectTo("service", daemon_.address());
  HesitantManager manager(*serviceBus);
  start();
  const auto id = create(kNoDisplaySleep);
  ASSERT_TRUE(loop_.runUntil([&] { return manager.requests.size() == 1; }));
  power_->releaseAssertion(id);
  power_.reset();
  settle();
  EXPECT_THAT(manager.givenBack, IsEmpty());
  manager.grant(0, 11);
  ASSERT_TRUE(loop_.runUntil([&] { return !manager.givenBack.empty(); }));
  EXPECT_THAT(manager.givenBack, ElementsAre(11u));
}

TEST_F(BusPowerTest, NothingIsHeldWhenThePowerManagerGoes) {
  startServices({kLogind, kSessionManager.service});
  start();
  create(kNoIdleSleep);
  create(kNoDisplaySleep);
  expectInhibitions({kLogindIdle, kLogindSleep, kManagerSuspend, kManagerIdle});
  power_.reset();
  expectInhibitions({});
}

TEST_F(BusPowerTest, NothingIsHeldOnceTheProcessIsKilled) {
  startServices({kLogind, kSessionManager.service, kSaver.service});
  PowerHolder holder(daemon_.address(), kName);
  expectInhibitions({kSaverIdle, kLogindIdle, kLogindSleep, kManagerSuspend, kManagerIdle});
  holder.kill();
  expectInhibitions({});
}

TEST_F(BusPowerTest, ABusThatComesBackGetsWhatIsHeld) {
  startServices({kSessionManager.service});
  start();
  create(kNoDisplaySleep);
  expectInhibitions({kManagerIdle});
  services_.reset();
  daemon_.stop();
  ASSERT_TRUE(loop_.runUntil([this] { return log_.lines().size() == 1; }));
  daemon_.start();
  startServices({kSessionManager.service});
  loop_.queue.advance(60);
  expectInhibitions({kManagerIdle});
}

TEST_F(BusPowerTest, WithoutBusesAssertionsAreHarmless) {
  ScriptedSocket silent(loop_, "");
  sessionBus_ = connectTo("session bus", "");
  systemBus_ = connectTo("system bus", silent.address());
  start();
  const auto sleep = create(kNoIdleSleep);
  const auto display = create(kNoDisplaySleep);
  power_->declareUserActivity(kName);
  loop_.runReady();
  power_->releaseAssertion(sleep);
  power_->releaseAssertion(display);
  loop_.runReady();
  EXPECT_THAT(log_.lines(),
              ElementsAre("[Tovalin] session bus not available: No such file or directory"));
  EXPECT_EQ(loop_.queue.pendingTasks(), 0u);
}

TEST_F(BusPowerTest, ActivityOnAnyThreadReachesEveryScreenSaver) {
  startServices({kSaver.service, "org.mate.ScreenSaver", "org.cinnamon.ScreenSaver"});
  start();
  std::thread([this] { power_->declareUserActivity(kName); }).join();
  for (const auto& saver : {kScreenSaver, kMateScreenSaver, kCinnamonScreenSaver}) {
    // The mock tells nobody that it was called, so ask the bus something to be woken by.
    EXPECT_TRUE(loop_.runUntil([&] {
      settle();
      return services_->calls(saver.object, "SimulateUserActivity") == 1;
    }));
  }
}

TEST_F(BusPowerTest, ActivityThatIsDeclaredAtTheVeryEndIsForgotten) {
  startServices({kSaver.service});
  start();
  power_->declareUserActivity(kName);
  power_.reset();
  sessionBus_.reset();
  loop_.runReady();
  EXPECT_EQ(services_->calls(kSaver, "SimulateUserActivity"), 0u);
}

}  // namespace
}  // namespace tovalin::test
