#include <set>

#include "companion/server/core/pin_book.h"
#include "tests/integration/companion/switchboard_fixture.h"

namespace tovalin::server {
namespace {

using namespace std::chrono_literals;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::MatchesRegex;
using testing::SizeIs;

class PairingRulesTest : public SwitchboardTest {
 protected:
  static Json byPin(const Json& code) {
    return {{"type", "pair"}, {"pin", code["pin"]}, {"deviceName", "Phone"}};
  }
  static Json byToken(const Json& code, const std::string& hostId = "HOST-1") {
    return {{"type", "pair"}, {"host", hostId}, {"token", code["pairToken"]}};
  }
  std::string reasonFor(const Json& message, const std::string& address = "192.0.2.1") {
    const auto viewer = viewerConnects(address);
    says(viewer, message);
    const Json reply = toldOnly(viewer);
    EXPECT_EQ(reply["type"], "pair-failed");
    return reply.value("reason", "");
  }
  bool pairs(const Json& message, const std::string& address = "192.0.2.1") {
    const auto viewer = viewerConnects(address);
    says(viewer, message);
    return toldOnly(viewer)["type"] == "paired";
  }
};

TEST_F(PairingRulesTest, HostIsGivenSixDigitsAndAToken) {
  const auto host = hostRegisters();
  const Json code = hostStartsPairing(host);
  EXPECT_EQ(code.size(), 3u);
  EXPECT_EQ(code["type"], "pairing-pin");
  EXPECT_THAT(code["pin"].get<std::string>(), MatchesRegex("[0-9]{6}"));
  EXPECT_THAT(code["pairToken"].get<std::string>(), MatchesRegex("[0-9a-f]{32}"));
  EXPECT_THAT(issued_, ElementsAre(code["pin"].get<std::string>()));
}

TEST_F(PairingRulesTest, PinPairsAndBothSidesAreTold) {
  const auto host = hostRegisters();
  const Json code = hostStartsPairing(host);
  const auto viewer = viewerConnects();
  says(viewer, byPin(code));
  const Json paired = toldOnly(viewer);
  EXPECT_EQ(paired.size(), 5u);
  EXPECT_EQ(paired["type"], "paired");
  EXPECT_EQ(paired["hostId"], "HOST-1");
  EXPECT_EQ(paired["hostName"], "Study");
  EXPECT_THAT(paired["deviceId"].get<std::string>(), MatchesRegex("[0-9a-f]{32}"));
  EXPECT_THAT(paired["deviceKey"].get<std::string>(), MatchesRegex("[0-9a-f]{64}"));
  EXPECT_EQ(toldOnly(host), Json({{"type", "device-paired"}, {"deviceName", "Phone"}}));

  const auto& stored = store_.devices.at(paired["deviceId"]);
  EXPECT_EQ(stored.hostId, "HOST-1");
  EXPECT_EQ(stored.name, "Phone");
  EXPECT_EQ(stored.created, clock_.unixTime());
  EXPECT_TRUE(matches(stored.key, paired["deviceKey"].get<std::string>()));
}

TEST_F(PairingRulesTest, TokenPairsWithItsHostOnly) {
  const auto host = hostRegisters("HOST-1");
  hostRegisters("HOST-2");
  const Json code = hostStartsPairing(host);
  EXPECT_EQ(reasonFor(byToken(code, "HOST-2")), "wrong-pin");
  EXPECT_EQ(reasonFor(byToken(code, "HOST-3")), "wrong-pin");
  EXPECT_TRUE(pairs(byToken(code)));
}

TEST_F(PairingRulesTest, DeviceMayJoinOnTheConnectionItPairedOn) {
  const auto host = hostRegisters();
  const auto viewer = viewerConnects();
  says(viewer, byPin(hostStartsPairing(host)));
  const Json paired = toldOnly(viewer);
  told(host);
  says(viewer, joining({paired["hostId"], paired["deviceId"], paired["deviceKey"]}));
  EXPECT_EQ(toldOnly(viewer)["type"], "joined");
  EXPECT_EQ(toldOnly(host)["type"], "peer-joined");
}

TEST_F(PairingRulesTest, DeviceWithoutANameIsAnnouncedWithoutOne) {
  for (const Json& name : {Json(), Json(7), Json(""), Json(" \n ")}) {
    const auto host = hostRegisters();
    Json message = byPin(hostStartsPairing(host));
    message["deviceName"] = name;
    EXPECT_TRUE(pairs(message));
    EXPECT_EQ(toldOnly(host), Json({{"type", "device-paired"}})) << name;
  }
}

TEST_F(PairingRulesTest, DeviceNameIsCleanedAndCut) {
  const auto host = hostRegisters();
  Json message = byPin(hostStartsPairing(host));
  message["deviceName"] = "\x1b[31mAda's\u2028 phone \U0001F4F1" + std::string(100, 'x');
  EXPECT_TRUE(pairs(message));
  EXPECT_EQ(toldOnly(host)["deviceName"], "[31mAda's phone \U0001F4F1" + std::string(47, 'x'));
}

TEST_F(PairingRulesTest, CodeIsSpentByOnePairingWhicheverWayItIsSaid) {
  const auto host = hostRegisters();
  Json code = hostStartsPairing(host);
  EXPECT_TRUE(pairs(byPin(code)));
  EXPECT_EQ(reasonFor(byPin(code)), "wrong-pin");
  EXPECT_EQ(reasonFor(byToken(code)), "wrong-pin");
  told(host);

  code = hostStartsPairing(host);
  EXPECT_TRUE(pairs(byToken(code)));
  EXPECT_EQ(reasonFor(byPin(code)), "wrong-pin");
}

TEST_F(PairingRulesTest, CodeLivesTenMinutes) {
  const auto host = hostRegisters();
  const Json first = hostStartsPairing(host);
  pass(599s);
  EXPECT_TRUE(pairs(byPin(first)));
  told(host);

  const Json second = hostStartsPairing(host);
  pass(600s);
  EXPECT_EQ(reasonFor(byPin(second)), "wrong-pin");
  EXPECT_EQ(reasonFor(byToken(second)), "wrong-pin");
}

TEST_F(PairingRulesTest, CodeIsDeadOnTimeEvenBeforeTheNextTick) {
  const auto host = hostRegisters();
  const Json code = hostStartsPairing(host);
  clock_.passed += 600s;
  EXPECT_EQ(reasonFor(byPin(code)), "wrong-pin");
}

TEST_F(PairingRulesTest, NewPairingStartVoidsTheEarlierCode) {
  const auto host = hostRegisters();
  const Json first = hostStartsPairing(host);
  const Json second = hostStartsPairing(host);
  EXPECT_EQ(reasonFor(byPin(first)), "wrong-pin");
  EXPECT_EQ(reasonFor(byToken(first)), "wrong-pin");
  EXPECT_TRUE(pairs(byPin(second)));
}

TEST_F(PairingRulesTest, CodeOutlivesTheHostsConnection) {
  auto host = hostRegisters();
  const Json code = hostStartsPairing(host);
  board_->closed(host, false);
  EXPECT_EQ(reasonFor(byPin(code)), "host-offline");

  host = connect(Endpoint::host);
  says(host, registration());
  EXPECT_THAT(toldTypes(host), ElementsAre("registered")) << "what it shows is still good";
  EXPECT_TRUE(pairs(byPin(code)));
}

TEST_F(PairingRulesTest, FiveWrongTriesLockTheAddressOutForAMinute) {
  const auto host = hostRegisters();
  const Json code = hostStartsPairing(host);
  const auto viewer = viewerConnects("192.0.2.7");
  for (int i = 0; i < 5; ++i) EXPECT_EQ(wrongPin(viewer, "99999" + std::to_string(i)), "wrong-pin");

  says(viewer, byPin(code));
  EXPECT_EQ(toldOnly(viewer),
            Json({{"type", "pair-failed"}, {"reason", "locked-out"}, {"retryAfter", 60}}));
  pass(59s);
  says(viewer, byPin(code));
  EXPECT_EQ(toldOnly(viewer)["retryAfter"], 1) << "a try while locked out makes it no longer";
  pass(1s);
  EXPECT_TRUE(pairs(byPin(code), "192.0.2.7")) << "and nothing was burnt";
}

TEST_F(PairingRulesTest, LockOutCountsByAddressAcrossConnections) {
  const auto host = hostRegisters();
  const Json code = hostStartsPairing(host);
  for (int i = 0; i < 5; ++i) wrongPin(viewerConnects("192.0.2.7"), "99999" + std::to_string(i));
  EXPECT_EQ(reasonFor(byPin(code), "192.0.2.7"), "locked-out");
  EXPECT_TRUE(pairs(byPin(code), "192.0.2.8"));
}

TEST_F(PairingRulesTest, WrongTokensCountAsWrongTries) {
  hostRegisters();
  const Json wrong{{"pairToken", std::string(32, '0')}};
  for (int i = 0; i < 5; ++i) EXPECT_EQ(reasonFor(byToken(wrong)), "wrong-pin");
  EXPECT_EQ(reasonFor(byToken(wrong)), "locked-out");
}

TEST_F(PairingRulesTest, WrongTriesAreForgottenAfterAQuietMinute) {
  const auto viewer = viewerConnects();
  for (int i = 0; i < 4; ++i) wrongPin(viewer);
  pass(60s);
  for (int i = 0; i < 5; ++i) EXPECT_EQ(wrongPin(viewer), "wrong-pin");
  EXPECT_EQ(wrongPin(viewer), "locked-out");
}

TEST_F(PairingRulesTest, PairingClearsTheAddress) {
  const auto host = hostRegisters();
  const Json code = hostStartsPairing(host);
  const auto viewer = viewerConnects();
  for (int i = 0; i < 4; ++i) wrongPin(viewer, "99999" + std::to_string(i));
  EXPECT_TRUE(pairs(byPin(code)));
  for (int i = 0; i < 5; ++i) EXPECT_EQ(wrongPin(viewer), "wrong-pin");
}

TEST_F(PairingRulesTest, BadRequestsAreNotTries) {
  const std::vector<Json> requests = {
      {{"type", "pair"}},
      {{"type", "pair"}, {"pin", 123456}},
      {{"type", "pair"}, {"pin", "12345"}},
      {{"type", "pair"}, {"pin", "1234567"}},
      {{"type", "pair"}, {"pin", "12345a"}},
      {{"type", "pair"}, {"host", "HOST-1"}},
      {{"type", "pair"}, {"token", std::string(32, '0')}},
      {{"type", "pair"}, {"host", 1}, {"token", 2}},
      {{"type", "pair"}, {"pin", "123456"}, {"host", "HOST-1"}, {"token", std::string(32, '0')}},
  };
  for (const auto& request : requests) EXPECT_EQ(reasonFor(request), "bad-request") << request;
  EXPECT_EQ(wrongPin(viewerConnects()), "wrong-pin") << "not locked out";
}

TEST_F(PairingRulesTest, PairingThatCannotBeStoredFailsAndLeavesTheCodeGood) {
  const auto host = hostRegisters();
  const Json code = hostStartsPairing(host);
  store_.diskFull = true;
  EXPECT_EQ(reasonFor(byPin(code)), "server-error");
  EXPECT_THAT(told(host), IsEmpty());
  store_.diskFull = false;
  EXPECT_TRUE(pairs(byPin(code)));
}

TEST_F(PairingRulesTest, WithoutRandomBytesTheHostShowsNoPin) {
  const auto host = hostRegisters();
  random_.failWith = 5;
  EXPECT_EQ(hostStartsPairing(host), Json({{"type", "pairing-pin"}}));
}

TEST_F(PairingRulesTest, HostKeepsItsMostRecentlySeenDevices) {
  const auto host = hostRegisters();
  std::vector<Device> devices;
  for (int i = 0; i < 32; ++i) {
    devices.push_back(pairDevice(host));
    pass(10s);
  }
  const auto viewer = viewerJoins(devices[0]);
  board_->closed(viewer, true);
  told(host);
  pass(1s);
  devices.push_back(pairDevice(host));
  EXPECT_THAT(store_.devices, SizeIs(32));
  EXPECT_TRUE(store_.devices.contains(devices[0].id)) << "seen a second ago";
  EXPECT_FALSE(store_.devices.contains(devices[1].id));
  EXPECT_TRUE(store_.devices.contains(devices[32].id));
}

TEST_F(PairingRulesTest, PairingsOutliveTheServersProcessAndPinsDoNot) {
  auto host = hostRegisters();
  const auto device = pairDevice(host);
  const Json code = hostStartsPairing(host);
  serverRestarts();
  host = hostRegisters();
  EXPECT_EQ(reasonFor(byPin(code)), "wrong-pin");
  EXPECT_EQ(toldOnly(viewerJoins(device))["type"], "joined");
}

TEST_F(PairingRulesTest, ConnectionThatNeitherPairsNorJoinsIsClosedAfterTenSeconds) {
  const auto idle = viewerConnects();
  says(idle, {{"type", "leave"}});
  says(idle, {{"type", "answer"}, {"sdp", "v=0"}});
  const auto trying = viewerConnects();
  wrongPin(trying);
  pass(10s);
  EXPECT_EQ(outbox_.closed.at(idle), CloseCode::policyViolation);
  EXPECT_FALSE(outbox_.closed.contains(trying));
}

class PinBookTest : public testing::Test {
 protected:
  fake::FakeClock clock_;
  fake::SeededRandom random_;
  Limits limits_;
  PinBook book_{random_, clock_, limits_};
};

TEST_F(PinBookTest, LivePinsAreAllDifferent) {
  std::set<std::string> pins;
  for (int i = 0; i < 20'000; ++i) {
    const auto code = book_.issue("HOST-" + std::to_string(i));
    ASSERT_TRUE(code);
    EXPECT_TRUE(pins.insert(code->pin).second) << code->pin;
  }
}

TEST_F(PinBookTest, NoPinIsIssuedTwiceEvenWhenTheGeneratorKeepsSayingTheSame) {
  random_.stuckAt = 7;
  const auto first = book_.issue("HOST-1");
  ASSERT_TRUE(first);
  EXPECT_FALSE(book_.issue("HOST-2"));
  EXPECT_EQ(book_.hostOf(first->pin), "HOST-1");

  clock_.passed += 600s;
  const auto second = book_.issue("HOST-2");
  ASSERT_TRUE(second) << "the first one's time is over";
  EXPECT_EQ(second->pin, first->pin);
  EXPECT_EQ(book_.hostOf(second->pin), "HOST-2");
  book_.forgetExpired();
  EXPECT_EQ(book_.hostOf(second->pin), "HOST-2");
}

TEST_F(PinBookTest, ShortNumbersKeepTheirLeadingZeros) {
  random_.stuckAt = 0;
  EXPECT_EQ(book_.issue("HOST-1")->pin, "000000");
}

}  // namespace
}  // namespace tovalin::server
