// A visit's two ends going in every way at every stage: what follows must find a clean house.

#include "tests/integration/companion/switchboard_fixture.h"

namespace tovalin::server {
namespace {

using namespace std::chrono_literals;
using testing::ElementsAre;
using testing::IsEmpty;

enum class Stage { joined, offered, answered, viewerLost, hostLost };
enum class Death { viewerCloses, viewerVanishes, viewerLeaves, hostCloses, hostVanishes, both };

using Case = std::tuple<Stage, Death>;

class VisitDeathsTest : public SwitchboardTest, public testing::WithParamInterface<Case> {
 protected:
  void SetUp() override {
    SwitchboardTest::SetUp();
    host_ = hostRegisters();
    device_ = pairDevice(host_);
    other_ = pairDevice(host_);
  }

  void reach(Stage stage) {
    viewer_ = viewerJoins(device_);
    if (stage >= Stage::offered) says(host_, {{"type", "offer"}, {"sdp", "v=0"}});
    if (stage >= Stage::answered) says(viewer_, {{"type", "answer"}, {"sdp", "v=0"}});
    if (stage == Stage::viewerLost) board_->closed(viewer_, false);
    if (stage == Stage::hostLost) board_->closed(host_, false);
  }

  void die(Death death) {
    if (death == Death::viewerLeaves) says(viewer_, {{"type", "leave"}});
    if (death == Death::viewerCloses) board_->closed(viewer_, true);
    if (death == Death::viewerVanishes || death == Death::both) board_->closed(viewer_, false);
    if (death == Death::hostCloses) board_->closed(host_, true);
    if (death == Death::hostVanishes || death == Death::both) board_->closed(host_, false);
  }

  ConnectionId host_ = 0;
  ConnectionId viewer_ = 0;
  Device device_, other_;
};

TEST_P(VisitDeathsTest, SameDeviceVisitsAgain) {
  const auto [stage, death] = GetParam();
  reach(stage);
  die(death);
  pass(10s);
  host_ = hostRegisters();
  const auto viewer = viewerJoins(device_);
  EXPECT_THAT(toldTypes(viewer), ElementsAre("joined"));
  EXPECT_THAT(toldTypes(host_), ElementsAre("peer-joined"));
  says(host_, {{"type", "offer"}, {"sdp", "new"}});
  EXPECT_EQ(toldOnly(viewer)["sdp"], "new");
  says(viewer, {{"type", "answer"}, {"sdp", "new"}});
  EXPECT_EQ(toldOnly(host_)["sdp"], "new");
}

// A visit lives until its viewer has gone for good, and not a moment longer.
TEST_P(VisitDeathsTest, AnotherDeviceIsLetInAsSoonAsTheVisitIsOver) {
  const auto [stage, death] = GetParam();
  reach(stage);
  die(death);
  pass(10s);
  host_ = hostRegisters();
  const bool viewerDied =
      stage == Stage::viewerLost || (death != Death::hostCloses && death != Death::hostVanishes);
  const auto viewer = viewerJoins(other_);
  EXPECT_THAT(toldTypes(viewer), ElementsAre(viewerDied ? "joined" : "join-failed"));
}

TEST_P(VisitDeathsTest, WhatTheDeadSayReachesNobody) {
  const auto [stage, death] = GetParam();
  reach(stage);
  die(death);
  pass(10s);
  const auto viewerBefore = viewer_, hostBefore = host_;
  const bool viewerDied = death != Death::hostCloses && death != Death::hostVanishes;
  host_ = hostRegisters();
  const auto viewer = viewerJoins(device_);
  told(viewer);
  told(host_);
  told(viewerBefore);
  if (viewerDied) says(viewerBefore, {{"type", "answer"}, {"sdp", "late"}});
  says(hostBefore, {{"type", "offer"}, {"sdp", "late"}});
  says(hostBefore, {{"type", "bye"}});
  EXPECT_THAT(told(viewer), IsEmpty());
  EXPECT_THAT(told(host_), IsEmpty());
}

INSTANTIATE_TEST_SUITE_P(
    EveryStage, VisitDeathsTest,
    testing::Combine(testing::Values(Stage::joined, Stage::offered, Stage::answered,
                                     Stage::viewerLost, Stage::hostLost),
                     testing::Values(Death::viewerCloses, Death::viewerVanishes,
                                     Death::viewerLeaves, Death::hostCloses, Death::hostVanishes,
                                     Death::both)));

class TakeOverTest : public VisitDeathsTest {};

TEST_F(TakeOverTest, OfConnectionsThatRaceForAVisitTheLastOneHasIt) {
  std::vector<ConnectionId> racers;
  for (int i = 0; i < 20; ++i) racers.push_back(viewerConnects());
  for (const auto racer : racers) says(racer, joining(device_));
  for (std::size_t i = 0; i + 1 < racers.size(); ++i) {
    EXPECT_EQ(outbox_.closed.at(racers[i]), CloseCode::replaced);
  }
  told(host_);
  says(host_, {{"type", "offer"}, {"sdp", "v=0"}});
  EXPECT_EQ(told(racers.back()).back()["type"], "offer");
  board_->closed(racers.back(), true);
  EXPECT_THAT(toldTypes(host_), ElementsAre("peer-left"));
}

TEST_F(TakeOverTest, OfConnectionsThatRaceForAHostTheLastOneIsIt) {
  const auto viewer = viewerJoins(device_);
  std::vector<ConnectionId> racers;
  for (int i = 0; i < 20; ++i) {
    racers.push_back(connect(Endpoint::host));
    says(racers.back(), registration());
  }
  told(viewer);
  for (std::size_t i = 0; i + 1 < racers.size(); ++i) {
    EXPECT_EQ(outbox_.closed.at(racers[i]), CloseCode::replaced);
    says(racers[i], {{"type", "lock"}, {"v", true}});
  }
  EXPECT_THAT(told(viewer), IsEmpty());
  says(racers.back(), {{"type", "lock"}, {"v", true}});
  EXPECT_THAT(toldTypes(viewer), ElementsAre("lock"));
}

TEST_F(TakeOverTest, StrangerWithTheWrongKeyTakesNothingOver) {
  const auto viewer = visitRuns(host_, device_);
  for (int i = 0; i < 20; ++i) {
    const auto stranger = connect(Endpoint::host);
    says(stranger, registration("HOST-1", kOtherKey));
    EXPECT_THAT(toldTypes(stranger), ElementsAre("auth-failed"));
    says(stranger, {{"type", "offer"}, {"sdp", "v=0"}});
    says(stranger, {{"type", "bye"}});
    board_->closed(stranger, true);
  }
  EXPECT_THAT(told(viewer), IsEmpty());
  says(host_, {{"type", "lock"}, {"v", true}});
  EXPECT_THAT(toldTypes(viewer), ElementsAre("lock"));
}

}  // namespace
}  // namespace tovalin::server
