#include "tests/integration/companion/switchboard_fixture.h"

namespace tovalin::server {
namespace {

using namespace std::chrono_literals;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;

class HostRulesTest : public SwitchboardTest {};

TEST_F(HostRulesTest, NewHostIsTrustedAndRegistered) {
  iceServers_ = {{{"urls", {"turn:turn.example.org"}}, {"username", "u"}, {"credential", "c"}}};
  const auto host = connect(Endpoint::host);
  says(host, registration());
  EXPECT_EQ(toldOnly(host), Json({{"type", "registered"}, {"iceServers", iceServers_}}));
  EXPECT_EQ(store_.hosts.at("HOST-1").name, "Study");
}

TEST_F(HostRulesTest, HostKeyIsStoredOnlyAsSaltedHash) {
  hostRegisters("HOST-1");
  hostRegisters("HOST-2");
  const auto& one = store_.hosts.at("HOST-1").key;
  const auto& two = store_.hosts.at("HOST-2").key;
  EXPECT_EQ(one.hash, sha256(one.salt + kKey));
  EXPECT_EQ(one.hash.size(), 32u);
  EXPECT_NE(one.salt, two.salt);
  EXPECT_NE(one.hash, two.hash);
}

TEST_F(HostRulesTest, WrongKeyIsRefusedAndStaysUnregistered) {
  hostRegisters();
  const auto impostor = connect(Endpoint::host);
  says(impostor, registration("HOST-1", kOtherKey));
  EXPECT_EQ(toldOnly(impostor), Json({{"type", "auth-failed"}}));

  says(impostor, {{"type", "pairing-start"}});
  EXPECT_THAT(told(impostor), IsEmpty());
  pass(60s);
  EXPECT_FALSE(outbox_.closed.contains(impostor))
      << "a closed socket would make the host come again";
}

TEST_F(HostRulesTest, RefusedHostMayTryAgainOnTheSameConnection) {
  hostRegisters();
  const auto host = connect(Endpoint::host);
  says(host, registration("HOST-1", kOtherKey));
  says(host, registration());
  EXPECT_THAT(toldTypes(host), ElementsAre("auth-failed", "pairing-pin", "registered"));
}

TEST_F(HostRulesTest, MalformedRegistrationsAreRefused) {
  const std::vector<std::pair<const char*, Json>> changes = {
      {"role", "viewer"},
      {"role", nullptr},
      {"hostId", ""},
      {"hostId", 7},
      {"hostId", "no spaces"},
      {"hostId", "né"},
      {"hostId", std::string(65, 'x')},
      {"hostKey", std::string(31, 'a')},
      {"hostKey", std::string(257, 'a')},
      {"hostKey", std::string(40, ' ')},
      {"hostKey", Json::array()},
  };
  for (const auto& [field, value] : changes) {
    const auto host = connect(Endpoint::host);
    Json message = registration();
    message[field] = value;
    says(host, message);
    EXPECT_EQ(toldOnly(host)["type"], "auth-failed") << message;
  }
  EXPECT_THAT(store_.hosts, IsEmpty());
}

TEST_F(HostRulesTest, NewHostsAreRefusedWhenTheServerIsFull) {
  start({.hosts = 1});
  hostRegisters("HOST-1");
  const auto second = connect(Endpoint::host);
  says(second, registration("HOST-2"));
  EXPECT_EQ(toldOnly(second)["type"], "auth-failed");
  const auto first = connect(Endpoint::host);
  says(first, registration("HOST-1"));
  EXPECT_THAT(toldTypes(first), ElementsAre("pairing-pin", "registered"));
}

TEST_F(HostRulesTest, SecondConnectionWithTheKeyTakesOverAndTheFirstIsEvicted) {
  const auto first = hostRegisters();
  const auto second = hostRegisters();
  EXPECT_EQ(toldOnly(first), Json({{"type", "evicted"}}));
  EXPECT_EQ(outbox_.closed.at(first), CloseCode::replaced);

  board_->closed(first, true);
  EXPECT_EQ(hostStartsPairing(second)["type"], "pairing-pin") << "the late end changes nothing";
}

TEST_F(HostRulesTest, NothingButRegisterCountsBeforeRegistration) {
  const auto host = connect(Endpoint::host);
  for (const char* type : {"pairing-start", "offer", "ice", "lock", "bye", "dbg", "Register"}) {
    says(host, {{"type", type}, {"sdp", "v=0"}, {"m", "text"}});
  }
  nobodyWasTold();
  EXPECT_THAT(log_, Not(HasSubstr("text")));
}

TEST_F(HostRulesTest, ConnectionThatRegistersNothingIsClosedAfterTenSeconds) {
  const auto host = connect(Endpoint::host);
  pass(9s);
  EXPECT_FALSE(outbox_.closed.contains(host));
  pass(1s);
  EXPECT_EQ(outbox_.closed.at(host), CloseCode::policyViolation);
}

TEST_F(HostRulesTest, NameIsCleanedAndCut) {
  const auto host = connect(Endpoint::host);
  Json message = registration();
  message["name"] = "  Stu\ndy\x7f\u202e \u00e9" + std::string(100, 'x') + "  ";
  says(host, message);
  EXPECT_EQ(store_.hosts.at("HOST-1").name, "Study \u00e9" + std::string(57, 'x'));
}

TEST_F(HostRulesTest, RenamedHostIsKnownByItsNewName) {
  hostRegisters();
  const auto host = connect(Endpoint::host);
  Json message = registration();
  message["name"] = "Attic";
  says(host, message);
  EXPECT_EQ(store_.hosts.at("HOST-1").name, "Attic");
}

TEST_F(HostRulesTest, DiagnosticsAreLoggedOnOneCleanLineAndNotRelayed) {
  const auto host = hostRegisters();
  const auto device = pairDevice(host);
  const auto viewer = visitRuns(host, device);
  log_.clear();
  says(host, {{"type", "dbg"}, {"m", "ice-state\n2 " + std::string(300, 'x')}});
  EXPECT_EQ(log_, "level=info event=host-says host=HOST-1 text=\"ice-state2 " +
                      std::string(189, 'x') + "\"\n");
  EXPECT_THAT(told(viewer), IsEmpty());
}

TEST_F(HostRulesTest, KnownHostWithoutLiveCodeIsToldThatItsShownPinIsVoid) {
  hostRegisters();
  const auto again = connect(Endpoint::host);
  says(again, registration());
  const auto messages = told(again);
  ASSERT_EQ(messages.size(), 2u);
  EXPECT_EQ(messages[0], Json({{"type", "pairing-pin"}}));
  EXPECT_EQ(messages[1]["type"], "registered") << "reading this, the host asks for another PIN";
}

TEST_F(HostRulesTest, StoreFailureAtFirstRegistrationClosesTheConnection) {
  store_.diskFull = true;
  const auto host = connect(Endpoint::host);
  says(host, registration());
  EXPECT_EQ(outbox_.closed.at(host), CloseCode::internalError);
  EXPECT_THAT(told(host), IsEmpty());
}

TEST_F(HostRulesTest, RandomFailureAtFirstRegistrationClosesTheConnection) {
  random_.failWith = 5;
  const auto host = connect(Endpoint::host);
  says(host, registration());
  EXPECT_EQ(outbox_.closed.at(host), CloseCode::internalError);
  EXPECT_THAT(store_.hosts, IsEmpty());
}

TEST_F(HostRulesTest, StoreFailureDoesNotKeepAKnownHostOut) {
  hostRegisters();
  store_.diskFull = true;
  const auto host = connect(Endpoint::host);
  Json message = registration();
  message["name"] = "Attic";
  says(host, message);
  EXPECT_THAT(toldTypes(host), ElementsAre("pairing-pin", "registered"));
}

TEST_F(HostRulesTest, NothingSecretIsLogged) {
  const auto host = hostRegisters();
  const Json code = hostStartsPairing(host);
  const auto viewer = viewerConnects();
  wrongPin(viewer, code["pin"] == "000000" ? "000001" : "000000");
  says(viewer, {{"type", "pair"}, {"pin", code["pin"]}, {"deviceName", "Phone"}});
  const Json paired = toldOnly(viewer);
  const Device device{paired["hostId"], paired["deviceId"], paired["deviceKey"]};
  says(viewer, joining(device));
  says(host, {{"type", "offer"}, {"sdp", "secret-description"}});
  EXPECT_THAT(log_, HasSubstr("event=visit-begun host=HOST-1"));
  for (const std::string& secret :
       {kKey, code["pin"].get<std::string>(), code["pairToken"].get<std::string>(), device.key,
        std::string("secret-description")}) {
    EXPECT_THAT(log_, Not(HasSubstr(secret)));
  }
}

}  // namespace
}  // namespace tovalin::server
