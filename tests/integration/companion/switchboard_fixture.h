#pragma once

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <vector>

#include "companion/server/core/switchboard.h"
#include "tests/fakes/fake_companion.h"

namespace tovalin::server {

inline const std::string kKey(64, 'a');
inline const std::string kOtherKey(64, 'b');

// The server's core in virtual time, with as many connections as a test wants.
class SwitchboardTest : public testing::Test {
 protected:
  struct Device {
    std::string hostId, id, key;
  };

  ConnectionId connect(Endpoint endpoint, const std::string& address = "192.0.2.1") {
    board_->opened(++lastId_, endpoint, address);
    return lastId_;
  }
  ConnectionId viewerConnects(const std::string& address = "192.0.2.1") {
    return connect(Endpoint::viewer, address);
  }

  void says(ConnectionId who, const Json& message) { board_->received(who, message.dump()); }

  // Everything the connection was told since the last call.
  std::vector<Json> told(ConnectionId who) {
    std::vector<Json> messages;
    for (const auto& text : outbox_.sent[who]) messages.push_back(Json::parse(text));
    outbox_.sent[who].clear();
    return messages;
  }
  std::vector<std::string> toldTypes(ConnectionId who) {
    std::vector<std::string> types;
    for (const auto& message : told(who)) types.push_back(message["type"]);
    return types;
  }
  Json toldOnly(ConnectionId who) {
    const auto messages = told(who);
    EXPECT_EQ(messages.size(), 1u);
    return messages.size() == 1 ? messages[0] : Json::object();
  }
  void nobodyWasTold() {
    for (const auto& [who, texts] : outbox_.sent) EXPECT_THAT(texts, testing::IsEmpty()) << who;
  }

  static Json registration(const std::string& hostId = "HOST-1", const std::string& key = kKey) {
    return {{"type", "register"},
            {"role", "host"},
            {"hostId", hostId},
            {"hostKey", key},
            {"name", "Study"}};
  }

  // A host that is on line, its answers read.
  ConnectionId hostRegisters(const std::string& hostId = "HOST-1", const std::string& key = kKey) {
    const auto host = connect(Endpoint::host);
    says(host, registration(hostId, key));
    told(host);
    return host;
  }

  // The PIN and token that the host is shown.
  Json hostStartsPairing(ConnectionId host) {
    says(host, {{"type", "pairing-start"}});
    return toldOnly(host);
  }

  // A device paired with the host, everything about it read.
  Device pairDevice(ConnectionId host) {
    const std::string pin = hostStartsPairing(host)["pin"];
    const auto viewer = viewerConnects("192.0.2.200");
    says(viewer, {{"type", "pair"}, {"pin", pin}, {"deviceName", "Phone"}});
    const Json paired = toldOnly(viewer);
    told(host);
    board_->closed(viewer, true);
    return {paired["hostId"], paired["deviceId"], paired["deviceKey"]};
  }

  static Json joining(const Device& device, bool resume = false) {
    Json message{{"type", "join"},
                 {"hostId", device.hostId},
                 {"deviceId", device.id},
                 {"deviceKey", device.key}};
    if (resume) message["resume"] = true;
    return message;
  }

  // A viewer whose visit has begun, the answers read by nobody yet.
  ConnectionId viewerJoins(const Device& device) {
    const auto viewer = viewerConnects();
    says(viewer, joining(device));
    return viewer;
  }

  // A visit with its offer passed and everything read.
  ConnectionId visitRuns(ConnectionId host, const Device& device) {
    const auto viewer = viewerJoins(device);
    says(host, {{"type", "offer"}, {"sdp", "v=0"}});
    told(host);
    told(viewer);
    return viewer;
  }

  std::string wrongPin(ConnectionId viewer, const std::string& pin = "000000") {
    says(viewer, {{"type", "pair"}, {"pin", pin}});
    return toldOnly(viewer)["reason"];
  }

  // Time passes as it does for the real server: with a tick every second.
  void pass(std::chrono::milliseconds time) {
    while (time.count() > 0) {
      const auto step = std::min(time, std::chrono::milliseconds(1000));
      clock_.passed += step;
      time -= step;
      board_->tick();
    }
  }

  // As if the program had been stopped and started: the store alone is as it was.
  void serverRestarts() {
    outbox_ = {};
    start();
  }

  void start(const Limits& limits = {}) {
    board_ = std::make_unique<Switchboard>(
        Switchboard::Ports{.outbox = outbox_,
                           .store = store_,
                           .random = random_,
                           .clock = clock_,
                           .counters = counters_,
                           .log = [this](const LogEvent& event) { log_ += logText(event) + "\n"; },
                           .pinIssued = [this](const std::string& pin) { issued_.push_back(pin); },
                           .iceServers = [this] { return iceServers_; }},
        limits);
  }

  void SetUp() override { start(); }

  fake::FakeClock clock_;
  fake::SeededRandom random_;
  fake::FakeDeviceStore store_;
  fake::FakeOutbox outbox_;
  Counters counters_;
  std::string log_;
  std::vector<std::string> issued_;
  Json iceServers_ = Json::array();
  std::unique_ptr<Switchboard> board_;
  ConnectionId lastId_ = 0;
};

}  // namespace tovalin::server
