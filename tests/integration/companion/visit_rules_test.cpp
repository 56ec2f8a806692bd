#include "tests/integration/companion/switchboard_fixture.h"

namespace tovalin::server {
namespace {

using namespace std::chrono_literals;
using testing::ElementsAre;
using testing::IsEmpty;

// One host on line with a paired device.
class VisitRulesTest : public SwitchboardTest {
 protected:
  void SetUp() override {
    SwitchboardTest::SetUp();
    host_ = hostRegisters();
    device_ = pairDevice(host_);
  }

  std::string joinRefusal(const Json& message) {
    const auto viewer = viewerConnects();
    says(viewer, message);
    const Json reply = toldOnly(viewer);
    EXPECT_EQ(reply["type"], "join-failed") << message;
    return reply.value("reason", "");
  }
  void hostComesBack() {
    host_ = connect(Endpoint::host);
    says(host_, registration());
  }
  void expectRelaying(ConnectionId viewer) {
    says(host_, {{"type", "lock"}, {"v", true}});
    EXPECT_THAT(toldTypes(viewer), ElementsAre("lock"));
    says(viewer, {{"type", "ice"}, {"candidate", "c"}});
    EXPECT_THAT(toldTypes(host_), ElementsAre("ice"));
  }

  ConnectionId host_ = 0;
  Device device_;
};

TEST_F(VisitRulesTest, JoiningTellsBothSides) {
  iceServers_ = {{{"urls", {"turn:turn.example.org"}}}};
  const auto viewer = viewerJoins(device_);
  EXPECT_EQ(toldOnly(viewer), Json({{"type", "joined"}, {"iceServers", iceServers_}}));
  EXPECT_THAT(told(host_), ElementsAre(Json({{"type", "registered"}, {"iceServers", iceServers_}}),
                                       Json({{"type", "peer-joined"}})));
}

TEST_F(VisitRulesTest, DeviceWasSeenWhenItJoinedAndTheDiskLearnsItLater) {
  pass(10s);
  const auto joined = clock_.unixTime();
  viewerJoins(device_);
  EXPECT_LT(store_.devices.at(device_.id).lastSeen, joined) << "no visit waits for the disk";
  pass(1s);
  EXPECT_EQ(store_.devices.at(device_.id).lastSeen, joined);
}

TEST_F(VisitRulesTest, StrangersAreUnknownDevices) {
  hostRegisters("HOST-2");
  for (const auto& [field, value] : std::vector<std::pair<const char*, Json>>{
           {"hostId", "HOST-2"},
           {"hostId", "HOST-3"},
           {"hostId", nullptr},
           {"deviceId", std::string(32, '0')},
           {"deviceId", 7},
           {"deviceKey", std::string(64, '0')},
           {"deviceKey", ""},
           {"deviceKey", nullptr},
       }) {
    Json message = joining(device_);
    message[field] = value;
    EXPECT_EQ(joinRefusal(message), "unknown-device");
    message["resume"] = true;
    EXPECT_EQ(joinRefusal(message), "unknown-device");
  }
  EXPECT_THAT(told(host_), IsEmpty());
}

TEST_F(VisitRulesTest, HostThatIsOffLineCannotBeJoined) {
  board_->closed(host_, true);
  EXPECT_EQ(joinRefusal(joining(device_)), "host-offline");
  EXPECT_EQ(joinRefusal(joining(device_, /*resume=*/true)), "host-offline");
}

TEST_F(VisitRulesTest, SecondDeviceFindsTheHostBusy) {
  const auto other = pairDevice(host_);
  const auto viewer = visitRuns(host_, device_);
  EXPECT_EQ(joinRefusal(joining(other)), "busy");
  EXPECT_EQ(joinRefusal(joining(other, /*resume=*/true)), "busy");
  expectRelaying(viewer);

  says(viewer, {{"type", "leave"}});
  EXPECT_THAT(toldTypes(host_), ElementsAre("peer-left"));
  EXPECT_EQ(toldOnly(viewerJoins(other))["type"], "joined");
}

TEST_F(VisitRulesTest, FullDiskKeepsNobodyFromVisiting) {
  store_.diskFull = true;
  EXPECT_EQ(toldOnly(viewerJoins(device_))["type"], "joined");
  pass(1s);
  EXPECT_THAT(log_, testing::HasSubstr("event=store-failed"));
}

TEST_F(VisitRulesTest, DescriptionsAndCandidatesPassBothWays) {
  const auto viewer = viewerJoins(device_);
  told(viewer);
  told(host_);
  const Json offer{{"type", "offer"}, {"sdp", "v=0\r\nhost"}};
  const Json candidate{
      {"type", "ice"}, {"candidate", "candidate:1"}, {"sdpMLineIndex", 1}, {"sdpMid", "1"}};
  const Json bareCandidate{{"type", "ice"}, {"candidate", "candidate:2"}};
  const Json lock{{"type", "lock"}, {"v", false}};
  for (const auto& message : {lock, offer, candidate, bareCandidate}) {
    says(host_, message);
    EXPECT_EQ(toldOnly(viewer), message);
  }
  const Json answer{{"type", "answer"}, {"sdp", "v=0\r\nviewer"}};
  for (const auto& message : {answer, candidate, bareCandidate}) {
    says(viewer, message);
    EXPECT_EQ(toldOnly(host_), message);
  }
}

TEST_F(VisitRulesTest, OnlyKnownFieldsAreRelayed) {
  const auto viewer = visitRuns(host_, device_);
  says(viewer, {{"type", "answer"}, {"sdp", "v=0"}, {"extra", 1}, {"hostKey", "x"}});
  EXPECT_EQ(toldOnly(host_), Json({{"type", "answer"}, {"sdp", "v=0"}}));
  says(viewer, {{"type", "ice"},
                {"candidate", "c"},
                {"sdpMLineIndex", nullptr},
                {"sdpMid", 7},
                {"usernameFragment", "u"}});
  EXPECT_EQ(toldOnly(host_), Json({{"type", "ice"}, {"candidate", "c"}}));
}

TEST_F(VisitRulesTest, MalformedMessagesAreDropped) {
  const auto viewer = visitRuns(host_, device_);
  for (const char* text : {
           R"({"type":"answer"})",
           R"({"type":"answer","sdp":7})",
           R"({"type":"ice"})",
           R"({"type":"ice","candidate":""})",
           R"({"type":"ice","candidate":null})",
           R"({"type":"ice","candidate":"c","sdpMLineIndex":-1})",
           R"({"type":"ice","candidate":"c","sdpMLineIndex":0.5})",
           R"({"type":"ice","candidate":"c","sdpMLineIndex":65536})",
           R"({"type":"ice","candidate":"c","sdpMLineIndex":4294967296})",
           R"({"type":"ice","candidate":"c","sdpMLineIndex":99999999999999999999})",
           R"({"type":"ice","candidate":"c","sdpMLineIndex":1e300})",
           R"({"type":"Answer","sdp":"v=0"})",
           R"({"type":"peer-left"})",
           R"({"type":7})",
           R"({"sdp":"v=0"})",
           R"({})",
       }) {
    board_->received(viewer, text);
    EXPECT_THAT(told(host_), IsEmpty()) << text;
  }
  for (const char* text : {
           R"({"type":"offer"})",
           R"({"type":"offer","sdp":[]})",
           R"({"type":"lock"})",
           R"({"type":"lock","v":1})",
           R"({"type":"ice","candidate":"c","sdpMLineIndex":4294967296})",
           R"({"type":"registered"})",
           R"({"type":"BYE"})",
       }) {
    board_->received(host_, text);
    EXPECT_THAT(told(viewer), IsEmpty()) << text;
  }
  EXPECT_THAT(outbox_.closed, IsEmpty());
}

TEST_F(VisitRulesTest, NothingPassesOutsideAVisit) {
  const auto viewer = viewerConnects();
  says(viewer, {{"type", "answer"}, {"sdp", "v=0"}});
  says(viewer, {{"type", "ice"}, {"candidate", "c"}});
  for (const char* type : {"offer", "ice", "lock", "bye"}) {
    says(host_, {{"type", type}, {"sdp", "v=0"}, {"candidate", "c"}, {"v", true}});
  }
  nobodyWasTold();
}

TEST_F(VisitRulesTest, WhatPrecedesTheOfferBelongsToAnEarlierSession) {
  const auto viewer = visitRuns(host_, device_);
  says(viewer, joining(device_));
  told(viewer);
  told(host_);
  says(host_, {{"type", "ice"}, {"candidate", "late"}});
  says(viewer, {{"type", "answer"}, {"sdp", "late"}});
  nobodyWasTold();
  says(host_, {{"type", "offer"}, {"sdp", "v=0"}});
  told(viewer);
  expectRelaying(viewer);
}

TEST_F(VisitRulesTest, LeavingEndsTheVisitAndKeepsTheConnection) {
  const auto viewer = visitRuns(host_, device_);
  says(viewer, {{"type", "leave"}});
  EXPECT_EQ(toldOnly(host_), Json({{"type", "peer-left"}}));
  says(viewer, {{"type", "leave"}});
  EXPECT_THAT(told(host_), IsEmpty());
  says(viewer, joining(device_));
  EXPECT_EQ(toldOnly(viewer)["type"], "joined");
}

TEST_F(VisitRulesTest, ClosingEndsTheVisitAtOnce) {
  const auto viewer = visitRuns(host_, device_);
  board_->closed(viewer, /*said=*/true);
  EXPECT_EQ(toldOnly(host_), Json({{"type", "peer-left"}}));
}

TEST_F(VisitRulesTest, LostViewersVisitWaitsFiveSeconds) {
  const auto viewer = visitRuns(host_, device_);
  const auto other = pairDevice(host_);
  board_->closed(viewer, /*said=*/false);
  pass(4s);
  EXPECT_THAT(told(host_), IsEmpty());
  EXPECT_EQ(joinRefusal(joining(other)), "busy");
  pass(1s);
  EXPECT_EQ(toldOnly(host_), Json({{"type", "peer-left"}}));
  EXPECT_EQ(toldOnly(viewerJoins(other))["type"], "joined");
}

TEST_F(VisitRulesTest, LostViewerResumesWithoutTheHostNoticing) {
  board_->closed(visitRuns(host_, device_), /*said=*/false);
  pass(4s);
  const auto viewer = viewerConnects();
  says(viewer, joining(device_, /*resume=*/true));
  EXPECT_EQ(toldOnly(viewer)["type"], "joined");
  pass(60s);
  EXPECT_THAT(told(host_), IsEmpty());
  expectRelaying(viewer);
}

TEST_F(VisitRulesTest, ByeIsRelayedAndEndsTheVisit) {
  const auto viewer = visitRuns(host_, device_);
  says(host_, {{"type", "bye"}});
  EXPECT_EQ(toldOnly(viewer), Json({{"type", "bye"}}));
  board_->closed(viewer, true);
  EXPECT_THAT(told(host_), IsEmpty()) << "it knows";
  EXPECT_EQ(toldOnly(viewerJoins(device_))["type"], "joined");
}

TEST_F(VisitRulesTest, SameDeviceOnANewConnectionTakesItsVisitOver) {
  const auto old = visitRuns(host_, device_);
  const auto viewer = viewerJoins(device_);
  EXPECT_EQ(outbox_.closed.at(old), CloseCode::replaced);
  EXPECT_EQ(toldOnly(host_), Json({{"type", "peer-joined"}}));
  EXPECT_EQ(toldOnly(viewer)["type"], "joined");

  says(old, {{"type", "answer"}, {"sdp", "late"}});
  says(old, {{"type", "leave"}});
  board_->closed(old, true);
  EXPECT_THAT(told(host_), IsEmpty());
  says(host_, {{"type", "offer"}, {"sdp", "v=0"}});
  told(viewer);
  expectRelaying(viewer);
}

TEST_F(VisitRulesTest, JoiningAgainOnTheSameConnectionBeginsAnew) {
  const auto viewer = visitRuns(host_, device_);
  says(viewer, joining(device_));
  EXPECT_FALSE(outbox_.closed.contains(viewer));
  EXPECT_EQ(toldOnly(viewer)["type"], "joined");
  EXPECT_EQ(toldOnly(host_), Json({{"type", "peer-joined"}}));
}

TEST_F(VisitRulesTest, JoiningAnotherHostLeavesTheFirst) {
  const auto viewer = visitRuns(host_, device_);
  const auto secondHost = hostRegisters("HOST-2");
  const auto second = pairDevice(secondHost);
  says(viewer, joining(second));
  EXPECT_THAT(toldTypes(host_), ElementsAre("peer-left"));
  EXPECT_THAT(toldTypes(secondHost), ElementsAre("peer-joined"));
}

TEST_F(VisitRulesTest, FailedJoinLeavesTheVisitAsItWas) {
  const auto viewer = visitRuns(host_, device_);
  const auto secondHost = hostRegisters("HOST-2");
  const auto second = pairDevice(secondHost);
  board_->closed(secondHost, true);
  says(viewer, joining(second));
  EXPECT_EQ(toldOnly(viewer), Json({{"type", "join-failed"}, {"reason", "host-offline"}}));
  EXPECT_THAT(told(host_), IsEmpty());
  expectRelaying(viewer);
}

TEST_F(VisitRulesTest, VisitSurvivesTheHostsConnection) {
  const auto viewer = visitRuns(host_, device_);
  board_->closed(host_, false);
  EXPECT_EQ(toldOnly(viewer), Json({{"type", "host-gone"}}));
  pass(300s);
  hostComesBack();
  EXPECT_EQ(toldOnly(viewer), Json({{"type", "host-back"}}));
  EXPECT_THAT(toldTypes(host_), ElementsAre("pairing-pin", "registered")) << "no peer-joined";
  expectRelaying(viewer);
}

TEST_F(VisitRulesTest, VisitSurvivesTheHostsTakeOver) {
  const auto viewer = visitRuns(host_, device_);
  const auto old = host_;
  hostComesBack();
  board_->closed(old, true);
  EXPECT_THAT(toldTypes(viewer), ElementsAre("host-back"));
  EXPECT_THAT(toldTypes(host_), ElementsAre("pairing-pin", "registered"));
  expectRelaying(viewer);
}

TEST_F(VisitRulesTest, HostLearnsOnItsReturnThatItsVisitorLeft) {
  const auto viewer = visitRuns(host_, device_);
  board_->closed(host_, false);
  told(viewer);
  says(viewer, {{"type", "leave"}});
  hostComesBack();
  EXPECT_THAT(toldTypes(host_), ElementsAre("pairing-pin", "registered", "peer-left"));
  board_->closed(host_, false);
  hostComesBack();
  EXPECT_THAT(toldTypes(host_), ElementsAre("pairing-pin", "registered")) << "once is enough";
}

TEST_F(VisitRulesTest, HostLearnsOnItsReturnThatItsLostVisitorStayedAway) {
  const auto viewer = visitRuns(host_, device_);
  board_->closed(viewer, false);
  board_->closed(host_, false);
  pass(5s);
  hostComesBack();
  EXPECT_THAT(toldTypes(host_), ElementsAre("pairing-pin", "registered", "peer-left"));
}

TEST_F(VisitRulesTest, AfterARestartTheVisitIsResumedWithoutAWordToTheHost) {
  visitRuns(host_, device_);
  serverRestarts();
  hostComesBack();
  told(host_);
  const auto viewer = viewerConnects();
  says(viewer, joining(device_, /*resume=*/true));
  EXPECT_EQ(toldOnly(viewer)["type"], "joined");
  EXPECT_THAT(told(host_), IsEmpty());
  expectRelaying(viewer);
  board_->closed(viewer, true);
  EXPECT_THAT(toldTypes(host_), ElementsAre("peer-left"));
}

TEST_F(VisitRulesTest, ViewerExpelledForItsFramesHasLeft) {
  const auto viewer = visitRuns(host_, device_);
  board_->receivedBinary(viewer);
  EXPECT_EQ(outbox_.closed.at(viewer), CloseCode::unsupportedData);
  EXPECT_THAT(toldTypes(host_), ElementsAre("peer-left"));
}

}  // namespace
}  // namespace tovalin::server
