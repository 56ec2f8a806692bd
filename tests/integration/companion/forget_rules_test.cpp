#include "tests/integration/companion/switchboard_fixture.h"

namespace tovalin::server {
namespace {

using namespace std::chrono_literals;
using testing::ElementsAre;
using testing::IsEmpty;

// One host on line with a paired device.
class ForgetRulesTest : public SwitchboardTest {
 protected:
  void SetUp() override {
    SwitchboardTest::SetUp();
    host_ = hostRegisters();
    device_ = pairDevice(host_);
  }

  static Json forgetting(const Device& device) {
    return {{"type", "forget"},
            {"hostId", device.hostId},
            {"deviceId", device.id},
            {"deviceKey", device.key}};
  }
  void forgets(ConnectionId viewer, const Json& message) {
    says(viewer, message);
    EXPECT_EQ(toldOnly(viewer), Json({{"type", "forgotten"}, {"hostId", message["hostId"]}}));
  }

  ConnectionId host_ = 0;
  Device device_;
};

TEST_F(ForgetRulesTest, ForgottenDeviceIsUnknown) {
  forgets(viewerConnects(), forgetting(device_));
  EXPECT_FALSE(store_.devices.contains(device_.id));
  EXPECT_EQ(toldOnly(viewerJoins(device_)),
            Json({{"type", "join-failed"}, {"reason", "unknown-device"}}));
  EXPECT_THAT(told(host_), IsEmpty());
}

TEST_F(ForgetRulesTest, ForgettingWorksWhileTheHostIsOffLine) {
  board_->closed(host_, true);
  forgets(viewerConnects(), forgetting(device_));
  EXPECT_FALSE(store_.devices.contains(device_.id));
}

TEST_F(ForgetRulesTest, ForgettingTwiceIsAnsweredTwice) {
  const auto viewer = viewerConnects();
  forgets(viewer, forgetting(device_));
  forgets(viewer, forgetting(device_));
}

TEST_F(ForgetRulesTest, StrangersForgetNothingAndCannotTell) {
  const auto other = pairDevice(hostRegisters("HOST-2"));
  for (const auto& [field, value] : std::vector<std::pair<const char*, Json>>{
           {"hostId", "HOST-2"},
           {"hostId", "HOST-3"},
           {"deviceId", other.id},
           {"deviceId", nullptr},
           {"deviceKey", other.key},
           {"deviceKey", ""},
           {"deviceKey", 7},
       }) {
    Json message = forgetting(device_);
    message[field] = value;
    forgets(viewerConnects(), message);
    EXPECT_TRUE(store_.devices.contains(device_.id)) << message;
    EXPECT_TRUE(store_.devices.contains(other.id)) << message;
  }
}

TEST_F(ForgetRulesTest, ForgettingWithoutAHostIsNone) {
  const auto viewer = viewerConnects();
  Json message = forgetting(device_);
  message.erase("hostId");
  says(viewer, message);
  EXPECT_THAT(told(viewer), IsEmpty());
  EXPECT_TRUE(store_.devices.contains(device_.id));
}

TEST_F(ForgetRulesTest, ForgettingEndsTheDevicesVisit) {
  const auto visitor = visitRuns(host_, device_);
  forgets(viewerConnects(), forgetting(device_));
  EXPECT_THAT(toldTypes(host_), ElementsAre("peer-left"));
  says(host_, {{"type", "lock"}, {"v", true}});
  EXPECT_THAT(told(visitor), IsEmpty());
  says(visitor, {{"type", "ice"}, {"candidate", "c"}});
  board_->closed(visitor, true);
  EXPECT_THAT(told(host_), IsEmpty()) << "once is enough";
}

TEST_F(ForgetRulesTest, VisitThatWaitsForItsLostViewerEndsToo) {
  board_->closed(visitRuns(host_, device_), false);
  forgets(viewerConnects(), forgetting(device_));
  EXPECT_THAT(toldTypes(host_), ElementsAre("peer-left"));
  pass(5s);
  EXPECT_THAT(told(host_), IsEmpty());
}

TEST_F(ForgetRulesTest, AnotherDevicesVisitGoesOn) {
  const auto other = pairDevice(host_);
  const auto visitor = visitRuns(host_, other);
  forgets(viewerConnects(), forgetting(device_));
  EXPECT_THAT(told(host_), IsEmpty());
  says(host_, {{"type", "lock"}, {"v", true}});
  EXPECT_THAT(toldTypes(visitor), ElementsAre("lock"));
}

TEST_F(ForgetRulesTest, WhatCannotBeStoredIsNotAnswered) {
  const auto viewer = viewerConnects();
  store_.diskFull = true;
  says(viewer, forgetting(device_));
  EXPECT_THAT(told(viewer), IsEmpty());
  EXPECT_EQ(outbox_.closed.at(viewer), CloseCode::internalError);
  store_.diskFull = false;
  EXPECT_EQ(toldOnly(viewerJoins(device_))["type"], "joined");
}

TEST_F(ForgetRulesTest, ForgettingViewerMayStay) {
  const auto viewer = viewerConnects();
  forgets(viewer, forgetting(device_));
  pass(600s);
  EXPECT_FALSE(outbox_.closed.contains(viewer));
}

}  // namespace
}  // namespace tovalin::server
