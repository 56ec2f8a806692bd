// What guessing a PIN comes to, counted in virtual time.

#include "tests/integration/companion/switchboard_fixture.h"

namespace tovalin::server {
namespace {

using namespace std::chrono_literals;

class GuessingTest : public SwitchboardTest {
 protected:
  static constexpr const char* kHome = "192.0.2.77";

  void SetUp() override {
    SwitchboardTest::SetUp();
    host_ = connect(Endpoint::host, kHome);
    says(host_, registration());
    told(host_);
    code_ = hostStartsPairing(host_);
  }

  static std::string nthAddress(int n) { return "n" + std::to_string(n); }

  // What a try from `address` gets: the reason it failed, or "paired".
  std::string attempt(const std::string& address, const Json& message) {
    const auto viewer = viewerConnects(address);
    says(viewer, message);
    const Json reply = toldOnly(viewer);
    board_->closed(viewer, true);
    return reply.value("reason", reply["type"].get<std::string>());
  }
  std::string tryPin(const std::string& address, const std::string& pin) {
    return attempt(address, {{"type", "pair"}, {"pin", pin}});
  }
  std::string tryToken(const std::string& address, const std::string& token) {
    return attempt(address, {{"type", "pair"}, {"host", "HOST-1"}, {"token", token}});
  }

  // A PIN nobody has tried, and never the right one.
  std::string freshWrongPin() {
    const int right = std::stoi(code_["pin"].get<std::string>());
    nextGuess_ += nextGuess_ + 1 == right ? 2 : 1;
    const std::string digits = std::to_string(nextGuess_);
    return std::string(6 - digits.size(), '0') + digits;
  }

  // How many wrong PINs that many addresses get looked at in a PIN's ten minutes when each of them
  // tries six times as soon as it is let, which is every minute.
  int guessesInTenMinutes(int addresses) {
    int lookedAt = 0;
    for (int minute = 0; minute < 10; ++minute) {
      for (int address = 0; address < addresses; ++address) {
        for (int i = 0; i < 6; ++i) {
          if (tryPin(nthAddress(address), freshWrongPin()) == "wrong-pin") ++lookedAt;
        }
      }
      pass(60s);
    }
    return lookedAt;
  }

  void strangersSpendTheBudget() {
    for (int address = 0; address < 30; ++address) {
      for (int i = 0; i < 5; ++i) tryPin(nthAddress(address), freshWrongPin());
    }
  }

  ConnectionId host_ = 0;
  Json code_;
  int nextGuess_ = 0;
};

TEST_F(GuessingTest, OneAddressTriesFiftyOfAMillionPinsWhileOneLives) {
  EXPECT_EQ(guessesInTenMinutes(1), 50);
}

// 100 at once, and 10 in each of the nine minutes between the first round and the last.
TEST_F(GuessingTest, AHundredAddressesTryTwoHundredTogether) {
  EXPECT_EQ(guessesInTenMinutes(100), 190);
}

TEST_F(GuessingTest, TenThousandAddressesTryNoMore) {
  EXPECT_EQ(guessesInTenMinutes(10'000), 190);
}

TEST_F(GuessingTest, RightPinFromElsewhereIsAnsweredLikeAWrongOneWhilePinsAreHeldUp) {
  strangersSpendTheBudget();
  const auto asking = [this](const std::string& pin) {
    const auto viewer = viewerConnects("198.51.100.5");
    says(viewer, {{"type", "pair"}, {"pin", pin}});
    return toldOnly(viewer);
  };
  EXPECT_EQ(asking(code_["pin"]), asking(freshWrongPin()));
  EXPECT_EQ(asking(code_["pin"]),
            Json({{"type", "pair-failed"}, {"reason", "locked-out"}, {"retryAfter", 6}}));
  pass(6s);
  EXPECT_EQ(tryPin("198.51.100.5", code_["pin"]), "paired") << "and nothing was burnt";
}

TEST_F(GuessingTest, PhoneInTheHostsOwnHouseIsNeverLockedOutByStrangers) {
  strangersSpendTheBudget();
  EXPECT_EQ(tryPin(kHome, code_["pin"]), "paired");
}

TEST_F(GuessingTest, TokenIsNeverLockedOutByStrangers) {
  strangersSpendTheBudget();
  EXPECT_EQ(tryToken("198.51.100.5", code_["pairToken"]), "paired");
}

TEST_F(GuessingTest, GuesserInTheHostsOwnHouseHasFiveTriesAMinuteWhilePinsAreHeldUp) {
  strangersSpendTheBudget();
  for (int i = 0; i < 5; ++i) EXPECT_EQ(tryPin(kHome, freshWrongPin()), "locked-out");
  EXPECT_EQ(tryPin(kHome, code_["pin"]), "locked-out");
  pass(60s);
  EXPECT_EQ(tryPin(kHome, code_["pin"]), "paired");
}

TEST_F(GuessingTest, HostOffLineHasNoNeighbours) {
  strangersSpendTheBudget();
  board_->closed(host_, true);
  EXPECT_EQ(tryPin(kHome, code_["pin"]), "locked-out");
}

TEST_F(GuessingTest, WrongTokensHoldUpNobodysPins) {
  for (int address = 0; address < 200; ++address) {
    EXPECT_EQ(tryToken(nthAddress(address), std::string(32, '0')), "wrong-pin");
  }
  EXPECT_EQ(tryPin("198.51.100.5", code_["pin"]), "paired");
}

TEST_F(GuessingTest, HoldingUpIsLogged) {
  strangersSpendTheBudget();
  EXPECT_THAT(log_, testing::HasSubstr("event=pins-held-up"));
}

}  // namespace
}  // namespace tovalin::server
