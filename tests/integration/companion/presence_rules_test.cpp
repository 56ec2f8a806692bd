#include "tests/integration/companion/switchboard_fixture.h"

namespace tovalin::server {
namespace {

using namespace std::chrono_literals;
using testing::ElementsAre;
using testing::IsEmpty;

// Two hosts; a device is paired with the first, another one with both.
class PresenceRulesTest : public SwitchboardTest {
 protected:
  void SetUp() override {
    SwitchboardTest::SetUp();
    host_ = hostRegisters();
    secondHost_ = hostRegisters("HOST-2");
    device_ = pairDevice(host_);
    other_ = pairDevice(host_);
    second_ = pairDevice(secondHost_);
  }

  static Json entry(const Device& device) {
    return {{"hostId", device.hostId}, {"deviceId", device.id}, {"deviceKey", device.key}};
  }
  static Json watching(const Json& devices) { return {{"type", "watch"}, {"devices", devices}}; }

  // A viewer that watches, its first answer unread.
  ConnectionId viewerWatches(const std::vector<Device>& devices) {
    Json list = Json::array();
    for (const auto& device : devices) list.push_back(entry(device));
    const auto viewer = viewerConnects();
    says(viewer, watching(list));
    return viewer;
  }

  static Json presence(const std::vector<std::pair<std::string, std::string>>& states) {
    Json hosts = Json::array();
    for (const auto& [hostId, state] : states) {
      hosts.push_back({{"hostId", hostId}, {"state", state}});
    }
    return {{"type", "presence"}, {"hosts", hosts}};
  }

