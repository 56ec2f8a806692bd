// What the host does on signalling messages, and at the beginning and the end of a visit.

#include <gmock/gmock.h>

#include "tests/unit/app/host_fixture.h"

namespace tovalin {
namespace {

using ::testing::Contains;
using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::Not;
using ::testing::SizeIs;

class HostVisitTest : public HostFixture {
 protected:
  void SetUp() override {
    launch();
    registerHost();
  }
};

// Pairing.

TEST_F(HostVisitTest, PairingAsksForAPinAndForgetsTheLastSuccess) {
  serverSays({{"type", "device-paired"}, {"deviceName", "Ada's phone"}});
  host_->startPairing();
  EXPECT_EQ(host_->lastPairedDevice(), std::nullopt);
  EXPECT_THAT(sentOfType("pairing-start"), SizeIs(1));
}

TEST_F(HostVisitTest, PinAndTokenArePublished) {
  serverSays({{"type", "pairing-pin"}, {"pin", "123456"}, {"pairToken", "abc"}});
  EXPECT_EQ(host_->pairingPIN(), "123456");
  EXPECT_EQ(host_->pairingToken(), "abc");
}

TEST_F(HostVisitTest, PinMessageWithoutFieldsClearsWhatWasShown) {
  serverSays({{"type", "pairing-pin"}, {"pin", "123456"}, {"pairToken", "abc"}});
  serverSays({{"type", "pairing-pin"}, {"pin", 123456}});
  EXPECT_EQ(host_->pairingPIN(), std::nullopt);
  EXPECT_EQ(host_->pairingToken(), std::nullopt);
}

TEST_F(HostVisitTest, PairedDeviceIsNamedAndRemembered) {
  serverSays({{"type", "pairing-pin"}, {"pin", "123456"}, {"pairToken", "abc"}});
  serverSays({{"type", "device-paired"}, {"deviceName", "Ada's phone"}});
  EXPECT_EQ(host_->lastPairedDevice(), "Ada's phone");
  EXPECT_EQ(host_->pairingPIN(), std::nullopt);
  EXPECT_EQ(host_->pairingToken(), std::nullopt);
  EXPECT_TRUE(host_->hasPairedOnce());
  EXPECT_TRUE(defaults_.booleans.at("tovalin.hasPairedOnce"));
}

TEST_F(HostVisitTest, NamelessDeviceIsYourPhone) {
  serverSays({{"type", "device-paired"}});
  EXPECT_EQ(host_->lastPairedDevice(), "Your phone");
}

TEST_F(HostVisitTest, EveryRegistrationAsksForThePinThatIsStillWanted) {
  host_->startPairing();
  registerHost();
  EXPECT_THAT(sentOfType("pairing-start"), SizeIs(2));
  serverSays({{"type", "pairing-pin"}, {"pin", "123456"}, {"pairToken", "abc"}});
  registerHost();
  EXPECT_THAT(sentOfType("pairing-start"), SizeIs(2)) << "there is a PIN";
  serverSays({{"type", "device-paired"}});
  registerHost();
  EXPECT_THAT(sentOfType("pairing-start"), SizeIs(3)) << "the window is still open";
  host_->endPairing();
  registerHost();
  EXPECT_THAT(sentOfType("pairing-start"), SizeIs(3)) << "nobody wants one any more";
}

TEST_F(HostVisitTest, PairingAskedForWithoutAServerGoesOutWithTheNextRegistration) {
  host_->setServerURL("not an address");
  host_->connectSignal();
  host_->startPairing();
  host_->setServerURL(kTestServerUrl);
  host_->connectSignal();
  EXPECT_THAT(sentOfType("pairing-start"), IsEmpty());
  registerHost();
  EXPECT_THAT(sentOfType("pairing-start"), SizeIs(1));
}

TEST_F(HostVisitTest, ClosingThePairingWindowClearsPinAndToken) {
  host_->startPairing();
  serverSays({{"type", "pairing-pin"}, {"pin", "123456"}, {"pairToken", "abc"}});
  host_->endPairing();
  EXPECT_EQ(host_->pairingPIN(), std::nullopt);
  EXPECT_EQ(host_->pairingToken(), std::nullopt);
}

// A visit's beginning.

TEST_F(HostVisitTest, ViewerThatJoinsIsOfferedTheScreen) {
  viewerJoins();
  EXPECT_EQ(host_->status(), "Viewer connecting…");
  EXPECT_EQ(rtc_.connections(), 1U);
  EXPECT_EQ(capture_.liveStreams(), 1);
  EXPECT_THAT(power_.activities, ElementsAre("Tovalin viewer connected"));
  EXPECT_THAT(power_.created, IsEmpty()) << "held only once connected";
  EXPECT_THAT(sentOfType("lock"), ElementsAre(SignalMessage{{"type", "lock"}, {"v", false}}));
}

TEST_F(HostVisitTest, VisitStartsWhateverThePermissionsSay) {
  permissions_.screenCapture = false;
  permissions_.trusted = false;
  queue_.advance(2);
  viewerJoins();
  EXPECT_EQ(rtc_.connections(), 1U);
}

TEST_F(HostVisitTest, LockStateIsReadAfreshForEachVisit) {
  loginSession_.lock(true);
  viewerJoins();
  EXPECT_THAT(sentOfType("lock"), ElementsAre(SignalMessage{{"type", "lock"}, {"v", true}}));
  queue_.advance(2);
  EXPECT_THAT(sentOfType("lock"), SizeIs(1)) << "the poll has nothing to add";
}

TEST_F(HostVisitTest, RelayServersReachTheNextSession) {
  registerHost({{{"urls", {"turn:10.0.0.9"}}, {"username", "u"}, {"credential", "c"}}});
  viewerJoins();
  EXPECT_THAT(latestIceServers(), SizeIs(2));
  EXPECT_EQ(latestIceServers().at(1), (IceServer{{"turn:10.0.0.9"}, "u", "c"}));
}

TEST_F(HostVisitTest, RegistrationDuringAVisitUpdatesTheRelaysAndNotTheStatus) {
  viewerJoins();
  registerHost({{{"urls", {"turn:10.0.0.9"}}}});
  EXPECT_EQ(host_->status(), "Viewer connecting…");
  EXPECT_THAT(latestIceServers(), SizeIs(1)) << "a running session keeps the list it was made with";
  viewerJoins();
  EXPECT_THAT(latestIceServers(), SizeIs(2));
}

TEST_F(HostVisitTest, RegistrationWithoutRelaysForgetsEarlierOnes) {
  registerHost({{{"urls", {"turn:10.0.0.9"}}}});
  serverSays({{"type", "registered"}});
  viewerJoins();
  EXPECT_THAT(latestIceServers(), SizeIs(1));
}

TEST_F(HostVisitTest, SecondViewerReplacesTheSessionAndCaptureGoesOn) {
  viewerJoins();
  viewerJoins();
  EXPECT_EQ(rtc_.connections(), 2U);
  EXPECT_TRUE(sessionClosed(0));
  EXPECT_FALSE(sessionClosed(1));
  EXPECT_THAT(capture_.streams(), SizeIs(1));
  EXPECT_EQ(capture_.liveStreams(), 1);
}

TEST_F(HostVisitTest, AnswerAndCandidatesReachTheRunningSession) {
  viewerJoins();
  serverSays({{"type", "answer"}, {"sdp", "v=0"}});
  serverSays({{"type", "ice"}, {"candidate", "candidate:1"}});
  EXPECT_EQ(rtc_.latest().remoteDescriptions().at(0).sdp, "v=0");
  EXPECT_THAT(rtc_.latest().candidates(),
              ElementsAre(IceCandidate{"candidate:1", 0, std::nullopt}));
}

TEST_F(HostVisitTest, AnswerAndCandidatesWithoutASessionAreDropped) {
  serverSays({{"type", "answer"}, {"sdp", "v=0"}});
  serverSays({{"type", "ice"}, {"candidate", "candidate:1"}});
  EXPECT_EQ(rtc_.connections(), 0U);
  EXPECT_EQ(host_->status(), "Waiting for a viewer…");
}

// Connected.

TEST_F(HostVisitTest, ConnectionShowsTheIndicatorAndKeepsTheMachineAwake) {
  viewerConnects();
  EXPECT_EQ(host_->status(), "🟢 Viewer connected");
  EXPECT_TRUE(host_->viewerConnected());
  EXPECT_EQ(windows_.indicatorsOnScreen, 1);
  EXPECT_THAT(power_.held, SizeIs(2));
}

TEST_F(HostVisitTest, RepeatedReportsOfTheSameStateChangeNothing) {
  viewerConnects();
  iceBecomes(IceConnectionState::completed);
  EXPECT_EQ(windows_.indicatorsMade, 1);
  EXPECT_THAT(power_.created, SizeIs(2));
  iceBecomes(IceConnectionState::disconnected);
  iceBecomes(IceConnectionState::failed);
  EXPECT_EQ(windows_.indicatorsOnScreen, 0);
  EXPECT_EQ(power_.releases, 2);
}

TEST_F(HostVisitTest, LostConnectionHidesTheIndicatorButOnlyPeerLeftStopsCapture) {
  viewerConnects();
  iceBecomes(IceConnectionState::disconnected);
  EXPECT_EQ(host_->status(), "Waiting for a viewer…");
  EXPECT_FALSE(host_->viewerConnected());
  EXPECT_EQ(windows_.indicatorsOnScreen, 0);
  EXPECT_THAT(power_.held, IsEmpty());
  EXPECT_FALSE(sessionClosed(0));
  EXPECT_EQ(capture_.liveStreams(), 1);
  viewerLeaves();
  EXPECT_TRUE(sessionClosed(0));
  EXPECT_EQ(capture_.liveStreams(), 0);
}

TEST_F(HostVisitTest, ConnectionThatComesBackIsConnectedAgain) {
  viewerConnects();
  iceBecomes(IceConnectionState::disconnected);
  iceBecomes(IceConnectionState::connected);
  EXPECT_EQ(host_->status(), "🟢 Viewer connected");
  EXPECT_EQ(windows_.indicatorsOnScreen, 1);
  EXPECT_THAT(power_.held, SizeIs(2));
}

TEST_F(HostVisitTest, FramesGoToTheSession) {
  viewerConnects();
  captureDelivers(1);
  captureDelivers(2);
  EXPECT_EQ(rtc_.latestSource().frames().size(), 2U);
}

TEST_F(HostVisitTest, FirstFrameIsReportedOnceASession) {
  viewerConnects();
  captureDelivers(1);
  captureDelivers(2);
  EXPECT_EQ(diagnosticsSent("first-frame-pushed"), 1);
  viewerJoins();
  captureDelivers(3);
  captureDelivers(4);
  EXPECT_EQ(diagnosticsSent("first-frame-pushed"), 2);
}

TEST_F(HostVisitTest, CaptureDiagnosticsAreSent) {
  viewerJoins();
  EXPECT_EQ(diagnosticsSent("capture-started 1920x1080"), 1);
}

TEST_F(HostVisitTest, InputReachesTheDesktopAndTrustIsReportedOnce) {
  viewerConnects();
  viewerSends(R"({"t":"m","x":0.5,"y":0.5})");
  EXPECT_THAT(input_.takeLines(), SizeIs(1));
  EXPECT_EQ(diagnosticsSent("accessibility-trusted=true"), 1);
}

// A visit's end.

TEST_F(HostVisitTest, ViewerThatLeavesEndsTheVisit) {
  viewerConnects();
  viewerLeaves();
  EXPECT_EQ(host_->status(), "Waiting for a viewer…");
  EXPECT_FALSE(host_->viewerConnected());
  EXPECT_TRUE(sessionClosed(0));
  EXPECT_EQ(capture_.liveStreams(), 0);
  EXPECT_EQ(windows_.indicatorsOnScreen, 0);
  EXPECT_THAT(power_.held, IsEmpty());
}

TEST_F(HostVisitTest, DisconnectButtonSaysByeAndEndsTheVisit) {
  viewerConnects();
  windows_.pressDisconnect();
  EXPECT_THAT(sentOfType("bye"), ElementsAre(SignalMessage{{"type", "bye"}}));
  EXPECT_TRUE(sessionClosed(0));
  EXPECT_EQ(host_->status(), "Waiting for a viewer…");
}

TEST_F(HostVisitTest, DisconnectFromTheMenuDoesTheSame) {
  viewerConnects();
  host_->disconnectViewer();
  EXPECT_THAT(sentOfType("bye"), SizeIs(1));
  EXPECT_TRUE(sessionClosed(0));
}

TEST_F(HostVisitTest, DisconnectButtonAfterTheControllerIsGoneDoesNothing) {
  viewerConnects();
  const auto press = windows_.pressDisconnect;
  host_.reset();
  press();
  EXPECT_THAT(sentOfType("bye"), IsEmpty());
}

TEST_F(HostVisitTest, WhatTheViewerHeldIsReleasedHoweverTheVisitEnds) {
  const std::vector<std::function<void()>> ends = {
      [this] { viewerLeaves(); },
      [this] { host_->disconnectViewer(); },
      [this] { host_->connectSignal(); },
      [this] { viewerJoins(); },
      [this] { iceBecomes(IceConnectionState::disconnected); },
      [this] {
        serverSays({{"type", "evicted"}});
      },
      [this] { host_.reset(); },
  };
  for (size_t i = 0; i < ends.size(); ++i) {
    if (!host_ || i > 0) relaunch();
    registerHost();
    viewerConnects();
    viewerSends(R"({"t":"p","b":0})");
    viewerSends(R"({"t":"key","c":0})");
    input_.takeLines();
    ends[i]();
    EXPECT_THAT(input_.takeLines(), SizeIs(2)) << "end " << i;
  }
}

TEST_F(HostVisitTest, ReconnectEndsTheVisitAndRegistersAnew) {
  viewerConnects();
  host_->connectSignal();
  EXPECT_TRUE(sessionClosed(0));
  EXPECT_EQ(sockets_.connections(), 2U);
  EXPECT_EQ(firstConnectionCloseCode(), 1000);
  EXPECT_EQ(sentMessages().at(0).at("type"), "register");
  EXPECT_EQ(host_->status(), "Waiting for a viewer…");
}

// The server.

TEST_F(HostVisitTest, LostServerIsSaidAndAVisitGoesOn) {
  viewerConnects();
  serverDrops();
  EXPECT_EQ(host_->status(), "Reconnecting to server…");
  EXPECT_FALSE(sessionClosed(0));
  EXPECT_EQ(capture_.liveStreams(), 1);
  EXPECT_EQ(windows_.indicatorsOnScreen, 1);
}

TEST_F(HostVisitTest, ServerThatComesBackRestoresWaiting) {
  serverDrops();
  EXPECT_EQ(host_->status(), "Reconnecting to server…");
  queue_.advance(1);
  EXPECT_EQ(sockets_.connections(), 2U);
  registerHost();
  EXPECT_EQ(host_->status(), "Waiting for a viewer…");
}

TEST_F(HostVisitTest, RegistrationStartsTheBackOffAgain) {
  serverDrops();
  queue_.advance(1);
  serverDrops();
  queue_.advance(2);
  registerHost();
  serverDrops();
  queue_.advance(0.99);
  EXPECT_EQ(sockets_.connections(), 3U);
  queue_.advance(0.01);
  EXPECT_EQ(sockets_.connections(), 4U);
}

TEST_F(HostVisitTest, RejectedHostSaysSoAndKeepsItsClient) {
  serverSays({{"type", "auth-failed"}});
  EXPECT_EQ(host_->status(), "Server rejected this Mac — try Reconnect");
  EXPECT_EQ(firstConnectionCloseCode(), std::nullopt);
}

TEST_F(HostVisitTest, EvictedHostStaysAwayUntilTheUserReconnects) {
  viewerConnects();
  serverSays({{"type", "evicted"}});
  EXPECT_EQ(host_->status(), "Another Mac took over this room");
  EXPECT_TRUE(sessionClosed(0));
  EXPECT_EQ(firstConnectionCloseCode(), 1000);
  queue_.advance(3600);
  EXPECT_EQ(sockets_.connections(), 1U);
  host_->connectSignal();
  EXPECT_EQ(sockets_.connections(), 2U);
  EXPECT_EQ(host_->status(), "Waiting for a viewer…");
}

class IgnoredMessageTest : public HostVisitTest,
                           public ::testing::WithParamInterface<const char*> {};

TEST_P(IgnoredMessageTest, ChangesNothing) {
  viewerConnects();
  const size_t sent = sentMessages().size();
  serverSaysText(GetParam());
  EXPECT_EQ(host_->status(), "🟢 Viewer connected");
  EXPECT_FALSE(sessionClosed(0));
  EXPECT_EQ(sentMessages().size(), sent);
}

INSTANTIATE_TEST_SUITE_P(
    Messages, IgnoredMessageTest,
    ::testing::Values(R"({})", R"({"type":null})", R"({"type":7})", R"({"type":["peer-left"]})",
                      R"({"type":"Peer-Left"})", R"({"type":"peer-left "})", R"({"type":""})",
                      R"({"Type":"peer-left"})", R"({"type":"unheard-of"})", R"(["peer-left"])",
                      R"("peer-left")", R"({"type":"peer-left")", "", "\xff\xfe",
                      R"({"type":"answer"})", R"({"type":"answer","sdp":1})", R"({"type":"ice"})",
                      R"({"type":"ice","candidate":{}})"));

}  // namespace
}  // namespace tovalin
