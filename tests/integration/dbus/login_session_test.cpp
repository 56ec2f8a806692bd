#include <gmock/gmock.h>
#include <stdlib.h>

#include "platform/dbus/desktop_login_session.h"
#include "tests/fakes/fake_desktop.h"
#include "tests/integration/dbus/bus_fixture.h"

namespace tovalin::test {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

constexpr const char* kLogind = kLoginManager.service;
constexpr BusObject kSession{kLoginManager.service, "/org/freedesktop/login1/session/_37",
                             kLoginSessionInterface};
constexpr BusObject kSaver = kScreenSaver.object;
constexpr BusObject kGnome = kGnomeScreenSaver.object;
constexpr const char* kRefusal =
    "raise dbus.exceptions.DBusException('no', name='org.freedesktop.DBus.Error.NotSupported')";

class DesktopLoginSessionTest : public DesktopTest {
 protected:
  DesktopLoginSessionTest() {
    setenv("XDG_SESSION_ID", "7", 1);
    // Not what a service would say, so that it is seen where an answer comes from.
    fallback_.dictionary = nlohmann::json{{"without", "services"}};
  }

  void start() { session_ = makeDesktopLoginSession(*sessionBus_, *systemBus_, log_, fallback_); }

  bool isFallback() const { return session_->currentDictionary() == fallback_.dictionary; }

  bool is(bool locked) const {
    return session_->currentDictionary() == nlohmann::json{{kSessionScreenIsLocked, locked}};
  }

  bool becomes(bool locked) {
    return loop_.runUntil([=, this] { return is(locked); });
  }

  bool becomesFallback() {
    return loop_.runUntil([this] { return isFallback(); });
  }

  // Until it is known which services there are.
  void startAndSettle() {
    start();
    settle();
  }