  ConnectionId host_ = 0;
  ConnectionId secondHost_ = 0;
  Device device_, other_, second_;
};

TEST_F(PresenceRulesTest, AllAreToldAtOnceAndThenWhatChanges) {
  board_->closed(secondHost_, true);
  const auto viewer = viewerWatches({device_, second_});
  EXPECT_EQ(toldOnly(viewer), presence({{"HOST-1", "online"}, {"HOST-2", "offline"}}));
  hostRegisters("HOST-2");
  EXPECT_EQ(toldOnly(viewer), presence({{"HOST-2", "online"}}));
  board_->closed(host_, false);
  EXPECT_EQ(toldOnly(viewer), presence({{"HOST-1", "offline"}}));
}

TEST_F(PresenceRulesTest, HostIsBusyForEveryDeviceButItsVisitor) {
  const auto viewer = viewerWatches({device_});
  const auto otherViewer = viewerWatches({other_});
  told(viewer);
  told(otherViewer);
  const auto visitor = viewerJoins(other_);
  EXPECT_EQ(toldOnly(viewer), presence({{"HOST-1", "busy"}}));
  EXPECT_THAT(told(otherViewer), IsEmpty()) << "its own visit";
  EXPECT_EQ(toldOnly(viewerWatches({device_})), presence({{"HOST-1", "busy"}}));
  EXPECT_EQ(toldOnly(viewerWatches({other_})), presence({{"HOST-1", "online"}}));
  says(visitor, {{"type", "leave"}});
  EXPECT_EQ(toldOnly(viewer), presence({{"HOST-1", "online"}}));
  EXPECT_THAT(told(otherViewer), IsEmpty());
}

TEST_F(PresenceRulesTest, EveryEndOfAVisitFreesTheHost) {
  const auto viewer = viewerWatches({device_});
  told(viewer);
  const auto expectBusyThenFreeAfter = [&](const std::function<void(ConnectionId visitor)>& end) {
    const auto visitor = visitRuns(host_, other_);
    EXPECT_EQ(toldOnly(viewer), presence({{"HOST-1", "busy"}}));
    end(visitor);
    EXPECT_EQ(toldOnly(viewer), presence({{"HOST-1", "online"}}));
    told(host_);
  };
  expectBusyThenFreeAfter([&](ConnectionId) { says(host_, {{"type", "bye"}}); });
  expectBusyThenFreeAfter([&](ConnectionId visitor) { board_->closed(visitor, true); });
  expectBusyThenFreeAfter([&](ConnectionId visitor) {
    board_->closed(visitor, false);
    EXPECT_THAT(told(viewer), IsEmpty()) << "it may come back";
    pass(5s);
  });
}

TEST_F(PresenceRulesTest, HostThatIsOffLineDuringAVisitIsOffLineForAll) {
  visitRuns(host_, other_);
  const auto viewer = viewerWatches({device_});
  EXPECT_EQ(toldOnly(viewer), presence({{"HOST-1", "busy"}}));
  board_->closed(host_, false);
  EXPECT_EQ(toldOnly(viewer), presence({{"HOST-1", "offline"}}));
  hostRegisters();
  EXPECT_EQ(toldOnly(viewer), presence({{"HOST-1", "busy"}}));
}

TEST_F(PresenceRulesTest, TakeOverOfAHostChangesNothing) {
  const auto viewer = viewerWatches({device_});
  told(viewer);
  hostRegisters();
  board_->closed(host_, true);
  EXPECT_THAT(told(viewer), IsEmpty());
}

TEST_F(PresenceRulesTest, StrangersAreUnknownDevicesAndLearnNoMore) {
  Json wrongKey = entry(device_);
  wrongKey["deviceKey"] = std::string(64, '0');
  Json otherHosts = entry(device_);
  otherHosts["hostId"] = "HOST-2";
  Json noKey = entry(device_);
  noKey.erase("deviceKey");
  Json oddId = entry(device_);
  oddId["deviceId"] = 7;
  for (const auto& stranger : {wrongKey, otherHosts, noKey, oddId,
                               Json{{"hostId", "NOBODY"}, {"deviceId", "a"}, {"deviceKey", "b"}}}) {
    const auto viewer = viewerConnects();
    says(viewer, watching(Json::array({stranger})));
    EXPECT_EQ(toldOnly(viewer), presence({{stranger["hostId"], "unknown-device"}}));
    board_->closed(viewer, true);
  }
  const auto viewer = viewerConnects();
  says(viewer, watching(Json::array({wrongKey})));
  told(viewer);
  board_->closed(host_, true);
  EXPECT_THAT(told(viewer), IsEmpty());
}

TEST_F(PresenceRulesTest, EntriesThatNameNoHostAreSkipped) {
  const auto viewer = viewerConnects();
  says(viewer,
       watching(
           {nullptr, 1, "HOST-1", Json::array(), Json::object(), {{"hostId", 3}}, entry(device_)}));
  EXPECT_EQ(toldOnly(viewer), presence({{"HOST-1", "online"}}));
}

TEST_F(PresenceRulesTest, WatchWithoutAListIsNone) {
  const auto viewer = viewerWatches({device_});
  told(viewer);
  for (const Json& none : {Json(nullptr), Json("HOST-1"), Json::object(), Json(1)}) {
    says(viewer, watching(none));
    EXPECT_THAT(told(viewer), IsEmpty());
  }
  board_->closed(host_, true);
  EXPECT_EQ(toldOnly(viewer), presence({{"HOST-1", "offline"}})) << "the earlier watch goes on";
}

TEST_F(PresenceRulesTest, OfAHostNamedTwiceTheFirstEntryCounts) {
  Json stranger = entry(device_);
  stranger["deviceKey"] = "";
  const auto viewer = viewerConnects();
  says(viewer, watching({entry(device_), stranger}));
  EXPECT_EQ(toldOnly(viewer), presence({{"HOST-1", "online"}}));
  says(viewer, watching({stranger, entry(device_)}));
  EXPECT_EQ(toldOnly(viewer), presence({{"HOST-1", "unknown-device"}}));
}

TEST_F(PresenceRulesTest, NoMoreThan32HostsAreWatched) {
  Json list = Json::array();
  for (int i = 0; i < 32; ++i) {
    list.push_back({{"hostId", "NOBODY-" + std::to_string(i)}, {"deviceId", ""}});
  }
  list.push_back(entry(device_));
  const auto viewer = viewerConnects();
  says(viewer, watching(list));
  EXPECT_EQ(toldOnly(viewer)["hosts"].size(), 32u);
  board_->closed(host_, true);
  EXPECT_THAT(told(viewer), IsEmpty());
}

TEST_F(PresenceRulesTest, LaterWatchReplacesTheEarlierAndAnEmptyOneEndsIt) {
  const auto viewer = viewerWatches({device_});
  told(viewer);
  says(viewer, watching(Json::array({entry(second_)})));
  EXPECT_EQ(toldOnly(viewer), presence({{"HOST-2", "online"}}));
  board_->closed(host_, true);
  EXPECT_THAT(told(viewer), IsEmpty());
  says(viewer, watching(Json::array()));
  board_->closed(secondHost_, true);
  EXPECT_THAT(told(viewer), IsEmpty());
}

TEST_F(PresenceRulesTest, WatchingViewerMayStay) {
  const auto viewer = viewerWatches({device_});
  told(viewer);
  pass(600s);
  EXPECT_FALSE(outbox_.closed.contains(viewer));
  board_->closed(host_, true);
  EXPECT_EQ(toldOnly(viewer), presence({{"HOST-1", "offline"}}));
}

TEST_F(PresenceRulesTest, WatchOfAGoneViewerEnds) {
  const auto viewer = viewerWatches({device_});
  told(viewer);
  board_->closed(viewer, false);
  board_->closed(host_, true);
  EXPECT_THAT(told(viewer), IsEmpty());
}

TEST_F(PresenceRulesTest, OneConnectionMayWatchAndVisit) {
  const auto viewer = viewerWatches({device_, second_});
  told(viewer);
  says(viewer, joining(device_));
  EXPECT_THAT(toldTypes(viewer), ElementsAre("joined"));
  board_->closed(secondHost_, true);
  EXPECT_EQ(toldOnly(viewer), presence({{"HOST-2", "offline"}}));
}

TEST_F(PresenceRulesTest, WatchingDoesNotKeepADeviceFromMakingRoom) {
  const auto seen = store_.devices.at(device_.id).lastSeen;
  pass(60s);
  const auto viewer = viewerWatches({device_});
  told(viewer);
  EXPECT_EQ(store_.devices.at(device_.id).lastSeen, seen);
  for (int i = 0; i < 32; ++i) pairDevice(host_);
  EXPECT_EQ(toldOnly(viewer), presence({{"HOST-1", "unknown-device"}}));
}

TEST_F(PresenceRulesTest, ForgottenDeviceIsUnknownToAllWhoWatchWithIt) {
  const auto viewer = viewerWatches({device_, second_});
  const auto other = viewerWatches({other_});
  told(viewer);
  told(other);
  const auto forgetter = viewerConnects();
  Json forget = entry(device_);
  forget["type"] = "forget";
  says(forgetter, forget);
  EXPECT_EQ(toldOnly(viewer), presence({{"HOST-1", "unknown-device"}}));
  EXPECT_THAT(told(other), IsEmpty());
  board_->closed(host_, true);
  EXPECT_THAT(told(viewer), IsEmpty());
  board_->closed(secondHost_, true);
  EXPECT_EQ(toldOnly(viewer), presence({{"HOST-2", "offline"}}));
}

}  // namespace
}  // namespace tovalin::server
