#pragma once

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <memory>
#include <optional>
#include <vector>

#include "peer/webrtc_session.h"
#include "signalling/messages.h"
#include "tests/fakes/fake_main_queue.h"
#include "tests/fakes/fake_rtc.h"
#include "tests/fakes/fake_system.h"
#include "tests/fakes/fake_web_socket.h"

namespace tovalin {

struct RecordingHandler : ControlMessageHandler {
  void handle(const nlohmann::json& message) override { messages.push_back(message); }

  std::vector<nlohmann::json> messages;
};

// The session's owner, with a real signal client on a fake socket.
struct SessionOwner : WebRTCSessionDelegate {
  void webRTCSession(WebRTCSession& session, bool connected) override {
    reporter = &session;
    reports.push_back(connected);
  }
  std::shared_ptr<SignalClient> signal() override { return client; }
  std::shared_ptr<ControlMessageHandler> injector() override { return handler; }

  std::shared_ptr<SignalClient> client;
  std::shared_ptr<RecordingHandler> handler = std::make_shared<RecordingHandler>();
  WebRTCSession* reporter = nullptr;
  std::vector<bool> reports;
};

// A one-pixel picture.
struct StillPicture : PixelBuffer {
  int width() const override { return 1; }
  int height() const override { return 1; }
  int stride() const override { return 4; }
  const uint8_t* data() const override { return pixel; }
  uint64_t streamIdentity() const override { return 1; }
  uint64_t pictureNumber() const override { return 1; }
  std::span<const RowBand> damage() const override { return {}; }

  uint8_t pixel[4] = {};
};

// A process in which sessions come and go, connected to a signalling server.
class SessionTest : public testing::Test {
 protected:
  SessionTest() {
    owner->client = SignalClient::create(queue, sockets, Url{"ws://server"}, byeMessage());
    owner->client->open();
    makeSession();
  }

  void makeSession(std::vector<nlohmann::json> relays = {}) {
    session = WebRTCSession::create(process, std::move(relays));
    session->setDelegate(owner);
  }
  void start() { session->start(); }
  void startWithRelays(const char* list) {
    makeSession(nlohmann::json::parse(list).get<std::vector<nlohmann::json>>());
    start();
  }
  // What the signalling server passes on to the host.
  void viewerSignals(const char* message) { session->handleSignal(nlohmann::json::parse(message)); }
  void viewerAnswers() { viewerSignals(R"({"type":"answer","sdp":"v=0 answer"})"); }

  fake::FakePeerConnection& connection() { return library.latest(); }
  std::shared_ptr<fake::FakeDataChannel> hostChannel() { return connection().dataChannels().at(0); }
  fake::FakeWebSocketTask& server() { return sockets.latest(); }
  // What the session has sent to the server.
  std::vector<nlohmann::json> signalled() {
    auto messages = server().sent();
    messages.erase(messages.begin());  // the client's own opening message
    return messages;
  }

  fake::FakeMainQueue queue;
  fake::FakeWebSockets sockets;
  fake::FakeSystemLog log;
  fake::FakeRtcLibrary library;
  std::shared_ptr<WebRTCProcess> process =
      std::make_shared<WebRTCProcess>(queue, log, library, "stun.example");
  std::shared_ptr<SessionOwner> owner = std::make_shared<SessionOwner>();
  std::shared_ptr<WebRTCSession> session;
};

}  // namespace tovalin
