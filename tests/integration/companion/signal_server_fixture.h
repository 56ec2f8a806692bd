#pragma once

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <optional>
#include <string>
#include <vector>

#include "tests/integration/companion/server_process.h"
#include "tests/integration/companion/temporary_folder.h"
#include "tests/integration/companion/test_client.h"

namespace tovalin::test {

inline const std::string kKey(64, 'a');

// The built program, listening on loopback with a state and a page of its own.
class SignalServerTest : public testing::Test {
 protected:
  struct Pairing {
    TestClient host;
    Json device;  // what "paired" said
  };

  SignalServerTest() { start(); }

  void start(const std::string& listen = "127.0.0.1:0", const std::vector<std::string>& more = {}) {
    std::vector<std::string> arguments{"--listen",    listen,
                                       "--state",     (folder_.path() / "state").string(),
                                       "--viewer",    page_.path().string(),
                                       "--print-pins"};
    arguments.insert(arguments.end(), more.begin(), more.end());
    server_.emplace(arguments);
    port_ = server_->waitUntilReady();
  }

  TestClient viewer(const std::string& from = "127.0.0.1") {
    return TestClient(port_, "/viewer", {.address = from});
  }
  TestClient connectHost(const std::string& key = kKey) {
    TestClient host(port_, "/signal");
    host.send({{"type", "register"},
               {"role", "host"},
               {"hostId", "HOST-1"},
               {"hostKey", key},
               {"name", "Study"}});
    return host;
  }
  // A host seen for the first time, registered.
  TestClient newHost() {
    auto host = connectHost();
    EXPECT_EQ(host.receive(), Json({{"type", "registered"}, {"iceServers", Json::array()}}));
    return host;
  }
  // A host seen before, registered again; it has no live PIN.
  TestClient knownHost() {
    auto host = connectHost();
    EXPECT_EQ(host.receive()["type"], "pairing-pin");
    EXPECT_EQ(host.receive()["type"], "registered");
    return host;
  }

  Pairing pairDevice() {
    auto host = newHost();
    host.send({{"type", "pairing-start"}});
    const Json code = host.receive();
    auto phone = viewer();
    phone.send({{"type", "pair"}, {"pin", code["pin"]}, {"deviceName", "Phone"}});
    const Json paired = phone.receive();
    EXPECT_EQ(paired["type"], "paired");
    EXPECT_EQ(host.receive(), Json({{"type", "device-paired"}, {"deviceName", "Phone"}}));
    return {std::move(host), paired};
  }

  static Json joining(const Json& device) {
    return {{"type", "join"},
            {"hostId", device["hostId"]},
            {"deviceId", device["deviceId"]},
            {"deviceKey", device["deviceKey"]}};
  }

  TestClient join(Pairing& pairing) {
    auto phone = viewer();
    phone.send(joining(pairing.device));
    EXPECT_EQ(phone.receive()["type"], "joined");
    EXPECT_EQ(pairing.host.receive()["type"], "peer-joined");
    return phone;
  }

  int closeCodeAfter(const std::string& frame) {
    auto phone = viewer();
    phone.sendText(frame);
    return phone.closeCode();
  }

  std::string get(const std::string& target, const std::string& method = "GET") {
    return exchangeHttp(
        port_, method + " " + target + " HTTP/1.1\r\nHost: 127.0.0.1\r\nConnection: close\r\n\r\n");
  }

  TemporaryFolder folder_;
  TemporaryFolder page_;
  std::optional<ServerProcess> server_;
  uint16_t port_ = 0;
};

}  // namespace tovalin::test
