// What the built program keeps when it ends, in good order or not.

#include <chrono>
#include <cstddef>
#include <random>
#include <thread>

#include "companion/server/core/limits.h"
#include "tests/integration/companion/signal_server_fixture.h"

namespace tovalin::test {
namespace {

using SurvivalTest = SignalServerTest;

TEST_F(SurvivalTest, PairingsOutliveTheProcess) {
  auto pairing = pairDevice();
  server_->terminate();
  EXPECT_EQ(server_->waitForExit(), 0);
  start();
  auto host = knownHost();
  auto phone = viewer();
  phone.send(joining(pairing.device));
  EXPECT_EQ(phone.receive()["type"], "joined");
  EXPECT_EQ(host.receive()["type"], "peer-joined");
}

TEST_F(SurvivalTest, FinishedPairingSurvivesAKill) {
  auto pairing = pairDevice();
  server_.reset();  // SIGKILL
  start();
  auto host = knownHost();
  auto phone = viewer();
  phone.send(joining(pairing.device));
  EXPECT_EQ(phone.receive()["type"], "joined");
}

// Pairs devices as fast as it can until the server is gone, or a host would forget one of them, and
// gathers every answer.
class BusyHousehold {
 public:
  // A fast machine gets there within one round.
  static inline const std::size_t kMostDevices = server::Limits().devicesPerHost;

  BusyHousehold(uint16_t port, const std::string& hostId) : port_(port), hostId_(hostId) {}

  void run() {
    try {
      TestClient host(port_, "/signal");
      host.send({{"type", "register"},
                 {"role", "host"},
                 {"hostId", hostId_},
                 {"hostKey", kKey},
                 {"name", "Study"}});
      while (host.receive()["type"] != "registered") continue;
      TestClient phone(port_, "/viewer");
      while (answers_.size() < kMostDevices) {
        host.send({{"type", "pairing-start"}});
        const Json code = host.receive();
        phone.send({{"type", "pair"}, {"pin", code["pin"]}});
        const Json paired = phone.receive();
        if (paired["type"] == "paired") answers_.push_back(paired);
        if (host.receive()["type"] != "device-paired") return;
      }
    } catch (const std::exception&) {
      // The server was killed; what it had answered by then is what counts.
    }
  }

  const std::vector<Json>& answers() const { return answers_; }

 private:
  const uint16_t port_;
  const std::string hostId_;
  std::vector<Json> answers_;
};

// Fifty kills, each while devices pair: some PINs after the start, and then anywhere within the few
// milliseconds that a pairing takes.
TEST_F(SurvivalTest, EveryAnsweredPairingOutlivesFiftyKills) {
  std::mt19937 random(20261121);
  std::size_t answered = 0;
  for (int round = 0; round < 50; ++round) {
    // A host of its own each round: one keeps its latest 32 devices only.
    const std::string hostId = "HOST-" + std::to_string(round);
    BusyHousehold household(port_, hostId);
    std::thread pairing([&] { household.run(); });
    const int pins = std::uniform_int_distribution(1, 6)(random);
    for (int i = 0; i < pins; ++i) server_->readOutputLine();
    std::this_thread::sleep_for(
        std::chrono::microseconds(std::uniform_int_distribution(0, 15'000)(random)));
    server_.reset();  // SIGKILL
    pairing.join();
    start();
    TestClient host(port_, "/signal");
    host.send({{"type", "register"},
               {"role", "host"},
               {"hostId", hostId},
               {"hostKey", kKey},
               {"name", "Study"}});
    while (host.receive()["type"] != "registered") continue;
    answered += household.answers().size();
    for (const Json& device : household.answers()) {
      auto phone = viewer();
      phone.send(joining(device));
      const Json answer = phone.receive();
      ASSERT_EQ(answer["type"], "joined") << answer << " in round " << round;
      phone.close();
    }
  }
  EXPECT_GT(answered, 50u) << "too few pairings to mean anything";
}

}  // namespace
}  // namespace tovalin::test
