// Start-up, the published state, permissions, lock poll and login item.

#include <gmock/gmock.h>

#include "tests/unit/app/host_fixture.h"

namespace tovalin {
namespace {

using ::testing::Contains;
using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::Not;

class HostStartTest : public HostFixture {};

TEST_F(HostStartTest, StatusLeavesStartingOnceTheServerIsCalled) {
  launch();
  EXPECT_EQ(host_->status(), "Waiting for a viewer…");
}

TEST_F(HostStartTest, RegistersUnderTheStoredIdentityAndTheComputersName) {
  defaults_.strings["tovalin.hostId"] = "HOST-ID";
  defaults_.strings["tovalin.hostKey"] = "secret";
  launch();
  EXPECT_EQ(sentMessages().at(0), (SignalMessage{{"type", "register"},
                                                 {"role", "host"},
                                                 {"hostId", "HOST-ID"},
                                                 {"hostKey", "secret"},
                                                 {"name", "Ada's computer"}}));
}

TEST_F(HostStartTest, NamelessComputerIsAMac) {
  info_.name.reset();
  launch();
  EXPECT_EQ(sentMessages().at(0).at("name"), "Mac");
}

TEST_F(HostStartTest, IdentityIsMadeBeforeItIsUsed) {
  launch();
  EXPECT_EQ(sentMessages().at(0).at("hostId"), defaults_.strings.at("tovalin.hostId"));
  EXPECT_EQ(sentMessages().at(0).at("hostKey").get<std::string>().size(), 64U);
}

TEST_F(HostStartTest, RetiredPortIsMigratedBeforeTheFirstConnection) {
  defaults_.strings["tovalin.serverURL"] = "ws://10.0.0.2:9800";
  launch();
  EXPECT_EQ(connectedUrl(), kTestServerUrl);
}

TEST_F(HostStartTest, SecondCopyLogsQuitsAndStartsNothing) {
  applications_.running = {77, 100};
  launch();
  EXPECT_EQ(applications_.askedFor, "com.tovalin.host");
  EXPECT_THAT(log_.lines(), Contains("[Tovalin] another instance is running — quitting this one"));
  EXPECT_EQ(applications_.terminations, 1);
  EXPECT_EQ(sockets_.connections(), 0U);
  EXPECT_EQ(loginItem_.registrations, 0);
}

TEST_F(HostStartTest, SecondCopyShowsTheOthersBeforeItLogsAndQuits) {
  applications_.running = {77, 100, 200};
  applications_.onCall = [this](const std::string& call) { log_.line(call); };
  launch();
  EXPECT_THAT(log_.lines(), ElementsAre("activate 77", "activate 200",
                                        "[Tovalin] another instance is running — quitting this one",
                                        "terminate"));
}

TEST_F(HostStartTest, OnlyCopyAsksNobodyToShowItself) {
  applications_.onCall = [this](const std::string& call) { log_.line(call); };
  launch();
  EXPECT_THAT(log_.lines(), IsEmpty());
}

TEST_F(HostStartTest, CopiesThatSeeEachOtherBothQuit) {
  applications_.running = {100, 200};
  launch();
  EXPECT_EQ(applications_.terminations, 1);
}

TEST_F(HostStartTest, ProgramOutsideABundleLooksForTheProductsOwnIdentifier) {
  info_.bundle.reset();
  launch();
  EXPECT_EQ(applications_.askedFor, "com.tovalin.host");
}

TEST_F(HostStartTest, UnparseableAddressIsSaidAndNothingIsTried) {
  defaults_.strings["tovalin.serverURL"] = "not an address";
  launch();
  EXPECT_EQ(host_->status(), "Bad server address");
  EXPECT_EQ(sockets_.connections(), 0U);
  EXPECT_EQ(host_->serverURL(), "not an address");
}

TEST_F(HostStartTest, CorrectedAddressIsUsedOnReconnect) {
  defaults_.strings["tovalin.serverURL"] = "not an address";
  launch();
  host_->setServerURL("ws://10.0.0.3/signal");
  host_->connectSignal();
  EXPECT_EQ(connectedUrl(), "ws://10.0.0.3/signal");
  EXPECT_EQ(host_->status(), "Waiting for a viewer…");
}

TEST_F(HostStartTest, AddressMadeBadLaterKeepsItsStatusWhenTheOldSocketEnds) {
  launch();
  host_->setServerURL("not an address");
  host_->connectSignal();
  queue_.advance(60);
  EXPECT_EQ(host_->status(), "Bad server address");
  EXPECT_EQ(sockets_.connections(), 1U);
}

TEST_F(HostStartTest, IconWarnsOfAMissingPermissionEvenWhileAViewerIsConnected) {
  launch();
  EXPECT_EQ(host_->menuIcon(), "rectangle.on.rectangle");
  registerHost();
  viewerConnects();
  EXPECT_EQ(host_->menuIcon(), "dot.radiowaves.left.and.right");
  permissions_.screenCapture = false;
  queue_.advance(2);
  EXPECT_EQ(host_->menuIcon(), "exclamationmark.triangle");
  permissions_.screenCapture = true;
  permissions_.trusted = false;
  queue_.advance(2);
  EXPECT_EQ(host_->menuIcon(), "exclamationmark.triangle");
}

TEST_F(HostStartTest, PermissionsAreFollowedWithinTwoSecondsForEver) {
  permissions_.screenCapture = false;
  launch();
  EXPECT_FALSE(host_->screenPermission());
  queue_.advance(3600);
  permissions_.screenCapture = true;
  queue_.advance(2);
  EXPECT_TRUE(host_->screenPermission());
}

TEST_F(HostStartTest, RequestingScreenCaptureAsksThenOpensSettingsThenLooksAgain) {
  permissions_.screenCapture = false;
  launch();
  permissions_.screenCapture = true;
  host_->requestScreenPermission();
  EXPECT_THAT(permissions_.calls, ElementsAre("requestScreenCapture", "openScreenCaptureSettings"));
  EXPECT_TRUE(host_->screenPermission());
}

TEST_F(HostStartTest, RequestingInputOnlyPromptsAndLooksAgain) {
  permissions_.trusted = false;
  launch();
  permissions_.trusted = true;
  host_->requestInputPermission();
  EXPECT_THAT(permissions_.calls, ElementsAre("requestTrustedWithPrompt"));
  EXPECT_TRUE(host_->inputPermission());
}

TEST_F(HostStartTest, FirstLaunchTurnsStartingAtLoginOn) {
  launch();
  EXPECT_TRUE(host_->launchAtLogin());
  EXPECT_TRUE(defaults_.booleans.at("tovalin.loginConfigured"));
}

TEST_F(HostStartTest, LaterLaunchesLeaveTheUsersChoiceAlone) {
  defaults_.booleans["tovalin.loginConfigured"] = true;
  launch();
  EXPECT_FALSE(host_->launchAtLogin());
  EXPECT_EQ(loginItem_.registrations, 0);
}

TEST_F(HostStartTest, FailedFirstRegistrationIsLoggedAndNotTriedAtTheNextLaunch) {
  loginItem_.failure = "read-only file system";
  launch();
  EXPECT_THAT(log_.lines(), Contains("[Tovalin] launch-at-login failed: read-only file system"));
  EXPECT_FALSE(host_->launchAtLogin());
  relaunch();
  EXPECT_EQ(loginItem_.registrations, 1);
}

TEST_F(HostStartTest, ToggleShowsTheRealStateNotTheRequestedOne) {
  launch();
  loginItem_.failure = "no";
  host_->setLaunchAtLogin(false);
  EXPECT_TRUE(host_->launchAtLogin());
}

TEST_F(HostStartTest, WakingFromSleepConnectsAnew) {
  launch();
  loginSession_.wake();
  EXPECT_EQ(sockets_.connections(), 2U);
}

TEST_F(HostStartTest, ObserversSeeEachChange) {
  launch();
  std::vector<std::string> seen;
  const auto subscription = host_->onChange([&] { seen.push_back(host_->status()); });
  serverSays({{"type", "auth-failed"}});
  EXPECT_THAT(seen, ElementsAre("Server rejected this Mac — try Reconnect"));
}

TEST_F(HostStartTest, TimersDoNothingOnceTheControllerIsGone) {
  launch();
  host_.reset();
  queue_.advance(60);
  EXPECT_EQ(queue_.liveTimers(), 0);
}

// The lock state.

class HostLockTest : public HostFixture {
 protected:
  std::vector<SignalMessage> locksSent() { return sentOfType("lock"); }
};

TEST_F(HostLockTest, StateAtStartIsNotSent) {
  loginSession_.lock(true);
  launch();
  queue_.advance(10);
  EXPECT_THAT(locksSent(), IsEmpty());
}

TEST_F(HostLockTest, ChangeIsSentWithinTwoSecondsWithoutAViewer) {
  launch();
  loginSession_.lock(true);
  queue_.advance(2);
  loginSession_.lock(false);
  queue_.advance(2);
  EXPECT_THAT(locksSent(), ElementsAre(SignalMessage{{"type", "lock"}, {"v", true}},
                                       SignalMessage{{"type", "lock"}, {"v", false}}));
}

TEST_F(HostLockTest, LockingAndUnlockingWithinOneIntervalSendsNothing) {
  launch();
  queue_.advance(0.5);
  loginSession_.lock(true);
  queue_.advance(1);
  loginSession_.lock(false);
  queue_.advance(10);
  EXPECT_THAT(locksSent(), IsEmpty());
}

TEST_F(HostLockTest, ChangeWithoutASignalClientIsKeptAndNotQueued) {
  defaults_.strings["tovalin.serverURL"] = "not an address";
  launch();
  loginSession_.lock(true);
  queue_.advance(2);
  host_->setServerURL(kTestServerUrl);
  host_->connectSignal();
  queue_.advance(10);
  EXPECT_THAT(locksSent(), IsEmpty());
}

struct Dictionary {
  std::optional<SignalMessage> value;
  bool locked;
};

class SessionDictionaryTest : public HostLockTest,
                              public ::testing::WithParamInterface<Dictionary> {};

TEST_P(SessionDictionaryTest, ReadsAsLockedOnlyForTrueAndOne) {
  launch();
  registerHost();
  loginSession_.dictionary = GetParam().value;
  viewerJoins();
  EXPECT_EQ(locksSent().back().at("v"), GetParam().locked);
}

INSTANTIATE_TEST_SUITE_P(
    Dictionaries, SessionDictionaryTest,
    ::testing::Values(Dictionary{std::nullopt, false}, Dictionary{SignalMessage::object(), false},
                      Dictionary{SignalMessage::array(), false},
                      Dictionary{SignalMessage{{kSessionScreenIsLocked, true}}, true},
                      Dictionary{SignalMessage{{kSessionScreenIsLocked, false}}, false},
                      Dictionary{SignalMessage{{kSessionScreenIsLocked, 1}}, true},
                      Dictionary{SignalMessage{{kSessionScreenIsLocked, 0}}, false},
                      Dictionary{SignalMessage{{kSessionScreenIsLocked, 2}}, false},
                      Dictionary{SignalMessage{{kSessionScreenIsLocked, 1.0}}, false},
                      Dictionary{SignalMessage{{kSessionScreenIsLocked, "1"}}, false},
                      Dictionary{SignalMessage{{kSessionScreenIsLocked, nullptr}}, false}));

}  // namespace
}  // namespace tovalin