  fake::FakeLoginSession fallback_;
  std::unique_ptr<LoginSession> session_;
};

TEST_F(DesktopLoginSessionTest, WithoutServicesTheFallbackIsAsked) {
  startAndSettle();
  EXPECT_TRUE(isFallback());
  EXPECT_THAT(log_.lines(), IsEmpty());
}

TEST_F(DesktopLoginSessionTest, LogindsAnswerIsNotWaitedFor) {
  startServices({kLogind});
  services_->setProperty(kSession, "LockedHint", "b", true);
  start();
  EXPECT_TRUE(isFallback());
  EXPECT_TRUE(becomes(true));
}

TEST_F(DesktopLoginSessionTest, LogindsLockedHintIsFollowed) {
  startServices({kLogind});
  start();
  ASSERT_TRUE(becomes(false));
  services_->setProperty(kSession, "LockedHint", "b", true);
  ASSERT_TRUE(becomes(true));
  services_->setProperty(kSession, "IdleHint", "b", true);
  services_->setProperty(kSession, "LockedHint", "b", false);
  EXPECT_TRUE(becomes(false));
}

TEST_F(DesktopLoginSessionTest, AChangeSentWithoutItsValueIsAskedFor) {
  startServices({kLogind});
  start();
  ASSERT_TRUE(becomes(false));
  // The mock has the new value, and tells only that there is one.
  services_->method({kLogind, kSession.path, kPropertiesInterface}, "Get", "ss", "v",
                    "ret = dbus.Boolean(True, variant_level=1)");
  services_->emitFields({kLogind, kSession.path, kPropertiesInterface}, "PropertiesChanged",
                        "sa{sv}as", "av", 3, "s", kLoginSessionInterface, "a{sv}", 0, "as", 1,
                        "LockedHint");
  EXPECT_TRUE(becomes(true));
}

TEST_F(DesktopLoginSessionTest, AnUnknownSessionIdMeansTheGraphicalSession) {
  setenv("XDG_SESSION_ID", "gone", 1);
  startServices({kLogind});
  start();
  EXPECT_TRUE(becomes(false));
  EXPECT_EQ(services_->calls(kLoginManager, "GetSession"), 2u);
}

TEST_F(DesktopLoginSessionTest, WithoutASessionIdTheGraphicalSessionIsMeant) {
  unsetenv("XDG_SESSION_ID");
  startServices({kLogind});
  start();
  EXPECT_TRUE(becomes(false));
  EXPECT_EQ(services_->calls(kLoginManager, "GetSession"), 1u);
}

class EveryScreenSaverTest : public DesktopLoginSessionTest,
                             public testing::WithParamInterface<BusObjectPlaces> {};

TEST_P(EveryScreenSaverTest, IsLockedWhileItIsActive) {
  const auto saver = GetParam().object;
  startServices({saver.service});
  services_->method(saver, "GetActive", "", "b", "ret = True");
  start();
  ASSERT_TRUE(becomes(true));
  services_->emit(saver, "ActiveChanged", "b", false);
  ASSERT_TRUE(becomes(false));
  services_->emit(saver, "ActiveChanged", "b", true);
  EXPECT_TRUE(becomes(true));
}

INSTANTIATE_TEST_SUITE_P(Desktops, EveryScreenSaverTest, testing::ValuesIn(kScreenSavers),
                         [](const auto& tested) {
                           std::string name = tested.param.object.service;
                           std::erase(name, '.');
                           return name;
                         });

TEST_F(DesktopLoginSessionTest, AScreenSaverAtTheShortPathAloneIsFoundThere) {
  startServices({std::string(kSaver.service) + "@" + kScreenSaver.otherPath});
  const BusObject there{kSaver.service, kScreenSaver.otherPath, kSaver.interface};
  start();
  ASSERT_TRUE(becomes(false));
  services_->emit(there, "ActiveChanged", "b", true);
  EXPECT_TRUE(becomes(true));
}

TEST_F(DesktopLoginSessionTest, AServiceThatRefusesToTellHasNotAnswered) {
  startServices({kSaver.service});
  services_->method(kSaver, "GetActive", "", "b", kRefusal);
  start();
  settleAfterCalls(kSaver, "GetActive", 1);
  EXPECT_TRUE(isFallback());
  EXPECT_THAT(log_.lines(), IsEmpty());
}

TEST_F(DesktopLoginSessionTest, OneServiceThatRefusesDoesNotHideTheOther) {
  startServices({kSaver.service, kGnome.service});
  services_->method(kSaver, "GetActive", "", "b", kRefusal);
  services_->method(kGnome, "GetActive", "", "b", "ret = True");
  start();
  EXPECT_TRUE(becomes(true));
}

TEST_F(DesktopLoginSessionTest, TheScreenIsLockedWhenAnyServiceSaysSo) {
  startServices({kLogind, kSaver.service});
  services_->method(kSaver, "GetActive", "", "b", "ret = True");
  start();
  ASSERT_TRUE(becomes(true));
  services_->setProperty(kSession, "LockedHint", "b", true);
  services_->emit(kSaver, "ActiveChanged", "b", false);
  settle();
  EXPECT_TRUE(is(true));
  services_->setProperty(kSession, "LockedHint", "b", false);
  EXPECT_TRUE(becomes(false));
}

TEST_F(DesktopLoginSessionTest, ALateAnswerHoldsNothingUpAndCounts) {
  startServices({kSaver.service});
  services_->method(kSaver, "GetActive", "", "b", services_->gated("ret = True"));
  startAndSettle();
  bool ran = false;
  loop_.queue.post([&] { ran = true; });
  loop_.runReady();
  EXPECT_TRUE(ran);
  EXPECT_TRUE(isFallback());
  services_->openGate();
  EXPECT_TRUE(becomes(true));
}

TEST_F(DesktopLoginSessionTest, AFailingLogindHasNotAnswered) {
  startServices({kLogind});
  services_->method(kLoginManager, "GetSession", "s", "o", kRefusal);
  start();
  settleAfterCalls(kLoginManager, "GetSession", 2);
  EXPECT_TRUE(isFallback());
  EXPECT_THAT(log_.lines(), IsEmpty());
}

TEST_F(DesktopLoginSessionTest, AScreenSaverThatLiesHasNotAnsweredAndIsLoggedOnce) {
  startServices({kGnome.service});
  services_->method(kGnome, "GetActive", "", "s", "ret = 'yes'");
  start();
  ASSERT_TRUE(loop_.runUntil([this] { return log_.lines().size() == 1; }));
  EXPECT_TRUE(isFallback());
  services_->emit(kGnome, "ActiveChanged", "b", true);
  ASSERT_TRUE(becomes(true));
  services_->emit(kGnome, "ActiveChanged", "s", "no");
  ASSERT_TRUE(becomesFallback());
  EXPECT_THAT(log_.lines(),
              ElementsAre("[Tovalin] org.gnome.ScreenSaver answers with the wrong type"));
}

TEST_F(DesktopLoginSessionTest, ALogindThatLiesAboutTheLockHasNotAnswered) {
  startServices({kLogind});
  start();
  ASSERT_TRUE(becomes(false));
  services_->setProperty(kSession, "LockedHint", "s", "true");
  ASSERT_TRUE(becomesFallback());
  services_->emitFields({kLogind, kSession.path, kPropertiesInterface}, "PropertiesChanged", "u",
                        "av", 1, "u", 1);
  settle();
  EXPECT_TRUE(isFallback());
  EXPECT_THAT(log_.lines(),
              ElementsAre("[Tovalin] org.freedesktop.login1 answers with the wrong type"));
}

TEST_F(DesktopLoginSessionTest, ALogindThatLiesAboutTheSessionHasNotAnswered) {
  startServices({kLogind});
  services_->method(kLoginManager, "GetSession", "s", "u", "ret = 7");
  start();
  ASSERT_TRUE(loop_.runUntil([this] { return log_.lines().size() == 1; }));
  EXPECT_TRUE(isFallback());
}

TEST_F(DesktopLoginSessionTest, AServiceMayComeLateAndGo) {
  startServices({kSaver.service, kLogind});
  services_->release(kSaver.service);
  services_->release(kLogind);
  startAndSettle();
  ASSERT_TRUE(isFallback());
  services_->own(kSaver.service);
  ASSERT_TRUE(becomes(false));
  services_->release(kSaver.service);
  ASSERT_TRUE(becomesFallback());
  services_->own(kLogind);
  ASSERT_TRUE(becomes(false));
  services_->release(kLogind);
  EXPECT_TRUE(becomesFallback());
}

TEST_F(DesktopLoginSessionTest, ALockIsForgottenWithTheServiceThatToldOfIt) {
  startServices({kLogind, kSaver.service});
  services_->method(kSaver, "GetActive", "", "b", "ret = True");
  start();
  ASSERT_TRUE(becomes(true));
  services_->release(kSaver.service);
  EXPECT_TRUE(becomes(false));
}

TEST_F(DesktopLoginSessionTest, OnlyTheOwnerOfTheNameIsBelieved) {
  // Both have the interface of the GNOME screen saver; only one has the name.
  startServices({kGnome.service, kGnomeScreenShield.object.service});
  services_->release(kGnomeScreenShield.object.service);
  start();
  ASSERT_TRUE(becomes(false));
  services_->own("org.gnome.Shell.ScreenShield");
  settle();
  services_->emit(kGnomeScreenShield.object, "ActiveChanged", "b", true);
  ASSERT_TRUE(becomes(true));
  services_->release("org.gnome.Shell.ScreenShield");
  // Were its signal taken for the other's, the screen would stay locked.
  EXPECT_TRUE(becomes(false));
}

TEST_F(DesktopLoginSessionTest, TheEndOfSleepIsToldAsLongAsItIsObserved) {
  startServices({kLogind});
  start();
  int wakes = 0;
  auto observation = session_->onDidWake([&] { ++wakes; });
  ASSERT_TRUE(becomes(false));
  services_->emit(kLoginManager, "PrepareForSleep", "b", true);
  settle();
  EXPECT_EQ(wakes, 0);
  services_->emit(kLoginManager, "PrepareForSleep", "b", false);
  ASSERT_TRUE(loop_.runUntil([&] { return wakes == 1; }));
  services_->emit(kLoginManager, "PrepareForSleep", "s", "awake");
  ASSERT_TRUE(loop_.runUntil([this] { return log_.lines().size() == 1; }));
  observation.reset();
  services_->emit(kLoginManager, "PrepareForSleep", "b", false);
  services_->setProperty(kSession, "LockedHint", "b", true);
  ASSERT_TRUE(becomes(true));
  EXPECT_EQ(wakes, 1);
}

TEST_F(DesktopLoginSessionTest, AnObserverOfWakingMayEndItsObservation) {
  startServices({kLogind});
  start();
  int wakes = 0;
  std::unique_ptr<Subscription> first;
  first = session_->onDidWake([&] {
    ++wakes;
    first.reset();
  });
  const auto second = session_->onDidWake([&] { ++wakes; });
  ASSERT_TRUE(becomes(false));
  services_->emit(kLoginManager, "PrepareForSleep", "b", false);
  ASSERT_TRUE(loop_.runUntil([&] { return wakes == 2; }));
  services_->emit(kLoginManager, "PrepareForSleep", "b", false);
  EXPECT_TRUE(loop_.runUntil([&] { return wakes == 3; }));
}

TEST_F(DesktopLoginSessionTest, WithoutBusesTheFallbackIsAskedAndEachMissingBusIsLoggedOnce) {
  sessionBus_ = connectTo("session bus", "");
  systemBus_ = connectTo("system bus", "unix:path=/nonexistent/bus");
  start();
  loop_.runReady();
  EXPECT_TRUE(isFallback());
  EXPECT_THAT(log_.lines(), testing::UnorderedElementsAre(
                                "[Tovalin] session bus not available: No such file or directory",
                                "[Tovalin] system bus not available: No such file or directory"));
  EXPECT_EQ(loop_.queue.pendingTasks(), 0u);
}

TEST_F(DesktopLoginSessionTest, ASilentSystemBusDoesNotHideTheSessionBus) {
  ScriptedSocket silent(loop_, "");
  systemBus_ = connectTo("system bus", silent.address());
  startServices({kSaver.service});
  start();
  EXPECT_TRUE(becomes(false));
  EXPECT_EQ(silent.connections(), 1u);
}

TEST_F(DesktopLoginSessionTest, ASystemBusOfGarbageDoesNotHideTheSessionBus) {
  ScriptedSocket garbage(loop_, "What?\r\nWho?\r\nWhere?\r\n");
  systemBus_ = connectTo("system bus", garbage.address());
  startServices({kSaver.service});
  start();
  EXPECT_TRUE(becomes(false));
  EXPECT_TRUE(loop_.runUntil([this] { return log_.lines().size() == 1; }));
}

TEST_F(DesktopLoginSessionTest, ASessionMayGoBeforeItsServicesAnswer) {
  startServices({kLogind, kSaver.service});
  start();
  session_.reset();
  settle();
  start();
  EXPECT_TRUE(becomes(false));
}

}  // namespace
}  // namespace tovalin::test
